// What the real executable makes of limits: of descriptors and memory that run out, and of each
// single allocation that fails.

#include "e2e/counting-home.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <regex>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

using house::Answer;
using testing::AnyOf;
using testing::AnyOfArray;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::SizeIs;

namespace {

/// How a process ended: by a signal, or with an exit status.
std::string endOf(int status) {
    if (status == -1)
        return "no end";
    return WIFSIGNALED(status) ? std::string("SIG") + sigabbrev_np(WTERMSIG(status))
                               : "status " + std::to_string(WEXITSTATUS(status));
}

/// Lets a running process have @p bytes of address space. It keeps what it has.
void allowMemory(pid_t pid, rlim_t bytes) {
    const rlimit limit{bytes, RLIM_INFINITY};
    ASSERT_EQ(prlimit(pid, RLIMIT_AS, &limit, nullptr), 0);
}

/// The warnings and errors of requests that find no descriptor.
std::vector<std::string> withoutDescriptors(const std::vector<std::string>& names) {
    std::vector<std::string> lines;
    for (const std::string& name : names) {
        lines.push_back(failedRequest + name +
                        ", Reason: Failed to connect to 127.0.0.1 port 8088 after <ms> ms: "
                        "Couldn't connect to server");
        lines.push_back(noAnswer);
    }
    return lines;
}

const std::vector<std::string> allRequests = {"rtuconfig", "attached", "config/supported"};

/// The warnings and errors of @p lines.
std::vector<std::string> complaintsOf(std::vector<std::string> lines) {
    std::erase_if(lines, [](const std::string& line) {
        return !line.starts_with("warning ") && !line.starts_with("error ");
    });
    return lines;
}

using HostileLimits = CountingHome;

} // namespace

// Descriptors

namespace {

/// A reader that has few descriptors from its start on.
class FewDescriptors : public HostileLimits {
protected:
    void startWith(int count) {
        HostileLimits::start(shell("ulimit -n " + std::to_string(count) + R"(; exec "$0")"), "",
                             {"LAST_POLL=5"});
    }

    /// The warnings and errors up to the @p count'th tick, of which the first stands at the
    /// beginning if some were taken before.
    std::vector<std::string> complaintsOfPolls(std::size_t count) {
        return complaintsOf(logUntil("retry timer", count));
    }
};

} // namespace

TEST_F(FewDescriptors, threeAreTooFewToLoadTheLibraries) {
    // Without a library that is preloaded.
    ProcessWorld::start({}, {}, shell(R"(ulimit -n 3; exec "$0")"));

    EXPECT_EQ(endOf(reader->waitForExit()), "status 127");
    EXPECT_THAT(log(), ElementsAre(MatchesRegex(
                           ".*modbus-reader: error while loading shared libraries: [^ ]*: cannot "
                           "open shared object file: Error 24")));
}

TEST_F(FewDescriptors, fourEndTheFirstPollByAnExceptionThatNoHandlerTakes) {
    startWith(4);

    EXPECT_EQ(endOf(reader->waitForExit()), "SIGABRT");
    EXPECT_THAT(linesBetween(log(), "terminate", "nothing else"),
                ElementsAre("terminate called after throwing an instance of "
                            "'boost::wrapexcept<boost::system::system_error>'",
                            "  what():  eventfd_select_interrupter: Too many open files"));
}

TEST_F(FewDescriptors, fiveToSevenLeaveTheReaderDeaf) {
    startWith(5);
    EXPECT_EQ(complaintsOfPolls(1), withoutDescriptors(allRequests));
    EXPECT_EQ(complaintsOfPolls(2), withoutDescriptors(allRequests));
    end();

    // One more is enough for the first request, and is taken by the bus then.
    startWith(6);
    EXPECT_EQ(complaintsOfPolls(1), withoutDescriptors({"attached", "config/supported"}));
    EXPECT_EQ(complaintsOfPolls(2), withoutDescriptors(allRequests));
    end();

    // And one more for the first poll, whose message finds none.
    startWith(7);
    EXPECT_THAT(complaintsOfPolls(1),
                ElementsAre("warning modbusreaderSocketWriter Could not connect ec:Too many open "
                            "files self->m_endpoint.path():/var/run/orv-metering.sock "
                            "socket-writer.cpp:<line>"));
    EXPECT_EQ(complaintsOfPolls(2), withoutDescriptors(allRequests));
    end();
}

// A connection is closed after the next poll, which so finds none for its requests. The first poll
// is followed by a pause, in which it is.
TEST_F(FewDescriptors, eightLoseEverySecondPoll) {
    ProcessWorld::start({"LD_PRELOAD=" SHORT_PAUSES_LIBRARY}, {},
                        shell(R"(ulimit -n 8; exec "$0")"));

    EXPECT_THAT(complaintsOfPolls(2), SizeIs(0));
    EXPECT_EQ(complaintsOfPolls(2), withoutDescriptors(allRequests));
    EXPECT_THAT(complaintsOfPolls(2), SizeIs(0));
    end();
}

TEST_F(FewDescriptors, nineAreEnoughForOneMeter) {
    startWith(9);

    EXPECT_TRUE(waitForMessage(messageOf(3)));
    EXPECT_THAT(messagesSoFar(), IsSupersetOf({messageOf(1), messageOf(2)}));
    EXPECT_THAT(complaints(), SizeIs(0));
}

TEST_F(HostileLimits, withoutDescriptorsNoPollDeliversUntilThereAreSome) {
    atEachPoll([this](int poll) {
        if (poll == 3)
            reader->allowDescriptors(3);
    });
    start();

    const auto lines = logUntil(failedRequest + "config/supported", 2);
    EXPECT_EQ(poll(), 3);
    EXPECT_THAT(messagesSoFar(), ElementsAre(messageOf(1), messageOf(2)));
    reader->allowDescriptors(1024);
    EXPECT_TRUE(waitForMessage(messageOf(4)));
    end();

    std::vector<std::string> expected = withoutDescriptors({"attached", "config/supported"});
    for (const std::string& line : withoutDescriptors({"rtuconfig", "attached"}))
        expected.push_back(line);
    EXPECT_EQ(complaintsOf(lines), expected);
}

// Memory

TEST_F(HostileLimits, tooLittleMemoryToLoadTheLibrariesEndsTheStartAndMoreIsEnough) {
    std::vector<std::string> ends;
    for (const int megabytes : {4, 8, 12, 64, 96}) {
        start(shell("ulimit -v " + std::to_string(megabytes * 1024) + R"(; exec "$0")"), "",
              {"LAST_POLL=3"});
        ends.push_back(std::to_string(megabytes) + " MB: " + endOf(reader->waitForExit()));
        if (ends.back().ends_with("127")) {
            EXPECT_THAT(log().back(), MatchesRegex(".*modbus-reader: error while loading shared "
                                                   "libraries: .*: .*shared object.*"));
        } else {
            EXPECT_TRUE(waitForMessage(messageOf(2)));
        }
        EXPECT_THAT(complaints(), SizeIs(0));
        end();
    }

    EXPECT_THAT(ends, ElementsAre("4 MB: status 127", "8 MB: status 127", "12 MB: status 127",
                                  "64 MB: status 0", "96 MB: status 0"));
}

// What had come of the body is lost with the block that could not grow, and with it all that was
// free: no later request finds memory.
TEST_F(HostileLimits, aBodyThatFindsNoneLeavesTheReaderDeafUntilThereIsMore) {
    atEachPoll([this](int poll) {
        if (poll != 3)
            return;
        allowMemory(reader->pid(), 1);
        server->answerNext(LocalServer::attachedPath,
                           Answer::withBody(oneMeter.attached + std::string(1'000'000, ' ')));
    });
    start();

    const std::vector<std::string> lines = logUntil(failedRequest + "config/supported", 2);
    EXPECT_EQ(poll(), 3);
    allowMemory(reader->pid(), RLIM_INFINITY);
    EXPECT_TRUE(waitForMessage(messageOf(4)));
    end();

    EXPECT_THAT(
        linesBetween(lines, "System", "notice modbusSerial Attached Meters"),
        ElementsAre("notice System URL::appendCallback: (realloc failed)", " ",
                    failedRequest + "attached, Reason: Failure writing output to destination"));
    EXPECT_THAT(linesBetween({lines.rbegin(), lines.rend()}, noAnswer, "retry timer"),
                ElementsAre(noAnswer,
                            "notice modbusSerial Attached Meters result: toolkit.cpp:<line>",
                            failedRequest + "attached, Reason: ", noAnswer,
                            failedRequest + "rtuconfig, Reason: ",
                            "notice modbusreaderMain callback ec:Success main.cpp:<line>"));
}

namespace {

/// A reader one of whose allocations fails.
class FailingAllocation : public CountingHome {
protected:
    /// Lets allocations of that poll fail, one in each run: forty of them, or each with the
    /// variable EACH_ALLOCATION in the environment.
    void failInTurn(int poll) {
        const int all = run(poll, 0);
        ASSERT_GT(all, 40);
        m_outcomes.clear();
        const int step = std::getenv("EACH_ALLOCATION") == nullptr ? all / 40 : 1;
        for (int number = 1; number <= all; number += step)
            run(poll, number);
        for (const auto& [outcome, count] : m_outcomes)
            std::cout << outcome << ": " << count << '\n';
    }

    /// How many runs ended so.
    std::map<std::string, int> m_outcomes;

private:
    /// Gives the number of allocations of that poll, or 0 if it didn't come to its end.
    int run(int poll, int number) {
        const std::string order = std::to_string(poll) + ":" + std::to_string(number);
        SCOPED_TRACE("allocation " + order);
        start({}, FAILING_ALLOCATION_LIBRARY ":",
              {"FAILING_ALLOCATION=" + order, "LAST_POLL=" + std::to_string(poll + 3)});
        const std::string outcome = endOf(reader->waitForExit());
        const std::vector<std::string> lines = log();
        const int allocations = allocationsOf(poll, lines);
        // A poll may have fewer than another, as what its event loop does falls into one or the
        // next.
        if (number != 0 && (outcome != "status 0" || allocations >= number)) {
            EXPECT_THAT(lines, Contains("allocation " + order + " fails"));
        }
        if (outcome == "status 0")
            expectDelivery(poll, lines);
        else
            expectDeath(outcome, lines);
        ++m_outcomes[outcome];
        end();
        return allocations;
    }

    static int allocationsOf(int poll, const std::vector<std::string>& lines) {
        const std::string begin = "poll " + std::to_string(poll) + " has ";
        const std::vector<std::string> told = linesWith(lines, begin);
        return told.empty() ? 0 : std::stoi(told.front().substr(begin.size()));
    }

    /// The poll behind the failure delivers, and nothing but that of the failure loses anything. A
    /// poll whose first request fails isn't counted.
    void expectDelivery(int poll, const std::vector<std::string>& lines) {
        const std::vector<std::string> trouble = troubleOf(lines);
        EXPECT_THAT(trouble, Each(AnyOfArray(knownTrouble())));
        // Whoever never had a connection has none until the serial parameters change.
        const bool neverConnects =
            poll == 1 && linesWith(trouble, "Could not read register").size() > 2;
        const std::string next = neverConnects ? messageWithoutValues : messageOf(poll + 1);
        EXPECT_TRUE(waitForMessage(next));
        for (const std::string& text : messagesSoFar()) {
            if (!isSilentLoss(text, messageOf(poll))) {
                EXPECT_THAT(text, AnyOf(messageOf(poll - 1), next, messageOf(poll + 2)));
            }
        }
    }

    /// Whether @p message is @p good but for members that are missing, null, or under an empty key,
    /// or an energy that isn't scaled, and whatever its moment: the JSON library tells of none that
    /// it has no memory for, be it of a reply or of a message.
    static bool isSilentLoss(const std::string& message, const std::string& good) {
        constexpr const char* unscaledEnergy = "7200000.0";
        static const std::regex member(R"re("([a-zA-Z]*)":("[^"]*"|[^,}]*))re");
        const auto membersOf = [](const std::string& text) {
            return std::vector<std::smatch>(std::sregex_iterator(text.begin(), text.end(), member),
                                            {});
        };
        const std::vector<std::smatch> known = membersOf(good);
        const std::vector<std::smatch> told = membersOf(message);
        return std::all_of(told.begin(), told.end(), [&](const std::smatch& x) {
            return std::any_of(known.begin(), known.end(), [&](const std::smatch& y) {
                return (x[1] == y[1] || x[1].length() == 0) &&
                       (x[2] == y[2] || x[2] == "null" || y[1] == "lastChanged" ||
                        (y[1] == "energyConsumed" && x[2] == unscaledEnergy));
            });
        });
    }

    static constexpr const char* messageWithoutValues =
        R"({"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>"})";

    /// By an exception that no handler takes; or in the JSON library, by an assertion, or because
    /// it doesn't look whether it was given any while it reads a reply.
    static void expectDeath(const std::string& outcome, const std::vector<std::string>& lines) {
        if (outcome == "SIGABRT") {
            EXPECT_THAT(troubleOf(lines),
                        AnyOf(ElementsAre("terminate called after throwing an instance of "
                                          "'std::bad_alloc'",
                                          "  what():  std::bad_alloc"),
                              ElementsAre(MatchesRegex(
                                  "modbus-reader: ./json_object\\.c:.*: Assertion .* failed\\."))));
        } else {
            EXPECT_EQ(outcome, "SIGSEGV");
            EXPECT_THAT(lines.at(lines.size() - 2),
                        MatchesRegex("notice (modbusSerial|orvMODBUSConfigFile) (result:|Attached "
                                     "Meters|Supported Meters|Load configuration).*"));
        }
    }

    /// What a good poll doesn't say.
    static std::vector<std::string> troubleOf(const std::vector<std::string>& lines) {
        static const std::regex usual(
            "(notice (modbus|orvMODBUS)|debug modbus|====|poll |allocation ).*| ?");
        static const std::regex path("modbus/[a-z/]+,");
        static const std::regex aRegister("aRegister:.*");
        std::vector<std::string> trouble;
        for (const std::string& line : lines)
            if (!std::regex_match(line, usual))
                trouble.push_back(std::regex_replace(std::regex_replace(line, path, "modbus/…,"),
                                                     aRegister, "aRegister:…"));
        return trouble;
    }

    static std::vector<std::string> knownTrouble() {
        const std::string failed = failedRequest + "…, Reason: ";
        const std::string unconverted = "warning modbusSerial Could not convert reply e:";
        const std::string unread = "Failed to read file filename:/etc/modbus-config.json e:";
        const std::string position = " vx/system.cpp:<line> toolkit.cpp:<line>";
        const std::string unreadRegister =
            "warning modbusSerial Could not read register strerror((*__errno_location ())):";
        return {
            failed,
            failed + "No URL set",
            failed + "Could not resolve host: 127.0.0.1",
            failed + "Failed to connect to 127.0.0.1 port 8088 after <ms> ms: Out of memory",
            failed + "Failure writing output to destination",
            "notice System URL::appendCallback: (realloc failed)",
            noAnswer,
            unconverted + "std::bad_alloc toolkit.cpp:<line>",
            unconverted + "basic_string: construction from null is not valid toolkit.cpp:<line>",
            unconverted + "condition:tok vx/json.cpp:<line> toolkit.cpp:<line>",
            unconverted + "Failed to parse json. success condition:object vx/json.cpp:<line> "
                          "toolkit.cpp:<line>",
            // Of the configuration file: its text, the address or the port that it names.
            unconverted + unread + "basic_ios::clear: iostream error" + position,
            unconverted + unread + "std::bad_alloc" + position,
            "error modbusSerial RS485 could not be configured serialDevice:/dev/ttymxc2 "
            "toolkit.cpp:<line>",
            "warning modbusSerial Could not connect serial strerror((*__errno_location ())):No "
            "such file or directory toolkit.cpp:<line>",
            "warning modbusSerial Could not connect TCP strerror((*__errno_location "
            "())):Connection "
            "refused toolkit.cpp:<line>",
            "warning modbusSerial Could not connect TCP strerror((*__errno_location ())):Invalid "
            "argument toolkit.cpp:<line>",
            unreadRegister + "Bad file descriptor aRegister:…",
            unreadRegister + "Invalid argument aRegister:…",
            // Where the address of the meter is lost.
            unreadRegister + "Connection timed out aRegister:…",
            // Where the serial is lost on the list, or a register's length.
            unreadRegister + "Unknown error 112345680 aRegister:…",
            unreadRegister + "Unknown error 112345681 aRegister:…",
        };
    }
};

} // namespace

TEST_F(FailingAllocation, ofTheStartOrItsPollEndsTheProcessOrIsLoggedAndTheNextPollDelivers) {
    failInTurn(1);

    EXPECT_GT(m_outcomes["status 0"], 10);
    EXPECT_GT(m_outcomes["SIGABRT"], 0);
}

TEST_F(FailingAllocation, ofALaterPollEndsTheProcessOrIsLoggedAndTheNextPollDelivers) {
    failInTurn(2);

    EXPECT_GT(m_outcomes["status 0"], 10);
    EXPECT_GT(m_outcomes["SIGABRT"], 0);
}
