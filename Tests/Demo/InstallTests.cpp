// The shipped command line builds and installs the sample product for real.
#include <gmock/gmock.h>

#include "Tests/Demo/SampleHome.h"

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;
using namespace TestSupport;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

class DemoInstall : public SampleTest
{
protected:
    void SetUp() override { makeSample({"--label", "com.zyn.install-test." + std::to_string(port())}); }
    void TearDown() override { manage({"service", "stop"}); }

    Proc::Out manage(std::vector<std::string> arguments) const
    {
        if (arguments.front() == "install" || arguments.front() == "model") {
            arguments.insert(arguments.end(), {"--project", (projects() / "zyn-v8").string()});
        }
        return runInside(builtProgram("zyn-code-manager"), arguments);
    }
    [[nodiscard]] std::string version(const char* program) const
    {
        return Proc::run((sample() / ".zyn/bin" / program).string(), {"--version"}).stdout;
    }
};

TEST_F(DemoInstall, everythingIsInstalledConfiguredAndRunning)
{
    const Proc::Out out = manage({"install", "everything"});
    EXPECT_EQ(out.code, 0) << out.stderr;
    EXPECT_THAT(out.stdout, StartsWith("1/5  Installing the CLI…\n"));
    EXPECT_THAT(out.stdout, testing::EndsWith("\n5/5  Starting the service…\n✓ service started.\n"));
    EXPECT_THAT(version("zyn"), StartsWith("zyn 0.5.0\n"));
    EXPECT_THAT(version("mlx-vantor"), StartsWith("mlx-vantor 1.7.0\n"));
    EXPECT_THAT(read(sample() / "Applications/Zyn.app/Contents/Info.plist"), HasSubstr("<string>0.5.0</string>"));
    const Proc::Out status = manage({"status"});
    EXPECT_THAT(status.stdout, HasSubstr("0.5.0 (8b1f60de)"));
    EXPECT_THAT(status.stdout, HasSubstr("running"));
    EXPECT_THAT(status.stdout, HasSubstr("present"));
}

TEST_F(DemoInstall, aFailingBuildEndsItAndLeavesWhatIsInstalled)
{
    write(projects() / "zyn-v8/src/Build.cpp", "this is no program\n");
    const Proc::Out out = manage({"install", "everything", "--no-desktop"});
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(out.stderr, testing::EndsWith("✗ failed (exit 1) — stopping.\n"));
    EXPECT_THAT(out.stdout, testing::Not(HasSubstr("2/4")));
    EXPECT_THAT(version("zyn"), StartsWith("zyn 0.4.2\n"));
}

TEST_F(DemoInstall, modelsAndDatabasesComeAndGo)
{
    EXPECT_EQ(manage({"model", "slug"}).stdout, "zyn-labs/vantor-7b\n");
    EXPECT_TRUE(manage({"model", "uninstall"}).ok());
    EXPECT_FALSE(fs::exists(sample() / ".zyn/served-model"));
    EXPECT_TRUE(manage({"model", "install"}).ok());
    EXPECT_TRUE(fs::exists(sample() / ".zyn/served-model"));
    EXPECT_TRUE(manage({"database", "install", "db-quill"}).ok());
    EXPECT_TRUE(fs::exists(sample() / ".zyn/databases/quill.db"));
    EXPECT_TRUE(manage({"database", "remove", "db-quill"}).ok());
    EXPECT_FALSE(fs::exists(sample() / ".zyn/databases/quill.db"));
}

} // namespace
