#include "inspector/web/kept-text.h"

#include <gtest/gtest.h>

using namespace inspector;

namespace {

constexpr std::chrono::hours forLong{1};
constexpr std::chrono::milliseconds notAtAll{0};
constexpr std::size_t withoutLimit = 1000;

/// Makes another text of four bytes each time.
class Maker {
public:
    std::string operator()() { return "no " + std::to_string(++m_number); }

private:
    int m_number = 0;
};

} // namespace

TEST(KeptText, isTheSameForWhoAsksShortlyAfter) {
    KeptText text(forLong, withoutLimit);
    Maker make;

    EXPECT_EQ(*text.recent(std::ref(make)), "no 1");
    EXPECT_EQ(*text.recent(std::ref(make)), "no 1");
    EXPECT_EQ(*text.renewed(std::ref(make)), "no 2");
    EXPECT_EQ(*text.recent(std::ref(make)), "no 2");
}

TEST(KeptText, isMadeAnewForWhoAsksLater) {
    KeptText text(notAtAll, withoutLimit);
    Maker make;

    EXPECT_EQ(*text.recent(std::ref(make)), "no 1");
    EXPECT_EQ(*text.recent(std::ref(make)), "no 2");
}

TEST(KeptText, growsOldWhileTooMuchIsHeld) {
    KeptText text(notAtAll, 11);
    Maker make;
    KeptText::Text first = text.recent(std::ref(make));
    const KeptText::Text second = text.recent(std::ref(make));
    const KeptText::Text third = text.recent(std::ref(make));

    EXPECT_EQ(*third, "no 3");
    EXPECT_EQ(text.recent(std::ref(make)), third);
    first.reset();
    EXPECT_EQ(*text.recent(std::ref(make)), "no 4");
}

TEST(KeptText, isMadeAnewIfNobodyHoldsIt) {
    KeptText text(notAtAll, 3);
    Maker make;

    EXPECT_EQ(*text.recent(std::ref(make)), "no 1");
    EXPECT_EQ(*text.recent(std::ref(make)), "no 2");
}

TEST(KeptText, outlivesWhoKeepsIt) {
    Maker make;
    const KeptText::Text left = KeptText(forLong, withoutLimit).recent(std::ref(make));

    EXPECT_EQ(*left, "no 1");
}
