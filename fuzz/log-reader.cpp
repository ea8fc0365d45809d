// A log as the inspector reads it: no byte of it is lost, and what is told of it is JSON.

#include "fuzz.h"

#include "inspector/home/home-model.h"
#include "inspector/log/input.h"
#include "inspector/log/journal-forms.h"
#include "inspector/log/log-reader.h"
#include "inspector/report/report.h"

#include <rapidjson/document.h>

#include <algorithm>

namespace {

using namespace inspector;

/// Gives a text in pieces of some bytes.
class Pieces : public Input {
public:
    Pieces(std::string text, std::size_t size) : m_text(std::move(text)), m_size(size) {}

    std::size_t read(char* target, std::size_t size) override {
        const std::size_t count = m_text.copy(target, std::min(size, m_size), m_at);
        m_at += count;
        return count;
    }

private:
    std::string m_text;
    std::size_t m_size;
    std::size_t m_at = 0;
};

std::string withoutLineEnds(std::string text) {
    std::erase(text, '\n');
    return text;
}

void checkThatNothingIsLost(const std::string& log, std::size_t pieceSize) {
    InputLines lines(std::make_unique<Pieces>(log, pieceSize));
    LogReader reader(lines);
    std::string given;
    std::size_t count = 0;
    for (Line line; reader.next(line); ++count) {
        given += line.whole;
        VX_ASSERT(line.kind != LineKind::log || line.whole.find(line.text) != line.whole.npos, log);
        VX_ASSERT(line.forged == 0 || line.text.find('\n') != line.text.npos, log);
    }
    VX_ASSERT(withoutLineEnds(given) == withoutLineEnds(log), log);
    VX_ASSERT(reader.counts().ofLog + reader.counts().foreign <= count, log);
}

void checkReport(const std::string& log, std::size_t pieceSize) {
    const auto source = withoutJournal(
        std::make_unique<InputLines>(unpacked(std::make_unique<Pieces>(log, pieceSize))));
    LogReader reader(*source);
    HomeModel model;
    for (Line line; reader.next(line);)
        model.add(line);
    model.finish();
    Report report{.home = model.home(), .counts = reader.counts()};
    report.summary = summaryOf(report.home);
    JsonOutput output;
    writeReport(output, report);
    rapidjson::Document document;
    document.Parse(output.text().data(), output.text().size());
    VX_ASSERT(!document.HasParseError(), log);
    const Home& home = report.home;
    for (const Meter& meter : home.meters)
        VX_ASSERT(meter.goodPolls.value_or(0) <= meter.polls.value_or(0) &&
                      meter.polls.value_or(0) <= home.polls.value_or(0),
                  log);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::dropLog();
    if (size == 0)
        return 0;
    const std::string log = fuzz::textOf(data + 1, size - 1);
    const std::size_t pieceSize = 1 + data[0];
    checkThatNothingIsLost(log, pieceSize);
    checkReport(log, pieceSize);
    return 0;
}
