#include <filesystem>
#include <unistd.h>

#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "ManagerCore/Foundation/ProjectDir.h"
#include "ManagerCore/Health/Service.h"
#include "Tests/CodeManagerApp/Support/ModelTest.h"

using namespace CodeManagerApp;
using ManagerCore::Identity;
using ManagerCore::ManagerActions;
using ManagerCore::Status;
namespace fs = std::filesystem;

namespace
{

const std::string label = "com.example.code-manager-install." + std::to_string(::getpid());

// A product "Zyn" whose project, engine and models lie in one folder.
class InstallOperationTest : public TestSupport::ModelTest
{
protected:
    InstallOperationTest()
    {
        script("zyn-v8/build.command", "printf cli-");
        script("zyn-v8/desktop/build.command", "printf desktop-");
        script("mlx-vantor/build.command", "printf engine-");
        script("install-models/install-one-model.command", "printf \"$1-\"");
        script("install-models/uninstall-model.command", "printf \"$1 gone\"");
        entry("org/model", "release = yes\nname = \"B model\"\nrepo = \"org/Model\"\nsize = \"4.2 GB\"\n");
        entry("org/other", "release = yes\nname = \"A model\"\n");
        entry("org/hidden", "name = \"C model\"\n");
        TestSupport::write(home() / "defaults.yaml", "mlx:\n  model: Model\n");
        TestSupport::makeExecutable(home() / "bin/zyn", "#!/bin/sh\necho zyn 1\n");
        TestSupport::makeExecutable(home() / "agent", "#!/bin/sh\nexec sleep 600\n");
        TestSupport::write(home() / ("Library/LaunchAgents/" + label + ".plist"),
                           R"(<plist version="1.0"><dict><key>Label</key><string>)" + label
                               + "</string><key>RunAtLoad</key><true/><key>ProgramArguments</key><array><string>"
                               + (home() / "agent").string() + "</string></array></dict></plist>");
    }
    ~InstallOperationTest() override { ManagerCore::Service::stop(label); }

    [[nodiscard]] fs::path work() const { return scratch() / "work"; }
    [[nodiscard]] std::string project() const { return (work() / "zyn-v8").string(); }
    void script(const std::string& path, const std::string& body) const { TestSupport::write(work() / path, body); }
    void entry(const std::string& slug, const std::string& body) const
    {
        script("install-models/catalog/" + slug + "/model.toml", body);
    }

    [[nodiscard]] std::unique_ptr<ManagerModel> modelOf(const ManagerActions& actions) const
    {
        auto model = std::make_unique<ManagerModel>(identity_, actions);
        model->setProjectDir(project());
        return model;
    }
    [[nodiscard]] std::unique_ptr<ManagerModel> model() const { return modelOf(actions_); }

    // Until the operation that runs is done; gives the console.
    static std::string finished(ManagerModel& model)
    {
        EXPECT_TRUE(model.busy());
        EXPECT_TRUE(until(model, &ManagerModel::busyChanged, [&model] { return !model.busy(); }));
        EXPECT_FALSE(model.progress()->runs());
        return toUtf8(model.console());
    }

    static std::string afterwards(ManagerModel& model)
    {
        std::string console = finished(model);
        EXPECT_TRUE(model.refreshing()) << "the health picture may have changed";
        EXPECT_TRUE(refreshed(model));
        return console;
    }

    static bool loaded(ManagerModel& model)
    {
        model.loadCatalog();
        return until(model, &ManagerModel::checkedModelSlugsChanged, [&model] { return !model.catalog().empty(); });
    }

    const Identity identity_ {.name = "zyn", .display = "Zyn", .binaries = {"~/bin/zyn"}};
    const ManagerActions actions_ {.defaultsPath = "~/defaults.yaml", .launchAgent = label};
};

TEST_F(InstallOperationTest, withoutAProjectFolderEveryInstallationOnlySaysSo)
{
    const auto shown = model();
    shown->setProjectDir({});
    shown->setCheckedModelSlugs({"org/model"});
    for (const auto install : {&ManagerModel::installCli,
                               &ManagerModel::installEverything,
                               &ManagerModel::installConfiguredModel,
                               &ManagerModel::installCheckedModels}) {
        shown->setConsole({});
        ((*shown).*install)();
        EXPECT_FALSE(shown->busy());
        EXPECT_EQ(toUtf8(shown->console()), "Locate the source project folder first.");
    }
}

TEST_F(InstallOperationTest, whatIsAskedForWhileAnotherOperationRunsIsIgnored)
{
    const auto shown = model();
    shown->setStatus(Status {.modelPresent = true, .modelPath = (home() / "bin").string()});
    shown->setConsole(QStringLiteral("said"));
    shown->setBusy(true);
    shown->installCli();
    shown->installEverything();
    shown->installConfiguredModel();
    shown->installCheckedModels();
    shown->removeModel();
    shown->setProjectDir({});
    shown->installCli();
    EXPECT_EQ(toUtf8(shown->console()), "said");
    EXPECT_TRUE(shown->busy());
    EXPECT_FALSE(shown->progress()->runs());
}

TEST_F(InstallOperationTest, theCliIsInstalled)
{
    const auto shown = model();
    shown->installCli();
    EXPECT_EQ(toUtf8(shown->console()), "Installing Zyn…\n");
    EXPECT_EQ(afterwards(*shown), "Installing Zyn…\ncli-");
}

TEST_F(InstallOperationTest, aFailedInstallationTellsItsExit)
{
    script("zyn-v8/build.command", "echo no good >&2; exit 7");
    const auto shown = model();
    shown->installCli();
    EXPECT_EQ(afterwards(*shown), "Installing Zyn…\nno good\n\n✗ failed (exit 7).");
    script("zyn-v8/build.command", "echo printed; echo no good >&2; exit 7");
    shown->installCli();
    EXPECT_EQ(afterwards(*shown), "Installing Zyn…\nprinted\n\n✗ failed (exit 7).") << "output goes before errors";
}

TEST_F(InstallOperationTest, theConfiguredModelIsInstalled)
{
    const auto shown = model();
    shown->installConfiguredModel();
    EXPECT_EQ(toUtf8(shown->console()), "Installing model for Zyn…\n");
    EXPECT_EQ(afterwards(*shown), "Installing model for Zyn…\norg/model-");

    TestSupport::write(home() / "defaults.yaml", "mlx:\n  model: Unknown\n");
    shown->installConfiguredModel();
    EXPECT_EQ(afterwards(*shown),
              "Installing model for Zyn…\nno mlx.model configured in ~/defaults.yaml, or no catalog match\n✗ failed "
              "(exit 1).");

    const auto unconfigured = modelOf({});
    unconfigured->installConfiguredModel();
    EXPECT_FALSE(unconfigured->busy());
    EXPECT_EQ(toUtf8(unconfigured->console()), "No defaults_path configured for Zyn.");
}

TEST_F(InstallOperationTest, everythingIsInstalled)
{
    const auto shown = model();
    shown->installEverything();
    EXPECT_EQ(toUtf8(shown->console()), "1/5  Installing the CLI…\n");
    EXPECT_EQ(toUtf8(shown->progress()->text()), "Step 1 of 5 · Installing the CLI");
    EXPECT_EQ(afterwards(*shown),
              "1/5  Installing the CLI…\ncli-\n2/5  Installing the model…\norg/model-\n3/5  Installing the local "
              "engine…\nengine-\n4/5  Installing the desktop app…\ndesktop-\n5/5  Starting the service…\n✓ service "
              "started.");
    EXPECT_TRUE(ManagerCore::Service::running(label));

    shown->setInstallDesktopChecked(false);
    shown->installEverything();
    EXPECT_EQ(afterwards(*shown),
              "1/4  Installing the CLI…\ncli-\n2/4  Installing the model…\norg/model-\n3/4  Installing the local "
              "engine…\nengine-\n4/4  Starting the service…\nalready running.");
}

TEST_F(InstallOperationTest, theFirstFailureEndsEverything)
{
    script("zyn-v8/build.command", "printf cli-; exit 3");
    const auto shown = model();
    shown->installEverything();
    EXPECT_EQ(afterwards(*shown), "1/5  Installing the CLI…\ncli-\n✗ failed (exit 3) — stopping.\n");
    EXPECT_FALSE(ManagerCore::Service::running(label));
}

TEST_F(InstallOperationTest, everythingNeedsADefaultsPathButNoService)
{
    const auto unconfigured = modelOf({.launchAgent = label});
    unconfigured->installEverything();
    EXPECT_EQ(afterwards(*unconfigured),
              "1/5  Installing the CLI…\ncli-\n2/5  Installing the model…\nno defaults_path configured for Zyn — "
              "stopping.");
    const auto serviceless = modelOf({.defaultsPath = "~/defaults.yaml"});
    serviceless->setInstallDesktopChecked(false);
    serviceless->installEverything();
    EXPECT_TRUE(
        afterwards(*serviceless).ends_with("4/4  Starting the service…\nno launch_agent configured — skipping."));
}

TEST_F(InstallOperationTest, aServiceThatDoesNotStartIsTold)
{
    const auto shown = modelOf({.defaultsPath = "~/defaults.yaml", .launchAgent = label + ".missing"});
    shown->installEverything();
    EXPECT_TRUE(afterwards(*shown).ends_with(
        "5/5  Starting the service…\n✗ service start failed (exit 5): Bootstrap failed: 5: Input/output error\n"));
}

TEST_F(InstallOperationTest, checkedModelsAreInstalledInTheCatalogsOrder)
{
    script("install-models/install-one-model.command", "echo \"got $1\"; [ \"$1\" != org/other ]");
    const auto shown = model();
    ASSERT_TRUE(loaded(*shown));
    shown->installCheckedModels();
    EXPECT_FALSE(shown->busy());
    EXPECT_EQ(toUtf8(shown->console()), "Check at least one model first.");

    shown->selectAllModels();
    EXPECT_EQ(toUtf8(shown->installCheckedText()), "Install Checked (2)");
    shown->installCheckedModels();
    EXPECT_EQ(
        afterwards(*shown),
        "Installing 2 model(s)…\n1/2  Installing A model…\ngot org/other\n\n✗ failed (exit 1).\n2/2  Installing B "
        "model…\ngot org/model\n1/2 installed.")
        << "a failure does not stop the rest";
}

TEST_F(InstallOperationTest, oneCheckedModelOfTwoIsInstalledAlone)
{
    const auto shown = model();
    ASSERT_TRUE(loaded(*shown));
    shown->checklist()->toggle(1);
    shown->checklist()->toggle(2);
    shown->checklist()->toggle(-1);
    EXPECT_EQ(shown->checkedModelSlugs(), std::set<std::string> {"org/model"});
    shown->installCheckedModels();
    EXPECT_EQ(afterwards(*shown), "Installing 1 model(s)…\n1/1  Installing B model…\norg/model-\n1/1 installed.");
}

TEST_F(InstallOperationTest, stoppingEndsTheScriptAndWhatWouldFollow)
{
    script("zyn-v8/build.command", "echo begun; sleep 600 & wait");
    const auto shown = model();
    shown->installEverything();
    Progress& progress = *shown->progress();
    ASSERT_TRUE(until(progress, &Progress::changed, [&] { return progress.lastLine() == QStringLiteral("begun"); }));
    progress.stop();
    EXPECT_EQ(afterwards(*shown), "1/5  Installing the CLI…\nbegun\n\n✗ failed (exit 15) — stopping.\n");

    script("install-models/install-one-model.command", "echo begun; sleep 600 & wait");
    ASSERT_TRUE(loaded(*shown));
    shown->selectAllModels();
    shown->installCheckedModels();
    ASSERT_TRUE(until(progress, &Progress::changed, [&] { return progress.lastLine() == QStringLiteral("begun"); }));
    progress.stop();
    EXPECT_EQ(afterwards(*shown),
              "Installing 2 model(s)…\n1/2  Installing A model…\nbegun\n\n✗ failed (exit 15).\n0/2 installed.");
}

TEST_F(InstallOperationTest, scriptsOfAllKindsEndAndAreShown)
{
    ManagerCore::Proc::giveUpTerminalInput(); // as the program does
    const auto shown = model();
    script("zyn-v8/build.command", "cat; echo read");
    shown->installCli();
    EXPECT_EQ(afterwards(*shown), "Installing Zyn…\nread\n") << "standard input is empty";

    script("zyn-v8/build.command", R"(printf 'a\377b')");
    shown->installCli();
    EXPECT_EQ(afterwards(*shown), "Installing Zyn…\na\uFFFDb");

    script("zyn-v8/build.command", "(setsid sleep 600 >/dev/null 2>&1 & echo $! >\"$HOME/daemon\"); echo left one");
    shown->installCli();
    EXPECT_EQ(afterwards(*shown), "Installing Zyn…\nleft one\n");
    EXPECT_EQ(::kill(std::stoi(TestSupport::read(home() / "daemon")), SIGKILL), 0) << "a daemon is left alone";
}

#ifndef __SANITIZE_ADDRESS__ // which takes longer than the tests wait
TEST_F(InstallOperationTest, aHundredMegabytesOfOutputLeaveTheirEnd)
{
    script("zyn-v8/build.command",
           "yes 'a line of sixty-four characters, which is what many a line has' | "
           "head -c 100000000; echo; echo the end");
    const auto shown = model();
    shown->installCli();
    const std::string console = afterwards(*shown);
    EXPECT_EQ(shown->console().size(), static_cast<qsizetype>(ManagerModel::consoleCap));
    EXPECT_TRUE(console.ends_with("\nthe end\n"));
}
#endif

TEST_F(InstallOperationTest, aLogThatCannotBeOpenedMeanwhileIsToldBetweenTheStepsTexts)
{
    script("zyn-v8/build.command", "echo begun; while [ ! -e \"$HOME/go\" ]; do sleep 0.01; done; echo built");
    const auto shown = model();
    shown->installCli();
    Progress& progress = *shown->progress();
    ASSERT_TRUE(until(progress, &Progress::changed, [&] { return progress.lastLine() == QStringLiteral("begun"); }));
    shown->openLog();
    ASSERT_TRUE(until(*shown, &ManagerModel::consoleChanged, [&] { return shown->console().contains(u"opened"); }));
    TestSupport::write(home() / "go", "");
    EXPECT_EQ(afterwards(*shown),
              "Installing Zyn…\nThe log could not be opened: The file “” doesn’t exist.\nbegun\nbuilt\n");
}

#if defined(__linux__) && !defined(__SANITIZE_ADDRESS__) // which keeps freed memory
// In KiB, since the last `forgetPeak`.
long peak()
{
    const std::string status = TestSupport::read("/proc/self/status");
    return std::stol(status.substr(status.find("VmHWM:") + 6));
}

void forgetPeak() { TestSupport::write("/proc/self/clear_refs", "5"); }

TEST_F(InstallOperationTest, muchOutputTakesLittleMemory)
{
    script("zyn-v8/build.command",
           "yes 'a line of sixty-four characters, which is what many a line has' | head -c 100000000\n"
           "head -c 20000000 /dev/zero | tr '\\0' x >&2\n"
           "head -c 20000000 /dev/zero | tr '\\0' y\n");
    const auto shown = model();
    forgetPeak();
    const long before = peak();
    shown->installCli();
    EXPECT_TRUE(afterwards(*shown).ends_with("yyy"));
    EXPECT_LT(peak() - before, 30 * 1024);
}
#endif

TEST_F(InstallOperationTest, theCatalogIsReadWithWhatIsBundledAndTicksStayWithIt)
{
    fs::create_directories(work() / "Models/org/Model");
    const auto shown = model();
    shown->setCheckedModelSlugs({"org/model", "org/hidden", "gone"});
    ASSERT_TRUE(loaded(*shown));
    EXPECT_EQ(shown->checkedModelSlugs(), std::set<std::string> {"org/model"});
    const ModelChecklist& rows = *shown->checklist();
    ASSERT_EQ(rows.count(), 2);
    const auto told
        = [&rows](int row, ModelChecklist::Role role) { return toUtf8(rows.data(rows.index(row), role).toString()); };
    EXPECT_EQ(told(0, ModelChecklist::name), "A model");
    EXPECT_EQ(told(0, ModelChecklist::badge), "downloads");
    EXPECT_EQ(told(0, ModelChecklist::size), "");
    EXPECT_EQ(told(1, ModelChecklist::name), "B model");
    EXPECT_EQ(told(1, ModelChecklist::slug), "org/model");
    EXPECT_EQ(told(1, ModelChecklist::size), "4.2 GB");
    EXPECT_EQ(told(1, ModelChecklist::badge), "bundled");
    EXPECT_EQ(rows.data(rows.index(1), ModelChecklist::ticked).toInt(), Qt::Checked);
    EXPECT_FALSE(rows.data(rows.index(2), ModelChecklist::name).isValid());
}

TEST_F(InstallOperationTest, aChosenProjectIsRememberedAndItsCatalogRead)
{
    ManagerModel shown(identity_, actions_);
    EXPECT_EQ(toUtf8(shown.noModelsText()), "Locate the source project folder first.");
    shown.requestProject(QUrl::fromLocalFile(fromUtf8(project())));
    EXPECT_EQ(shown.projectDir(), project());
    ASSERT_TRUE(until(shown, &ManagerModel::catalogChanged, [&] { return shown.catalog().size() == 2; }));
    ASSERT_TRUE(shown.settles(std::chrono::milliseconds(TestSupport::patience)));
    EXPECT_EQ(ManagerCore::ProjectDir::peekProjectDir("zyn"), project());
}

TEST_F(InstallOperationTest, theLatestProjectsCatalogCounts)
{
    const auto shown = model();
    shown->loadCatalog();
    shown->resolveSlug();
    shown->setProjectDir((scratch() / "elsewhere/zyn-v8").string());
    ASSERT_TRUE(shown->settles(std::chrono::milliseconds(TestSupport::patience)));
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    EXPECT_TRUE(shown->catalog().empty()) << "what was read belongs to another folder";
    EXPECT_EQ(toUtf8(shown->modelRows().at(3).value), "—");
}

TEST_F(InstallOperationTest, theConfiguredModelsSlugIsLookedUp)
{
    const auto shown = model();
    EXPECT_EQ(toUtf8(shown->modelRows().at(3).value), "—");
    shown->resolveSlug();
    ASSERT_TRUE(until(*shown, &ManagerModel::modelRowsChanged, [&] {
        return shown->modelRows().at(3).value == QStringLiteral("org/model");
    }));
}

TEST_F(InstallOperationTest, aModelOfTheCatalogIsRemovedByItsScript)
{
    const auto shown = model();
    ASSERT_TRUE(ManagerCore::Service::start(label).ok());
    shown->setStatus(Status {.modelPresent = true, .modelPath = "/models/m", .modelCatalogInstalled = true});
    shown->setConsole(QStringLiteral("said before"));
    shown->removeModel();
    EXPECT_EQ(afterwards(*shown), "org/model gone\n✓ model moved to Trash.");
    EXPECT_FALSE(ManagerCore::Service::running(label)) << "the backend is stopped first";

    script("install-models/uninstall-model.command", "echo no >&2; exit 4");
    shown->setStatus(Status {.modelPresent = true, .modelPath = "/models/m", .modelCatalogInstalled = true});
    shown->removeModel();
    EXPECT_EQ(afterwards(*shown), "no\n\n✗ remove failed (exit 4).");
}

TEST_F(InstallOperationTest, anyOtherModelIsMovedToTheTrash)
{
    const fs::path weights = home() / "models/Model";
    TestSupport::write(weights / "weights.bin", "weights");
    const auto shown = model();
    shown->setStatus(Status {.modelPresent = true, .modelPath = weights.string()});
    shown->removeModel();
    EXPECT_EQ(afterwards(*shown), "Model moved to Trash:\n" + weights.string());
    EXPECT_FALSE(fs::exists(weights));
    EXPECT_EQ(TestSupport::read(trash() / "Model/weights.bin"), "weights");

    shown->setStatus(Status {.modelPresent = true, .modelPath = weights.string()});
    shown->removeModel();
    EXPECT_EQ(afterwards(*shown), "Remove failed: The file “Model” doesn’t exist.");

    // Without a project there is no script to ask.
    TestSupport::write(weights / "weights.bin", "others");
    shown->setProjectDir({});
    shown->setStatus(Status {.modelPresent = true, .modelPath = weights.string(), .modelCatalogInstalled = true});
    shown->removeModel();
    EXPECT_EQ(afterwards(*shown), "Model moved to Trash:\n" + weights.string());
}

TEST_F(InstallOperationTest, withoutAModelNothingIsRemoved)
{
    const auto shown = model();
    shown->removeModel();
    EXPECT_FALSE(shown->busy());
    EXPECT_EQ(toUtf8(shown->reasonAgainstRemovingModel()), "It is not known yet whether there is a model.");
    shown->setStatus(Status {});
    shown->removeModel();
    EXPECT_FALSE(shown->busy());
    EXPECT_EQ(toUtf8(shown->reasonAgainstRemovingModel()), "There is no model.");
    shown->setStatus(Status {.modelPresent = true, .modelPath = "/m", .modelBytes = 4096});
    EXPECT_EQ(toUtf8(shown->reasonAgainstRemovingModel()), "");
    EXPECT_EQ(toUtf8(shown->modelRows().at(0).value), "present");
    EXPECT_EQ(toUtf8(shown->modelRows().at(1).value), "/m");
    shown->setBusy(true);
    EXPECT_EQ(toUtf8(shown->reasonAgainstRemovingModel()), "Another operation is running.");
}

} // namespace
