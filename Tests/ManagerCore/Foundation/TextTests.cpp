#include "ManagerCore/Foundation/Text.h"

#include <sys/stat.h>

#include <gmock/gmock.h>

#include "Tests/Support/Sandbox.h"

namespace Text = ManagerCore::Text;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

TEST(TextLines, splitAtEveryLineFeedAndKeepEmptyOnes)
{
    EXPECT_THAT(Text::lines("a\n\nb\n"), ElementsAre("a", "", "b", ""));
    EXPECT_THAT(Text::lines(""), ElementsAre(""));
    EXPECT_THAT(Text::nonEmptyLines("\na\n\nb\n"), ElementsAre("a", "b"));
}

TEST(TextLines, carriageReturnWithItsLineFeedIsOneCharacterAndSplitsNothing)
{
    EXPECT_THAT(Text::lines("a\r\nb\r\n"), ElementsAre("a\r\nb\r\n"));
    EXPECT_THAT(Text::lines("a\r\n\nb"), ElementsAre("a\r\n", "b"));
    EXPECT_THAT(Text::lines("a\rb\nc"), ElementsAre("a\rb", "c"));
    EXPECT_THAT(Text::lines("a\n\rb"), ElementsAre("a", "\rb"));
}

TEST(TextPieces, dropEmptyOnes)
{
    EXPECT_THAT(Text::pieces("::a: :b::", ':'), ElementsAre("a", " ", "b"));
    EXPECT_THAT(Text::pieces(":::", ':'), IsEmpty());
    EXPECT_THAT(Text::pieces("", ':'), IsEmpty());
}

TEST(TextFind, findsTheCharacterByItselfAlone)
{
    EXPECT_EQ(Text::find("a,b,c", ','), 1U);
    EXPECT_EQ(Text::find("a,b,c", ',', 2), 3U);
    EXPECT_EQ(Text::find("a,\u0301b,", ','), 5U);
    EXPECT_EQ(Text::find("\u0600,", ','), std::string_view::npos) << "a mark that belongs to what follows";
    EXPECT_EQ(Text::find(",\xCC", ','), 0U) << "no mark, but an invalid byte";
    EXPECT_EQ(Text::find("\xCC\x81,", ','), 2U) << "a mark belongs to what precedes it";
    EXPECT_EQ(Text::find("a\r\nb\n\u0301", '\n'), 4U) << "a line feed takes no mark";
    EXPECT_EQ(Text::find("", ','), std::string_view::npos);
}

TEST(TextComparison, canonicallyEquivalentTextsAreEqual)
{
    EXPECT_TRUE(Text::equals("caf\u00E9", "cafe\u0301"));
    EXPECT_TRUE(Text::equals("\uAC00", "\u1100\u1161"));
    EXPECT_FALSE(Text::equals("cafe", "cafe\u0301"));
    EXPECT_FALSE(Text::equals("\u00E9\xFF", "e\u0301\xFF")) << "not UTF-8: by bytes";
    EXPECT_TRUE(Text::equals("\u00E9\xFF", "\u00E9\xFF"));
}

TEST(TextComparison, aPartConsistsOfWholeCharacters)
{
    EXPECT_TRUE(Text::startsWith("caf\u00E9.app", "cafe\u0301"));
    EXPECT_FALSE(Text::startsWith("cafe\u0301.app", "cafe"));
    EXPECT_TRUE(Text::startsWith("cafe.\u00E9", "cafe."));
    EXPECT_TRUE(Text::startsWith("cafe\u0301\xFF", "cafe")) << "not UTF-8: by bytes";
    EXPECT_TRUE(Text::startsWith("\u00E9", ""));
    EXPECT_TRUE(Text::endsWith("a/cafe\u0301", "/caf\u00E9"));
    EXPECT_FALSE(Text::endsWith("a/cafe\u0301", "\u0301"));
    EXPECT_TRUE(Text::endsWith("\u00E9/cafe", "/cafe"));
    EXPECT_TRUE(Text::endsWith("\xFF/cafe", "/cafe"));
    EXPECT_TRUE(Text::contains("the cafe\u0301 and the caf\u00E9", "caf\u00E9 and"));
    EXPECT_TRUE(Text::contains("cafe\u0301, cafe", "cafe"));
    EXPECT_FALSE(Text::contains("the cafe\u0301", "cafe"));
    EXPECT_TRUE(Text::contains("\xFF cafe\u0301", "cafe"));
}

TEST(TextTrim, eachKindTakesItsOwnCharacters)
{
    EXPECT_EQ(Text::trimSpacesAndTabs(" \t a\u00A0b \t"), "a\u00A0b");
    EXPECT_EQ(Text::trimSpacesAndTabs("\u00A0a\u00A0"), "\u00A0a\u00A0");
    EXPECT_EQ(Text::trimWhiteSpace("\t \u00A0\u1680\u2000\u200A\u200B\u202F\u205F\u3000a b\u3000\t"), "a b");
    EXPECT_EQ(Text::trimWhiteSpace("\n a \r\n"), "\n a \r\n");
    EXPECT_EQ(Text::trimWhiteSpace("\u180Ea\u2028"), "\u180Ea\u2028");
    EXPECT_EQ(Text::trimWhiteSpaceAndLineBreaks("\r\n\v\f \u0085\u2028\u2029a\n\n"), "a");
    EXPECT_EQ(Text::trimWhiteSpace(" \t "), "");
}

TEST(TextTrim, stopsAtBytesThatAreNoCharacter)
{
    EXPECT_EQ(Text::trimWhiteSpace(" \x80 a \xA0 "), "\x80 a \xA0");
    EXPECT_EQ(Text::trimWhiteSpace("\xE3\x80"), "\xE3\x80");
}

TEST(TextCharacters, countAsAReaderSeesThem)
{
    const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467";
    EXPECT_EQ(Text::firstCharacters("abcdef", 3), "abc");
    EXPECT_EQ(Text::firstCharacters("ab", 8), "ab");
    EXPECT_EQ(Text::firstCharacters("abc", 0), "");
    EXPECT_EQ(Text::firstCharacters("e\u0301e\u0301e", 2), "e\u0301e\u0301");
    EXPECT_EQ(Text::firstCharacters(family + "x", 1), family);
    EXPECT_EQ(Text::firstCharacters("a\r\nb", 2), "a\r\n");
    EXPECT_EQ(Text::lastCharacters("abcdef", 2), "ef");
    EXPECT_EQ(Text::lastCharacters("ab", 2), "ab");
    EXPECT_EQ(Text::lastCharacters("ab", 0), "");
    EXPECT_EQ(Text::lastCharacters("x" + family, 1), family);
    EXPECT_EQ(Text::lastCharacters("xe\u0301\r\n", 2), "e\u0301\r\n");
    const std::string flags = "🇩🇪"
                              "🇫🇷";
    EXPECT_EQ(Text::lastCharacters("🇩ab" + flags, 2), flags) << "letters end a pair";
    EXPECT_EQ(Text::lastCharacters("👩ab‍👧", 1), "👧") << "a joiner behind a letter joins nothing";
    EXPECT_EQ(Text::lastCharacters("xab\u0301", 1), "b\u0301");
}

// Of a long text the last lines decide, where they hold enough characters.
TEST(TextCharacters, theLastOfALongTextAreTheSameWhateverItsLines)
{
    const auto repeated = [](std::string_view unit, std::size_t count) {
        std::string text;
        for (std::size_t index = 0; index < count; index++) {
            text += unit;
        }
        return text;
    };
    const std::string before(100000, 'x');
    EXPECT_EQ(Text::lastCharacters(before + "\nab", 10), "xxxxxxx\nab") << "few follow the line feed";
    EXPECT_EQ(Text::lastCharacters(before + "\n0123456789", 10), "0123456789");
    EXPECT_EQ(Text::lastCharacters(before + "\nx0123456789", 10), "0123456789");
    EXPECT_EQ(Text::lastCharacters(before + repeated("\r\n", 20), 10), repeated("\r\n", 10));
    EXPECT_EQ(Text::lastCharacters(before + repeated("\n", 20), 10), repeated("\n", 10));
    const std::string family = "👩‍👩‍👧\n";
    EXPECT_EQ(Text::lastCharacters(before + repeated(family, 100), 11), "\n" + repeated(family, 5));
    EXPECT_EQ(Text::lastCharacters(before + "\n" + repeated("e\u0301", 100), 10), repeated("e\u0301", 10));
}

TEST(TextLowercased, followsUnicodeAndComposes)
{
    EXPECT_EQ(Text::lowercased("ÄÖ ABC-7B"), "äö abc-7b");
    EXPECT_EQ(Text::lowercased("E\u0301"), "\u00E9");
    EXPECT_EQ(Text::lowercased("A\xFF"), "a\uFFFD");
    EXPECT_EQ(Text::lowercased(""), "");
}

TEST(TextUtf8, acceptsExactlyWhatUnicodeAllows)
{
    EXPECT_TRUE(Text::isUtf8(""));
    EXPECT_TRUE(Text::isUtf8("aä€\U0001F600"));
    EXPECT_TRUE(Text::isUtf8("\xF4\x8F\xBF\xBF"));
    for (const std::string_view bad : {"\x80",
                                       "\xC0\xAF",
                                       "\xC1\xBF",
                                       "\xE0\x9F\xBF",
                                       "\xED\xA0\x80",
                                       "\xF0\x8F\xBF\xBF",
                                       "\xF4\x90\x80\x80",
                                       "\xF5\x80\x80\x80",
                                       "abcdefgh\xE2\x82",
                                       "\xFF"}) {
        EXPECT_FALSE(Text::isUtf8(bad)) << testing::PrintToString(bad);
    }
}

TEST(TextUtf8, repairsTheLongestBeginningsOfSequences)
{
    EXPECT_EQ(Text::repairedUtf8("plain ä"), "plain ä");
    EXPECT_EQ(Text::repairedUtf8("a\xFF"
                                 "b"),
              "a\uFFFDb");
    EXPECT_EQ(Text::repairedUtf8("a\xE2\x82"), "a\uFFFD");
    EXPECT_EQ(Text::repairedUtf8("\xF0\x9F\x98"
                                 "x"),
              "\uFFFDx");
    EXPECT_EQ(Text::repairedUtf8("\xC0\xAF"), "\uFFFD\uFFFD");
    EXPECT_EQ(Text::repairedUtf8("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(Text::repairedUtf8(std::string("\0\xFF\0", 3)), std::string("\0\uFFFD\0", 5));
}

using TextFiles = TestSupport::SandboxTest;

TEST_F(TextFiles, areReadWholeWithoutTheirByteOrderMark)
{
    TestSupport::write(scratch() / "plain", "a\r\nb\n");
    TestSupport::write(scratch() / "marked", "\xEF\xBB\xBFname");
    TestSupport::write(scratch() / "empty", "");
    EXPECT_EQ(Text::readFile(scratch() / "plain").value(), "a\r\nb\n");
    EXPECT_EQ(Text::readFile(scratch() / "marked").value(), "name");
    EXPECT_EQ(Text::readFile(scratch() / "empty").value(), "");
    EXPECT_EQ(Text::readBytes(scratch() / "marked").value(), "\xEF\xBB\xBFname");
}

TEST_F(TextFiles, aLinkIsFollowed)
{
    TestSupport::write(scratch() / "file", "text");
    TestSupport::makeLink(scratch() / "link", "file");
    EXPECT_EQ(Text::readFile(scratch() / "link").value(), "text");
}

TEST_F(TextFiles, whatCannotBeReadSaysWhyInASentence)
{
    TestSupport::write(scratch() / "binary", "a\xFF");
    std::filesystem::create_directory(scratch() / "folder");
    TestSupport::makeLink(scratch() / "loop", "loop");
    EXPECT_EQ(Text::readFile(scratch() / "none").error(), "The file “none” doesn’t exist.");
    EXPECT_EQ(Text::readFile({}).error(), "The file “” doesn’t exist.");
    EXPECT_EQ(Text::readFile(scratch() / "binary").error(),
              "The file “binary” couldn’t be opened because it isn’t UTF-8 text.");
    EXPECT_EQ(Text::readFile(scratch() / "folder").error(),
              "The file “folder” couldn’t be opened because it isn’t a regular file.");
    EXPECT_EQ(Text::readFile(scratch() / "loop").error(),
              "The file “loop” couldn’t be opened because its links lead in a circle.");
    EXPECT_EQ(Text::readBytes(scratch() / "binary").value(), "a\xFF");
}

TEST_F(TextFiles, aFifoAndADeviceAreRefusedWithoutWaiting)
{
    ASSERT_EQ(::mkfifo((scratch() / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(Text::readFile(scratch() / "fifo").error(),
              "The file “fifo” couldn’t be opened because it isn’t a regular file.");
    EXPECT_EQ(Text::readFile("/dev/zero").error(),
              "The file “zero” couldn’t be opened because it isn’t a regular file.");
}

TEST_F(TextFiles, aFileBeyondTheLimitIsRefusedUnread)
{
    TestSupport::write(scratch() / "huge", "");
    std::filesystem::resize_file(scratch() / "huge", Text::readLimit + 1);
    EXPECT_EQ(Text::readFile(scratch() / "huge").error(),
              "The file “huge” couldn’t be opened because it is too large.");
}

TEST_F(TextFiles, aFileWhoseLengthIsNotToldIsReadToItsEnd)
{
    EXPECT_THAT(Text::readBytes("/proc/self/mountinfo").value(), testing::HasSubstr(" / "));
}

} // namespace
