#include <sys/stat.h>

#include "Tests/ManagerCore/Doctor/DoctorTest.h"
#include "Tests/Support/Permissions.h"

namespace fs = std::filesystem;
using namespace ManagerCore::Doctor;
using testing::Contains;
using testing::ElementsAre;
using TestSupport::EnvironmentVariable;
using TestSupport::makeExecutable;
using TestSupport::makeLink;
using TestSupport::write;

namespace
{

class ExecutablesCheckTest : public DoctorTest
{
protected:
    [[nodiscard]] std::vector<std::string> said() const { return DoctorTest::said("executables"); }
    [[nodiscard]] std::string search(const std::string& folders) const { return folders + ":/usr/bin:/bin"; }
};

TEST_F(ExecutablesCheckTest, OfTheDeclaredOnesTheFirstThatExistsIsUsed)
{
    EXPECT_THAT(said(),
                ElementsAre("ok: The executable “~/bin/zyn” is there and can be run.",
                            "ok: The executable “~/opt/zyn” is not there, and “~/bin/zyn” is used.",
                            "ok: The backend's executable “~/bin/server” is there and can be run.",
                            "ok: On the PATH “zyn” is “~/bin/zyn”, the installed one."));
}

TEST_F(ExecutablesCheckTest, WhatIsNotInstalledYetIsAWarning)
{
    fs::remove(home() / "bin/zyn");
    fs::remove(home() / "bin/server");
    EXPECT_THAT(
        said(),
        ElementsAre("warning: None of the declared executables is there, not even “~/bin/zyn”: install the product "
                    "in the Install pane or with “install cli”.",
                    "warning: The backend's executable “~/bin/server” is not there: install the engine in the "
                    "Install pane or with “install engine”."));
    redescribe("binaries = [", "binaries_ = [");
    EXPECT_THAT(
        said(),
        Contains("warning: The descriptor declares no executable, so the product never counts as installed: give "
                 "it “binaries”."));
}

TEST_F(ExecutablesCheckTest, WhatIsUsedAndCannotBeRunIsAnError)
{
    const std::string start = "error: The executable “~/bin/zyn”, by which the product is started, ";
    const std::string advice = ": make it a program that may be executed, or install the product anew.";
    fs::permissions(home() / "bin/zyn", fs::perms::owner_read);
    EXPECT_EQ(said().front(), start + "may not be executed" + advice);
    fs::remove(home() / "bin/zyn");
    fs::create_directory(home() / "bin/zyn");
    EXPECT_EQ(said().front(), start + "is a folder" + advice);
    fs::remove(home() / "bin/zyn");
    ASSERT_EQ(::mkfifo((home() / "bin/zyn").c_str(), 0700), 0);
    EXPECT_EQ(said().front(), start + "is neither a file nor a folder" + advice);

    fs::permissions(home() / "bin/server", fs::perms::owner_read);
    EXPECT_THAT(
        said(),
        Contains("error: The backend's executable “~/bin/server” may not be executed: make it a program that may "
                 "be executed, or install the engine anew."));
}

TEST_F(ExecutablesCheckTest, OneThatIsNotUsedAndLeadsNowhereIsAWarning)
{
    makeLink(home() / "opt/zyn", home() / "gone");
    EXPECT_THAT(said(),
                Contains("warning: The executable “~/opt/zyn” is a link that leads nowhere: move it to the Trash, or "
                         "install the product anew."));
    fs::remove(home() / "opt/zyn");
    makeLink(home() / "opt/zyn", home() / "opt/zyn");
    EXPECT_THAT(
        said(),
        Contains("warning: The executable “~/opt/zyn” is reached over links that lead in a circle: move it to the "
                 "Trash, or install the product anew."));
}

TEST_F(ExecutablesCheckTest, ItShouldBeFoundOnThePath)
{
    const EnvironmentVariable path("PATH", "/usr/bin::relative");
    EXPECT_THAT(
        said(),
        Contains("warning: “zyn” is not found on the PATH and starts by its whole path alone: add “~/bin” to PATH."));
}

TEST_F(ExecutablesCheckTest, ALinkToItOnThePathIsTheInstalledOne)
{
    makeLink(home() / "links/zyn", home() / "bin/zyn");
    const EnvironmentVariable path("PATH", search((home() / "links").string() + ":" + (home() / "bin").string()));
    EXPECT_THAT(said(), Contains("ok: On the PATH “zyn” is “~/links/zyn”, the installed one."));
    EXPECT_EQ(said().size(), 4U);
}

TEST_F(ExecutablesCheckTest, AnotherBuildInFrontOfItIsTold)
{
    makeExecutable(home() / "old/zyn", "#!/bin/sh\necho zyn 0\n"); // as long as the installed one
    const EnvironmentVariable path("PATH", search((home() / "old").string() + ":" + (home() / "bin").string()));
    EXPECT_THAT(said(),
                Contains("warning: On the PATH “zyn” is “~/old/zyn” and not the installed “~/bin/zyn”: put “~/bin” in "
                         "front of “~/old” there."));
}

TEST_F(ExecutablesCheckTest, OtherBuildsBehindItAreTold)
{
    makeExecutable(home() / "old/zyn", "#!/bin/sh\necho zyn 0\n");
    makeExecutable(home() / "older/zyn", "#!/bin/sh\n");
    const std::string folders
        = (home() / "bin").string() + ":" + (home() / "old").string() + ":" + (home() / "older").string();
    const EnvironmentVariable path("PATH", search(folders));
    EXPECT_THAT(said(), Contains("ok: On the PATH “zyn” is “~/bin/zyn”, the installed one."));
    EXPECT_THAT(
        said(),
        Contains("warning: The PATH holds 2 other programs called “zyn” farther back, first “~/old/zyn”: check in "
                 "the Components pane whether they are old."));
}

class AgentCheckTest : public DoctorTest
{
protected:
    [[nodiscard]] std::vector<std::string> said() const { return DoctorTest::said("agent file"); }

    const std::string named_ = "The agent file “~/Library/LaunchAgents/com.zyn.test.plist”";
    const std::string labelled_ = "ok: " + named_ + " bears the label of the descriptor, “com.zyn.test”.";
};

TEST_F(AgentCheckTest, AWholeOneIsFine)
{
    EXPECT_THAT(said(),
                ElementsAre(labelled_, "ok: " + named_ + " starts “~/bin/server”, which is there and can be run."));
}

TEST_F(AgentCheckTest, WithoutAnAgentThereIsNothingToStart)
{
    fs::remove(agent());
    EXPECT_THAT(said(),
                ElementsAre("warning: " + named_
                            + " is not there, so the backend cannot be started: install the engine, which brings it."));
    redescribe("launch_agent", "launch_agents");
    EXPECT_THAT(
        said(),
        ElementsAre("warning: The descriptor declares no launch agent, so there is no backend to start: give it "
                    "“launch_agent”."));
}

TEST_F(AgentCheckTest, OneThatCannotBeReadIsAnError)
{
    write(agent(), "no property list");
    EXPECT_THAT(said(),
                ElementsAre("error: " + named_ + " is no property list: write it anew by installing the engine."));
    fs::remove(agent());
    ASSERT_EQ(::mkfifo(agent().c_str(), 0600), 0);
    EXPECT_THAT(
        said(),
        ElementsAre("error: The file “com.zyn.test.plist” couldn’t be opened because it isn’t a regular file: fix "
                    "“~/Library/LaunchAgents/com.zyn.test.plist” or install the engine anew."));
    fs::remove(agent());
    makeLink(agent(), home() / "gone");
    EXPECT_THAT(said(),
                ElementsAre("error: The file “com.zyn.test.plist” doesn’t exist: fix "
                            "“~/Library/LaunchAgents/com.zyn.test.plist” or install the engine anew."));
}

TEST_F(AgentCheckTest, TheLabelMustBeTheDescriptors)
{
    writeAgent("com.zyn.other", "");
    EXPECT_THAT(
        said(),
        Contains("error: " + named_
                 + " bears the label “com.zyn.other” where the descriptor's “launch_agent” is “com.zyn.test”: make "
                   "the two the same."));
    write(agent(), "<plist version=\"1.0\"><dict><key>Label</key><true/></dict></plist>");
    EXPECT_THAT(said(),
                Contains("error: " + named_
                         + " bears no label where the descriptor's “launch_agent” is “com.zyn.test”: make the two the "
                           "same."));
}

TEST_F(AgentCheckTest, TheProgramMustBeThere)
{
    writeAgent("com.zyn.test", "");
    EXPECT_THAT(said(),
                Contains("error: " + named_ + " names no program to start: write it anew by installing the engine."));
    writeAgent("com.zyn.test", "<key>ProgramArguments</key><array><string>/gone/server</string></array>");
    EXPECT_THAT(said(),
                Contains("error: " + named_
                         + " starts “/gone/server”, which is not there: install the engine or correct the file."));
    fs::permissions(home() / "bin/server", fs::perms::owner_read);
    writeAgent("com.zyn.test", "<key>Program</key><string>" + (home() / "bin/server").string() + "</string>");
    EXPECT_THAT(
        said(),
        Contains("error: " + named_
                 + " starts “~/bin/server”, which may not be executed: install the engine or correct the file."));
}

TEST_F(AgentCheckTest, AnotherProgramThanTheDeclaredOneIsTold)
{
    writeAgent("com.zyn.test", "<key>ProgramArguments</key><array><string>sh</string></array>");
    const std::string shell = fs::exists("/usr/bin/sh") ? "/usr/bin/sh" : "/bin/sh";
    EXPECT_THAT(said(),
                ElementsAre(labelled_,
                            "warning: " + named_ + " starts “" + shell
                                + "” and not the descriptor's “server_bin” “~/bin/server”: make the two the same."));
    redescribe("server_bin", "server_bins");
    EXPECT_THAT(said(),
                ElementsAre(labelled_, "ok: " + named_ + " starts “" + shell + "”, which is there and can be run."));
}

class LinksCheckTest : public DoctorTest
{
protected:
    [[nodiscard]] std::vector<std::string> said() const { return DoctorTest::said("links"); }

    static constexpr const char* rootAdvice
        = ": connect the drive, or point it at a store in the Crucible pane or with “crucible set-root”.";
    static constexpr const char* servedAdvice
        = ": serve a copy that exists in the Crucible pane or with “crucible serve”.";
};

TEST_F(LinksCheckTest, LinksThatLeadSomewhereAreFine)
{
    EXPECT_THAT(said(),
                ElementsAre("ok: The root link “~/crucible” leads to the store “~/store”.",
                            "ok: The served link “~/served” leads to “~/store/models/vantor”.",
                            "ok: The store “~/store” holds 1 link, none of which dangles."));
}

TEST_F(LinksCheckTest, AStoreInPlaceOfTheRootLinkIsFine)
{
    fs::remove(home() / "crucible");
    fs::rename(home() / "store", home() / "crucible");
    EXPECT_THAT(said(), Contains("ok: In place of the root link stands the store itself, the folder “~/crucible”."));
}

TEST_F(LinksCheckTest, LinksThatAreNotThereAreWarnings)
{
    fs::remove(home() / "crucible");
    fs::remove(home() / "served");
    fs::remove_all(home() / "store");
    EXPECT_THAT(
        said(),
        ElementsAre(std::string("warning: The root link “~/crucible” is not there, so no store of weights is in use")
                        + rootAdvice,
                    "warning: The served link “~/served” is not there, so no model is served: install one in the "
                    "Model pane or with “model install”.",
                    "warning: There is no store of weights at “~/store” or “~/crucible”: make one there, or name "
                    "one with ZYN_CRUCIBLE_LOCAL or ZYN_CRUCIBLE_ROOT."));
    redescribe("model_served", "model_service");
    EXPECT_THAT(
        said(),
        Contains("warning: The descriptor declares no served model, so no copy of the weights can be chosen: give "
                 "it “model_served”."));
}

TEST_F(LinksCheckTest, LinksThatLeadNowhereAreErrors)
{
    for (const char* const name : {"crucible", "served"}) {
        fs::remove(home() / name);
        makeLink(home() / name, home() / "drive/gone");
    }
    const auto sentences = said();
    EXPECT_THAT(sentences,
                Contains(std::string("error: The root link “~/crucible” leads to “~/drive/gone”, where nothing is")
                         + rootAdvice));
    EXPECT_THAT(sentences,
                Contains(std::string("error: The served link “~/served” leads to “~/drive/gone”, where nothing is")
                         + servedAdvice));
}

TEST_F(LinksCheckTest, LinksThatLeadInACircleAreErrors)
{
    for (const char* const name : {"crucible", "served"}) {
        fs::remove(home() / name);
        makeLink(home() / name, home() / name);
    }
    const auto sentences = said();
    EXPECT_THAT(sentences, Contains(std::string("error: The root link “~/crucible” leads in a circle") + rootAdvice));
    EXPECT_THAT(sentences, Contains(std::string("error: The served link “~/served” leads in a circle") + servedAdvice));
}

TEST_F(LinksCheckTest, AFileIsNoStore)
{
    write(home() / "file", "f");
    fs::remove(home() / "crucible");
    makeLink(home() / "crucible", home() / "file");
    const auto sentences = said();
    EXPECT_THAT(
        sentences,
        Contains(std::string("error: The root link “~/crucible” leads to “~/file”, which is no folder") + rootAdvice));
    EXPECT_THAT(sentences, Contains("error: The store “~/crucible” is no folder: see to what stands there."));
}

TEST_F(LinksCheckTest, AServedModelOutsideOfEveryCopyIsTold)
{
    write(home() / "elsewhere/weights", "w");
    fs::remove(home() / "served");
    makeLink(home() / "served", home() / "elsewhere");
    EXPECT_THAT(
        said(),
        Contains("warning: The served link “~/served” leads to “~/elsewhere”, which lies in no declared copy of "
                 "the weights, so none can be chosen in its place: aim it into one of the descriptor's "
                 "“model_locations”."));
}

TEST_F(LinksCheckTest, DanglingLinksBelowTheStoreAreCounted)
{
    makeLink(home() / "store/models/a", home() / "gone");
    EXPECT_THAT(
        said(),
        Contains("warning: The store “~/store” holds 1 link that leads nowhere, “~/store/models/a” to “~/gone”: "
                 "connect the drive, or repair the links in the Crucible pane or with “crucible repair”."));
    makeLink(home() / "store/models/b", home() / "store/models/b");
    EXPECT_THAT(said(),
                Contains("warning: The store “~/store” holds 2 links that lead nowhere, first “~/store/models/a” to "
                         "“~/gone”: connect the drive, or repair the links in the Crucible pane or with “crucible "
                         "repair”."));
}

TEST_F(LinksCheckTest, AStoreThatMayNotBeLookedIntoIsAnError)
{
    fs::permissions(home() / "store", fs::perms::none);
    {
        const TestSupport::PermissionsHold hold;
        EXPECT_THAT(said(), Contains("error: The store “~/store” may not be looked into: see to what stands there."));
    }
    fs::permissions(home() / "store", fs::perms::owner_all);
}

} // namespace
