#include "ManagerCore/Inventory/TextFinder.h"

#include <random>
#include <vector>

#include <gtest/gtest.h>

using ManagerCore::TextFinder;

namespace
{

TEST(TextFinderTest, findsATextAtEveryPlace)
{
    const std::string text = "identity-marker-7d41";
    const TextFinder finder(text);
    for (std::size_t place = 0; place < 300; place++) {
        std::string bytes(320, 'x');
        bytes.replace(place, text.size(), text);
        EXPECT_TRUE(finder.occursIn(bytes)) << place;
        bytes[place + 7] = '?';
        EXPECT_FALSE(finder.occursIn(bytes)) << place;
    }
}

TEST(TextFinderTest, looksAtNothingBehindTheEnd)
{
    const std::string whole = std::string(200, 'x') + "marker";
    for (std::size_t length = 0; length < whole.size(); length++) {
        // Of just this length: AddressSanitizer watches.
        const std::vector<char> bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(TextFinder("marker").occursIn({bytes.data(), bytes.size()})) << length;
    }
    EXPECT_TRUE(TextFinder("marker").occursIn(whole));
    EXPECT_FALSE(TextFinder("marker").occursIn({}));
}

TEST(TextFinderTest, anyBytesMayBeLookedFor)
{
    const std::string zeros(4, '\0');
    EXPECT_TRUE(TextFinder(zeros).occursIn(std::string(100, 'x') + zeros));
    EXPECT_FALSE(TextFinder(zeros).occursIn(std::string(100, 'x') + std::string(3, '\0') + std::string(100, 'x')));
    EXPECT_TRUE(TextFinder("\xFF\xFE").occursIn(std::string(99, '\xFF') + "\xFE"));
    EXPECT_TRUE(TextFinder("a").occursIn(std::string(500, 'b') + "a"));
    EXPECT_FALSE(TextFinder("a").occursIn(std::string(500, 'b')));
    EXPECT_TRUE(TextFinder("Größe").occursIn("die Größe der Datei"));
}

TEST(TextFinderTest, saysTheSameAsAPlainSearchInBytesThatAreFullOfNearMisses)
{
    std::mt19937 random(7); // NOLINT(bugprone-random-generator-seed): the same cases each time
    const auto randomText = [&random](std::size_t length, int letters) {
        std::string text(length, ' ');
        for (char& letter : text) {
            letter = static_cast<char>('a' + static_cast<int>(random() % static_cast<unsigned>(letters)));
        }
        return text;
    };
    int found = 0;
    for (int round = 0; round < 20000; round++) {
        const int letters = 1 + round % 4;
        const std::string text = randomText(1 + random() % 12, letters);
        const std::string bytes = randomText(random() % 400, letters);
        const bool there = bytes.find(text) != std::string::npos;
        ASSERT_EQ(TextFinder(text).occursIn(bytes), there) << text << " in " << bytes;
        found += there ? 1 : 0;
    }
    EXPECT_GT(found, 2000);
    EXPECT_LT(found, 18000);
}

TEST(TextFinderTest, nearMissesDoNotMakeItSlowForever)
{
    const auto alternating = [](std::size_t length) {
        std::string text(length, 'a');
        for (std::size_t at = 1; at < length; at += 2) {
            text[at] = 'b';
        }
        return text;
    };
    // Comparing at each place up to the first difference would take 2^43 steps, minutes of them.
    const std::string text = alternating(1U << 20U) + "aa" + alternating(1U << 20U);
    const std::string bytes = alternating(1U << 24U);
    EXPECT_FALSE(TextFinder(text).occursIn(bytes));
    EXPECT_TRUE(TextFinder(text).occursIn(bytes + text));
}

} // namespace
