#include "ManagerCore/Foundation/Descriptor.h"

#include <random>

#include <gmock/gmock.h>

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"
#include "Tests/Support/Sandbox.h"

namespace Descriptor = ManagerCore::Descriptor;
using ManagerCore::Identity;
using ManagerCore::ManagerActions;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace
{

std::string raw(std::string_view text, std::string_view key)
{
    return std::string(Descriptor::parse(text).find(key).value_or("<absent>"));
}

TEST(DescriptorParse, keepsKeysAndRawValuesTrimmed)
{
    const auto map = Descriptor::parse("a = 1\n\tb\u00A0=  \"x\" \nc=[ 'y' ]\n");
    EXPECT_THAT(map.entries(), ElementsAre(Pair("a", "1"), Pair("b", "\"x\""), Pair("c", "[ 'y' ]")));
    EXPECT_EQ(map.size(), 3U);
}

TEST(DescriptorParse, cutsCommentsEvenInsideQuotes)
{
    EXPECT_EQ(raw("name = \"demo\" # the name", "name"), "\"demo\"");
    EXPECT_EQ(raw("display = \"A#B\"", "display"), "\"A");
    EXPECT_THAT(Descriptor::parse("# a = 1\n#\n").entries(), IsEmpty());
}

TEST(DescriptorParse, skipsLinesThatSayNothing)
{
    EXPECT_THAT(Descriptor::parse("[section]\nstray text\n= value\n \t = value\n\n").entries(), IsEmpty());
    EXPECT_EQ(raw("key =", "key"), "");
    EXPECT_EQ(raw("key = a = b", "key"), "a = b");
}

TEST(DescriptorParse, theLastOccurrenceWinsAndSectionsMeanNothing)
{
    const auto map = Descriptor::parse("a = 1\nb = 2\n[other]\na = 3\n");
    EXPECT_THAT(map.entries(), ElementsAre(Pair("a", "3"), Pair("b", "2")));
}

TEST(DescriptorParse, arraysMayRunOverLines)
{
    EXPECT_EQ(raw("binaries = [\n  \"one\",\n  'two' # last\n]\nafter = 1", "binaries"), "[   \"one\",   'two'  ]");
    EXPECT_EQ(raw("binaries = [\n  \"one\",\n  'two' # last\n]\nafter = 1", "after"), "1");
}

TEST(DescriptorParse, bracketsInQuotesAndCommentsCountAsTheyStand)
{
    EXPECT_EQ(raw("a = \"[\"\nb = 2\n", "a"), "\"[\" b = 2");
    EXPECT_EQ(raw("a = \"[\"\nb = 2\n", "b"), "<absent>");
    EXPECT_EQ(raw("a = 1 # [\nb = 2\n", "b"), "2");
    EXPECT_EQ(raw("]]\na = [\nx\n]\nb = 2", "b"), "2") << "a depth below zero joins nothing until it is back above";
    EXPECT_EQ(raw("]]\na = [\nx\n]\nb = 2", "a"), "[");
}

TEST(DescriptorParse, anArrayAtTheEndWithoutItsBracketIsOneLine)
{
    EXPECT_EQ(raw("a = [\n1\n2", "a"), "[ 1 2");
    EXPECT_EQ(raw("a = [\n1\n", "a"), "[ 1");
}

TEST(DescriptorParse, carriageReturnLineEndsMakeOneLine)
{
    const auto map = Descriptor::parse("name = a\r\ndisplay = b\r\n");
    EXPECT_THAT(map.entries(), ElementsAre(Pair("name", "a\r\ndisplay = b\r\n")));
    EXPECT_EQ(raw("a = [\r\n1\r\n]\nb = 2", "a"), "[\r\n1\r\n]");
    EXPECT_EQ(raw("a = 1 # c\r\nb = 2", "a"), "1") << "the comment reaches to the end of the one line";
}

TEST(DescriptorParse, aCarriageReturnLeftByACutCommentJoinsTheLines)
{
    EXPECT_EQ(raw("a = 1\r# comment\nb = 2\nc = 3", "a"), "1\r\nb = 2");
    EXPECT_EQ(raw("a = 1\r# comment\nb = 2\nc = 3", "c"), "3");
}

TEST(DescriptorParse, aDelimiterWithACombiningMarkIsAnotherCharacter)
{
    EXPECT_EQ(raw("a = x#\u0301y # comment", "a"), "x#\u0301y");
    EXPECT_EQ(raw("a=\u0301b = c", "a=\u0301b"), "c");
    EXPECT_EQ(raw("a = [\u0301\nb = 2", "b"), "2");
    EXPECT_EQ(raw("a = [1]\u0301\n2]\nb = 2", "a"), "[1]\u0301 2]");
    EXPECT_EQ(raw("a = 1\n\u0301b = 2", "\u0301b"), "2") << "a line feed takes no mark";
    EXPECT_EQ(raw("a = \u0600# b # c", "a"), "\u0600# b") << "a mark that belongs to what follows";
    EXPECT_EQ(raw("a = x#\xCC", "a"), "x") << "no mark, but an invalid byte";
}

TEST(DescriptorUnquote, takesNoQuoteWithACombiningMark)
{
    EXPECT_EQ(Descriptor::unquote("\"\u0301a\""), "\"\u0301a\"");
    EXPECT_EQ(Descriptor::unquote("\"a\"\u0301"), "\"a\"\u0301");
    EXPECT_EQ(Descriptor::unquote("'a\u0600'"), "'a\u0600'");
    EXPECT_EQ(Descriptor::unquote("\"\u00E9\""), "\u00E9");
}

TEST(DescriptorUnquote, takesOneMatchingPair)
{
    EXPECT_EQ(Descriptor::unquote("\"a\""), "a");
    EXPECT_EQ(Descriptor::unquote("'a'"), "a");
    EXPECT_EQ(Descriptor::unquote("\"\"a\"\""), "\"a\"");
    EXPECT_EQ(Descriptor::unquote("\"a'"), "\"a'");
    EXPECT_EQ(Descriptor::unquote("\"a"), "\"a");
    EXPECT_EQ(Descriptor::unquote("\""), "\"");
    EXPECT_EQ(Descriptor::unquote("\"\""), "");
    EXPECT_EQ(Descriptor::unquote(""), "");
    EXPECT_EQ(Descriptor::unquote("\"a\\n\""), "a\\n");
}

TEST(DescriptorList, readsOneLineArraysAlone)
{
    const auto elements
        = [](std::string_view value) { return Descriptor::list("k", Descriptor::parse("k = " + std::string(value))); };
    EXPECT_THAT(elements("[\"a\", \"\", 'b']"), ElementsAre("a", "b"));
    EXPECT_THAT(elements("[ a ,,\u00A0b\u00A0, ]"), ElementsAre("a", "b"));
    EXPECT_THAT(elements("[\"a,b\"]"), ElementsAre("\"a", "b\""));
    EXPECT_THAT(elements("[a,\u0301b, c]"), ElementsAre("a,\u0301b", "c"));
    EXPECT_THAT(elements("[\u0301a]"), IsEmpty());
    EXPECT_THAT(elements("[a\u0600]"), IsEmpty());
    EXPECT_THAT(elements("\"a\""), IsEmpty());
    EXPECT_THAT(elements("[a"), IsEmpty());
    EXPECT_THAT(elements("[a] x"), IsEmpty());
    EXPECT_THAT(elements("[]"), IsEmpty());
    EXPECT_THAT(elements("["), IsEmpty());
    EXPECT_THAT(Descriptor::list("other", Descriptor::parse("k = [a]")), IsEmpty());
}

TEST(DescriptorMap, copiesShareTheirTextAndOutliveTheOriginal)
{
    Descriptor::Map copy;
    EXPECT_TRUE(copy.empty());
    EXPECT_FALSE(copy.find("a").has_value());
    {
        const auto map = Descriptor::parse(std::string("a = ") + std::string(100, 'x'));
        copy = map;
    }
    EXPECT_EQ(copy.find("a"), std::string(100, 'x'));
}

TEST(DescriptorMap, holdsAHundredThousandKeys)
{
    std::string text;
    for (int key = 0; key < 100'000; key++) {
        text += "key" + std::to_string(key) + " = " + std::to_string(key * 7) + "\n";
    }
    const auto map = Descriptor::parse(text);
    EXPECT_EQ(map.size(), 100'000U);
    EXPECT_EQ(map.find("key0"), "0");
    EXPECT_EQ(map.find("key99999"), "699993");
    EXPECT_FALSE(map.find("key100000").has_value());
}

TEST(DescriptorParse, anyBytesGiveAnAnswer)
{
    std::mt19937 random(7); // NOLINT(bugprone-random-generator-seed): the same bytes each time
    std::string bytes(2'000'000, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    EXPECT_NO_FATAL_FAILURE(Descriptor::parse(bytes));
    EXPECT_FALSE(Descriptor::parse(std::string(100'000, '[') + "\na = 1").find("a").has_value());
    EXPECT_EQ(Descriptor::parse(std::string(100'000, ']') + "\na = 1").find("a"), "1");
    EXPECT_EQ(Descriptor::parse("").size(), 0U);
    EXPECT_EQ(Descriptor::parse(std::string("a\0b = c\0d", 9)).find(std::string_view("a\0b", 3)),
              std::string_view("c\0d", 3));
}

TEST(DescriptorParse, aHundredMegabytesAreReadInLinearTime)
{
    std::string text = "first = 1\n";
    text.append(100U << 20U, 'x'); // no line feed at all
    EXPECT_EQ(Descriptor::parse(text).find("first"), "1");
    std::string open = "a = [";
    while (open.size() < (100U << 20U)) {
        open += "\"element\",\n[\n";
    }
    EXPECT_EQ(Descriptor::parse(open).size(), 1U);
}

using DescriptorFiles = TestSupport::SandboxTest;

TEST_F(DescriptorFiles, everyKeyOfTheIdentityIsRead)
{
    TestSupport::write(scratch() / "full.toml", R"(
# a product
[product]
name = "zyn"
display = 'Zyn Code'
bundle_prefix = "com.zyn."
app_paths = ["~/Applications/Zyn.app"]
binaries = [
  "~/.zyn/bin/zyn",   # first
  '/usr/local/bin/zyn',
]
config_dirs = ["~/.zyn"]
model_paths = ["~/models/a", "~/models/b"]
model_locations = ["~/.zyn/crucible"]
model_display = "Big Model"
editor_extension_id = zyn-labs.zyn
identity_marker = "marker-7"
sweep_names = ["zyn"]
sweep_dirs = ["~/bin"]
[actions]
defaults_path = "~/.zyn/defaults.yaml"
launch_agent = "com.zyn.agent"
server_bin = "~/.zyn/bin/server"
server_port = 8080
server_log = "~/Library/Logs/zyn/server.log"
model_served = "~/.zyn/served"
)");
    const Identity expected {
        .name = "zyn",
        .display = "Zyn Code",
        .bundlePrefix = "com.zyn.",
        .appPaths = {"~/Applications/Zyn.app"},
        .binaries = {"~/.zyn/bin/zyn", "/usr/local/bin/zyn"},
        .configDirs = {"~/.zyn"},
        .modelPaths = {"~/models/a", "~/models/b"},
        .modelLocations = {"~/.zyn/crucible"},
        .modelDisplay = "Big Model",
        .editorExtensionId = "zyn-labs.zyn",
        .marker = "marker-7",
        .sweepNames = {"zyn"},
        .sweepDirs = {"~/bin"},
    };
    const ManagerActions actions {
        .defaultsPath = "~/.zyn/defaults.yaml",
        .launchAgent = "com.zyn.agent",
        .serverBin = "~/.zyn/bin/server",
        .serverPort = "8080",
        .serverLog = "~/Library/Logs/zyn/server.log",
        .modelServed = "~/.zyn/served",
    };
    EXPECT_TRUE(Identity::load(scratch() / "full.toml").value() == expected);
    EXPECT_TRUE(ManagerActions::load(scratch() / "full.toml") == actions);
}

TEST_F(DescriptorFiles, absentKeysKeepTheirDefaults)
{
    TestSupport::write(scratch() / "empty.toml", "");
    const Identity identity = Identity::load(scratch() / "empty.toml").value();
    EXPECT_TRUE(identity == Identity::empty);
    EXPECT_EQ(identity.name, "app");
    EXPECT_EQ(identity.display, "Code");
    EXPECT_EQ(identity.modelDisplay, "Model");
    EXPECT_EQ(identity.bundlePrefix + identity.editorExtensionId + identity.marker, "");
    EXPECT_TRUE(ManagerActions::load(scratch() / "empty.toml") == ManagerActions::empty);
}

TEST_F(DescriptorFiles, aPresentEmptyValueIsNotTheDefault)
{
    TestSupport::write(scratch() / "blank.toml", "name =\ndisplay = \"\"\nbinaries = \"bare\"\n");
    const Identity identity = Identity::load(scratch() / "blank.toml").value();
    EXPECT_EQ(identity.name, "");
    EXPECT_EQ(identity.display, "");
    EXPECT_THAT(identity.binaries, IsEmpty());
}

TEST_F(DescriptorFiles, onlyReadingCanFail)
{
    TestSupport::write(scratch() / "latin1.toml", "name = \"\xE9\"");
    EXPECT_EQ(Identity::load(scratch() / "none.toml").error(), "The file “none.toml” doesn’t exist.");
    EXPECT_EQ(Identity::load(scratch() / "latin1.toml").error(),
              "The file “latin1.toml” couldn’t be opened because it isn’t UTF-8 text.");
    EXPECT_TRUE(ManagerActions::load(scratch() / "none.toml") == ManagerActions::empty);
    EXPECT_TRUE(ManagerActions::load(scratch() / "latin1.toml") == ManagerActions::empty);
}

} // namespace
