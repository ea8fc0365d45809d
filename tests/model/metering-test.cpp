#include "model/metering.h"

#include "support/counts-in-comparison.h"
#include "support/thrown-text.h"
#include "support/written.h"

#include <gtest/gtest.h>

#include <chrono>

using namespace vxModel;

namespace {

MeteringOrigin originOf(const char* text) {
    return vx::fromJson<MeteringAttributes>(text).origin;
}

const vx::DateTime moment(std::chrono::milliseconds(1));

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

TEST(SeriesCompatValue, aWrittenFalseIsReadThoughTheDefaultIsTrue) {
    EXPECT_FALSE(vx::fromJson<SeriesCompatValue>(R"({"ok":false})").ok);
}

TEST(Metering, defaultAttributesHaveNoKeyWhenWritten) {
    Metering metering;
    metering.id = MeteringId("m");
    metering.type = MeteringType::powerMetering;

    EXPECT_EQ(written(metering), R"({"id":"m","type":"powerMetering"})");
    EXPECT_EQ(written(Meterings{{metering}}),
              R"({"meterings":[{"id":"m","type":"powerMetering"}]})");
}

TEST(Metering, readsBackTheSameInTheOrderOfItsFields) {
    const char* text =
        R"({"id":"m","type":"energyMetering","lastChanged":"2026-11-14T02:24:09.123Z",)"
        R"("attributes":{"unit":"Wh","technicalName":"t","origin":{"type":"apartment"}}})";

    EXPECT_EQ(written(vx::fromJson<Metering>(text)), text);
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

TEST(MeteringOrigin, showsItsAlternativesInTheirOrder) {
    EXPECT_EQ(vx::str(MeteringAttributes{"", "", ApartmentMeteringOrigin()}),
              R"({"origin":{1:{"type":apartment}}})");
    EXPECT_EQ(vx::str(MeteringAttributes{"", "", ControllerMeteringOrigin()}),
              R"({"origin":{2:{"type":controller}}})");
    EXPECT_EQ(vx::str(MeteringAttributes{"", "", OpenMeteringSystemOrigin()}),
              R"({"origin":{3:{"type":openMeteringSystem}}})");
    EXPECT_EQ(vx::str(MeteringAttributes{"", "", ModbusMeteringOrigin()}),
              R"({"origin":{4:{"type":modbus}}})");
}

TEST(MeteringOrigin, ofIndexZeroIsLeftOutAndADefaultAlternativeIsWrittenWithItsType) {
    const auto writtenAs = [](const MeteringOrigin& origin) {
        return written(MeteringAttributes{"", "", origin});
    };

    EXPECT_EQ(writtenAs(MeteringOrigin()), "{}");
    EXPECT_EQ(writtenAs(ApartmentMeteringOrigin()), R"({"origin":{"type":"apartment"}})");
    EXPECT_EQ(writtenAs(ControllerMeteringOrigin()), R"({"origin":{"type":"controller"}})");
    EXPECT_EQ(writtenAs(OpenMeteringSystemOrigin()), R"({"origin":{"type":"openMeteringSystem"}})");
    EXPECT_EQ(writtenAs(ModbusMeteringOrigin()), R"({"origin":{"type":"modbus"}})");
}

TEST(MeteringOrigin, readsBackTheSameInTheOrderOfItsFields) {
    for (const char* text :
         {R"({"origin":{"type":"controller","id":"c"}})",
          R"({"origin":{"type":"openMeteringSystem","serialNumber":"s"}})",
          R"({"origin":{"type":"modbus","isGlobal":true,"slaveAddress":7,"serialNumber":"s",)"
          R"("application":"a"}})"})
        EXPECT_EQ(written(vx::fromJson<MeteringAttributes>(text)), text);
}

TEST(MeteringOrigin, aControllerWithAClearedTypeCannotBeWritten) {
    EXPECT_EQ(
        thrownText([] {
            written(MeteringAttributes{"", "", ControllerMeteringOrigin{"", ControllerId("c")}});
        }),
        "Invalid alternative value for given altenative type traitAlternative:controller "
        "alternative: condition:traitAlternative == alternative vx/record.h:<line> / origin");
}

TEST(ModbusMeteringOrigin, aSlaveAddressIsEightBitsWithoutASign) {
    const std::string condition = " condition:static_cast<U>(t) == u && (t < 0) == (u < 0) "
                                  "vx/record.h:<line> / slaveAddress / origin";

    EXPECT_EQ(originOf(R"({"origin":{"type":"modbus","slaveAddress":255}})"),
              MeteringOrigin(ModbusMeteringOrigin{"modbus", false, 255, "", ""}));
    EXPECT_EQ(thrownText([] { originOf(R"({"origin":{"type":"modbus","slaveAddress":256}})"); }),
              "Narrowing error. t:0 u:256" + condition);
    EXPECT_EQ(thrownText([] { originOf(R"({"origin":{"type":"modbus","slaveAddress":-1}})"); }),
              "Narrowing error. t:255 u:-1" + condition);
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

TEST(MeteringModel, originsCompareEachField) {
    EXPECT_TRUE(countsInComparison(ApartmentMeteringOrigin(), &ApartmentMeteringOrigin::type, "a"));

    using Controller = ControllerMeteringOrigin;
    EXPECT_TRUE(countsInComparison(Controller(), &Controller::type, "a"));
    EXPECT_TRUE(countsInComparison(Controller(), &Controller::id, ControllerId("c")));

    using OpenMetering = OpenMeteringSystemOrigin;
    EXPECT_TRUE(countsInComparison(OpenMetering(), &OpenMetering::type, "a"));
    EXPECT_TRUE(countsInComparison(OpenMetering(), &OpenMetering::serialNumber, "s"));

    using Modbus = ModbusMeteringOrigin;
    EXPECT_TRUE(countsInComparison(Modbus(), &Modbus::type, "a"));
    EXPECT_TRUE(countsInComparison(Modbus(), &Modbus::isGlobal, true));
    EXPECT_TRUE(countsInComparison(Modbus(), &Modbus::slaveAddress, 7));
    EXPECT_TRUE(countsInComparison(Modbus(), &Modbus::serialNumber, "s"));
    EXPECT_TRUE(countsInComparison(Modbus(), &Modbus::application, "a"));

    EXPECT_NE(MeteringOrigin(ApartmentMeteringOrigin()), MeteringOrigin());
}

TEST(MeteringModel, meteringsCompareEachField) {
    using Attributes = MeteringAttributes;
    EXPECT_TRUE(countsInComparison(Attributes(), &Attributes::unit, "W"));
    EXPECT_TRUE(countsInComparison(Attributes(), &Attributes::technicalName, "t"));
    EXPECT_TRUE(countsInComparison(Attributes(), &Attributes::origin, OpenMeteringSystemOrigin()));

    EXPECT_TRUE(countsInComparison(Metering(), &Metering::id, MeteringId("m")));
    EXPECT_TRUE(countsInComparison(Metering(), &Metering::type, MeteringType::powerMetering));
    EXPECT_TRUE(countsInComparison(Metering(), &Metering::lastChanged, moment));
    EXPECT_TRUE(countsInComparison(Metering(), &Metering::attributes, {"W", "", {}}));

    EXPECT_TRUE(countsInComparison(Meterings(), &Meterings::meterings, {Metering()}));
}

TEST(MeteringModel, valuesCompareEachField) {
    using Attributes = MeteringValueAttributes;
    EXPECT_TRUE(countsInComparison(Attributes(), &Attributes::value, 0.0));
    EXPECT_TRUE(countsInComparison(Attributes{1.0}, &Attributes::value, 2.0));

    EXPECT_TRUE(countsInComparison(MeteringValue(), &MeteringValue::id, MeteringId("m")));
    EXPECT_TRUE(countsInComparison(MeteringValue(), &MeteringValue::type, "t"));
    EXPECT_TRUE(countsInComparison(MeteringValue(), &MeteringValue::lastChanged, moment));
    EXPECT_TRUE(countsInComparison(MeteringValue(), &MeteringValue::attributes, Attributes{1.0}));

    EXPECT_TRUE(countsInComparison(MeteringValues(), &MeteringValues::values, {MeteringValue()}));
}

TEST(MeteringModel, seriesCompareEachField) {
    using Entry = SeriesRealCompatValueValue;
    EXPECT_TRUE(countsInComparison(Entry{{1.0}}, &Entry::value, {2.0}));

    using Series = SeriesCompatValue;
    EXPECT_TRUE(countsInComparison(Series(), &Series::type, "t"));
    EXPECT_TRUE(countsInComparison(Series(), &Series::meterID, "m"));
    EXPECT_TRUE(countsInComparison(Series(), &Series::unit, "W"));
    EXPECT_TRUE(countsInComparison(Series(), &Series::resolution, "1h"));
    EXPECT_TRUE(countsInComparison(Series(), &Series::values, {Entry{{1.0}}}));
    EXPECT_TRUE(countsInComparison(Series(), &Series::ok, false));

    EXPECT_TRUE(countsInComparison(SeriesCompatValues(), &SeriesCompatValues::values, {Series()}));

    using Value = SeriesCompatValueValue;
    EXPECT_TRUE(countsInComparison(Value(), &Value::timestamp, moment));
    EXPECT_TRUE(countsInComparison(Value(), &Value::value, 0.0));
}
