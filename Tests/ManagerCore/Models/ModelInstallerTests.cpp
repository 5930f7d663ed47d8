#include "ManagerCore/Models/ModelInstaller.h"

#include <csignal>

#include <gmock/gmock.h>

#include "ManagerCore/Models/ModelInstallerRun.h"
#include "ManagerCore/Models/ModelPath.h"
#include "Tests/Support/Sandbox.h"

namespace ModelInstaller = ManagerCore::ModelInstaller;
namespace ModelInstallerRun = ManagerCore::ModelInstallerRun;
namespace ModelPath = ManagerCore::ModelPath;
namespace Proc = ManagerCore::Proc;
namespace fs = std::filesystem;
using Proc::Out;
using testing::HasSubstr;

namespace
{

Out refused(const std::string& sentence) { return {.code = 1, .stdout = "", .stderr = sentence}; }

class ModelInstallerTest : public TestSupport::SandboxTest
{
protected:
    // The project itself need not exist: only what lies beside it counts.
    [[nodiscard]] std::string project() const { return (scratch() / "my work/zyn-v8").string(); }
    [[nodiscard]] std::string dir() const { return (scratch() / "my work/install-models").string(); }
    [[nodiscard]] std::string defaults() const { return (home() / "defaults.yaml").string(); }

    void configure(const std::string& model) const
    {
        TestSupport::write(defaults(), "default: mlx\nmlx:\n  model: " + model + "\n");
    }
    void offer(const std::string& slug, const std::string& repo) const
    {
        TestSupport::write(fs::path(dir()) / "catalog" / slug / "model.toml", "repo = \"" + repo + "\"\n");
    }
    void script(const std::string& name, const std::string& body) const
    {
        TestSupport::write(fs::path(dir()) / name, body);
    }
    void addTellingScripts() const
    {
        for (const std::string verb : {"install-one-model", "uninstall-model"}) {
            script(verb + ".command",
                   "printf '%s|%s|%s|%s|%s' " + verb + " \"$0\" \"$*\" \"$PWD\" \"${PATH%%:*}\"; exit 4\n");
        }
    }
    [[nodiscard]] Out told(const std::string& verb, const std::string& slug) const
    {
        return {.code = 4,
                .stdout = verb + "|" + dir() + "/" + verb + ".command|" + slug + "|" + dir() + "|" + home().string()
                    + "/.cargo/bin",
                .stderr = ""};
    }
};

TEST_F(ModelInstallerTest, theFolderLiesBesideTheProject)
{
    EXPECT_EQ(ModelInstaller::installModelsDir("/a/b/zyn"), "/a/b/install-models");
    EXPECT_EQ(ModelInstaller::installModelsDir("/a/b/zyn/"), "/a/b/install-models");
    EXPECT_EQ(ModelInstaller::installModelsDir("/zyn"), "/install-models");
    EXPECT_EQ(ModelInstaller::installModelsDir(""), "") << "no project is no place";
}

TEST_F(ModelInstallerTest, theConfiguredModelHasTheCatalogsSlug)
{
    EXPECT_EQ(ModelInstaller::resolvedSlug(project(), defaults()), std::nullopt);
    offer("org/model", "org/Model-4bit");
    EXPECT_EQ(ModelInstaller::resolvedSlug(project(), defaults()), std::nullopt);
    configure("Model-4bit");
    EXPECT_EQ(ModelInstaller::resolvedSlug(project(), defaults()), "org/model");
    EXPECT_EQ(ModelInstaller::resolvedSlug(project(), "~/defaults.yaml"), "org/model");
    EXPECT_EQ(ModelInstaller::resolvedSlug("", defaults()), std::nullopt);
    configure("org/Model-4bit");
    EXPECT_EQ(ModelInstaller::resolvedSlug(project(), defaults()), std::nullopt);
}

TEST_F(ModelInstallerTest, installingRunsTheScriptWithTheSlugInItsFolder)
{
    addTellingScripts();
    offer("org/model", "org/Model-4bit");
    configure("Model-4bit");
    EXPECT_EQ(ModelInstaller::installConfiguredModel(project(), defaults()), told("install-one-model", "org/model"));
    EXPECT_EQ(ModelInstaller::uninstallConfiguredModel(project(), defaults()), told("uninstall-model", "org/model"));
    EXPECT_EQ(ModelInstallerRun::install("any thing; 'at' all", project()),
              told("install-one-model", "any thing; 'at' all"));
    EXPECT_EQ(ModelInstallerRun::install("-n", project()), told("install-one-model", "-n"));
}

TEST_F(ModelInstallerTest, withoutAConfiguredModelBothSayTheirOwn)
{
    addTellingScripts();
    for (const char* text : {"mlx:\n  size: 3\n", "mlx:\n  model:\n", "model: x\n", ""}) {
        TestSupport::write(defaults(), text);
        EXPECT_EQ(ModelInstaller::installConfiguredModel(project(), defaults()),
                  refused("no mlx.model configured in " + defaults() + ", or no catalog match"));
        EXPECT_EQ(ModelInstaller::uninstallConfiguredModel(project(), defaults()),
                  refused("no mlx.model configured in " + defaults()));
    }
    EXPECT_EQ(ModelInstaller::installConfiguredModel(project(), "~/no such"),
              refused("no mlx.model configured in ~/no such, or no catalog match"));
    EXPECT_EQ(ModelInstaller::uninstallConfiguredModel(project(), ""), refused("no mlx.model configured in "));
}

TEST_F(ModelInstallerTest, withoutACatalogEntryBothSayTheirOwn)
{
    addTellingScripts();
    configure("org/Model");
    offer("model", "org/Model");
    EXPECT_EQ(ModelInstaller::installConfiguredModel(project(), defaults()),
              refused("no mlx.model configured in " + defaults() + ", or no catalog match"));
    EXPECT_EQ(ModelInstaller::uninstallConfiguredModel(project(), defaults()),
              refused("no catalog entry found for model 'org/Model'"));
}

TEST_F(ModelInstallerTest, aMissingInstallScriptIsToldBeforeAnythingRuns)
{
    EXPECT_EQ(ModelInstallerRun::install("x", project()), refused("no install-one-model.command under " + dir()));
    EXPECT_EQ(ModelInstallerRun::install("x", ""), refused("no install-one-model.command under "));
    offer("model", "org/Model");
    configure("Model");
    EXPECT_EQ(ModelInstaller::installConfiguredModel(project(), defaults()),
              refused("no install-one-model.command under " + dir()));
}

TEST_F(ModelInstallerTest, aMissingUninstallScriptIsBashsOwnFailure)
{
    offer("model", "org/Model");
    configure("Model");
    const Out out = ModelInstaller::uninstallConfiguredModel(project(), defaults());
    EXPECT_EQ(out.code, 127);
    EXPECT_THAT(out.stderr, HasSubstr("uninstall-model.command: No such file or directory"));
}

TEST_F(ModelInstallerTest, aWatcherSeesTheLinesAndStopsTheScript)
{
    script("install-one-model.command", "echo one\necho two >&2\necho ready\nsleep 600\n");
    std::vector<std::string> lines;
    Proc::Watcher* stopping = nullptr;
    Proc::Watcher watcher([&](Proc::Stream, std::string_view line) {
        lines.emplace_back(line);
        if (line == "ready") {
            stopping->stop();
        }
    });
    stopping = &watcher;
    const Out out = ModelInstallerRun::install("x", project(), &watcher);
    EXPECT_EQ(out.code, SIGTERM);
    EXPECT_THAT(lines, testing::UnorderedElementsAre("one", "two", "ready"));
}

// Installs a model into the place that each source names in turn, finds it there, removes it and installs it again.
TEST_F(ModelInstallerTest, whatWasInstalledIsFoundAgainFromEachSource)
{
    struct Source {
        std::string place; // of the weights, below the home
        ManagerCore::Identity identity;
        ManagerCore::ManagerActions actions;
        bool catalogInstalled = false;
    };
    configure("org/Name-4bit");
    offer("org/name", "org/org/Name-4bit");
    TestSupport::write(home() / ".lmstudio/settings.json", R"({"downloadsFolder": "~/downloads"})");
    TestSupport::write(home() / "Library/LaunchAgents/agent.plist",
                       "<plist version=\"1.0\"><dict><key>ProgramArguments</key><array><string>--model</string>"
                       "<string>~/from agent</string></array></dict></plist>");
    ManagerCore::Identity store;
    store.modelLocations = {"~/store"};
    ManagerCore::Identity named;
    named.modelPaths = {"~/named/org/Name-4bit"};
    ManagerCore::Identity downloaded;
    downloaded.modelPaths = {"~/elsewhere/org/Name-4bit"};
    const std::vector<Source> sources {
        {"from agent", {}, {.launchAgent = "agent"}, false},
        {"store/name/3_final", store, {.defaultsPath = defaults()}, true},
        {"served", {}, {.modelServed = "~/served"}, false},
        {"downloads/org/Name-4bit", downloaded, {}, true},
        {"named/org/Name-4bit", named, {}, true},
    };
    for (const Source& source : sources) {
        const std::string place = "\"$HOME/" + source.place + "\"";
        script("install-one-model.command", "mkdir -p " + place + " && echo '{}' >" + place + "/config.json");
        script("uninstall-model.command", "mv " + place + " \"$HOME/removed-$(date +%s%N)\"");
        const auto resolved = [&] { return ModelPath::resolve(source.identity, source.actions); };
        const std::optional<ManagerCore::ModelResolution> there {
            {.url = home() / source.place, .catalogInstalled = source.catalogInstalled}};
        EXPECT_EQ(resolved(), std::nullopt) << source.place;
        for (int time = 0; time < 2; time++) {
            ASSERT_TRUE(ModelInstaller::installConfiguredModel(project(), defaults()).ok()) << source.place;
            EXPECT_EQ(resolved(), there) << source.place;
            ASSERT_TRUE(ModelInstaller::uninstallConfiguredModel(project(), defaults()).ok()) << source.place;
            EXPECT_EQ(resolved(), std::nullopt) << source.place;
        }
    }
}

} // namespace
