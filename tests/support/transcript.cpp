#include "support/transcript.h"

#include "support/lines.h"
#include "support/temporary-directory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

namespace {

using Kind = Transcript::Kind;

std::string rendered(Kind kind, const std::string& text) {
    switch (kind) {
    case Kind::request:
        return "?? " + text + "\n";
    case Kind::call:
        return "-- " + text + "\n";
    case Kind::bus:
        return text;
    case Kind::complaint:
        return "!! " + text + "\n";
    case Kind::message:
        return "=  " + text + "\n";
    case Kind::step:
    case Kind::line:
        break;
    }
    return "";
}

} // namespace

void Transcript::add(Kind kind, std::string text) {
    const std::scoped_lock lock(m_mutex);
    m_events.push_back({kind, std::move(text)});
}

std::string Transcript::take() {
    const std::scoped_lock lock(m_mutex);
    std::string text;
    for (const Event& event : std::exchange(m_events, {}))
        text += rendered(event.kind, event.text);
    return text;
}

std::string Transcript::takeUntil(std::string_view text, std::size_t times) {
    std::string result;
    for (const Event& event : takeEventsUntil(text, times))
        result += rendered(event.kind, event.text);
    return result;
}

std::vector<std::string> Transcript::takeLogUntil(std::string_view text, std::size_t times) {
    std::vector<std::string> lines;
    for (const Event& event : takeEventsUntil(text, times))
        if (event.isLog())
            lines.push_back(event.text);
    return lines;
}

std::vector<Transcript::Event> Transcript::takeEventsUntil(std::string_view text,
                                                           std::size_t times) {
    const std::scoped_lock lock(m_mutex);
    std::size_t seen = 0;
    const auto end = std::find_if(m_events.begin(), m_events.end(), [&](const Event& event) {
        return event.isLogWith(text) && ++seen == times;
    });
    std::vector<Event> part(m_events.begin(), end);
    m_events.erase(m_events.begin(), end);
    return part;
}

std::vector<std::string> Transcript::takeAll(Kind kind) {
    const std::scoped_lock lock(m_mutex);
    return takeTexts(m_events, [kind](const Event& event) { return event.kind == kind; });
}

std::vector<std::string> Transcript::takeLog(std::string_view text) {
    const std::scoped_lock lock(m_mutex);
    return takeTexts(m_events, [text](const Event& event) { return event.isLogWith(text); });
}

std::size_t Transcript::countLog(std::string_view text) const {
    const std::scoped_lock lock(m_mutex);
    return static_cast<std::size_t>(
        std::count_if(m_events.begin(), m_events.end(),
                      [text](const Event& event) { return event.isLogWith(text); }));
}

void expectTranscriptOfFile(const std::string& transcript) {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    // The compiler gives a source its name in the project.
    const std::filesystem::path file =
        (std::filesystem::path(SOURCE_DIRECTORY) / test->file()).parent_path() / "transcripts" /
        (std::string(test->test_suite_name()) + "." + test->name() + ".txt");
    if (std::getenv("REWRITE_TRANSCRIPTS") != nullptr) {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << transcript;
        return;
    }
    EXPECT_EQ(transcript, contentOf(file)) << "See script/rewrite-transcripts";
}
