#include <filesystem>
#include <functional>

#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ModelTest.h"

using namespace CodeManagerApp;
using ManagerCore::Identity;
using ManagerCore::ManagerActions;
namespace fs = std::filesystem;

namespace
{

// A product with copies of its weights in two places, the first of which is served.
class CrucibleOperationTest : public TestSupport::ModelTest
{
protected:
    CrucibleOperationTest()
    {
        TestSupport::write(home() / "near/models/a/weights", "near");
        TestSupport::write(home() / "far/models/a/weights", "far away");
        TestSupport::makeLink(home() / ".zyn/crucible", home() / "near");
        TestSupport::makeLink(home() / ".zyn/served", home() / "near/models/a");
    }

    static bool settled(ManagerModel& model)
    {
        return until(model, &ManagerModel::crucibleBusyChanged, [&model] { return !model.crucibleBusy(); });
    }

    static void probe(ManagerModel& model)
    {
        model.refreshCrucible();
        ASSERT_TRUE(model.crucibleBusy());
        ASSERT_TRUE(settled(model));
    }

    // Until the operation and the refresh that may follow are done.
    static void awaitBoth(ManagerModel& model)
    {
        ASSERT_TRUE(settled(model));
        ASSERT_TRUE(settled(model));
    }

    [[nodiscard]] std::string inHome(const std::string& relative) const { return (home() / relative).string(); }

    // The rows of the pane: a star for serving, a plus for what can serve.
    static std::string written(const ManagerModel& model)
    {
        std::string text;
        for (const CrucibleSiteValue& site : model.crucibleSites()) {
            text += std::string(site.serving        ? "*"
                                    : site.canServe ? "+"
                                                    : " ")
                + toUtf8(site.path) + " " + toUtf8(site.size) + " " + toUtf8(site.place) + "\n";
        }
        return text;
    }

    const Identity identity_ {.name = "zyn", .modelLocations = {"~/.zyn/crucible", "~/far", "~/absent"}};
    const ManagerActions actions_ {.modelServed = "~/.zyn/served"};
};

TEST_F(CrucibleOperationTest, isUnknownUntilItWasRead)
{
    ManagerModel model(identity_, actions_);
    EXPECT_FALSE(model.crucibleKnown());
    EXPECT_TRUE(model.crucibleSites().isEmpty());
    EXPECT_TRUE(model.crucibleLinks().isEmpty());
    EXPECT_FALSE(model.servedLinkDangles());
    EXPECT_EQ(toUtf8(model.reasonAgainstCrucibleWork()), "The crucible has not been read yet.");
    EXPECT_EQ(toUtf8(model.reasonAgainstRepairing()), "Check the links first.");
}

TEST_F(CrucibleOperationTest, theRowsTellOfEveryCopy)
{
    ManagerModel model(identity_, actions_);
    probe(model);
    EXPECT_EQ(written(model),
              "*" + inHome("near") + " 4 KB internal\n+" + inHome("far") + " 4 KB internal\n " + inHome("absent")
                  + " absent internal\n");
    const auto sites = model.crucibleSites();
    EXPECT_GE(sites[0].used, 0);
    EXPECT_LE(sites[0].used, 1);
    EXPECT_TRUE(sites[0].drive.contains(QStringLiteral(" free of ")));
    EXPECT_LT(sites[2].used, 0);
    EXPECT_EQ(toUtf8(sites[2].volume), "—");
    EXPECT_EQ(toUtf8(model.crucibleLinks()[0].target), inHome("near"));
    EXPECT_EQ(toUtf8(model.crucibleLinks()[1].target), inHome("near/models/a"));
}

TEST_F(CrucibleOperationTest, theRootIsNotSetBeforeTheLayoutWasRead)
{
    ManagerModel model(identity_, actions_);
    const QSignalSpy busy(&model, &ManagerModel::crucibleBusyChanged);
    model.setCrucibleRoot(home() / "far");
    QCoreApplication::processEvents();
    EXPECT_EQ(busy.count(), 0);
    EXPECT_EQ(fs::read_symlink(home() / ".zyn/crucible"), home() / "near");
}

TEST_F(CrucibleOperationTest, theRootIsSetAndTheRowsFollow)
{
    ManagerModel model(identity_, actions_);
    probe(model);
    model.setCrucibleRoot(home() / "far");
    awaitBoth(model);
    EXPECT_EQ(toUtf8(model.console()), "Crucible root now points at:\n" + inHome("far"));
    EXPECT_EQ(fs::read_symlink(home() / ".zyn/crucible"), home() / "far");
    EXPECT_EQ(toUtf8(model.crucibleLinks()[0].target), inHome("far"));

    model.setCrucibleRoot(home() / "nowhere");
    awaitBoth(model);
    EXPECT_EQ(toUtf8(model.console()), "That folder does not exist:\n" + inHome("nowhere"));
    EXPECT_EQ(fs::read_symlink(home() / ".zyn/crucible"), home() / "far");
}

TEST_F(CrucibleOperationTest, anotherCopyIsServed)
{
    ManagerModel model(identity_, actions_);
    probe(model);
    const auto before = model.crucible();
    model.serveFrom(1);
    ASSERT_TRUE(settled(model));
    EXPECT_EQ(toUtf8(model.console()), "Now serving from:\n" + inHome("far/models/a"));
    EXPECT_EQ(fs::read_symlink(home() / ".zyn/served"), home() / "far/models/a");
    EXPECT_FALSE(model.crucibleBusy());
    EXPECT_EQ(model.crucible(), before) << "the operation reads nothing anew by itself";
    EXPECT_EQ(TestSupport::read(home() / "near/models/a/weights"), "near");
    probe(model);
    EXPECT_TRUE(model.crucibleSites()[1].serving);
}

TEST_F(CrucibleOperationTest, theBackendIsRestartedAfterwards)
{
    ManagerActions actions = actions_;
    actions.launchAgent = "com.example.code-manager.none";
    ManagerModel model(identity_, actions);
    probe(model);
    model.serveFrom(1);
    ASSERT_TRUE(settled(model));
    ASSERT_TRUE(model.busy()) << "the restart";
    ASSERT_TRUE(until(model, &ManagerModel::busyChanged, [&model] { return !model.busy(); }));
    EXPECT_TRUE(model.console().startsWith(QStringLiteral("Restart failed (113)\n"))) << toUtf8(model.console());
    ASSERT_TRUE(refreshed(model));
}

TEST_F(CrucibleOperationTest, whatCannotBeServedSaysWhyAndIsReadAnew)
{
    fs::remove_all(home() / "far/models");
    ManagerModel model(identity_, actions_);
    probe(model);
    model.serveFrom(1);
    awaitBoth(model);
    EXPECT_EQ(toUtf8(model.console()), "No copy of these weights on that drive:\n" + inHome("far/models/a"));
    EXPECT_EQ(fs::read_symlink(home() / ".zyn/served"), home() / "near/models/a");
}

TEST_F(CrucibleOperationTest, withADanglingServedLinkNobodyCanTellWhoServes)
{
    fs::remove(home() / ".zyn/served");
    TestSupport::makeLink(home() / ".zyn/served", "/gone/models/a");
    ManagerModel model(identity_, actions_);
    model.serveFrom(0);
    EXPECT_EQ(toUtf8(model.console()), "Cannot tell which drive currently serves the model.");
    probe(model);
    EXPECT_TRUE(model.servedLinkDangles());
    EXPECT_TRUE(model.crucibleSites()[0].canServe);
    EXPECT_TRUE(model.crucibleSites()[1].canServe);
    model.setConsole({});
    model.serveFrom(1);
    EXPECT_EQ(toUtf8(model.console()), "Cannot tell which drive currently serves the model.");
    EXPECT_FALSE(model.crucibleBusy());
}

TEST_F(CrucibleOperationTest, linksAreCheckedAndRepaired)
{
    const TestSupport::EnvironmentVariable local("ZYN_CRUCIBLE_LOCAL", inHome("near"));
    const TestSupport::EnvironmentVariable canonical("ZYN_CRUCIBLE_ROOT", inHome("far"));
    TestSupport::makeLink(home() / "near/models/b", "/gone/b");
    TestSupport::write(home() / "far/models/b/weights", "b");
    ManagerModel model(identity_, actions_);
    probe(model);
    model.checkLinks();
    ASSERT_TRUE(settled(model));
    EXPECT_EQ(toUtf8(model.console()), "1 link, 1 dangling.\n✗ " + inHome("near/models/b") + " -> /gone/b");
    EXPECT_EQ(toUtf8(model.reasonAgainstRepairing()), "");
    model.repairLinks();
    awaitBoth(model);
    EXPECT_EQ(toUtf8(model.console()), "✓ " + inHome("near/models/b") + "\nrepaired:\n" + inHome("far/models/b"));
    EXPECT_EQ(fs::read_symlink(home() / "near/models/b"), home() / "far/models/b");
    EXPECT_EQ(toUtf8(model.reasonAgainstRepairing()), "No link dangles.");
}

TEST_F(CrucibleOperationTest, linksAreBackedUpAndRestored)
{
    const TestSupport::EnvironmentVariable local("ZYN_CRUCIBLE_LOCAL", inHome("near"));
    TestSupport::makeLink(home() / "near/models/b", home() / "far/models/a");
    ManagerModel model(identity_, actions_);
    probe(model);
    model.backUpLinks(scratch() / "links.toml");
    ASSERT_TRUE(settled(model));
    EXPECT_EQ(toUtf8(model.console()), "Links backed up:\n" + (scratch() / "links.toml").string());
    fs::remove(home() / "near/models/b");
    model.restoreLinks(scratch() / "links.toml");
    awaitBoth(model);
    EXPECT_EQ(fs::read_symlink(home() / "near/models/b"), home() / "far/models/a");
    EXPECT_TRUE(model.console().contains(fromUtf8("restored:\n" + inHome("far/models/a")))) << toUtf8(model.console());

    model.restoreLinks(scratch() / "none.toml");
    awaitBoth(model);
    EXPECT_EQ(toUtf8(model.console()), "The links could not be restored: The file “none.toml” doesn’t exist.");
    model.backUpLinks(scratch() / "no folder/links.toml");
    ASSERT_TRUE(settled(model));
    EXPECT_TRUE(model.console().startsWith(QStringLiteral("The links could not be backed up: ")));
}

TEST_F(CrucibleOperationTest, aBackupReplacesNoFile)
{
    ManagerModel model(identity_, actions_);
    probe(model);
    TestSupport::write(scratch() / "kept.toml", "mine");
    model.backUpLinks(scratch() / "kept.toml");
    ASSERT_TRUE(settled(model));
    EXPECT_EQ(toUtf8(model.console()),
              "The links could not be backed up: The file “kept.toml” couldn’t be saved in the folder “scratch” "
              "because a file with the same name already exists.");
    EXPECT_EQ(TestSupport::read(scratch() / "kept.toml"), "mine");
}

TEST_F(CrucibleOperationTest, whatEndsFirstHidesNothingThatStillRuns)
{
    ManagerModel model(identity_, actions_);
    probe(model);
    using Operation = std::function<void()>;
    for (const Operation& begin : {Operation([&] { model.serveFrom(1); }),
                                   Operation([&] { model.repairLinks(); }),
                                   Operation([&] { model.backUpLinks(scratch() / "links.toml"); }),
                                   Operation([&] { model.restoreLinks(scratch() / "links.toml"); }),
                                   Operation([&] { model.setCrucibleRoot(home() / "far"); })}) {
        begin();
        model.setCrucibleBusy(false); // as another one does that ends
        EXPECT_TRUE(model.operationRuns());
        EXPECT_TRUE(until(model, &ManagerModel::operationRunsChanged, [&model] { return !model.operationRuns(); }));
        EXPECT_FALSE(model.console().isEmpty());
        model.setConsole({});
    }
}

TEST_F(CrucibleOperationTest, aChosenFileKeepsItsBytes)
{
    EXPECT_EQ(toPath(QUrl(QStringLiteral("file:///a/two%20words/caf%E9/100%25"))),
              fs::path("/a/two words/caf\xE9/100%"));
}

} // namespace
