#include "bus-master.h"
#include "house/home.h"
#include "house/pty-pair.h"
#include "http-exchange.h"
#include "recordings.h"
#include "support/temporary-directory.h"
#include "support/thrown-by.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

using namespace house;

namespace {

/// The example that stands in the document below the heading of recordings.
std::string exampleRecording() {
    const std::string document = contentOf(SOURCE_DIRECTORY "/tools/house/home.md");
    const std::string start = "```json\n";
    const std::size_t from = document.find(start, document.find("## A recording")) + start.size();
    return document.substr(from, document.find("```", from) - from);
}

/// A house that plays a recording.
class Player {
public:
    explicit Player(const std::string& recording, std::optional<Tty> tty = std::nullopt)
        : home(m_directory.write("home.json", recording)),
          bus(tty ? std::make_unique<ModbusSlave>(*tty)
                  : std::make_unique<ModbusSlave>(TcpPort{})) {
        home.serveOn(server);
        home.liveOn(*bus);
    }

    /// Status and body of an answer; empty for a connection that is closed without one.
    std::string get(const char* path) const {
        const std::string answer = house::get(server, path);
        if (answer.empty())
            return {};
        return answer.substr(9, 3) + " " + answer.substr(answer.find("\r\n\r\n") + 4);
    }
    void beginPoll() const { get(LocalServer::rtuConfigPath); }

private:
    TemporaryDirectory m_directory;

public:
    Home home;
    LocalServer server{0};
    std::unique_ptr<ModbusSlave> bus;
};

} // namespace

TEST(Recording, theExampleOfTheDocumentIsPlayedPollByPoll) {
    const Player player(exampleRecording());
    Master master(*player.bus);
    const std::string attached =
        R"(200 {"data":[{"configId":"c","name":"Grid","serial":"S-7","slaveAddress":7}]})";

    player.beginPoll();
    EXPECT_EQ(player.get(LocalServer::attachedPath), attached);
    EXPECT_EQ(master.readHolding(7, 10, 2), (Words{0, 1500}));
    for (int poll = 2; poll <= 3; ++poll) {
        player.beginPoll();
        EXPECT_EQ(player.get(LocalServer::attachedPath), attached);
        EXPECT_EQ(master.readHolding(7, 10, 2), Words());
        EXPECT_EQ(master.error, EMBXGTAR);
    }
    player.beginPoll();
    EXPECT_EQ(player.get(LocalServer::attachedPath), "503 Not now");
    EXPECT_EQ(master.readHolding(7, 10, 2), (Words{0, 1501}));
    player.beginPoll();
    EXPECT_EQ(player.get(LocalServer::attachedPath), "");
    EXPECT_EQ(master.readHolding(7, 10, 2), (Words{0, 1501}));
}

TEST(Recording, itIsPlayedOnTheKindOfBusThatItNamesAlone) {
    const auto onTcp = [](const std::string& bus) {
        return thrownBy([&] { Player(R"({"recording":{)" + bus + R"("polls":[{}]}})"); });
    };
    const auto onLine = [](const std::string& bus) {
        const PtyPair line;
        return thrownBy(
            [&] { Player(R"({"recording":{)" + bus + R"("polls":[{}]}})", Tty{line.slaveEnd()}); });
    };
    const std::string none = "nothing thrown";

    EXPECT_EQ(onTcp(R"("bus":"tcp",)"), none);
    EXPECT_EQ(onLine(R"("bus":"rtu",)"), none);
    EXPECT_EQ(onTcp(""), none);
    EXPECT_EQ(onLine(""), none);
    EXPECT_EQ(onTcp(R"("bus":"rtu",)"),
              "The recording is one of a serial line: play it with --rtu");
    EXPECT_EQ(onLine(R"("bus":"tcp",)"),
              "The recording is one of Modbus TCP: play it without --rtu");
}

TEST(Recording, afterTheLastPollEverythingStaysAsItWasThen) {
    const Player player(withPolls(R"([{"rtuconfig":{"text":"a"}},{"rtuconfig":{"text":"b"}}])"));

    EXPECT_EQ(player.get(LocalServer::rtuConfigPath), "200 a");
    EXPECT_EQ(player.get(LocalServer::rtuConfigPath), "200 b");
    EXPECT_EQ(player.get(LocalServer::rtuConfigPath), "200 b");
}

TEST(Recording, aBodyIsServedByteForByte) {
    const Player player(withPolls(R"([{"rtuconfig":{"text":" {\"data\": \n null}"},)"
                                  R"("attached":{"bytes":"ff0A2f"},)"
                                  R"("supported":{"json":{"data":[1.50,"a/b"]}}}])"));

    EXPECT_EQ(player.get(LocalServer::rtuConfigPath), "200  {\"data\": \n null}");
    EXPECT_EQ(player.get(LocalServer::attachedPath), "200 \xFF\n/");
    EXPECT_EQ(player.get(LocalServer::supportedPath), R"(200 {"data":[1.50,"a/b"]})");
}

TEST(Recording, whatNoPollHasNamedYetIsNotThere) {
    const Player player(withPolls(R"([{},{"units":{"7":{"input 10 x1":[5]}}}])"));
    Master master(*player.bus);

    player.beginPoll();

    EXPECT_EQ(player.get(LocalServer::attachedPath), "404 Not Found");
    master.readInput(7, 10, 1);
    EXPECT_EQ(master.error, EMBXILADD);
    master.readInput(8, 10, 1);
    EXPECT_EQ(master.error, ETIMEDOUT);
}

TEST(Recording, readsOfOtherKindAddressOrCountAreOtherReads) {
    const Player player(withReads(R"("input 10 x1":[1],"holding 10 x1":[2],"input 10 x2":[3,4])"));
    Master master(*player.bus);
    player.beginPoll();

    EXPECT_EQ(master.readInput(7, 10, 1), (Words{1}));
    EXPECT_EQ(master.readHolding(7, 10, 1), (Words{2}));
    EXPECT_EQ(master.readInput(7, 10, 2), (Words{3, 4}));
}

TEST(Recording, readsOfOnePollComeInTurnAndTheLastOneStaysUntilTheNextPoll) {
    const Player player(
        withPolls(R"([{"units":{"7":{"input 10 x1":{"inTurn":[[1],"exception:4",[3]]}}}}])"));
    Master master(*player.bus);

    for (int poll = 1; poll <= 2; ++poll) {
        player.beginPoll();
        EXPECT_EQ(master.readInput(7, 10, 1), (Words{1}));
        EXPECT_EQ(master.readInput(7, 10, 1), Words());
        EXPECT_EQ(master.error, EMBXSFAIL);
        EXPECT_EQ(master.readInput(7, 10, 1), (Words{3}));
        EXPECT_EQ(master.readInput(7, 10, 1), (Words{3}));
    }
}

TEST(Recording, aReadFailsOnTcpAsItSays) {
    const Player player(withReads(R"("input 1 x1":"silent","input 2 x2":"short",)"
                                  R"("input 3 x1":"garbled","input 4 x1":"exception:12")"));
    Master master(*player.bus);
    player.beginPoll();

    const auto errorOf = [&](int address, int count) {
        master.readInput(7, address, count);
        return master.error;
    };
    EXPECT_EQ(errorOf(1, 1), ETIMEDOUT);
    EXPECT_EQ(errorOf(2, 2), EMBBADDATA);
    EXPECT_EQ(errorOf(3, 1), EMBBADDATA);
    EXPECT_EQ(errorOf(4, 1), EMBBADEXC);
}

TEST(Recording, aReadFailsOnASerialLineAsItSays) {
    const PtyPair line;
    const Player player(withReads(R"("input 1 x1":"silent","input 2 x2":"short",)"
                                  R"("input 3 x1":"garbled","input 4 x1":"unit:9",)"
                                  R"("input 5 x1":"closed","input 6 x1":[6])"),
                        Tty{line.slaveEnd()});
    Master master(line.masterEnd());
    player.beginPoll();

    const auto errorOf = [&](int address, int count) {
        master.readInput(7, address, count);
        return master.error;
    };
    EXPECT_EQ(errorOf(1, 1), ETIMEDOUT);
    EXPECT_EQ(errorOf(2, 2), EMBBADDATA);
    EXPECT_EQ(errorOf(3, 1), EMBBADCRC);
    EXPECT_EQ(errorOf(4, 1), EMBBADSLAVE);
    EXPECT_EQ(errorOf(5, 1), EMBBADCRC);
    EXPECT_EQ(master.readInput(7, 6, 1), (Words{6}));
}

TEST(Recording, aConnectionThatIsClosedFailsAllReadsUntilANewOne) {
    const Player player(withReads(R"("input 1 x1":"closed","input 2 x1":[2])"));
    Master master(*player.bus);
    player.beginPoll();

    master.readInput(7, 1, 1);
    EXPECT_EQ(master.error, ECONNRESET);
    EXPECT_EQ(master.readInput(7, 2, 1), Words());
    EXPECT_EQ(player.bus->transcript(), ">> unit 7  read input 1 x1\n<< hang-up\n");

    EXPECT_EQ(Master(*player.bus).readInput(7, 2, 1), (Words{2}));
}

TEST(Recording, anOrderToFailWins) {
    const Player player(withReads(R"("input 1 x1":[1])"));
    Master master(*player.bus);
    player.bus->unit(7).failNext(1, Fault::exception(6));
    player.beginPoll();

    EXPECT_EQ(master.readInput(7, 1, 1), Words());
    EXPECT_EQ(master.error, EMBXSBUSY);
    EXPECT_EQ(master.readInput(7, 1, 1), (Words{1}));
}

TEST(Recording, theMetersAreThoseThatAnyPollAttachesAndUnitsWithoutAName) {
    const Player player(withPolls(
        R"([{"attached":{"json":{"data":[{"name":"Grid","slaveAddress":7}]}}},)"
        R"({"attached":{"text":"{\"data\":[{\"name\":\"a\\nb\",\"slaveAddress\":8},],}"}},)"
        R"({"attached":{"text":"{\"data\":[{\"slaveAddress\":9}]}"},)"
        R"("units":{"7":{"input 1 x1":[1]},"8":{"input 1 x1":[1]}}}])"));

    std::string meters;
    for (const Meter& meter : player.home.meters())
        meters += std::to_string(meter.slaveAddress) + " " + meter.name + "\n";
    EXPECT_EQ(meters, "7 Grid\n9 no name\n8 unit 8\n");
}

TEST(Recording, itsMomentIsThePollThatItPlays) {
    const Player player(withPolls("[{},{}]"));

    EXPECT_EQ(player.home.moment(), "0 of 2 recorded");
    for (int poll = 1; poll <= 3; ++poll)
        player.beginPoll();
    EXPECT_EQ(player.home.moment(), "2 of 2 recorded");
}
