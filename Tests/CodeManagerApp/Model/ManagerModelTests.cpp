#include "CodeManagerApp/Model/ManagerModel.h"

#include <thread>

#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ModelTest.h"

using namespace CodeManagerApp;
using namespace ManagerCore;
using TestSupport::EnvironmentVariable;

namespace
{

class ManagerModelTest : public TestSupport::ModelTest
{
};

TEST_F(ManagerModelTest, beginsWithItsInitialValues)
{
    const Identity identity {.name = "zyn", .display = "Zyn"};
    const ManagerActions actions {.launchAgent = "com.zyn.x"};
    ManagerModel model(identity, actions);
    EXPECT_EQ(model.identity(), identity);
    EXPECT_EQ(model.actions(), actions);
    EXPECT_EQ(model.section(), Pane::overview);
    EXPECT_EQ(model.status(), std::nullopt);
    EXPECT_TRUE(model.items().empty());
    EXPECT_TRUE(model.checked().empty());
    EXPECT_EQ(model.expanded().size(), allArtifactCategories.size());
    EXPECT_FALSE(model.scanning());
    EXPECT_FALSE(model.busy());
    EXPECT_EQ(model.console(), QString());
    EXPECT_EQ(ManagerModel::consoleCap, 20000U);
    EXPECT_TRUE(model.databases().empty());
    EXPECT_EQ(model.crucible(), std::nullopt);
    EXPECT_FALSE(model.crucibleBusy());
    EXPECT_EQ(model.projectDir(), "");
    EXPECT_TRUE(model.catalog().empty());
    EXPECT_TRUE(model.checkedModelSlugs().empty());
    EXPECT_TRUE(model.installDesktopChecked());
}

TEST_F(ManagerModelTest, isTitledByTheProduct)
{
    EXPECT_EQ(toUtf8(ManagerModel({.display = "Zyn"}, {}).windowTitle()), "Zyn Manager");
    EXPECT_EQ(toUtf8(ManagerModel(Identity::empty, ManagerActions::empty).windowTitle()), "Code Manager");
}

TEST_F(ManagerModelTest, theEnvironmentChoosesThePane)
{
    for (const char* const given : {"services", "SERVICES", "Services"}) {
        const EnvironmentVariable pane("CM_PANE", given);
        EXPECT_EQ(ManagerModel({}, {}).section(), Pane::services) << given;
    }
    for (const char* const given : {"database", "", "services "}) {
        const EnvironmentVariable pane("CM_PANE", given);
        EXPECT_EQ(ManagerModel({}, {}).section(), Pane::overview) << given;
    }
}

TEST_F(ManagerModelTest, theProjectFolderIsFoundOnce)
{
    const EnvironmentVariable given("CM_PROJECT_DIR", "/work/zyn-v8");
    EXPECT_EQ(ManagerModel({}, {}).projectDir(), "/work/zyn-v8");
}

// Sets a field to a new value twice; only the first is a change.
template <typename Set, typename Signal> void expectOneChange(ManagerModel& model, Signal changed, Set set)
{
    const QSignalSpy spy(&model, changed);
    set();
    EXPECT_EQ(spy.count(), 1);
    set();
    EXPECT_EQ(spy.count(), 1);
}

TEST_F(ManagerModelTest, everyFieldTellsWhenItChanges)
{
    ManagerModel model({}, {});
    expectOneChange(model, &ManagerModel::sectionChanged, [&] { model.setSection(Pane::guide); });
    expectOneChange(model, &ManagerModel::statusChanged, [&] { model.setStatus(Status {}); });
    expectOneChange(model, &ManagerModel::itemsChanged, [&] { model.setItems({{.url = "/a"}}); });
    expectOneChange(model, &ManagerModel::checkedChanged, [&] { model.setChecked({"/a"}); });
    expectOneChange(model, &ManagerModel::expandedChanged, [&] { model.setExpanded({}); });
    expectOneChange(model, &ManagerModel::scanningChanged, [&] { model.setScanning(true); });
    expectOneChange(model, &ManagerModel::busyChanged, [&] { model.setBusy(true); });
    expectOneChange(model, &ManagerModel::consoleChanged, [&] { model.setConsole(QStringLiteral("x")); });
    expectOneChange(model, &ManagerModel::databasesChanged, [&] { model.setDatabases({{.id = "a"}}); });
    expectOneChange(model, &ManagerModel::crucibleChanged, [&] { model.setCrucible(CrucibleTopology {}); });
    expectOneChange(model, &ManagerModel::crucibleBusyChanged, [&] { model.setCrucibleBusy(true); });
    expectOneChange(model, &ManagerModel::projectDirChanged, [&] { model.setProjectDir("/p"); });
    expectOneChange(model, &ManagerModel::catalogChanged, [&] { model.setCatalog({{.slug = "a"}}); });
    expectOneChange(model, &ManagerModel::checkedModelSlugsChanged, [&] { model.setCheckedModelSlugs({"a"}); });
    expectOneChange(model, &ManagerModel::findingsChanged, [&] { model.setFindings({{.check = "a"}}); });
    expectOneChange(model, &ManagerModel::installDesktopCheckedChanged, [&] { model.setInstallDesktopChecked(false); });
}

TEST_F(ManagerModelTest, theConsoleKeepsItsLastCharactersAtEveryAssignment)
{
    ManagerModel model({}, {});
    model.setConsole(QStringLiteral("a") + QString(19999, QLatin1Char('b')));
    EXPECT_EQ(model.console().size(), 20000);
    model.setConsole(model.console() + QStringLiteral("c"));
    EXPECT_EQ(model.console(), QString(19999, QLatin1Char('b')) + QStringLiteral("c"));
}

TEST_F(ManagerModelTest, anOperationRunsWhileEitherKindOfWorkDoes)
{
    ManagerModel model({}, {});
    EXPECT_FALSE(model.operationRuns());
    model.setBusy(true);
    EXPECT_TRUE(model.operationRuns());
    model.setBusy(false);
    model.setCrucibleBusy(true);
    EXPECT_TRUE(model.operationRuns());
    model.setCrucibleBusy(false);
    model.setScanning(true);
    EXPECT_FALSE(model.operationRuns()) << "a scan only reads: nothing is cut short";
}

TEST_F(ManagerModelTest, anIndexThatIsNoneChangesNothing)
{
    ManagerModel model({}, {});
    model.setSectionIndex(3);
    EXPECT_EQ(model.section(), Pane::model);
    model.setSectionIndex(-1);
    model.setSectionIndex(8);
    EXPECT_EQ(model.section(), Pane::model);
}

TEST_F(ManagerModelTest, refreshTakesASnapshot)
{
    TestSupport::makeExecutable(home() / "bin/zyn", "#!/bin/sh\nprintf 'zyn 0.4.2\\ncommit: 3f9c2ab41d7e\\n'\n");
    TestSupport::write(home() / "defaults", "default: mlx\n");
    ManagerModel model({.binaries = {"~/bin/zyn"}}, {.defaultsPath = "~/defaults"});
    model.refresh();
    EXPECT_TRUE(model.refreshing());
    EXPECT_EQ(model.status(), std::nullopt) << "nothing before the snapshot is whole";
    ASSERT_TRUE(refreshed(model));
    ASSERT_TRUE(model.status());
    EXPECT_EQ(model.status()->version, "0.4.2");
    EXPECT_EQ(model.status()->commit, "3f9c2ab4");
    EXPECT_EQ(model.status()->provider, "mlx");
}

TEST_F(ManagerModelTest, refreshReloadsNothingElse)
{
    ManagerModel model({}, {});
    model.setItems({{.url = "/a"}});
    model.setConsole(QStringLiteral("said"));
    model.refresh();
    ASSERT_TRUE(refreshed(model));
    EXPECT_EQ(model.items().size(), 1U);
    EXPECT_EQ(model.console(), QStringLiteral("said"));
    EXPECT_FALSE(model.busy());
}

TEST_F(ManagerModelTest, severalRefreshesAtOnceEndWithASnapshot)
{
    TestSupport::makeExecutable(home() / "zyn", "#!/bin/sh\nsleep 0.1\necho zyn 1\n");
    ManagerModel model({.binaries = {"~/zyn"}}, {});
    for (int round = 0; round < 20; round++) {
        model.refresh();
    }
    ASSERT_TRUE(refreshed(model));
    EXPECT_EQ(model.status()->version, "1");
}

// The window may be closed at any time: what comes back late must find nothing to touch.
TEST_F(ManagerModelTest, canGoWhileWorkIsUnderWay)
{
    TestSupport::makeExecutable(home() / "zyn", "#!/bin/sh\nsleep 0.05\n");
    for (int round = 0; round < 50; round++) {
        ManagerModel model({.binaries = {"~/zyn"}}, {});
        model.refresh();
        model.perform(ServiceOp::start);
        if (round % 2 == 0) {
            QCoreApplication::processEvents();
        }
    }
    QCoreApplication::processEvents();
}

#ifndef NDEBUG
using ManagerModelDeathTest = ManagerModelTest;

TEST_F(ManagerModelDeathTest, isTouchedOnTheInterfaceThreadOnly)
{
    ManagerModel model({}, {});
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(std::thread([&model] { model.setBusy(true); }).join(), "interface thread only");
    EXPECT_DEATH(std::thread([&model] { static_cast<void>(model.console()); }).join(), "interface thread only");
}
#endif

} // namespace
