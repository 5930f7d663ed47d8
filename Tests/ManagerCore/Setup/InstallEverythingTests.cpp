#include "ManagerCore/Setup/InstallEverything.h"

#include <unistd.h>

#include <gmock/gmock.h>

#include "ManagerCore/Health/Service.h"
#include "ManagerCore/Setup/InstallTexts.h"
#include "Tests/Support/Sandbox.h"

namespace Everything = ManagerCore::InstallEverything;
namespace Proc = ManagerCore::Proc;
namespace Service = ManagerCore::Service;
namespace Texts = ManagerCore::InstallTexts;
namespace fs = std::filesystem;
using Everything::Step;
using testing::ElementsAre;

namespace
{

const std::string label = "com.example.code-manager-setup." + std::to_string(::getpid());

// Runs on what stands behind launchctl here, without a user manager, so that nothing outside the sandbox changes.
class InstallEverythingTest : public TestSupport::SandboxTest
{
protected:
    InstallEverythingTest()
    {
        plan_.identity.display = "Zyn";
        plan_.identity.binaries = {"~/bin/zyn"};
        plan_.actions.defaultsPath = "~/defaults.yaml";
        plan_.actions.launchAgent = label;
        plan_.projectDir = (work() / "zyn-v8").string();
        project("zyn-v8/build.command", "printf cli-");
        project("zyn-v8/desktop/build.command", "printf desktop-");
        project("mlx-vantor/build.command", "printf engine-");
        project("install-models/install-one-model.command", "printf \"$1-\"");
        TestSupport::write(work() / "install-models/catalog/org/model/model.toml", "repo = \"org/Model\"\n");
        // The product configures itself when it first runs.
        TestSupport::makeExecutable(
            home() / "bin/zyn", "#!/bin/sh\necho zyn 1\nprintf 'mlx:\\n  model: Model\\n' >\"$HOME/defaults.yaml\"\n");
        TestSupport::makeExecutable(home() / "agent", "#!/bin/sh\nexec sleep 600\n");
        TestSupport::write(home() / ("Library/LaunchAgents/" + label + ".plist"),
                           R"(<plist version="1.0"><dict><key>Label</key><string>)" + label
                               + "</string><key>RunAtLoad</key><true/><key>ProgramArguments</key><array><string>"
                               + (home() / "agent").string() + "</string></array></dict></plist>");
    }
    ~InstallEverythingTest() override { Service::stop(label); }

    [[nodiscard]] fs::path work() const { return scratch() / "work"; }
    void project(const std::string& path, const std::string& body) const { TestSupport::write(work() / path, body); }

    // The console text of the whole.
    [[nodiscard]] std::string console()
    {
        std::string text;
        failed_ = false;
        for (const Step step : Everything::steps(plan_)) {
            text += Everything::opening(plan_, step);
            const Everything::Outcome outcome = Everything::perform(plan_, step);
            text += outcome.text();
            failed_ = failed_ || outcome.failed;
            if (outcome.ends) {
                break;
            }
        }
        return text;
    }

    Everything::Plan plan_;
    bool failed_ = false;
    TestSupport::EnvironmentVariable noManager_ {"XDG_RUNTIME_DIR", (scratch() / "runtime").string()};
    TestSupport::EnvironmentVariable noBus_ {"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
};

TEST_F(InstallEverythingTest, withoutTheDesktopAppThereAreFourNumberedLines)
{
    EXPECT_EQ(console(),
              "1/4  Installing the CLI…\ncli-"
              "\n2/4  Installing the model…\norg/model-"
              "\n3/4  Installing the local engine…\nengine-"
              "\n4/4  Starting the service…\n✓ service started.");
    EXPECT_FALSE(failed_);
    EXPECT_TRUE(Service::running(label));
}

TEST_F(InstallEverythingTest, withTheDesktopAppThereAreFive)
{
    plan_.desktop = true;
    EXPECT_EQ(console(),
              "1/5  Installing the CLI…\ncli-"
              "\n2/5  Installing the model…\norg/model-"
              "\n3/5  Installing the local engine…\nengine-"
              "\n4/5  Installing the desktop app…\ndesktop-"
              "\n5/5  Starting the service…\n✓ service started.");
    EXPECT_THAT(console(), testing::EndsWith("\n5/5  Starting the service…\nalready running."));
    EXPECT_FALSE(failed_);
}

TEST_F(InstallEverythingTest, aFailingStepEndsTheWhole)
{
    plan_.desktop = true;
    project("zyn-v8/desktop/build.command", "echo half; exit 4\n");
    EXPECT_THAT(console(),
                testing::EndsWith("\n4/5  Installing the desktop app…\nhalf\n\n✗ failed (exit 4) — stopping.\n"));
    project("mlx-vantor/build.command", "echo why >&2; exit 3\n");
    EXPECT_THAT(console(),
                testing::EndsWith("\n3/5  Installing the local engine…\nwhy\n\n✗ failed (exit 3) — stopping.\n"));
    project("install-models/install-one-model.command", "exit 2\n");
    EXPECT_THAT(console(), testing::EndsWith("\n2/5  Installing the model…\n\n✗ failed (exit 2) — stopping.\n"));
    fs::remove(home() / "defaults.yaml");
    project("zyn-v8/build.command", "exit 1\n");
    EXPECT_EQ(console(), "1/5  Installing the CLI…\n\n✗ failed (exit 1) — stopping.\n");
    EXPECT_TRUE(failed_);
    EXPECT_FALSE(fs::exists(home() / "defaults.yaml")) << "seeded though nothing was installed";
    EXPECT_FALSE(Service::running(label));
}

TEST_F(InstallEverythingTest, withoutADefaultsPathItEndsAfterSeeding)
{
    plan_.actions.defaultsPath = "";
    EXPECT_EQ(console(),
              "1/4  Installing the CLI…\ncli-"
              "\n2/4  Installing the model…\nno defaults_path configured for Zyn — stopping.");
    EXPECT_TRUE(failed_);
    EXPECT_TRUE(fs::exists(home() / "defaults.yaml"));
    EXPECT_FALSE(Service::running(label));
}

TEST_F(InstallEverythingTest, withoutAnAgentTheServiceIsSkipped)
{
    plan_.actions.launchAgent = "";
    EXPECT_THAT(console(), testing::EndsWith("\n4/4  Starting the service…\nno launch_agent configured — skipping."));
    EXPECT_FALSE(failed_);
}

TEST_F(InstallEverythingTest, aServiceThatDoesNotStartIsAFailure)
{
    fs::remove(home() / ("Library/LaunchAgents/" + label + ".plist"));
    EXPECT_THAT(console(),
                testing::EndsWith("\n4/4  Starting the service…\n✗ service start failed (exit 5): Bootstrap failed: 5: "
                                  "Input/output error\n"));
    EXPECT_TRUE(failed_);
}

TEST_F(InstallEverythingTest, failingToSeedIsToldAndTheModelStepSaysWhatIsMissing)
{
    plan_.identity.binaries.clear();
    EXPECT_EQ(console(),
              "1/4  Installing the CLI…\ncli-no installed binary found to seed config from"
              "\n2/4  Installing the model…\nno mlx.model configured in ~/defaults.yaml, or no catalog match"
              "\n✗ failed (exit 1) — stopping.\n");
}

TEST_F(InstallEverythingTest, onceStoppedNothingMoreIsDone)
{
    Proc::Watcher* stopping = nullptr;
    Proc::Watcher watcher([&](Proc::Stream, std::string_view) { stopping->stop(); });
    stopping = &watcher;
    project("zyn-v8/build.command", "echo building\nsleep 600\n");
    const auto outcome = Everything::perform(plan_, Step::cli, &watcher);
    EXPECT_TRUE(outcome.ends && outcome.failed);
    EXPECT_EQ(outcome.text(), "building\n\n✗ failed (exit 15) — stopping.\n");
    for (const Step step : {Step::seed, Step::model, Step::engine, Step::desktop, Step::service}) {
        EXPECT_TRUE(Everything::perform(plan_, step, &watcher).ends);
    }
    EXPECT_FALSE(fs::exists(home() / "defaults.yaml"));
    EXPECT_FALSE(Service::running(label));
}

TEST_F(InstallEverythingTest, theStepsAreNumberedWithoutSeeding)
{
    EXPECT_THAT(Everything::steps(plan_), ElementsAre(Step::cli, Step::seed, Step::model, Step::engine, Step::service));
    EXPECT_EQ(Everything::number(plan_, Step::seed), 0U);
    EXPECT_EQ(Everything::number(plan_, Step::desktop), 0U);
    EXPECT_EQ(Everything::number(plan_, Step::service), 4U);
    EXPECT_EQ(Everything::total(plan_), 4U);
    EXPECT_EQ(Everything::opening(plan_, Step::seed), "");
    EXPECT_EQ(Everything::doing(Step::engine), "Installing the local engine…");
}

TEST(InstallTexts, standAsTheyAreAdded)
{
    ManagerCore::Identity identity;
    identity.display = "Zyn";
    EXPECT_EQ(Texts::locateProjectFirst(), "Locate the source project folder first.");
    EXPECT_EQ(Texts::noDefaultsPath(identity), "No defaults_path configured for Zyn.");
    EXPECT_EQ(Texts::checkAModelFirst(), "Check at least one model first.");
    EXPECT_EQ(Texts::installing(identity), "Installing Zyn…\n");
    EXPECT_EQ(Texts::installingModel(identity), "Installing model for Zyn…\n");
    EXPECT_EQ(Texts::installingModels(3), "Installing 3 model(s)…\n");
    EXPECT_EQ(Texts::progress(2, 3, "Installing qwen/small…"), "\n2/3  Installing qwen/small…\n");
    EXPECT_EQ(Texts::ending({.code = 3, .stdout = {}, .stderr = {}}), "\n✗ failed (exit 3).");
    EXPECT_EQ(Texts::ending({.code = 0, .stdout = {}, .stderr = {}}), "");
    EXPECT_EQ(Texts::removalEnding({.code = 3, .stdout = {}, .stderr = {}}), "\n✗ remove failed (exit 3).");
    EXPECT_EQ(Texts::removalEnding({.code = 0, .stdout = {}, .stderr = {}}), "\n✓ model moved to Trash.");
    EXPECT_EQ(Texts::shown({.code = 0, .stdout = "out", .stderr = "err"}), "out");
    EXPECT_EQ(Texts::shown({.code = 0, .stdout = "", .stderr = "err"}), "err");
    EXPECT_EQ(Texts::installedOf(2, 3), "2/3 installed.");
}

} // namespace
