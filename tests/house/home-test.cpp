#include "bus-master.h"
#include "house/home.h"
#include "house/register-words.h"
#include "http-exchange.h"

#include <gtest/gtest.h>

using namespace house;
using namespace std::chrono_literals;

TEST(Home, everyRegisterOfEveryMapIsOnTheBus) {
    Home home(Home::defaultFile());
    ModbusSlave slave(TcpPort{});
    home.liveOn(slave);
    Master master(slave);

    EXPECT_EQ(master.readHolding(1, 70, 5), encodeText(5, "40000123AB"));
    EXPECT_EQ(master.readHolding(3, 0, 2), encodeNumber("uint32", 1, 30115577));
    EXPECT_EQ(master.readInput(1, 100, 1).size(), 1U);
    EXPECT_EQ(master.readInput(4, 28, 2).size(), 2U);
}

TEST(Home, servesItsRepliesAsTheyStand) {
    const Home home(Home::defaultFile());
    LocalServer server(0);

    home.serveOn(server);

    EXPECT_TRUE(get(server, LocalServer::rtuConfigPath)
                    .ends_with(R"({"data":{"serialDevice":"/dev/ttymxc2",)"
                               R"("baudRate":"baud19200","parity":"even",)"
                               R"("dataBits":"bits8","stopBits":"bits1"}})"));
}

TEST(Home, countersGrowByTheIntegralOfTheirPower) {
    Home home(Home::defaultFile());
    const double energy = home.value("wallboxEnergy");

    // The session of the wallbox lasts from half past ten to half past twelve.
    home.advance(3h);

    EXPECT_NEAR(home.value("wallboxEnergy") - energy, 22.0, 0.7);
    EXPECT_GT(home.value("solarEnergy"), 15204.75);
}

TEST(Home, tariffCountersAddUpToTheTotal) {
    Home home(Home::defaultFile());

    home.advance(48h);

    EXPECT_NEAR(home.value("gridEnergyInDay") + home.value("gridEnergyInNight"),
                home.value("gridEnergyIn"), 0.01);
    double tariffs = 0.0;
    for (int i = 1; i <= 6; ++i)
        tariffs += home.value("batteryEnergyInT" + std::to_string(i));
    EXPECT_NEAR(tariffs, home.value("batteryEnergyIn"), 0.01);
}

TEST(Home, batteryChargesByDayAndDischargesInTheEvening) {
    Home home(Home::defaultFile());
    EXPECT_GT(home.value("batteryPower"), 1000.0);

    home.advance(9h);

    EXPECT_LT(home.value("batteryPower"), -1000.0);
}

TEST(Home, tellsTheTimeOfItsDay) {
    Home home(Home::defaultFile());
    EXPECT_GE(home.hour(), 10.45);
    EXPECT_LT(home.hour(), 11.45);

    home.advance(20h);

    EXPECT_GE(home.hour(), 6.45);
    EXPECT_LT(home.hour(), 7.45);
}

TEST(Home, noSunAtMidnight) {
    Home home(Home::defaultFile());
    EXPECT_GT(home.value("solarPower"), 3000.0);

    home.advance(13h + 45min);

    EXPECT_EQ(home.value("solarPower"), 0.0);
}
