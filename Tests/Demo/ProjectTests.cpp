// The scripts of the sample's projects, run as the manager runs them.
#include <gmock/gmock.h>

#include "ManagerCore/Foundation/Descriptor.h"
#include "Tests/Demo/SampleHome.h"

namespace Descriptor = ManagerCore::Descriptor;
using namespace TestSupport;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

class DemoProject : public SampleTest
{
protected:
    void SetUp() override { makeSample(); }

    // Runs a project's script as the manager does: with bash, in the script's folder.
    static Proc::Out run(const fs::path& script, const std::string& argument = {})
    {
        return Proc::run("/bin/bash", {script.string(), argument}, script.parent_path().string());
    }
    [[nodiscard]] Proc::Out build() const { return run(projects / "zyn-v8/build.command"); }
    [[nodiscard]] fs::path trash() const { return sample / ".zyn/trash"; }
    const fs::path projects = sample / "Projects";
};

TEST_F(DemoProject, theBuildsInstallNewerVersions)
{
    const fs::path bundle = sample / "Applications/Zyn.app";
    const Tree before = treeOf(bundle);
    EXPECT_EQ(version("zyn"), "zyn 0.4.2\ncommit: 3f9c2ab41d7e\n");
    for (const char* script : {"zyn-v8/build.command", "mlx-vantor/build.command", "zyn-v8/desktop/build.command"}) {
        const Proc::Out out = run(projects / script);
        EXPECT_TRUE(out.ok()) << out.stderr;
    }
    EXPECT_EQ(version("zyn"), "zyn 0.5.0\ncommit: 8b1f60de94a7\n");
    EXPECT_THAT(version("mlx-vantor"), StartsWith("mlx-vantor 1.7.0\n"));
    EXPECT_THAT(read(bundle / "Contents/Info.plist"), HasSubstr("<string>0.5.0</string>"));
    EXPECT_THAT(Proc::run((bundle / "Contents/MacOS/Zyn").string(), {}).stdout, StartsWith("Zyn 0.5.0:"));
    EXPECT_EQ(treeOf(fs::directory_iterator(trash())->path()), before);
}

TEST_F(DemoProject, theFirstRunWritesTheConfigurationAndKeepsAnExistingOne)
{
    const fs::path configuration = sample / ".zyn/defaults.yaml";
    const std::string before = read(configuration);
    EXPECT_THAT(version("zyn"), StartsWith("zyn 0.4.2\n"));
    EXPECT_EQ(read(configuration), before);
    fs::remove(configuration);
    EXPECT_THAT(version("zyn"), StartsWith("zyn 0.4.2\n"));
    EXPECT_THAT(read(configuration), HasSubstr("\n  model: zyn-labs/Vantor-7B-4bit\n"));
}

TEST_F(DemoProject, aFailingBuildKeepsTheInstalledProgram)
{
    write(projects / "zyn-v8/src/version.sh", "#!/bin/sh\nexit 1\n");
    EXPECT_EQ(build().stderr, "✗ The build does not print its version.\n");
    fs::remove(projects / "zyn-v8/src/version.sh");
    EXPECT_THAT(build().stderr, EndsWith("✗ zyn could not be built.\n"));
    EXPECT_THAT(version("zyn"), StartsWith("zyn 0.4.2\n"));
    write(projects / "mlx-vantor/src/server.cpp", "not a program\n");
    EXPECT_THAT(run(projects / "mlx-vantor/build.command").stderr, EndsWith("✗ mlx-vantor could not be compiled.\n"));
    EXPECT_THAT(version("mlx-vantor"), StartsWith("mlx-vantor 1.6.2\n"));
}

TEST_F(DemoProject, aFolderInPlaceOfTheProgramIsKept)
{
    fs::remove(sample / ".zyn/bin/zyn");
    write(sample / ".zyn/bin/zyn/own.txt", "precious");
    EXPECT_THAT(build().stderr, EndsWith(" is a folder. Nothing was installed.\n"));
    EXPECT_EQ(read(sample / ".zyn/bin/zyn/own.txt"), "precious");
}

TEST_F(DemoProject, theScriptsNeedASampleHome)
{
    const Tree before = treeOf(demoFolder);
    for (const char* script : {"zyn-v8/build.command",
                               "zyn-v8/desktop/build.command",
                               "mlx-vantor/build.command",
                               "install-models/install-one-model.command",
                               "install-models/uninstall-model.command"}) {
        EXPECT_THAT(run(demoFolder / "Projects" / script, "atlas").stderr,
                    HasSubstr("only inside a sample home made by Demo/make.\n"));
    }
    EXPECT_EQ(treeOf(demoFolder), before);
}

class DemoModel : public DemoProject
{
protected:
    [[nodiscard]] fs::path catalog() const { return projects / "install-models/catalog"; }
    [[nodiscard]] fs::path models() const { return sample / ".zyn-crucible/models"; }
    [[nodiscard]] Proc::Out install(const std::string& slug) const
    {
        return run(projects / "install-models/install-one-model.command", slug);
    }
    [[nodiscard]] Proc::Out uninstall(const std::string& slug) const
    {
        return run(projects / "install-models/uninstall-model.command", slug);
    }
};

TEST_F(DemoModel, everyEntryIsInstalledIntoANewCrucible)
{
    fs::remove_all(sample / ".zyn-crucible");
    fs::remove(sample / ".zyn/crucible");
    for (const fs::directory_entry& file : fs::recursive_directory_iterator(catalog())) {
        if (file.is_directory()) {
            continue;
        }
        const Descriptor::Map entry = Descriptor::parse(read(file.path()));
        const Proc::Out out = install(file.path().parent_path().lexically_relative(catalog()).string());
        ASSERT_TRUE(out.ok()) << file.path() << out.stderr;
        const fs::path installed = models() / Descriptor::text("model", entry) / "3_final";
        EXPECT_TRUE(fs::exists(installed / "config.json")) << file.path();
        const fs::path bundled = projects / "Models" / Descriptor::text("repo", entry);
        EXPECT_THAT(out.stdout, HasSubstr(fs::exists(bundled) ? "weights that came with" : "downloading "));
        EXPECT_TRUE(!fs::exists(bundled) || treeOf(bundled) == treeOf(installed)) << file.path();
    }
    EXPECT_EQ(fs::file_size(models() / "atlas/Atlas-Base/3_final/model-00003-of-00003.safetensors"), 2'000'000U);
    const Tree before = treeOf(sample);
    EXPECT_EQ(install("atlas").stdout, "✓ atlas/Atlas-Base is installed already\n");
    EXPECT_EQ(treeOf(sample), before);
}

TEST_F(DemoModel, uninstallingMovesToTheTrashAndInstallingServesAgain)
{
    const fs::path served = sample / ".zyn/served-model";
    for (int round = 0; round < 2; ++round) {
        EXPECT_THAT(uninstall("zyn-labs/vantor-7b").stdout, HasSubstr("✓ moved to ~/.zyn/trash/zyn-labs-Vantor-7B-"));
        EXPECT_FALSE(fs::exists(models() / "zyn-labs/Vantor-7B"));
        fs::remove(served);
        EXPECT_THAT(install("zyn-labs/vantor-7b").stdout, EndsWith("  now served from ~/.zyn/served-model\n"));
    }
    EXPECT_EQ(fs::read_symlink(served), models() / "zyn-labs/Vantor-7B/3_final");
    for (const fs::directory_entry& trashed : fs::directory_iterator(trash())) {
        EXPECT_EQ(treeOf(trashed.path() / "3_final"), treeOf(served / "."));
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(trash()), {}), 2);
    fs::remove(served);
    EXPECT_TRUE(install("atlas").ok());
    EXPECT_FALSE(fs::is_symlink(served)) << "only the configured model is served";
    const Tree drive = treeOf(sample / "Volumes");
    EXPECT_TRUE(uninstall("zyn-labs/vantor-mini").ok());
    EXPECT_FALSE(fs::is_symlink(models() / "zyn-labs/Vantor-Mini"));
    EXPECT_EQ(treeOf(sample / "Volumes"), drive);
}

TEST_F(DemoModel, refusalsChangeNothing)
{
    write(catalog() / "evil/model.toml", "repo = \"a/b\"\nmodel = \"../../../Library\"\n");
    const Tree before = treeOf(sample);
    const std::string leaves = "does not give a repo and a model inside the crucible.\n";
    for (const auto& [slug, text] : std::map<std::string, std::string> {
             {"", "is not a name of a catalog entry.\n"},
             {"/etc", "is not a name of a catalog entry.\n"},
             {"atlas/../atlas", "is not a name of a catalog entry.\n"},
             {"zyn-labs", "The catalog has no entry 'zyn-labs'.\n"},
             {"evil", leaves},
             {"atlas/embed/small", "is a link to an absent drive. Nothing was installed.\n"}}) {
        EXPECT_THAT(install(slug).stderr, testing::AllOf(StartsWith("✗ "), EndsWith(text))) << slug;
    }
    EXPECT_THAT(uninstall("evil").stderr, EndsWith(leaves));
    EXPECT_EQ(uninstall("quartz/coder").stderr, "✗ quartz/Quartz-Coder-3B is not installed in the crucible.\n");
    EXPECT_EQ(treeOf(sample), before);
    fs::remove(sample / ".zyn/crucible");
    makeLink(sample / ".zyn/crucible", sample / "Volumes/Tape/zyn-crucible");
    EXPECT_THAT(install("atlas").stderr, EndsWith("is a link to an absent folder. Set the crucible folder first.\n"));
    EXPECT_FALSE(fs::exists(sample / "Volumes/Tape"));
}

TEST_F(DemoModel, aFailedDownloadLeavesNothingAndUnfinishedCopiesGoToTheTrash)
{
    const fs::path fetch = projects / "install-models/fetch-weights";
    const std::string working = read(fetch);
    write(models() / "quartz/Quartz-Coder-3B/3_final/weights", "a part of it");
    write(fetch, "#!/bin/sh\nmkdir \"$3\"\necho part >\"$3/a\"\nexit 1\n");
    EXPECT_EQ(install("quartz/coder").stderr, "✗ quartz/Quartz-Coder-3B-4bit could not be downloaded.\n");
    EXPECT_TRUE(fs::is_empty(models() / "quartz/Quartz-Coder-3B"));
    EXPECT_EQ(read(fs::directory_iterator(trash())->path() / "weights"), "a part of it");
    write(fetch, working);
    EXPECT_TRUE(install("quartz/coder").ok());
}

} // namespace
