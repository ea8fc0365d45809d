// What the real executable makes of a local server that is not well.

#include "e2e/process-world.h"
#include "support/lines.h"
#include "support/raw-server.h"

#include <boost/crc.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <regex>

using testing::AllOf;
using testing::Each;
using testing::Ge;
using testing::SizeIs;

namespace {

using Answer = RawServer::Answer;
using Connection = RawServer::Connection;

/// Something else than a reply, and what the log says of it.
struct Hostility {
    const char* name;
    Answer answer;
    const char* reason;
};

/// A home whose server can send anything. Its requests stand in the transcript with the status 200,
/// or as "hostile".
class HostileServer : public ProcessWorld {
protected:
    HostileServer() {
        closeServer();
        raw = std::make_unique<RawServer>();
        raw->serve(LocalServer::rtuConfigPath, oneMeter.rtuConfig);
        raw->serve(LocalServer::attachedPath, oneMeter.attached);
        raw->serve(LocalServer::supportedPath, oneMeter.supported);
        raw->whenRequested([this](const std::string& path, bool isOwn) {
            std::string line = "GET …" + path.substr(path.rfind("modbus/") + 6);
            line.resize(33, ' ');
            happened(Transcript::Kind::request, line + (isOwn ? "hostile" : "200"));
        });
    }

    void TearDown() override {
        ProcessWorld::TearDown();
        raw.reset();
    }

    /// Starts the executable, whose pauses pass at once. At the severity warning the replies are
    /// left out of its log.
    void start(const std::string& rules = "modbusSerial:W") {
        ProcessWorld::start({"LD_PRELOAD=" + preloaded, "ASAN_OPTIONS=verify_asan_link_order=0",
                             "VX_LOG=" + rules});
    }

    /// Lets the 120 seconds for a transfer pass in 1.2.
    void shortenLimit() { preloaded += ":" SHORT_LIMIT_LIBRARY; }

    /// Starts it, and forgets its first two polls. All that follow begin and end alike.
    void startAndSettle() {
        start();
        transcriptUntil("retry timer", 2);
    }

    /// The account of the next @p count polls.
    std::string polls(std::size_t count) {
        // How many bytes had come when the time was up.
        static const std::regex received(R"(with \d+ bytes received)");
        return std::regex_replace(transcriptUntil("retry timer", count + 1), received,
                                  "with <count> bytes received");
    }

    /// Lets every other request for the attached meters, from the third on, meet the next of
    /// @p hostilities, and compares each such poll and the good one behind it.
    template <class Hostilities>
    void expectPolls(const Hostilities& hostilities,
                     std::string (*expected)(const std::string& reason)) {
        std::size_t number = 1;
        for (const Hostility& hostility : hostilities)
            raw->answer(LocalServer::attachedPath, number += 2, hostility.answer);
        startAndSettle();
        for (const Hostility& hostility : hostilities)
            EXPECT_EQ(polls(2), expected(hostility.reason)) << hostility.name;
    }

    /// How long each transfer was waited for whose time was up, in milliseconds.
    std::vector<long> timesOfTimeOuts() const {
        static const std::regex time(R"(timed out after (\d+) milliseconds)");
        std::vector<long> times;
        std::smatch match;
        for (const std::string& line : reader->rawLog())
            if (std::regex_search(line, match, time))
                times.push_back(std::stol(match.str(1)));
        return times;
    }

    std::unique_ptr<RawServer> raw;
    std::string preloaded = SHORT_PAUSES_LIBRARY;
};

// What is sent

Answer bytes(const std::string& text) {
    return [text](Connection& connection) { connection.send(text); };
}

/// Sends @p first, and then @p piece again and again as fast as it is taken.
Answer endless(const std::string& first, const std::string& piece) {
    return [=](Connection& connection) {
        connection.send(first);
        while (connection.send(piece)) {
        }
    };
}

/// Sends @p first, and then @p piece again and again, once in a second of the reader's limit.
Answer everySecond(const std::string& first, const std::string& piece) {
    return [=](Connection& connection) {
        connection.send(first);
        while (!connection.waitForEnd(std::chrono::milliseconds(10)))
            connection.send(piece);
    };
}

void silence(Connection& connection) {
    connection.waitForEnd();
}

void resetInMidBody(Connection& connection) {
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n{\"data\":[");
    connection.endByReset();
}

void redirectToItself(Connection& connection) {
    const std::string redirect =
        "HTTP/1.1 302 Found\r\nLocation: attached\r\nContent-Length: 0\r\nX: " +
        std::string(1000, 'x') + "\r\n\r\n";
    while (connection.send(redirect) && connection.readRequest()) {
    }
}

std::string littleEndian(std::uint32_t number, int size) {
    std::string text;
    for (int i = 0; i < size; ++i)
        text += static_cast<char>(number >> (8 * i));
    return text;
}

/// @p text in the format of gzip, though no shorter.
std::string gzipped(const std::string& text) {
    const auto size = static_cast<std::uint32_t>(text.size());
    boost::crc_32_type checksum;
    checksum.process_bytes(text.data(), text.size());
    return std::string("\x1F\x8B\x08\0\0\0\0\0\0\xFF", 10) + "\x01" + littleEndian(size, 2) +
           littleEndian(~size, 2) + text + littleEndian(checksum.checksum(), 4) +
           littleEndian(size, 4);
}

const std::string ok = "HTTP/1.1 200 OK\r\n";
const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
const std::string found = "HTTP/1.1 302 Found\r\n";
const std::string noMeters = R"({"data":[]})";

// What a poll looks like

const std::string hostilePoll = R"(-- tick
?? GET …/rtuconfig                200
?? GET …/attached                 hostile
)";
const std::string goodPoll = R"(-- tick
?? GET …/rtuconfig                200
?? GET …/attached                 200
)";
const std::string meterIsRead = R"(?? GET …/config/supported         200
>> unit 7  read input 10 x1
<< 05DC
>> unit 7  read holding 20 x2
<< 0000 0002
)";
/// The end of the message of the poll before.
const std::string messageEnds =
    R"(=  {"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>",)"
    R"("powerConsumed":1500.0,"energyConsumed":3600000.0}
)";
const std::string offered = "-- =================================\n";

/// The meters of the poll before are read.
std::string pollWithoutTransfer(const std::string& reason) {
    return hostilePoll +
           "!! error HttpClient Request failed: GET "
           "http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/attached, Reason: " +
           reason +
           "\n!! warning modbusSerial Error requesting from server code:-1 result: "
           "toolkit.cpp:<line>\n" +
           meterIsRead + messageEnds + offered + goodPoll + meterIsRead + messageEnds + offered;
}

/// No meter is read.
std::string pollWithUnreadableReply(const std::string& reason) {
    return hostilePoll +
           "!! warning modbusSerial Could not convert reply e:Failed to parse json. " + reason +
           " condition:object vx/json.cpp:<line> toolkit.cpp:<line>\n" +
           "?? GET …/config/supported         200\n" + messageEnds + goodPoll + meterIsRead +
           offered;
}

/// As if the server were well.
std::string pollWithGoodReply(const std::string&) {
    const std::string rest = meterIsRead + messageEnds + offered;
    return hostilePoll + rest + goodPoll + rest;
}

} // namespace

TEST_F(HostileServer, aTransferThatFailsIsNamedAndTheMetersOfThePollBeforeAreRead) {
    const Hostility hostilities[] = {
        {"no word at all", bytes(""), "Empty reply from server"},
        {"a reset in mid-body", resetInMidBody, "Recv failure: Connection reset by peer"},
        {"a length that is too large", bytes(ok + "Content-Length: 17\r\n\r\n" + noMeters),
         "transfer closed with 6 bytes remaining to read"},
        {"a length below zero", bytes(ok + "Content-Length: -1\r\n\r\n" + noMeters),
         "Invalid Content-Length: value"},
        {"a length that is no number", bytes(ok + "Content-Length: many\r\n\r\n" + noMeters),
         "Invalid Content-Length: value"},
        {"a chunk without its size", bytes(chunked + noMeters + "\r\n"),
         "Illegal or missing hexadecimal sequence in chunked-encoding"},
        {"a chunk of a size beyond all numbers",
         bytes(chunked + "11111111111111111\r\n" + noMeters),
         "Too long hexadecimal number in chunked-encoding"},
        {"a chunk that is longer than its size", bytes(chunked + "5\r\n" + noMeters + "\r\n"),
         "Malformed encoding found in chunked-encoding"},
        {"a chunk that breaks off", bytes(chunked + "20\r\n" + noMeters),
         "transfer closed with outstanding read data remaining"},
        {"chunks without the last one", bytes(chunked + "b\r\n" + noMeters + "\r\n"),
         "transfer closed with outstanding read data remaining"},
        {"a compressed transfer that is none",
         bytes(ok + "Transfer-Encoding: gzip\r\n\r\n" + noMeters),
         "Error while processing content unencoding: incorrect header check"},
        {"the banner of SSH", bytes("SSH-2.0-OpenSSH_9.2p1 Debian-2+deb12u3\r\n"),
         "Received HTTP/0.9 when not allowed"},
        {"an alert of TLS", bytes({"\x15\x03\x01\x00\x02\x02\x16", 7}),
         "Received HTTP/0.9 when not allowed"},
        {"the settings of HTTP/2", bytes({"\x00\x00\x00\x04\x00\x00\x00\x00\x00", 9}),
         "Received HTTP/0.9 when not allowed"},
        {"a version of HTTP that isn't there", bytes("HTTP/7.3 200 OK\r\n\r\n"),
         "Unsupported HTTP version (7.3) in response"},
        {"a status that is no number", bytes("HTTP/1.1 2x0 OK\r\n\r\n"),
         "Unsupported response code in HTTP response"},
        {"a NUL in the head", bytes(ok + std::string("X: \0\r\n\r\n", 8)), "Nul byte in header"},
        {"an endless head", endless(ok, "X-More: and more\r\n"),
         "Too large response headers: 307205 > 307200"},
        // The library has no word for it.
        {"an endless line of the head", endless(ok + "X-More: ", "and more "), ""},
        {"word without end that the reply will come", endless("", "HTTP/1.1 100 Continue\r\n\r\n"),
         "Too large response headers: 307223 > 307200"},
        {"a redirect to itself", redirectToItself, "Too large response headers: 308072 > 307200"},
        {"a redirect to a file of the controller",
         bytes(found + "Location: file:///etc/modbus-config.json\r\n\r\n"),
         R"(Protocol "file" not supported or disabled in libcurl)"},
        {"a redirect to where nobody listens",
         bytes(found + "Location: http://127.0.0.1:1/\r\n\r\n"),
         "Failed to connect to 127.0.0.1 port 1 after <ms> ms: Couldn't connect to server"},
    };

    expectPolls(hostilities, pollWithoutTransfer);
}

TEST_F(HostileServer, aTransferWithoutAnEndIsGivenUpAtTheTimeLimit) {
    const Hostility hostilities[] = {
        {"silence", silence,
         "Operation timed out after <ms> milliseconds with <count> bytes received"},
        {"a line of the head a second", everySecond(ok, "X-More: and more\r\n"),
         "Operation timed out after <ms> milliseconds with <count> bytes received"},
        {"a byte of the body a second", everySecond(ok + "\r\n", "["),
         "Operation timed out after <ms> milliseconds with <count> bytes received"},
        {"100 kB of the body a second", everySecond(ok + "\r\n", std::string(100000, '[')),
         "Operation timed out after <ms> milliseconds with <count> bytes received"},
    };

    shortenLimit();
    expectPolls(hostilities, pollWithoutTransfer);

    EXPECT_THAT(timesOfTimeOuts(), AllOf(SizeIs(4), Each(Ge(1200))));
}

TEST_F(HostileServer, eachOfTheThreeRequestsIsHeldForTheWholeTimeLimit) {
    for (const char* path :
         {LocalServer::rtuConfigPath, LocalServer::attachedPath, LocalServer::supportedPath})
        raw->answer(path, 3, silence);
    shortenLimit();
    startAndSettle();

    EXPECT_EQ(polls(2), R"(-- tick
?? GET …/rtuconfig                hostile
!! error HttpClient Request failed: GET http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/rtuconfig, Reason: Operation timed out after <ms> milliseconds with <count> bytes received
!! warning modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>
?? GET …/attached                 hostile
!! error HttpClient Request failed: GET http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/attached, Reason: Operation timed out after <ms> milliseconds with <count> bytes received
!! warning modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>
?? GET …/config/supported         hostile
!! error HttpClient Request failed: GET http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/config/supported, Reason: Operation timed out after <ms> milliseconds with <count> bytes received
!! warning modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>
)" + messageEnds + goodPoll +
                            meterIsRead + offered);
    EXPECT_THAT(timesOfTimeOuts(), AllOf(SizeIs(3), Each(Ge(1200))));
}

TEST_F(HostileServer, aReplyThatArrivesButIsNoJsonEmptiesTheListUntilTheNextPoll) {
    const Hostility hostilities[] = {
        // The library takes it for a reply without a body.
        {"a head that breaks off", bytes(ok + "Content-Len"), "unexpected end of data"},
        {"a length that is too small", bytes(ok + "Content-Length: 40\r\n\r\n" + oneMeter.attached),
         "unexpected end of data"},
        {"a body that is compressed",
         bytes(ok + "Content-Encoding: gzip\r\n\r\n" + gzipped(oneMeter.attached)),
         "unexpected character"},
        {"lists in lists, 100,000 deep",
         bytes(RawServer::reply(R"({"data":)" + std::string(100000, '[') +
                                std::string(100000, ']') + "}")),
         "nesting too deep"},
        {"objects in objects without end",
         [](Connection& connection) {
             std::string body;
             for (int depth = 0; depth < 100000; ++depth)
                 body += R"({"data":)";
             connection.send(RawServer::reply(body));
         },
         "nesting too deep"},
    };

    expectPolls(hostilities, pollWithUnreadableReply);
}

TEST_F(HostileServer, someRepliesOfBadFormAreTakenAllTheSame) {
    const Hostility hostilities[] = {
        {"a length beyond all numbers, which is passed over",
         bytes(ok + "Content-Length: 99999999999999999999999\r\n\r\n" + oneMeter.attached), ""},
        {"two lengths, the last of which counts",
         bytes(ok + "Content-Length: 1\r\nContent-Length: " +
               std::to_string(oneMeter.attached.size()) + "\r\n\r\n" + oneMeter.attached),
         ""},
        {"a transfer that is compressed unasked, and unpacked",
         bytes(ok + "Transfer-Encoding: gzip\r\n\r\n" + gzipped(oneMeter.attached)), ""},
        {"line ends without carriage returns", bytes("HTTP/1.1 200 OK\n\n" + oneMeter.attached),
         ""},
    };

    expectPolls(hostilities, pollWithGoodReply);
}

TEST_F(HostileServer, aReplyOfTenMegabytesIsTaken) {
    const std::string reply =
        R"({"more":")" + std::string(10'000'000, 'x') + R"(",)" + oneMeter.attached.substr(1);
    raw->answer(LocalServer::attachedPath, 3, bytes(RawServer::reply(reply)));
    startAndSettle();

    EXPECT_EQ(polls(2), pollWithGoodReply(""));
}

TEST_F(HostileServer, ninetyThousandNullsAmongTheAttachedMetersAreMetersWithoutAModel) {
    std::string reply = R"({"data":[)";
    for (int i = 0; i < 90000; ++i)
        reply += "null,";
    reply += oneMeter.attached.substr(std::string(R"({"data":[)").size());
    raw->answer(LocalServer::attachedPath, 3, bytes(RawServer::reply(reply)));
    startAndSettle();

    EXPECT_EQ(polls(2), pollWithGoodReply(""));
}

TEST_F(HostileServer, lineEndsInItsValuesForgeLogLinesAndNoMessage) {
    raw->serve(LocalServer::attachedPath,
               R"({"data":[{"configId":"c1","serial":"S-1\n[2026-11-21T22:28:21.846+00:00]  4711 )"
               R"(ERROR modbusSerial The roof is on fire\n","slaveAddress":7}]})");
    start("");

    const std::string poll = transcriptUntil("retry timer");

    end();
    EXPECT_EQ(poll, R"(?? GET …/rtuconfig                200
-- reconnect
?? GET …/attached                 200
?? GET …/config/supported         200
!! error modbusSerial The roof is on fire
>> unit 7  read input 10 x1
<< 05DC
>> unit 7  read holding 20 x2
<< 0000 0002
!! error modbusSerial The roof is on fire
-- =================================
=  {"id":"S-1\n[2026-11-21T22:28:21.846+00:00]  4711 ERROR modbusSerial The roof is on fire\n","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>","powerConsumed":1500.0,"energyConsumed":3600000.0}
)");
}
