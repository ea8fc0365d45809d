#include "inspector/report/live-notices.h"

#include "inspector/home/diagnostics.h"
#include "inspector/live/health.h"

#include <algorithm>

namespace inspector {

std::vector<Notice> noticesOf(const HomeView& view) {
    const std::vector<std::size_t> present = presentMeters(view.home);
    std::vector<Notice> notices = noticesOf(view.home);
    std::erase_if(notices, [&](const Notice& x) {
        return x.meter && std::find(present.begin(), present.end(), *x.meter) == present.end();
    });
    std::stable_sort(notices.begin(), notices.end(),
                     [](const Notice& a, const Notice& b) { return a.seen.last > b.seen.last; });
    return notices;
}

std::string headOf(const Notice& notice) {
    if (notice.subject.empty())
        return notice.explanation.title;
    if (notice.key == "register-unread")
        return notice.subject + ": " + notice.explanation.title;
    const Diagnostic* entry = findDiagnostic(notice.key);
    const bool isMark = entry != nullptr && entry->channel.empty();
    return isMark ? notice.explanation.title + ": " + notice.subject : notice.subject;
}

std::vector<std::string> hintsOf(const HomeView& view) {
    const Home& home = view.home;
    // A journal that may not be read, or has nothing of a unit, looks like one that is quiet.
    if (view.isPastRead && !home.first)
        return {"No line of the reader so far. Is the log's name right, and may it be read?"};
    std::vector<std::string> hints;
    // Until then the first poll may not be over.
    if (home.first && home.last.value_or(0) - *home.first > longestAge(view))
        for (const Unknown& x : unknownOf(home))
            if (!x.rules.empty())
                hints.push_back("VX_LOG=" + x.rules + " would show " + x.what + ".");
    return hints;
}

} // namespace inspector
