#include "house/home.h"
#include "recordings.h"
#include "support/temporary-directory.h"
#include "support/thrown-by.h"

#include <gtest/gtest.h>

using namespace house;

namespace {

/// What is wrong with a recording, behind the name of its file.
std::string complaintAbout(const std::string& text) {
    const TemporaryDirectory directory;
    const std::string file = directory.write("home.json", text);
    const std::string thrown = thrownBy([&] { Home{file}; });
    return thrown.starts_with(file + ": ") ? thrown.substr(file.size() + 2) : thrown;
}

std::string complaintAboutPoll(const std::string& poll) {
    return complaintAbout(withPolls("[" + poll + "]"));
}

} // namespace

TEST(Recording, aMistakeIsNamedWithItsPlace) {
    EXPECT_EQ(complaintAbout(R"({"recording":{}})"), "recording / polls: Missing");
    EXPECT_EQ(complaintAbout(R"({"recording":{"polls":[]}})"), "recording / polls: Empty");
    EXPECT_EQ(complaintAbout(R"({"recording":{"polls":[{}]},"server":{}})"), "server: No such key");
    EXPECT_EQ(complaintAbout(R"({"recording":{"bus":"serial","polls":[{}]}})"),
              "recording / bus: No such name: serial");
    EXPECT_EQ(complaintAbout(R"({"recording":{"polls":[{}],"about":["a",1]}})"),
              "recording / about / 1: No text");

    const std::string poll = "recording / polls / 0 / ";
    EXPECT_EQ(complaintAboutPoll(R"({"Attached":"closed"})"), poll + "Attached: No such key");
    EXPECT_EQ(complaintAboutPoll(R"({"time":1})"), poll + "time: No text");
    EXPECT_EQ(complaintAboutPoll(R"({"attached":"dropped"})"),
              poll + "attached: Neither closed nor silent");
    EXPECT_EQ(complaintAboutPoll(R"({"attached":{"status":503}})"),
              poll + "attached: Not one of json, text and bytes");
    EXPECT_EQ(complaintAboutPoll(R"({"attached":{"json":{},"text":""}})"),
              poll + "attached: Not one of json, text and bytes");
    EXPECT_EQ(complaintAboutPoll(R"({"attached":{"text":"","status":199}})"),
              poll + "attached / status: No whole number from 200 to 999");
    EXPECT_EQ(complaintAboutPoll(R"({"attached":{"text":"a","status":204}})"),
              poll + "attached: An answer of this status has no body");
    EXPECT_EQ(complaintAboutPoll(R"({"attached":{"bytes":"0"}})"),
              poll + "attached / bytes: No bytes, each as two hexadecimal digits");
    EXPECT_EQ(complaintAboutPoll(R"({"attached":{"bytes":"0x"}})"),
              poll + "attached / bytes: No bytes, each as two hexadecimal digits");
    EXPECT_EQ(complaintAboutPoll(R"({"units":{"256":{}}})"),
              poll + "units / 256: No unit from 0 to 255");
    EXPECT_EQ(complaintAboutPoll(R"({"units":{"a":{}}})"),
              poll + "units / a: No unit from 0 to 255");
}

TEST(Recording, aMistakeInAReadIsNamedWithItsPlace) {
    const std::string unit = "recording / polls / 0 / units / 7 / ";
    const auto complaint = [](const std::string& reads) {
        return complaintAbout(withReads(reads));
    };

    EXPECT_EQ(complaint(R"("input 10":[1])"), unit + R"(input 10: Not as "input 10 x2")");
    EXPECT_EQ(complaint(R"("input 65536 x1":[1])"),
              unit + "input 65536 x1: Address or count above 65535");
    EXPECT_EQ(complaint(R"("input 1 x2":[1])"),
              unit + "input 1 x2: Not as many words as are asked for");
    EXPECT_EQ(complaint(R"("input 1 x1":[65536])"),
              unit + "input 1 x1 / 0: No whole number from 0 to 65535");
    EXPECT_EQ(complaint(R"("input 1 x1":5)"), unit + "input 1 x1: No array");
    EXPECT_EQ(complaint(R"("input 1 x1":{"inTurn":[]})"), unit + "input 1 x1 / inTurn: Empty");
    const std::string noFailure =
        unit + "input 1 x1: None of silent, closed, garbled, short, exception:1 to 255 and unit:1 "
               "to 247";
    for (const char* wrong : {"dead", "", "silent:1", "exception", "exception:0", "exception:256",
                              "exception:1x", "unit:248", "silently"})
        EXPECT_EQ(complaint(R"("input 1 x1":")" + std::string(wrong) + '"'), noFailure) << wrong;
}
