// The solver among random words: every field, type and scale, also turned.

#include "drawn-meter.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/solver/candidates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

using namespace inspector;
using vxModel::ModbusRegister;

namespace {

/// The daemon's code logs what it converts.
const bool isWithoutLog = (silenceDaemon(), true);

/// Of all displays that were drawn.
struct Figures {
    int all = 0;
    // By one reading.
    int first = 0;
    int firstOrAlike = 0;
    int amongThree = 0;
    // By two.
    int found = 0;
    int alone = 0;
    /// Some that failed.
    std::string failures = {};
};

bool isOrReadsLike(const Candidate& candidate, const ModbusRegister& entry) {
    return candidate.entry == entry || std::find(candidate.alike.begin(), candidate.alike.end(),
                                                 entry) != candidate.alike.end();
}

void addFailure(Figures& figures, const std::string& text) {
    constexpr std::size_t longest = 2000;
    if (figures.failures.size() < longest)
        figures.failures += text + "\n";
}

void tryMeter(DrawnMeter& meter, Figures& figures) {
    ++figures.all;
    Readings readings = {{readDisplay(meter.display()), meter.words()}};
    const auto first = candidatesFor(readings, meter.entry.fieldType).best;
    const auto third = first.begin() + std::min<std::ptrdiff_t>(3, std::ssize(first));
    const bool isAmongThree = std::any_of(
        first.begin(), third, [&](const Candidate& x) { return x.entry == meter.entry; });
    figures.amongThree += isAmongThree ? 1 : 0;
    if (!isAmongThree)
        addFailure(figures, meter.described());
    figures.first += !first.empty() && first[0].entry == meter.entry ? 1 : 0;
    figures.firstOrAlike += !first.empty() && isOrReadsLike(first[0], meter.entry) ? 1 : 0;

    const std::string before = meter.described();
    meter.moveOn();
    readings.push_back({readDisplay(meter.display()), meter.words()});
    const auto both = candidatesFor(readings, meter.entry.fieldType).best;
    const bool isFound = std::any_of(both.begin(), both.end(), [&](const Candidate& x) {
        return isOrReadsLike(x, meter.entry);
    });
    figures.found += isFound ? 1 : 0;
    if (!isFound)
        addFailure(figures, before + ", then " + meter.display());
    figures.alone += isFound && both.size() == 1 ? 1 : 0;
}

/// 10,000 displays in all, or as many of each kind of entry as EACH_DISPLAY in the environment
/// says: 10,000 of each take an optimised build some 45 minutes.
const Figures& figures() {
    static const Figures all = [] {
        const std::vector<EntryKind> kinds = entryKinds();
        constexpr int displays = 10000;
        const char* const each = std::getenv("EACH_DISPLAY");
        const int ofEach =
            each == nullptr ? displays / static_cast<int>(kinds.size()) + 1 : std::atoi(each);
        constexpr unsigned seed = 20261122;
        std::mt19937 random(seed);
        Figures result;
        for (const EntryKind& kind : kinds)
            for (int i = 0; i < ofEach; ++i) {
                DrawnMeter meter(kind, random);
                tryMeter(meter, result);
            }
        return result;
    }();
    return all;
}

void report(const char* what, int count) {
    testing::Test::RecordProperty(what, count);
    std::printf("%s: %d of %d\n", what, count, figures().all);
}

} // namespace

TEST(SolverAmongRandomWords, theRightEntryIsAmongTheFirstThree) {
    report("among the first three", figures().amongThree);
    EXPECT_EQ(figures().amongThree, figures().all) << figures().failures;
}

TEST(SolverAmongRandomWords, theFirstEntryIsTheRightOneOrReadsTheSame) {
    report("the first itself", figures().first);
    report("the first, or read the same", figures().firstOrAlike);
    EXPECT_GE(figures().firstOrAlike, figures().all * 0.95);
}

TEST(SolverAmongRandomWords, aSecondReadingLeavesTheRightEntryAloneNineteenTimesOfTwenty) {
    report("found by both readings", figures().found);
    report("alone by both readings", figures().alone);
    EXPECT_EQ(figures().found, figures().all) << figures().failures;
    EXPECT_GE(figures().alone, figures().all * 0.95);
}
