#include "inspector-program.h"
#include "served-home.h"

#include <gmock/gmock.h>

#include <csignal>
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

TEST_F(ServeTest, servesTheLibraryOfThePlotsWithItsLicense) {
    start();

    for (const std::string path : {"/dygraph.js", "/dygraph.css"})
        EXPECT_THAT(get(path).body, testing::StartsWith("/*\ndygraphs, of which this is the whole "
                                                        "library:\n\nCopyright (c) 2006, "));
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

TEST_F(ServeTest, exportsMetrics) {
    start();
    // What the log holds is read: nothing.
    awaitHome("No line of the reader so far");
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

TEST(Serve, refusesAJournalThatIsNotThere) {
    const ProgramResult result = run({"serve", "--journal"});

    EXPECT_EQ(result.standardError, "modbus-inspector: journal: there is none that this user may "
                                    "read, as who is in the group systemd-journal may\n");
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
