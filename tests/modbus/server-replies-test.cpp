#include "modbus/server-replies.h"

#include "support/thrown-text.h"

#include <gtest/gtest.h>

using orv::modbusreader::AttachedMetersReply;
using orv::modbusreader::MeterConfigReply;
using orv::modbusreader::SerialPortConfigReply;

namespace {

template <class Reply>
std::string failure(const char* text) {
    return thrownText([text] { vx::fromJson<Reply>(text); });
}

} // namespace

TEST(ServerReplies, anEmptyObjectIsAValidReplyThatMeansNothing) {
    EXPECT_EQ(vx::fromJson<SerialPortConfigReply>("{}").data, vxModel::SerialPortConfig());
    EXPECT_TRUE(vx::fromJson<AttachedMetersReply>("{}").data.empty());
    EXPECT_TRUE(vx::fromJson<MeterConfigReply>("{}").data.empty());
}

TEST(ServerReplies, nullAndDataOfNullMeanNothing) {
    for (const char* text : {"null", R"({"data":null})"}) {
        EXPECT_EQ(vx::fromJson<SerialPortConfigReply>(text), SerialPortConfigReply());
        EXPECT_EQ(vx::fromJson<AttachedMetersReply>(text), AttachedMetersReply());
        EXPECT_EQ(vx::fromJson<MeterConfigReply>(text), MeterConfigReply());
    }
}

TEST(ServerReplies, keysBesideDataAreAccepted) {
    EXPECT_EQ(vx::fromJson<SerialPortConfigReply>(
                  R"({"status":"ok","data":{"serialDevice":"/dev/a"},"count":1})")
                  .data.serialDevice,
              "/dev/a");
}

TEST(ServerReplies, listsKeepTheirOrder) {
    const auto reply =
        vx::fromJson<AttachedMetersReply>(R"({"data":[{"slaveAddress":2},{"slaveAddress":1}]})");

    ASSERT_EQ(reply.data.size(), 2);
    EXPECT_EQ(reply.data[0].slaveAddress, 2);
    EXPECT_EQ(reply.data[1].slaveAddress, 1);
}

TEST(ServerReplies, anArrayIsNotAReply) {
    EXPECT_EQ(failure<AttachedMetersReply>("[]"),
              "Expecting json object. jsonType:5 condition:jsonType == json_type_object "
              "vx/record.h:<line>");
}

TEST(ServerReplies, dataOfAListThatIsNoArrayFails) {
    const std::string expected = "Expecting json array. jsonType:4 condition:jsonType == "
                                 "json_type_array vx/record.h:<line> / data";
    EXPECT_EQ(failure<AttachedMetersReply>(R"({"data":{}})"), expected);
    EXPECT_EQ(failure<MeterConfigReply>(R"({"data":{}})"), expected);
}

TEST(ServerReplies, dataOfTheSerialParametersThatIsNoObjectFails) {
    EXPECT_EQ(failure<SerialPortConfigReply>(R"({"data":[]})"),
              "Expecting json object. jsonType:5 condition:jsonType == json_type_object "
              "vx/record.h:<line> / data");
}

TEST(ServerReplies, theFirstBadElementEndsTheConversion) {
    EXPECT_EQ(failure<AttachedMetersReply>(R"({"data":[{},5,true]})"),
              "Expecting json object. jsonType:3 condition:jsonType == json_type_object "
              "vx/record.h:<line> / 1 / data");
}

TEST(ServerReplies, aBodyThatIsNotJsonFailsWithTheParsersMessage) {
    EXPECT_EQ(failure<MeterConfigReply>("Internal error"),
              "Failed to parse json. unexpected character condition:object vx/json.cpp:<line>");
}
