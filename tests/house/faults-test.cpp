#include "bus-master.h"
#include "house/faults.h"
#include "http-exchange.h"
#include "support/thrown-by.h"

#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace house;
using namespace std::chrono_literals;

namespace {

class Faults : public testing::Test {
protected:
    Faults() {
        m_home.liveOn(m_slave);
        m_home.serveOn(m_server);
    }

    void order(const std::vector<std::string>& texts) {
        faults::order(texts, m_home, m_slave, m_server);
    }

    Home m_home{Home::defaultFile()};
    ModbusSlave m_slave{TcpPort{}};
    LocalServer m_server{0};
    Master m_master{m_slave};
};

} // namespace

TEST_F(Faults, aSilentMeterAnswersNothingWhileTheOthersDo) {
    order({"3=silent"});

    EXPECT_EQ(m_master.readInput(3, 2, 2), Words());
    EXPECT_EQ(m_master.error, ETIMEDOUT);
    EXPECT_EQ(m_master.readInput(2, 22, 2).size(), 2U);
}

TEST_F(Faults, aMeterAnswersTheExceptionThatIsOrdered) {
    order({"3=exception:11"});

    EXPECT_EQ(m_master.readInput(3, 2, 2), Words());
    EXPECT_EQ(m_master.error, EMBXGTAR);
}

TEST_F(Faults, aMeterAnswersLate) {
    order({"3=late:50"});
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ(m_master.readInput(3, 2, 2).size(), 2U);

    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
}

TEST_F(Faults, aMeterAnswersGarbled) {
    order({"3=garbled"});

    EXPECT_EQ(m_master.readInput(3, 2, 2), Words());
    EXPECT_EQ(m_master.error, EMBBADDATA);
}

TEST_F(Faults, aMeterAnswersInTheNameOfAnotherUnit) {
    order({"3=unit:247"});

    EXPECT_EQ(m_master.readInput(3, 2, 2).size(), 2U);

    EXPECT_THAT(m_slave.transcript(), testing::HasSubstr("<< unit 247 "));
}

TEST_F(Faults, aMeterCannotAnswerInItsOwnName) {
    EXPECT_EQ(thrownBy([&] { order({"3=unit:3"}); }),
              "The fault 3=unit:3 names the meter's own unit");
}

TEST_F(Faults, theLocalServerAnswersTheStatusThatIsOrdered) {
    order({"attached=status:503"});

    EXPECT_TRUE(get(m_server, LocalServer::attachedPath).starts_with("HTTP/1.1 503 "));
    EXPECT_TRUE(get(m_server, LocalServer::rtuConfigPath).starts_with("HTTP/1.1 200 "));
    EXPECT_TRUE(get(m_server, LocalServer::supportedPath).starts_with("HTTP/1.1 200 "));
}

TEST_F(Faults, eachPlaceCanHaveItsOwn) {
    order({"3=exception:2", "4=exception:4", "rtuconfig=status:500", "supported=status:404"});

    m_master.readInput(3, 2, 2);
    EXPECT_EQ(m_master.error, EMBXILADD);
    m_master.readInput(4, 2, 2);
    EXPECT_EQ(m_master.error, EMBXSFAIL);
    EXPECT_TRUE(get(m_server, LocalServer::rtuConfigPath).starts_with("HTTP/1.1 500 "));
    EXPECT_TRUE(get(m_server, LocalServer::supportedPath).starts_with("HTTP/1.1 404 "));
}

TEST(FaultText, isOneOfTheForms) {
    for (const std::string text :
         {"30=silent", "1=exception:1", "247=exception:11", "3=late:1", "3=late:99999", "3=garbled",
          "3=unit:1", "3=unit:247", "rtuconfig=status:400", "attached=status:503",
          "supported=status:599"})
        EXPECT_TRUE(faults::isFault(text)) << text;
    for (const std::string text : {"",
                                   "3",
                                   "3=",
                                   "=silent",
                                   "3=loud",
                                   "3=silent:1",
                                   "3=garbled:1",
                                   "03=silent",
                                   "0=silent",
                                   "-1=silent",
                                   "x=silent",
                                   "1000=silent",
                                   "3=exception",
                                   "3=exception:0",
                                   "3=exception:12",
                                   "3=late",
                                   "3=late:0",
                                   "3=late:-1",
                                   "3=late:1.5",
                                   "3=late:100000",
                                   "3=late:99999999999999999999",
                                   "3=unit:0",
                                   "3=unit:248",
                                   "3=status:500",
                                   "attached=status:200",
                                   "attached=status:600",
                                   "attached=silent",
                                   "meters=status:500",
                                   "3=silent\n",
                                   " 3=silent"})
        EXPECT_FALSE(faults::isFault(text)) << text;
}

TEST_F(Faults, aTextThatIsNoneIsRefused) {
    EXPECT_EQ(thrownBy([&] { order({"3=loud"}); }),
              "'3=loud' is none of ADDRESS=silent, ADDRESS=exception:1 to 11, "
              "ADDRESS=late:1 to 99999, ADDRESS=garbled, ADDRESS=unit:1 to 247, "
              "rtuconfig|attached|supported=status:400 to 599");
}
