#include "inspector/live/journal.h"

#include "inspector/input/sources.h"

#include <systemd/sd-journal.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

namespace inspector {
namespace {

constexpr std::chrono::hours past{24};
/// The journal's own notice may be lost, as on file systems that give none.
constexpr std::chrono::seconds longestPause{5};

int require(int result) {
    if (result < 0)
        throw UnreadableInput(std::string("journal: ") + std::strerror(-result));
    return result;
}

class Journal : public Source {
public:
    Journal(const std::string& unit, const Stopper& stopper, std::function<void()> whenRead)
        : m_stopper(stopper), m_whenRead(std::move(whenRead)) {
        sd_journal* journal = nullptr;
        require(sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY));
        m_journal.reset(journal);
        // Files that may not be read are passed over without an error.
        if (sd_journal_has_runtime_files(m_journal.get()) <= 0 &&
            sd_journal_has_persistent_files(m_journal.get()) <= 0)
            throw UnreadableInput("journal: there is none that this user may read, as who is in "
                                  "the group systemd-journal may");
        const std::string suffix = unit.find('.') == std::string::npos ? ".service" : "";
        const std::string match = "_SYSTEMD_UNIT=" + unit + suffix;
        require(sd_journal_add_match(m_journal.get(), match.data(), match.size()));
        // Texts are whole whatever their size.
        require(sd_journal_set_data_threshold(m_journal.get(), 0));
        m_descriptor = require(sd_journal_get_fd(m_journal.get()));
        using std::chrono::microseconds;
        const auto begin = std::chrono::system_clock::now() - past;
        const auto since = std::chrono::duration_cast<microseconds>(begin.time_since_epoch());
        require(sd_journal_seek_realtime_usec(m_journal.get(),
                                              static_cast<std::uint64_t>(since.count())));
    }

    bool next(RawLine& line) override {
        while (!m_stopper.isStopped()) {
            if (require(sd_journal_next(m_journal.get())) > 0) {
                if (takeMessage(line))
                    return true;
                continue;
            }
            if (const auto whenRead = std::exchange(m_whenRead, nullptr))
                whenRead();
            if (m_stopper.wait(m_descriptor, longestPause))
                require(sd_journal_process(m_journal.get()));
        }
        return false;
    }

private:
    bool takeMessage(RawLine& line) {
        const void* data = nullptr;
        std::size_t size = 0;
        // An entry may lack it, or be gone by a rotation.
        if (sd_journal_get_data(m_journal.get(), "MESSAGE", &data, &size) < 0)
            return false;
        constexpr std::string_view key = "MESSAGE=";
        line = {{static_cast<const char*>(data), size}};
        line.text.remove_prefix(std::min(key.size(), size));
        line.isCut = size > longestLine;
        line.text = line.text.substr(0, longestLine);
        return true;
    }

    struct Close {
        void operator()(sd_journal* journal) const { sd_journal_close(journal); }
    };

    std::unique_ptr<sd_journal, Close> m_journal;
    int m_descriptor = -1;
    const Stopper& m_stopper;
    std::function<void()> m_whenRead;
};

} // namespace

std::unique_ptr<Source> followJournal(const std::string& unit, const Stopper& stopper,
                                      std::function<void()> whenRead) {
    return std::make_unique<Journal>(unit, stopper, std::move(whenRead));
}

} // namespace inspector
