#include "CodeManagerCLI/Arguments.h"

#include <sstream>

#include <gtest/gtest.h>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Output.h"

namespace
{

using namespace CodeManagerCLI;
using Words = std::vector<std::string>;

// A tree of its own, so that these rules hold for every command to come.
class ArgumentsTest : public ::testing::Test
{
protected:
    ArgumentsTest()
    {
        CLI::App& noun = tree.noun("move", "A command with arguments");
        paths = tree.paths(noun, "What to move");
        dryRun = addDryRun(noun);
        tree.setAction(noun, [this](const Context& context) {
            json = context.json;
            identityFile = context.identityFile;
            return 7;
        });
    }

    // What the command was given.
    Words parsed(const Words& words)
    {
        tree.parse(words);
        EXPECT_EQ(tree.run(output), 7);
        return *paths;
    }

    std::string refused(const Words& words)
    {
        try {
            tree.parse(words);
        } catch (const UsageError& error) {
            return error.sentence;
        }
        return "accepted";
    }

    std::ostringstream stream;
    Output output {stream, stream, false};
    CommandTree tree;
    std::shared_ptr<Words> paths;
    std::shared_ptr<bool> dryRun;
    bool json = false;
    std::optional<std::string> identityFile;
};

TEST_F(ArgumentsTest, EveryWordIsOneArgumentWhateverItHolds)
{
    const Words odd {"[a,b]", "{}", "[]", "++", "-", "", "=", "=x", "%%", "\"q\"", "a,b", "move", "\xff", "a\nb"};
    Words words {"move"};
    words.insert(words.end(), odd.begin(), odd.end());
    EXPECT_EQ(parsed(words), odd);
    EXPECT_FALSE(*dryRun);
}

TEST_F(ArgumentsTest, NothingIsAnOptionBehindTwoDashes)
{
    EXPECT_EQ(parsed({"move", "a", "--", "--dry-run", "--json", "--", "-h", "move"}),
              (Words {"a", "--dry-run", "--json", "--", "-h", "move"}));
    EXPECT_FALSE(*dryRun);
    EXPECT_FALSE(json);
}

TEST_F(ArgumentsTest, OptionsMayStandBetweenArguments)
{
    EXPECT_EQ(parsed({"--json", "move", "a", "--dry-run", "b", "--identity", "--odd", "c"}), (Words {"a", "b", "c"}));
    EXPECT_TRUE(*dryRun);
    EXPECT_TRUE(json);
    EXPECT_EQ(identityFile, "--odd");
}

TEST_F(ArgumentsTest, AnOptionsValueMayBeAnything)
{
    for (const std::string value : {"[a,b]", "", "=x", "{}", "move", "--json", "--"}) {
        CommandTree fresh;
        std::optional<std::string> seen;
        fresh.noun("look", "", [&seen](const Context& context) {
            seen = context.identityFile;
            return 0;
        });
        fresh.parse({"--identity", value, "look"});
        EXPECT_EQ(fresh.run(output), 0);
        EXPECT_EQ(seen, value);
    }
}

TEST_F(ArgumentsTest, AnEqualsSignGivesTheValueEvenAnEmptyOne)
{
    EXPECT_EQ(parsed({"--identity=", "move", "a"}), Words {"a"});
    EXPECT_EQ(identityFile, "");
}

TEST_F(ArgumentsTest, WithoutTheOptionThereIsNoValue)
{
    EXPECT_EQ(parsed({"move", "a"}), Words {"a"});
    EXPECT_EQ(identityFile, std::nullopt);
}

TEST_F(ArgumentsTest, WhatIsNotKnownIsRefused)
{
    EXPECT_EQ(refused({"move", "a", "--dry"}), "“--dry” is not an option of “zyn-code-manager move”.");
    EXPECT_EQ(refused({"move", "a", "-n"}), "“-n” is not an option of “zyn-code-manager move”.");
    EXPECT_EQ(refused({"mov", "a"}), "“mov” is not a command of “zyn-code-manager”.");
    EXPECT_EQ(refused({"--dry-run", "move", "a"}), "“--dry-run” is not an option of “zyn-code-manager”.");
}

TEST_F(ArgumentsTest, CommandsBehindTwoDashesAreNone)
{
    EXPECT_EQ(refused({"--", "move", "a"}), "“move” is not a command of “zyn-code-manager”.");
}

} // namespace
