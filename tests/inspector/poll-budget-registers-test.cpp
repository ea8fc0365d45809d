#include "inspector/budget/poll-budget.h"

#include "inspector/daemon/daemon-facts.h"

#include <gtest/gtest.h>

// What each register of a meter adds to the least poll, on TCP, where the wire takes no time: a
// pause each, and a time-out of five seconds each if the meter is dead.

using namespace inspector;
using vxModel::ElectricityMeterConfig;
using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;

namespace {

/// The daemon's code logs what it converts.
const bool isWithoutWords = (silenceDaemon(), true);

ModbusRegister serialOf(ModbusDataType type, int length) {
    return {.fieldType = ModbusFieldType::serial,
            .modbusDataType = type,
            .length = static_cast<std::uint8_t>(length)};
}

const ModbusRegister textSerial = serialOf(ModbusDataType::ascii, 4);
const ModbusRegister countedEnergy{.fieldType = ModbusFieldType::energyImport,
                                   .modbusDataType = ModbusDataType::uint32,
                                   .length = 1};

PollBudget budgetOf(const std::vector<ElectricityMeterConfig>& models,
                    const std::string& listedSerial = {}) {
    Installation installation;
    installation.models.emplace();
    for (const ElectricityMeterConfig& model : models)
        installation.models->push_back({model, {}});
    installation.meters = {{{.configId = "m", .serial = listedSerial, .slaveAddress = 7}, {}}};
    installation.config.emplace().value.modbusTCPServer = "10.0.0.5";
    return inspector::budgetOf(installation);
}

void expectMeter(const PollBudget& budget, double seconds, double deadSeconds) {
    ASSERT_EQ(budget.meters.size(), 1U);
    EXPECT_DOUBLE_EQ(budget.meters[0].seconds, seconds);
    EXPECT_DOUBLE_EQ(budget.meters[0].deadSeconds, deadSeconds);
}

PollBudget budgetOf(const std::vector<ModbusRegister>& registers,
                    const std::string& listedSerial = {}) {
    return budgetOf(std::vector<ElectricityMeterConfig>{{.id = "m", .registers = registers}},
                    listedSerial);
}

} // namespace

TEST(PollBudgetOfRegisters, aSecondSerialIsReadOnlyFromADeadMeter) {
    expectMeter(budgetOf({textSerial, textSerial, countedEnergy}), 0.04, 15.02);
}

TEST(PollBudgetOfRegisters, noSerialIsReadThatTheListHas) {
    expectMeter(budgetOf({textSerial, textSerial, countedEnergy}, "x"), 0.02, 5);
}

TEST(PollBudgetOfRegisters, aSerialThatIsRefusedGivesNone) {
    expectMeter(budgetOf({serialOf(ModbusDataType::ascii, 126), textSerial, countedEnergy}), 0.06,
                10);
}

TEST(PollBudgetOfRegisters, aSerialOfAnotherTypeGivesNone) {
    expectMeter(budgetOf({serialOf(ModbusDataType::uint16, 1), textSerial, countedEnergy}), 0.06,
                15);
}

TEST(PollBudgetOfRegisters, aRefusedAddressIsAskedAsTheOneThatTheLibraryTookBefore) {
    Installation home;
    home.models = {{{.id = "m", .registers = {countedEnergy}}, {}},
                   {{.id = "none"}, {}},
                   {{.id = "listed", .registers = {textSerial}}, {}}};
    const auto secondsOf = [&](const std::vector<std::pair<std::string, int>>& meters) {
        home.meters.emplace();
        for (const auto& [model, address] : meters)
            home.meters->push_back({{.configId = model,
                                     .serial = model == "listed" ? "x" : "",
                                     .slaveAddress = address},
                                    {}});
        std::string seconds;
        for (const PollBudget::Meter& x : inspector::budgetOf(home).meters)
            seconds += (x.seconds < 0.03 ? "refused "
                        : x.seconds < 1  ? "answered "
                                         : "waits ") +
                       std::string(x.deadSeconds == 0 ? "always; " : "or dead; ");
        return seconds;
    };
    EXPECT_EQ(secondsOf({{"m", 300}}), "refused always; ");
    EXPECT_EQ(secondsOf({{"m", 300}, {"none", 7}, {"gone", 7}}),
              "refused always; refused always; ");
    EXPECT_EQ(secondsOf({{"listed", 7}, {"m", 300}}), "refused always; refused always; ");
    EXPECT_EQ(secondsOf({{"m", 300}, {"m", 7}, {"m", -1}}),
              "answered or dead; answered or dead; answered or dead; ");
    EXPECT_EQ(secondsOf({{"m", 7}, {"m", 0}, {"m", 300}}),
              "answered or dead; waits always; waits always; ");
    home.config.emplace().value.modbusTCPServer = "10.0.0.5";
    // Over TCP the wire takes no time.
    EXPECT_EQ(secondsOf({{"m", 300}, {"m", 0}}), "refused or dead; refused or dead; ");
}

TEST(PollBudgetOfRegisters, aMeterIsReadOnceWithEachModelOfItsId) {
    const ElectricityMeterConfig model{.id = "m", .registers = {textSerial, countedEnergy}};

    const PollBudget budget = budgetOf(std::vector{model, model});

    ASSERT_EQ(budget.meters.size(), 2U);
    EXPECT_DOUBLE_EQ(budget.pauses, 0.08);
    EXPECT_DOUBLE_EQ(budget.meters[1].ageSeconds, 1.04);
    EXPECT_DOUBLE_EQ(budget.meters[0].ageSeconds, 1.08);
}
