#include "inspector/daemon/daemon-facts.h"

#include "inspector/solver/number-types.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

// The largest value of a register in the message, and the step there.

using namespace inspector;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;

namespace {

class RegisterRange : public testing::Test {
protected:
    // The daemon's code logs what it converts.
    static void SetUpTestSuite() { silenceDaemon(); }
};

Range ofEnergy(ModbusDataType type, float scale) {
    return rangeOf(
        {.fieldType = ModbusFieldType::energyExport, .modbusDataType = type, .scaleValue = scale});
}

} // namespace

TEST_F(RegisterRange, hasTheStepOfTheMeterWhereSinglePrecisionHoldsIt) {
    EXPECT_NEAR(ofEnergy(ModbusDataType::uint16, 0.1F).step, 360000, 1);
}

TEST_F(RegisterRange, hasTheStepOfSinglePrecisionWhereThatIsLarger) {
    // Numbers near 1.5e13 in single precision are multiples of 2^20.
    EXPECT_EQ(ofEnergy(ModbusDataType::uint32, 0.001F).step, std::exp2(20));
    EXPECT_EQ(ofEnergy(ModbusDataType::uint32, 0.0001F).step, std::exp2(17));
}

TEST_F(RegisterRange, neverHasAStepOfZero) {
    constexpr float least = std::numeric_limits<float>::denorm_min();
    constexpr float most = std::numeric_limits<float>::max();
    for (const ModbusDataType type : numberTypes)
        for (const auto field : {ModbusFieldType::powerImport, ModbusFieldType::energyImport})
            for (const float scale : {least, 1.0F / 3600, 0.0001F, 0.001F, 0.01F, 1.0F, -1.0F,
                                      0.37F, 1000.0F, 3600000.0F, most}) {
                const Range range =
                    rangeOf({.fieldType = field, .modbusDataType = type, .scaleValue = scale});
                EXPECT_GT(range.step, 0) << vx::str("", type, field) << " " << scale;
                EXPECT_LT(range.step, range.largest) << vx::str("", type, field) << " " << scale;
            }
}
