#include "model/metering.h"

#include "support/thrown-text.h"

#include <gtest/gtest.h>

using namespace vxModel;

namespace {

template <class R>
std::string written(const R& record) {
    return vx::toJson(vx::toJsonFragment(record));
}

MeteringOrigin originOf(const char* text) {
    return vx::fromJson<MeteringAttributes>(text).origin;
}

} // namespace

TEST(SeriesCompatValue, madeByDefaultIsWrittenWithTypePowerAndOk) {
    EXPECT_EQ(written(SeriesCompatValue()), R"({"type":"power","ok":true})");
}

TEST(SeriesCompatValue, okFalseIsLeftOutAndReadsBackAsTrue) {
    SeriesCompatValue value;
    value.ok = false;

    EXPECT_EQ(written(value), R"({"type":"power"})");
    EXPECT_TRUE(vx::fromJson<SeriesCompatValue>(written(value).c_str()).ok);
}

TEST(Metering, defaultAttributesHaveNoKeyWhenWritten) {
    Metering metering;
    metering.id = MeteringId("m");
    metering.type = MeteringType::powerMetering;

    EXPECT_EQ(written(metering), R"({"id":"m","type":"powerMetering"})");
    EXPECT_EQ(written(Meterings{{metering}}),
              R"({"meterings":[{"id":"m","type":"powerMetering"}]})");
}

TEST(MeteringOrigin, isToldApartByItsType) {
    EXPECT_EQ(originOf(R"({"origin":{"type":"apartment"}})"),
              MeteringOrigin(ApartmentMeteringOrigin()));
    EXPECT_EQ(originOf(R"({"origin":{"type":"controller","id":"c"}})"),
              MeteringOrigin(ControllerMeteringOrigin{"controller", ControllerId("c")}));
    EXPECT_EQ(originOf(R"({"origin":{"type":"openMeteringSystem","serialNumber":"s"}})"),
              MeteringOrigin(OpenMeteringSystemOrigin{"openMeteringSystem", "s"}));
}

TEST(MeteringOrigin, modbusReadsIntoItsRecordWithThatTextInItsOwnType) {
    EXPECT_EQ(originOf(R"({"origin":{"type":"modbus","isGlobal":true,"slaveAddress":7,)"
                       R"("serialNumber":"s","application":"a"}})"),
              MeteringOrigin(ModbusMeteringOrigin{"modbus", true, 7, "s", "a"}));
}

TEST(MeteringOrigin, ofIndexZeroIsLeftOutAndADefaultAlternativeIsWrittenWithItsType) {
    EXPECT_EQ(written(MeteringAttributes()), "{}");
    EXPECT_EQ(written(MeteringAttributes{"", "", ApartmentMeteringOrigin()}),
              R"({"origin":{"type":"apartment"}})");
}

TEST(MeteringOrigin, aControllerWithAClearedTypeCannotBeWritten) {
    EXPECT_EQ(
        thrownText([] {
            written(MeteringAttributes{"", "", ControllerMeteringOrigin{"", ControllerId("c")}});
        }),
        "Invalid alternative value for given altenative type traitAlternative:controller "
        "alternative: condition:traitAlternative == alternative vx/record.h:<line> / origin");
}

TEST(ModbusMeteringOrigin, aSlaveAddressBeyondEightBitsFails) {
    EXPECT_EQ(thrownText([] { originOf(R"({"origin":{"type":"modbus","slaveAddress":256}})"); }),
              "Narrowing error. t:0 u:256 condition:static_cast<U>(t) == u && (t < 0) == (u < 0) "
              "vx/record.h:<line> / slaveAddress / origin");
}

TEST(MeteringValueAttributes, nullLeavesTheOptionalNotEngagedWhileZeroEngagesIt) {
    EXPECT_EQ(vx::fromJson<MeteringValueAttributes>(R"({"value":null})").value, std::nullopt);
    const auto zero = vx::fromJson<MeteringValueAttributes>(R"({"value":0})");
    EXPECT_EQ(zero.value, 0.0);
    EXPECT_EQ(written(zero), R"({"value":0.0})");
}

TEST(MeteringValues, holdAFreeTypeAndAMoment) {
    const char* text = R"({"values":[{"id":"m","type":"anything",)"
                       R"("lastChanged":"2026-11-14T02:24:09.123Z","attributes":{"value":1.5}}]})";

    EXPECT_EQ(written(vx::fromJson<MeteringValues>(text)), text);
}

TEST(SeriesRealCompatValueValue, aNullElementReadsAsZero) {
    EXPECT_EQ(vx::fromJson<SeriesRealCompatValueValue>(R"({"value":[1.5,null]})").value,
              (std::vector<double>{1.5, 0.0}));
}

TEST(SeriesCompatValues, readBackTheSame) {
    const char* text = R"({"values":[{"type":"power","meterID":"m","unit":"W","resolution":"1h",)"
                       R"("values":[{"value":[1.5,2.5]}],"ok":true}]})";

    EXPECT_EQ(written(vx::fromJson<SeriesCompatValues>(text)), text);
}

TEST(SeriesCompatValueValue, holdsAMomentAndAValue) {
    const char* text = R"({"timestamp":"2026-11-14T02:24:09.123Z","value":0.0})";

    EXPECT_EQ(written(vx::fromJson<SeriesCompatValueValue>(text)), text);
}

TEST(MeteringModel, recordsShowTheirTextForm) {
    EXPECT_EQ(
        vx::str(vx::fromJson<Meterings>(
            R"({"meterings":[{"id":"m","type":"powerMetering","attributes":)"
            R"({"unit":"W","technicalName":"t","origin":{"type":"modbus","slaveAddress":7}}}]})")),
        R"({"meterings":[{"id":m,"type":powerMetering,"attributes":{"unit":W,)"
        R"("technicalName":t,"origin":{4:{"type":modbus,"slaveAddress":7}}}}]})");
    EXPECT_EQ(vx::str(vx::fromJson<MeteringValues>(
                  R"({"values":[{"id":"m","attributes":{"value":0}}]})")),
              R"({"values":[{"id":m,"attributes":{"value":0}}]})");
    EXPECT_EQ(vx::str(SeriesCompatValues{{SeriesCompatValue()}}),
              R"({"values":[{"type":power,"ok":1}]})");
    EXPECT_EQ(vx::str(SeriesCompatValueValue{{}, 2.5}), R"({"value":2.5})");
}

TEST(MeteringModel, recordsCompareTheirFields) {
    const auto values = vx::fromJson<MeteringValues>(R"({"values":[{"attributes":{"value":1}}]})");
    auto others = values;
    EXPECT_EQ(values, others);
    others.values.front().attributes.value = 2.0;
    EXPECT_NE(values, others);

    EXPECT_EQ((SeriesCompatValues{{SeriesCompatValue()}}),
              (SeriesCompatValues{{SeriesCompatValue()}}));
    SeriesCompatValue series;
    series.values = {{{1.0}}};
    EXPECT_NE(series, SeriesCompatValue());
    EXPECT_NE((SeriesCompatValueValue{{}, 0.0}), SeriesCompatValueValue());

    EXPECT_NE((Meterings{{Metering()}}), Meterings());
    EXPECT_NE(MeteringOrigin(ApartmentMeteringOrigin()),
              MeteringOrigin(OpenMeteringSystemOrigin()));
    EXPECT_EQ(MeteringOrigin(OpenMeteringSystemOrigin()),
              MeteringOrigin(OpenMeteringSystemOrigin()));
}
