#pragma once

#include "inspector/home/length-histogram.h"
#include "inspector/home/readings.h"
#include "model/modbus.h"

#include <array>
#include <compare>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

// What a log tells of a home. Where the rules of the log leave out what would tell, a value is
// unset: it is unknown then, which is not zero.

namespace inspector {

/// How often something was seen, and when.
struct Occurrences {
    std::size_t count = 0;
    Moment first = 0;
    Moment last = 0;

    void add(Moment time, std::size_t times = 1) {
        if (count == 0)
            first = time;
        count += times;
        last = time;
    }
};

/// A register of a map.
struct RegisterPlace {
    bool isInput = false;
    int address = 0;
    vxModel::ModbusFieldType fieldType = vxModel::ModbusFieldType::none;

    // NOLINTNEXTLINE(modernize-use-nullptr): the check takes what it compares with for a pointer
    auto operator<=>(const RegisterPlace&) const = default;
};

/// A register that could not be read, for one reason: the key of docs/diagnostics.json, or the
/// words of the log if the table doesn't know them.
struct FailureKind {
    RegisterPlace place;
    std::string kind;

    // NOLINTNEXTLINE(modernize-use-nullptr): the check takes what it compares with for a pointer
    auto operator<=>(const FailureKind&) const = default;
};

struct RegisterFailure {
    Occurrences seen;
    /// In polls one after another; unset if the log doesn't tell polls apart.
    std::optional<std::size_t> longestRun = std::nullopt;
    std::size_t run = 0;
    /// The number of the last poll with it.
    std::size_t poll = 0;
};

using Failures = std::map<FailureKind, RegisterFailure>;

/// What one energy counter did that a counter doesn't.
struct Counter {
    Occurrences backwards;
    /// From and to, in watt-seconds, at the last time.
    double backwardsFrom = 0;
    double backwardsTo = 0;
    Occurrences jumps;
    double jumpFrom = 0;
    double jumpTo = 0;
    /// Times in which it stood still though the power says that energy flowed; the moments at which
    /// they began.
    Occurrences still;
    Moment stillUntil = 0;
    bool isStill = false;
};

struct Meter {
    std::optional<int> slaveAddress = std::nullopt;
    /// Its serial, as it is in its messages; empty if it is unknown.
    std::string id = {};
    // From the list of attached meters.
    std::string name = {};
    std::string configId = {};
    bool isAttached = false;

    /// Those in which it was read or should have been.
    std::optional<std::size_t> polls = std::nullopt;
    /// Those in which all its registers were read.
    std::optional<std::size_t> goodPolls = std::nullopt;
    /// Messages that the metering service took whole, and those that it didn't.
    std::optional<std::size_t> delivered = std::nullopt;
    std::optional<std::size_t> lost = std::nullopt;
    /// Values that stood in for those of registers that could not be read.
    std::optional<std::size_t> carried = std::nullopt;
    std::optional<LoggedReading> last = std::nullopt;
    /// The last one for which each register was read.
    std::optional<Moment> lastGood = std::nullopt;
    Failures failures = {};
    /// By the place in `measuredMembers`, less the powers.
    std::array<Counter, measuredMembers.size() - firstEnergy> counters = {};
    /// Values that belong to another register, or to an earlier question.
    Occurrences shifted = {};
};

/// A line that stands for trouble, by its key in docs/diagnostics.json and that of its reason; both
/// empty for a warning or an error that isn't there. Registers that could not be read are with
/// their meters.
struct TroubleKind {
    std::string key;
    std::string reason;

    // NOLINTNEXTLINE(modernize-use-nullptr): the check takes what it compares with for a pointer
    auto operator<=>(const TroubleKind&) const = default;
};

struct Trouble {
    Occurrences seen;
    /// The last line, or its beginning.
    std::string line = {};
};

struct Gap {
    Moment from = 0;
    Moment to = 0;
};

/// What is missing where a log doesn't show values that came sooner than the bus can carry them.
enum class HasteLack {
    /// What the bus is.
    parameters,
    /// Values that came at its pace.
    pace,
    /// A line so slow that such values stand out.
    slowness,
};

struct Home {
    // The log
    std::size_t lines = 0;
    /// Those whose ends are missing, and what looks like lines within values.
    Occurrences cut = {};
    Occurrences forged = {};
    std::optional<Moment> first = std::nullopt;
    std::optional<Moment> last = std::nullopt;
    /// Minutes that the times of the log are ahead of UTC.
    int offset = 0;
    /// Times in which nothing was logged though each poll writes lines; unset if polls don't.
    std::optional<std::size_t> gaps = std::nullopt;
    /// The first ones.
    std::vector<Gap> firstGaps = {};
    /// Times that stand behind later ones of the same process, or of the one before.
    Occurrences timeJumps = {};
    /// Times that passed within a single poll, longer than any: the clock was set forward, or the
    /// process stood still.
    Occurrences leaps = {};
    /// Lines of one process between those of another.
    std::size_t mixed = 0;

    // The processes
    std::size_t processes = 0;
    Occurrences starts = {};
    /// When a process came behind another one.
    Occurrences restarts = {};
    Occurrences assertions = {};
    Occurrences terminations = {};

    // The polls
    std::optional<std::size_t> polls = std::nullopt;
    LengthHistogram pollLengths = {};
    /// The end of the last poll whose readings the log shows: as long as the metering service is
    /// away, the messages at the end of a poll are missing.
    std::optional<Moment> lastTold = std::nullopt;

    // The delivery
    /// Lines of equal signs, which no rule of the log leaves out.
    std::size_t offers = 0;
    std::optional<std::size_t> delivered = std::nullopt;
    std::optional<std::size_t> lost = std::nullopt;

    /// In the order in which they were seen.
    std::vector<Meter> meters = {};
    /// Of registers whose meter the log doesn't tell.
    Failures unattributed = {};
    /// What found no place any more.
    std::size_t leftOut = 0;
    std::map<TroubleKind, Trouble> troubles = {};
    /// An answer that came too late answers one question after another: what shows it, in words.
    std::map<std::string, Occurrences> lateAnswers = {};
    /// The connections to the bus in which a failed read may have left an answer for the next one,
    /// and the log wouldn't show that it did.
    std::map<HasteLack, std::size_t> untoldHaste = {};

    // The last whole replies of the local server; empty if there is none.
    std::string serialReply = {};
    std::string attachedReply = {};
    std::string supportedReply = {};
    /// What the bus is connected to, as the log says it.
    std::string connection = {};
};

/// Failed assertions and uncaught exceptions, each of which ended the reader.
inline std::size_t crashesOf(const Home& home) {
    return home.assertions.count + home.terminations.count;
}

/// Whether the last reading of a meter is newer than that of another one.
bool isNewer(const Meter& meter, const Meter& other);

/// The places of the meters that there are at present: one for each slave address, that whose
/// reading came last, and none at an address that the list of attached meters no longer has.
std::vector<std::size_t> presentMeters(const Home& home);

} // namespace inspector
