#include "inspector/report/summary.h"

namespace inspector {
namespace {

/// What would have to be in a log that shows the replies, so that it also shows readings that are
/// older than their times; empty if it shows them.
std::string lackedForOldReadings(const Home& home) {
    for (const auto& [lack, connections] : home.untoldHaste) {
        if (connections == 0)
            continue;
        switch (lack) {
        case HasteLack::parameters:
            return "the parameters of the bus, which come with the start of the reader";
        case HasteLack::pace:
            return "a hundred values at the pace of the serial line";
        case HasteLack::slowness:
            return "a serial line of 57600 baud or less";
        }
    }
    return {};
}

} // namespace

std::vector<Unknown> unknownOf(const Home& home) {
    std::vector<Unknown> unknown;
    if (!home.polls)
        unknown.push_back({"polls, readings, gaps, and which meter a failure belongs to",
                           home.offers > 0 ? "W,modbusreaderSocketWriter:N" : "N"});
    else if (home.meters.empty() && home.offers > 0)
        unknown.push_back(
            {"readings, and which meter a failure belongs to", "W,modbusreaderSocketWriter:N"});
    else if (!home.delivered && home.offers > 0)
        unknown.push_back({"what became of the messages", "W,modbusreaderSocketWriter:N"});
    const bool hasReplies =
        !home.serialReply.empty() || !home.attachedReply.empty() || !home.supportedReply.empty();
    const std::string lacked = hasReplies ? lackedForOldReadings(home) : "";
    if (!hasReplies) {
        unknown.push_back({"the names of the meters, the least length of a poll, values that stand "
                           "at the wrong register, and readings that are older than their times",
                           "N"});
    } else if (!lacked.empty()) {
        unknown.push_back({"readings that are older than their times, for want of " + lacked, ""});
    }
    return unknown;
}

std::string sentenceOf(const Unknown& unknown) {
    const std::string sentence = "Not in this log: " + unknown.what + ".";
    return unknown.rules.empty() ? sentence
                                 : sentence + " VX_LOG=" + unknown.rules + " shows them.";
}

} // namespace inspector
