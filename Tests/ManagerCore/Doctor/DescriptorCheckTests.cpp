#include "ManagerCore/Foundation/Descriptor.h"
#include "Tests/ManagerCore/Doctor/DoctorTest.h"
#include "Tests/Support/Permissions.h"

namespace fs = std::filesystem;
using namespace ManagerCore::Doctor;
using testing::ElementsAre;
using testing::StartsWith;
using TestSupport::write;

namespace
{

class DescriptorCheckTest : public DoctorTest
{
protected:
    [[nodiscard]] std::vector<std::string> said() const { return DoctorTest::said("descriptor"); }
    [[nodiscard]] std::string saidOf(Subject subject) const
    {
        const Finding first = ManagerCore::Doctor::examine(subject).front();
        return first.check + ", " + std::string(word(first.state)) + ": " + plain(first.message);
    }
};

TEST_F(DescriptorCheckTest, AWholeOneGivesAllKeys)
{
    EXPECT_THAT(said(), ElementsAre("ok: The descriptor “~/zyn.toml” gives all 19 keys."));
}

TEST_F(DescriptorCheckTest, EveryKeyThatTheRecordsReadIsKnown)
{
    const ManagerCore::Descriptor::Map whole = ManagerCore::Descriptor::parse(TestSupport::read(descriptor()));
    for (const auto& [key, value] : whole.entries()) {
        write(descriptor(), std::string(key) + " = " + (value.starts_with('[') ? "[\"odd\"]" : "odd") + "\n");
        const Subject loaded = subject();
        EXPECT_TRUE(loaded.identity != ManagerCore::Identity::empty
                    || loaded.actions != ManagerCore::ManagerActions::empty)
            << key << " is read by neither";
        EXPECT_EQ(said().size(), 1U) << "only what is missing is told: " << key;
    }
}

TEST_F(DescriptorCheckTest, ThereMayBeNone)
{
    Subject none = subject();
    none.descriptor.reset();
    EXPECT_EQ(
        saidOf(none),
        "descriptor, error: There is no descriptor, not even the “identity.toml” that comes with this program: name "
        "one with --identity or CM_IDENTITY_TOML.");
    none.descriptor = fs::path();
    EXPECT_EQ(saidOf(none),
              "descriptor, error: The descriptor has an empty name: name a file with --identity or CM_IDENTITY_TOML.");
}

TEST_F(DescriptorCheckTest, OneThatCannotBeReadIsAnError)
{
    const std::string advice = ": fix “~/zyn.toml” or name another descriptor with --identity or CM_IDENTITY_TOML.";
    write(descriptor(), "name = \"\xFF\"\n");
    EXPECT_THAT(said(),
                ElementsAre("error: The file “zyn.toml” couldn’t be opened because it isn’t UTF-8 text" + advice));
    {
        fs::permissions(descriptor(), fs::perms::none);
        const TestSupport::PermissionsHold hold;
        EXPECT_THAT(
            said(),
            ElementsAre("error: The file “zyn.toml” couldn’t be opened because you don’t have permission to view "
                        "it"
                        + advice));
    }
    fs::remove(descriptor());
    EXPECT_THAT(said(), ElementsAre("error: The file “zyn.toml” doesn’t exist" + advice));
    fs::create_directory(descriptor());
    EXPECT_THAT(said(),
                ElementsAre("error: The file “zyn.toml” couldn’t be opened because it isn’t a regular file" + advice));
}

TEST_F(DescriptorCheckTest, OneThatSaysNothingIsAnError)
{
    for (const char* const text : {"", "# a comment\n\n[identity]\nname\n"}) {
        write(descriptor(), text);
        EXPECT_THAT(said(),
                    ElementsAre("error: The descriptor “~/zyn.toml” has no keys, so the product is unknown: "
                                "add lines such as name = \"zyn\"."));
    }
}

TEST_F(DescriptorCheckTest, UnknownKeysAreWarnings)
{
    redescribe("binaries =", "binarys =");
    redescribe("name = \"zyn\"", "name = \"zyn\"\ncolour = \"red\"");
    EXPECT_THAT(
        said(),
        ElementsAre("warning: The key “colour” in “~/zyn.toml” is unknown: correct its name or remove the line.",
                    "warning: The key “binarys” in “~/zyn.toml” is unknown: correct its name or remove the line.",
                    "warning: The descriptor “~/zyn.toml” lacks “binaries”: add what the product has of these."));
}

TEST_F(DescriptorCheckTest, VeryManyUnknownKeysAreCounted)
{
    std::string text;
    for (int index = 0; index < 200000; index++) {
        text += "some_key_" + std::to_string(index) + " = 1\n";
    }
    write(descriptor(), text);
    const auto sentences = said();
    EXPECT_EQ(sentences.size(), 21U);
    EXPECT_THAT(sentences.back(), StartsWith("warning: 199981 more findings of this kind are not shown"));
}

TEST_F(DescriptorCheckTest, KeysThatAreMissingAreNamed)
{
    redescribe("server_log = \"~/server.log\"\n", "");
    EXPECT_THAT(said(),
                ElementsAre("warning: The descriptor “~/zyn.toml” lacks “server_log”: add what the product has of "
                            "these."));
    redescribe("server_port = \"8080\"\n", "");
    redescribe("display = \"Zyn\"\n", "");
    EXPECT_THAT(said(),
                ElementsAre("warning: The descriptor “~/zyn.toml” lacks “display”, “server_port” and “server_log”: "
                            "add what the product has of these."));
}

TEST_F(DescriptorCheckTest, AListMustBeOne)
{
    redescribe("config_dirs = [\"~/.zyn\"]", "config_dirs = \"~/.zyn\"");
    EXPECT_THAT(said(),
                ElementsAre("error: The value of “config_dirs” in “~/zyn.toml” is not a list and is ignored: put it "
                            "in brackets."));
}

TEST_F(DescriptorCheckTest, AListThatIsNotClosedTakesTheLinesBelowIt)
{
    redescribe("sweep_dirs = [\"~/bin\"]", "sweep_dirs = [\"~/bin\"");
    EXPECT_THAT(
        said(),
        ElementsAre("error: The brackets of “sweep_dirs” in “~/zyn.toml” do not match, so the lines around it are "
                    "misread: close each “[” with a “]”.",
                    StartsWith("warning: The descriptor “~/zyn.toml” lacks “model_paths”")));
}

TEST_F(DescriptorCheckTest, AValueMustNotBeAList)
{
    redescribe("server_port = \"8080\"", "server_port = [\"8080\"]");
    EXPECT_THAT(
        said(),
        ElementsAre("warning: The value of “server_port” in “~/zyn.toml” is a list where one value is meant: take "
                    "the brackets away."));
}

TEST_F(DescriptorCheckTest, ACommentInsideOfQuotesCutsTheValue)
{
    redescribe("identity_marker = \"marker\"", "identity_marker = \"mar#ker\"");
    EXPECT_THAT(said(),
                ElementsAre("warning: The value of “identity_marker” in “~/zyn.toml” lacks a quotation mark: quote it "
                            "whole and without “#”, which begins a comment everywhere."));
}

TEST_F(DescriptorCheckTest, OneThatWasChangedSinceIsTold)
{
    const Subject before = subject();
    redescribe("Zyn", "Zyn 2");
    EXPECT_EQ(saidOf(before),
              "descriptor, warning: The descriptor “~/zyn.toml” was changed after it was read: start this program "
              "again to use it.");
}

} // namespace
