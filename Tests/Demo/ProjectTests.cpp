// The build and install scripts of the sample's projects, run as the manager runs them.
#include <gmock/gmock.h>

#include "Tests/Demo/SampleHome.h"

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;
using namespace TestSupport;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

class DemoProject : public SampleTest
{
protected:
    void SetUp() override { makeSample(); }

    [[nodiscard]] fs::path installed() const { return sample() / ".zyn/bin/zyn"; }
    [[nodiscard]] std::string version() const { return Proc::run(installed().string(), {"--version"}).stdout; }
};

TEST_F(DemoProject, buildInstallsTheNewerVersion)
{
    EXPECT_EQ(version(), "zyn 0.4.2\ncommit: 3f9c2ab41d7e\n");
    for (int round = 0; round < 2; ++round) {
        const Proc::Out out = runScript(projects() / "zyn-v8/build.command");
        EXPECT_TRUE(out.ok()) << out.stderr;
        EXPECT_THAT(out.stdout, StartsWith("Building zyn 0.5.0 (8b1f60de)\n"));
        EXPECT_THAT(out.stdout, HasSubstr("\nInstalling into ~/.zyn/bin\n"));
        EXPECT_THAT(out.stdout, HasSubstr("\n✓ zyn 0.5.0 is installed\n"));
        EXPECT_EQ(version(), "zyn 0.5.0\ncommit: 8b1f60de94a7\n");
    }
    EXPECT_THAT(read(sample() / "Library/Logs/zyn/install.log"), HasSubstr("zyn 0.5.0 (8b1f60de94a7) installed"));
}

TEST_F(DemoProject, installAloneInstallsWhatWasBuilt)
{
    const Proc::Out none = runScript(projects() / "zyn-v8/install.command");
    EXPECT_EQ(none.code, 1);
    EXPECT_EQ(none.stderr, "✗ There is no build to install; run build.command first.\n");
    ASSERT_TRUE(runScript(projects() / "zyn-v8/build.command").ok());
    fs::remove(installed());
    EXPECT_TRUE(runScript(projects() / "zyn-v8/install.command").ok());
    EXPECT_THAT(version(), StartsWith("zyn 0.5.0\n"));
    for (const fs::directory_entry& entry : fs::directory_iterator(installed().parent_path())) {
        EXPECT_THAT(entry.path().filename().string(), testing::AnyOf("zyn", "mlx-vantor"));
    }
}

TEST_F(DemoProject, installingIntoAHomeWithoutTheProductWorks)
{
    fs::remove_all(sample() / ".zyn");
    fs::remove_all(sample() / "Library");
    EXPECT_TRUE(runScript(projects() / "zyn-v8/build.command").ok());
    EXPECT_THAT(version(), StartsWith("zyn 0.5.0\n"));
    EXPECT_TRUE(fs::exists(sample() / ".zyn/defaults.yaml")) << "seeded by the first run";
}

TEST_F(DemoProject, aFailingBuildLeavesWhatIsInstalled)
{
    write(projects() / "zyn-v8/src/Build.cpp", "this is no program\n");
    const std::string before = read(installed());
    const Proc::Out out = runScript(projects() / "zyn-v8/build.command");
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(out.stderr, HasSubstr("✗ src could not be compiled.\n"));
    EXPECT_EQ(read(installed()), before);
}

TEST_F(DemoProject, aFolderInTheProgramsPlaceIsNotTouched)
{
    fs::remove(installed());
    write(installed() / "own.txt", "precious");
    const Proc::Out out = runScript(projects() / "zyn-v8/build.command");
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(out.stderr, HasSubstr("is a folder, so no program was put in its place.\n"));
    EXPECT_EQ(read(installed() / "own.txt"), "precious");
}

TEST_F(DemoProject, theDesktopBundleIsReplacedAndTheOldOneKept)
{
    const fs::path bundle = sample() / "Applications/Zyn.app";
    const Tree before = treeOf(bundle);
    const Proc::Out out = runScript(projects() / "zyn-v8/desktop/build.command");
    EXPECT_TRUE(out.ok()) << out.stderr;
    EXPECT_THAT(out.stdout, HasSubstr("the bundle from before is in ~/.zyn/trash/Zyn.app-"));
    EXPECT_THAT(read(bundle / "Contents/Info.plist"), HasSubstr("<string>0.5.0</string>"));
    EXPECT_THAT(Proc::run((bundle / "Contents/MacOS/Zyn").string(), {}).stdout, StartsWith("Zyn 0.5.0:"));
    std::vector<fs::path> kept;
    for (const fs::directory_entry& entry : fs::directory_iterator(sample() / ".zyn/trash")) {
        kept.push_back(entry.path());
    }
    ASSERT_EQ(kept.size(), 1U);
    EXPECT_EQ(treeOf(kept.front()), before);
    EXPECT_TRUE(runScript(projects() / "zyn-v8/desktop/build.command").ok());
}

TEST_F(DemoProject, theEngineIsBuiltBesideTheProduct)
{
    const std::string engine = (sample() / ".zyn/bin/mlx-vantor").string();
    EXPECT_THAT(Proc::run(engine, {"--version"}).stdout, StartsWith("mlx-vantor 1.6.2\n"));
    const Proc::Out out = runScript(projects() / "mlx-vantor/build.command");
    EXPECT_TRUE(out.ok()) << out.stderr;
    EXPECT_THAT(Proc::run(engine, {"--version"}).stdout, StartsWith("mlx-vantor 1.7.0\n"));
}

TEST_F(DemoProject, theScriptsInstallNowhereButInASampleHome)
{
    const fs::path source = demoFolder() / "Projects";
    const Tree before = treeOf(source);
    for (const char* script : {"zyn-v8/build.command",
                               "zyn-v8/install.command",
                               "zyn-v8/desktop/build.command",
                               "mlx-vantor/build.command",
                               "install-models/install-one-model.command",
                               "install-models/uninstall-model.command"}) {
        const Proc::Out out = runScript(source / script, {"atlas"});
        EXPECT_EQ(out.code, 1) << script;
        EXPECT_THAT(out.stderr, HasSubstr("only inside a sample home")) << script;
    }
    EXPECT_EQ(treeOf(source), before);
    EXPECT_TRUE(treeOf(home()).empty());
}

} // namespace
