#include "CodeManagerCLI/Output.h"

#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace
{

using namespace CodeManagerCLI;

TEST(Visible, LeavesOrdinaryTextAlone)
{
    const std::string text = "Größe 漢字 👩‍👩‍👧 “quoted” back\\slash ~/a b";
    EXPECT_EQ(visible(text), text);
    EXPECT_EQ(visible(""), "");
}

TEST(Visible, WritesControlCharactersAsEscapes)
{
    EXPECT_EQ(visible("a\nb\r\tc"), "a\\nb\\r\\tc");
    EXPECT_EQ(visible(std::string_view("\0\x1b[31m\x7f", 7)), "\\x00\\x1B[31m\\x7F");
    EXPECT_EQ(visible("\u009b31m"), "\\u{009B}31m");
}

TEST(Visible, WritesWhatChangesLinesOrDirectionAsEscapes)
{
    EXPECT_EQ(visible("a\u2028b\u2029c"), "a\\u{2028}b\\u{2029}c");
    EXPECT_EQ(visible("\xE2\x80\xAEgnp.exe\xE2\x81\xA6"), "\\u{202E}gnp.exe\\u{2066}");
}

TEST(Visible, WritesEachByteThatIsNotUtf8AsAnEscape)
{
    EXPECT_EQ(visible("a\xff\xc3(b\xe2\x82"), "a\\xFF\\xC3(b\\xE2\\x82");
}

TEST(VisibleLines, KeepsLineFeedsAndTabsAlone) { EXPECT_EQ(visibleLines("one\n\ttwo\r\x1b"), "one\n\ttwo\\r\\x1B"); }

class OutputTest : public ::testing::Test
{
protected:
    std::ostringstream out;
    std::ostringstream err;
    Output plain {out, err, false};
    Output coloured {out, err, true};
};

TEST_F(OutputTest, ATableAlignsItsValuesAndEndsLinesWithoutSpaces)
{
    plain.table({{"Name", "a"}, {"Longer name", ""}, {"", "b\nc"}});
    EXPECT_EQ(out.str(), "Name         a\nLonger name\n             b\\nc\n");
}

TEST_F(OutputTest, ColoursOnlyGoodAndBadValues)
{
    coloured.table({{"A", "yes", Tone::good}, {"B", "no", Tone::bad}, {"C", "so"}});
    EXPECT_EQ(out.str(), "A  \033[32myes\033[0m\nB  \033[31mno\033[0m\nC  so\n");
}

TEST_F(OutputTest, PlainOutputHasNoColours)
{
    plain.table({{"A", "yes", Tone::good}});
    EXPECT_EQ(out.str(), "A  yes\n");
}

TEST_F(OutputTest, OfAMarkedLineTheMarkAloneHasAColour)
{
    coloured.markedLine("! warning", Tone::caution, " a\nb");
    plain.markedLine("! warning", Tone::caution, " c");
    EXPECT_EQ(out.str(), "\033[33m! warning\033[0m a\\nb\n! warning c\n");
}

TEST_F(OutputTest, AHeadingStandsOutOnATerminalAlone)
{
    coloured.heading("A\nB");
    plain.heading("C");
    EXPECT_EQ(out.str(), "\033[1mA\\nB\033[0m\nC\n");
}

TEST_F(OutputTest, JsonRepairsWhatIsNotUtf8)
{
    plain.json({{"path", "/\xff/\n"}});
    EXPECT_EQ(out.str(), "{\n  \"path\": \"/\uFFFD/\\n\"\n}\n");
}

TEST_F(OutputTest, LinesEndWithOneLineFeed)
{
    plain.lines("a\nb");
    plain.lines("c\n");
    plain.lines("");
    EXPECT_EQ(out.str(), "a\nb\nc\n");
}

TEST_F(OutputTest, ErrorsAreKeptApart)
{
    plain.line("result");
    plain.errorLine("went\nwrong");
    plain.errorLines("one\ntwo\x1b");
    EXPECT_EQ(out.str(), "result\n");
    EXPECT_EQ(err.str(), "went\\nwrong\none\ntwo\\x1B\n");
}

} // namespace
