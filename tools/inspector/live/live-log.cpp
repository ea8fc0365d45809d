#include "inspector/live/live-log.h"

#include "inspector/live/followed-input.h"
#include "inspector/live/journal.h"
#include "inspector/log/journal-forms.h"
#include "inspector/log/log-reader.h"

#include <exception>
#include <functional>
#include <utility>

namespace inspector {
namespace {

/// Waits for the first line before it tells the form of the log by it, which is not to hold up who
/// opens it.
class LateSource : public Source {
public:
    explicit LateSource(std::unique_ptr<InputLines> lines) : m_lines(std::move(lines)) {}

    bool next(RawLine& line) override {
        if (!m_source)
            m_source = withoutJournal(std::move(m_lines));
        return m_source->next(line);
    }

private:
    std::unique_ptr<InputLines> m_lines;
    std::unique_ptr<Source> m_source = nullptr;
};

std::unique_ptr<Source> openSource(const LogOptions& options, const Stopper& stopper,
                                   std::function<void()> whenRead) {
    if (options.journal)
        return followJournal(*options.journal, stopper, std::move(whenRead));
    return std::make_unique<LateSource>(std::make_unique<InputLines>(
        followInput(options.file.value_or("-"), stopper, std::move(whenRead))));
}

} // namespace

std::string nameOf(const LogOptions& options) {
    if (options.journal)
        return "journal of " + *options.journal;
    return !options.file || *options.file == "-" ? "standard input" : *options.file;
}

LiveLog::LiveLog(const LogOptions& options, LiveHome& home) : m_home(home) {
    std::shared_ptr<Source> source = openSource(options, m_stopper, [this] { m_home.endPast(); });
    m_thread = std::thread([this, source] { follow(*source); });
}

LiveLog::~LiveLog() {
    m_stopper.stop();
    m_thread.join();
}

void LiveLog::follow(Source& source) {
    try {
        LogReader reader(source);
        Line line;
        while (reader.next(line))
            m_home.add(line);
        m_home.finish();
    } catch (const std::exception& e) {
        const std::lock_guard lock(m_mutex);
        m_failure = e.what();
    }
}

std::string LiveLog::failure() const {
    const std::lock_guard lock(m_mutex);
    return m_failure;
}

} // namespace inspector
