#include "inspector/web/notice-json.h"

#include "inspector/report/live-notices.h"
#include "inspector/report/wording.h"

#include <algorithm>

namespace inspector {
namespace {

/// Each text of a home is sent to many.
constexpr std::size_t mostNotices = 200;

void writeNotice(JsonOutput& json, const Notice& notice, const HomeView& view) {
    json.beginObject();
    json.member("key", notice.key);
    json.member("reason", notice.reason);
    json.key("slaveAddress");
    if (notice.meter)
        json.value(view.home.meters[*notice.meter].slaveAddress.value_or(0));
    else
        json.null();
    json.member("head", headOf(notice));
    json.member("needsPerson", notice.needsPerson);
    writeSeen(json, notice.seen, view.now);
    writeExplanation(json, notice.explanation);
    json.endObject();
}

} // namespace

void writeNotices(JsonOutput& json, const HomeView& view) {
    const std::vector<Notice> notices = noticesOf(view);
    const std::size_t written = std::min(notices.size(), mostNotices);
    json.key("notices");
    json.beginList();
    for (std::size_t i = 0; i < written; ++i)
        writeNotice(json, notices[i], view);
    json.endList();
    json.member("noticesLeftOut", notices.size() - written);
    json.key("hints");
    json.beginList();
    for (const std::string& hint : hintsOf(view))
        json.value(hint);
    json.endList();
}

void writeExplanation(JsonOutput& json, const Explanation& explanation) {
    json.member("meaning", explanation.meaning);
    json.member("remedy", explanation.wholeRemedy());
}

void writeSeen(JsonOutput& json, const Occurrences& seen, Moment now) {
    json.member("count", seen.count);
    // Lines ahead of the first one with a time.
    if (seen.last == 0) {
        for (const char* unknown : {"first", "last", "ageSeconds"}) {
            json.key(unknown);
            json.null();
        }
        return;
    }
    json.member("first", utcText(seen.first == 0 ? seen.last : seen.first));
    json.member("last", utcText(seen.last));
    json.member("ageSeconds", inSeconds(std::max<Moment>(now - seen.last, 0)));
}

} // namespace inspector
