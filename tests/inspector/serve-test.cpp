#include "inspector-program.h"
#include "served-home.h"

#include "house/patience.h"

#include <gmock/gmock.h>
#include <poll.h>

#include <csignal>
#include <filesystem>
#include <regex>

using namespace inspector;
using testing::HasSubstr;
using testing::Not;

namespace {

using ServeTest = ServedHome;

/// Without what differs from run to run.
std::string steady(const std::string& text) {
    static const std::regex ages(R"((age_seconds[^ ]*) [0-9.]+)");
    static const std::regex version(R"(version="[^"]*")");
    return std::regex_replace(std::regex_replace(text, ages, "$1 <age>"), version,
                              R"(version="<version>")");
}

constexpr const char* servedValues = R"(,"powerConsumed":1500.5,"energyConsumed":3600000.0)";

} // namespace

TEST_F(ServeTest, servesThePageAndWhatItIsMadeOf) {
    start();

    for (const auto& [path, type] : std::vector<std::pair<std::string, std::string>>{
             {"/", "text/html; charset=utf-8"},
             {"/page.css", "text/css; charset=utf-8"},
             {"/page.js", "text/javascript; charset=utf-8"},
             {"/dygraph.js", "text/javascript; charset=utf-8"},
             {"/dygraph.css", "text/css; charset=utf-8"},
             {"/icon.svg", "image/svg+xml"}}) {
        const HttpAnswer answer = get(path);
        EXPECT_EQ(answer.status, 200) << path;
        EXPECT_THAT(answer.head, HasSubstr("\r\nContent-Type: " + type + "\r\n")) << path;
        EXPECT_THAT(answer.head, HasSubstr("\r\nContent-Security-Policy: default-src 'none';"));
        EXPECT_FALSE(answer.body.empty()) << path;
    }
}

TEST_F(ServeTest, servesNoFile) {
    start();

    for (const std::string path :
         {"/etc/modbus-config.json", "/../../../../etc/modbus-config.json", "//", "/page.js/",
          "/%2e%2e/%2e%2e/etc/libvx", "http://127.0.0.1:8090/", "/api/v1/", "/metrics/x"}) {
        const HttpAnswer answer = get(path);
        EXPECT_EQ(answer.status, 404) << path;
        EXPECT_EQ(answer.body, "There is nothing here.\n") << path;
    }
}

TEST_F(ServeTest, showsTheHomeOfTheLog) {
    poll(1, servedValues, 4000);
    poll(1, servedValues, 2000);
    tick();
    start();

    const std::string home = awaitHome(R"("polls":2)");

    EXPECT_THAT(home, HasSubstr(R"("meters":[{"slaveAddress":1,"id":"S-1",)"));
    EXPECT_THAT(home, HasSubstr(R"("health":"good")"));
    EXPECT_THAT(home, HasSubstr(R"("powerConsumed":1500.5,"energyConsumed":3600000.0)"));
    EXPECT_THAT(home, HasSubstr(R"("delivered":2,"lost":0)"));
    EXPECT_THAT(home, Not(HasSubstr(R"("powers")")));
    EXPECT_THAT(get("/api/v1/home").body, HasSubstr(R"("powers":[[)"));
}

TEST_F(ServeTest, tellsWhatIsUnknownAsNull) {
    start();

    const std::string home = get("/api/v1/home").body;

    EXPECT_THAT(home, HasSubstr(R"("health":"unknown","polls":null,"lastPollAgeSeconds":null)"));
    EXPECT_THAT(home, HasSubstr(R"("delivered":null,"lost":null)"));
    EXPECT_THAT(home, HasSubstr(R"("meters":[])"));
}

TEST_F(ServeTest, tellsNewsAsTheyCome) {
    start();
    awaitHome(R"("meters":[])");
    poll(1, servedValues, 2000);
    tick();
    awaitHome(R"("health":"good")");

    line("NOTIC modbusSerial", "Reading meter now slaveAddress:1");
    failure("Connection timed out");
    failure("Connection timed out", 0, "energyImport");
    message(1, servedValues);
    tick();

    const std::string home = awaitHome(R"("health":"silent")");
    EXPECT_THAT(home, HasSubstr(R"("power":null)"));
    EXPECT_THAT(home, HasSubstr(R"("failures":[{"address":10,"registerType":"input",)"
                                R"("fieldType":"powerImport","kind":"timeout","count":1,)"));
    EXPECT_THAT(home, HasSubstr(R"("remedy":"Check)"));

    poll(1, servedValues);
    tick();
    awaitHome(R"("health":"good","ageSeconds")");
}

TEST_F(ServeTest, readsOnWhenAnotherLogTakesThePlace) {
    poll(1, servedValues, 2000);
    start();
    awaitHome(R"("lines":4)");

    std::filesystem::rename(m_log, m_log + ".1");
    poll(1, servedValues);
    tick();

    awaitHome(R"("lines":9)");
}

TEST_F(ServeTest, readsOnWhenTheLogIsEmptied) {
    poll(1, servedValues, 2000);
    start();
    awaitHome(R"("lines":4)");

    std::filesystem::resize_file(m_log, 0);
    tick();

    awaitHome(R"("lines":5)");
}

TEST_F(ServeTest, exportsMetrics) {
    start();
    awaitHome(R"("meters":[])");
    poll(1, servedValues, 4000);
    poll(1, servedValues, 2000);
    failure("Connection timed out");
    tick();
    awaitHome(R"("polls":2)");

    const HttpAnswer answer = get("/metrics");

    EXPECT_THAT(answer.head, HasSubstr("Content-Type: text/plain; version=0.0.4; charset=utf-8"));
    EXPECT_THAT(steady(answer.body), HasSubstr(R"(# HELP modbus_reader_polls_total Polls that ended.
# TYPE modbus_reader_polls_total counter
modbus_reader_polls_total 2
)"));
    // The power of an earlier poll stands in.
    EXPECT_THAT(answer.body, Not(HasSubstr("modbus_meter_power_import_watts")));
    EXPECT_THAT(
        steady(answer.body),
        HasSubstr(R"(modbus_meter_energy_import_joules_total{slave_address="1",meter="S-1"} 3600000
)"));
    EXPECT_THAT(steady(answer.body),
                HasSubstr("modbus_meter_register_failures_total{slave_address=\"1\",meter=\"S-1\","
                          "kind=\"timeout\"} 1\n"));
    EXPECT_THAT(answer.body, Not(HasSubstr("# EOF")));
}

TEST_F(ServeTest, exportsOpenMetricsToWhoAsksForThem) {
    start();

    const HttpAnswer answer =
        get("/metrics", "Accept: application/openmetrics-text;version=1.0.0,text/plain;q=0.5\r\n");

    EXPECT_THAT(
        answer.head,
        HasSubstr("Content-Type: application/openmetrics-text; version=1.0.0; charset=utf-8"));
    EXPECT_THAT(steady(answer.body), testing::StartsWith(
                                         R"(# HELP modbus_inspector_build Version of the exporter.
# TYPE modbus_inspector_build info
modbus_inspector_build_info{version="<version>"} 1
# HELP modbus_reader_polls Polls that ended.
# TYPE modbus_reader_polls counter
modbus_reader_polls_total 0
# HELP modbus_reader_poll_age_seconds Time since the last poll ended, or since the exporter started if it knows of none.
# TYPE modbus_reader_poll_age_seconds gauge
# UNIT modbus_reader_poll_age_seconds seconds
modbus_reader_poll_age_seconds <age>
)"));
    EXPECT_TRUE(answer.body.ends_with("# EOF\n"));
}

TEST_F(ServeTest, countsNothingOfThePast) {
    poll(1, servedValues, 4000);
    poll(1, servedValues, 2000);
    tick();
    start();
    awaitHome(R"("polls":2)");

    const std::string metrics = get("/metrics").body;

    EXPECT_THAT(metrics, HasSubstr("\nmodbus_reader_polls_total 0\n"));
    EXPECT_THAT(metrics,
                HasSubstr("\nmodbus_meter_polls_total{slave_address=\"1\",meter=\"S-1\"} 0\n"));
    EXPECT_THAT(metrics, HasSubstr("\nmodbus_reader_last_poll_duration_seconds 2"));
    EXPECT_THAT(
        metrics,
        HasSubstr("modbus_meter_power_import_watts{slave_address=\"1\",meter=\"S-1\"} 1500.5\n"));
}

TEST_F(ServeTest, answersToReadAlone) {
    start();

    for (const std::string method : {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PATCH"}) {
        const HttpAnswer answer = exchange(method + " / HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_EQ(answer.status, 405) << method;
        EXPECT_THAT(answer.head, HasSubstr("\r\nAllow: GET, HEAD\r\n"));
    }
    const HttpAnswer head = exchange("HEAD / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(head.status, 200);
    EXPECT_THAT(head.head, HasSubstr("\r\nContent-Length: "));
}

TEST_F(ServeTest, answersUnderItsOwnNamesAlone) {
    start({"--name", "controller.example"});
    const auto statusFor = [](const std::string& host) {
        return exchange("GET / HTTP/1.1\r\nHost: " + host + "\r\n\r\n").status;
    };

    for (const std::string host : {"localhost:8090", "127.0.0.1", "192.0.2.7:80", "[::1]:8090",
                                   "LOCALHOST", "controller.example:8090"})
        EXPECT_EQ(statusFor(host), 200) << host;
    for (const std::string host : {"evil.example:8090", "127.0.0.1.evil.example", "", "[::1"})
        EXPECT_EQ(statusFor(host), 421) << host;
    EXPECT_EQ(exchange("GET / HTTP/1.1\r\n\r\n").status, 400);
    EXPECT_EQ(exchange("GET / HTTP/1.1\r\nHost: localhost\r\nHost: localhost\r\n\r\n").status, 400);
}

TEST_F(ServeTest, answersNoPageFromElsewhere) {
    start();

    EXPECT_EQ(get("/api/v1/home", "Origin: http://127.0.0.1:8090\r\n").status, 200);
    for (const std::string origin : {"http://evil.example", "null", "http://127.0.0.1:80"})
        EXPECT_EQ(get("/api/v1/home", "Origin: " + origin + "\r\n").status, 403) << origin;
}

TEST_F(ServeTest, takesNoLongHeadAndNoBody) {
    start();

    EXPECT_EQ(get("/", "X: " + std::string(9000, 'x') + "\r\n").status, 431);
    EXPECT_EQ(get("/", "Content-Length: 1\r\n").status, 413);
    EXPECT_EQ(exchange("nonsense\r\n\r\n").status, 400);
    EXPECT_EQ(get("/").status, 200);
}

TEST_F(ServeTest, answersSeveralRequestsOfOneConnection) {
    start();
    Client client;

    for (int i = 0; i < 3; ++i) {
        client.send("GET /icon.svg HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_EQ(client.readAnswer().status, 200);
    }
}

TEST_F(ServeTest, dropsWhoTakesNoNews) {
    // Names make the news long.
    for (int i = 1; i <= 200; ++i)
        poll(i, servedValues);
    tick();
    start();
    awaitHome(R"("slaveAddress":200)");
    Client slow;
    slow.keepLittle();
    slow.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    Client prompt;
    prompt.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n");

    const auto begin = std::chrono::steady_clock::now();
    bool isDropped = false;
    while (!isDropped && std::chrono::steady_clock::now() - begin < std::chrono::seconds{30}) {
        poll(1, servedValues);
        tick();
        prompt.readUntil("\n\n");
        pollfd wait{slow.socket().native_handle(), POLLRDHUP, 0};
        isDropped = ::poll(&wait, 1, 0) == 1;
    }

    EXPECT_TRUE(isDropped);
    poll(1, servedValues);
    tick();
    EXPECT_THAT(prompt.readUntil("\n\n"), HasSubstr("event: home"));
}

TEST_F(ServeTest, leavesRoomForOthersBesideStreams) {
    // 64 connections, of which 32 may be streams.
    startWithDescriptors(96);
    const std::string events = "GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n";
    std::vector<std::unique_ptr<Client>> clients;
    const auto open = [&](std::size_t number, const std::string& request) {
        for (std::size_t i = 0; i < number; ++i) {
            clients.push_back(std::make_unique<Client>());
            clients.back()->send(request);
        }
        return clients.back()->readUntil("\r\n");
    };
    const std::string icon = "GET /icon.svg HTTP/1.1\r\nHost: localhost\r\n\r\n";

    EXPECT_EQ(open(32, events), "HTTP/1.1 200 OK");
    EXPECT_EQ(open(1, events), "HTTP/1.1 503 Service Unavailable");
    clients.back()->waitForEnd();
    EXPECT_EQ(open(32, icon), "HTTP/1.1 200 OK");
    EXPECT_EQ(open(1, icon), "HTTP/1.1 503 Service Unavailable");
    clients.clear();
    // Room comes back.
    const auto limit = std::chrono::steady_clock::now() + house::Patience::limit();
    while (open(1, icon) != "HTTP/1.1 200 OK")
        ASSERT_LT(std::chrono::steady_clock::now(), limit);
}

TEST_F(ServeTest, endsAConnectionThatIsIdle) {
    start();
    Client client;

    EXPECT_TRUE(client.waitForEnd(std::chrono::seconds{60}));
}

TEST_F(ServeTest, tellsTheLastFailuresOfThousands) {
    for (int i = 0; i < 700; ++i)
        failure("words " + std::to_string(i), 700 - i);
    tick();
    start();

    const std::string home = awaitHome(R"("failuresLeftOut":200)");
    EXPECT_THAT(home, HasSubstr("words 699"));
    EXPECT_THAT(home, Not(HasSubstr("words 199")));
}

TEST_F(ServeTest, endsAtCtrlC) {
    start();
    get("/");

    EXPECT_EQ(endBySignal(SIGINT), 0);
    EXPECT_EQ(errors(), "");
}

TEST_F(ServeTest, refusesAPortThatIsTaken) {
    start();
    get("/");

    const ProgramResult result = run({"serve", "--log", m_log});

    EXPECT_EQ(result.standardError, "modbus-inspector: 127.0.0.1:8090: Address already in use\n");
    EXPECT_EQ(result.status, 2);
}

TEST(Serve, refusesALogThatIsNotThere) {
    const ProgramResult result = run({"serve", "--log", "/nowhere/log"});

    EXPECT_EQ(result.standardError, "modbus-inspector: /nowhere/log: No such file or directory\n");
    EXPECT_EQ(result.status, 2);
}

TEST(Serve, refusesAPackedLog) {
    const TemporaryDirectory directory;
    const std::string gzip = directory.write("log.gz", "\x1f\x8b\x08 and so on");
    const std::string zstd = directory.write("log.zst", "\x28\xb5\x2f\xfd and so on");

    const ProgramResult result = run({"serve", gzip});

    EXPECT_EQ(result.standardError,
              "modbus-inspector: " + gzip + ": is packed; give what zcat makes of it to --log -\n");
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(run({"serve", zstd}).standardError, HasSubstr("give what zstdcat makes of it"));
}

TEST(Serve, refusesWhatIsNoPlaceToListenAt) {
    for (const std::string place : {"127.0.0.1", "127.0.0.1:65536", "localhost:8090", ":8090",
                                    "127.0.0.1:", "127.0.0.1:80x", "::1:8090", "[127.0.0.1]:80"}) {
        const ProgramResult result = run({"serve", "--log", "/dev/null", "--listen", place});
        EXPECT_THAT(result.standardError,
                    HasSubstr("'" + place + "' is no address and port such as 127.0.0.1:8090"));
        EXPECT_EQ(result.status, 2) << place;
    }
}

TEST(Serve, refusesADirectory) {
    const ProgramResult result = run({"serve", "--log", "/etc"});

    EXPECT_EQ(result.standardError, "modbus-inspector: /etc: Is a directory\n");
    EXPECT_EQ(result.status, 2);
}
