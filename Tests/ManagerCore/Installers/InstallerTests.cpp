#include "ManagerCore/Installers/Installer.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "ManagerCore/Installers/ConfigSeeder.h"
#include "ManagerCore/Installers/DesktopInstaller.h"
#include "ManagerCore/Installers/EngineInstaller.h"
#include "Tests/Support/Sandbox.h"

namespace ConfigSeeder = ManagerCore::ConfigSeeder;
namespace DesktopInstaller = ManagerCore::DesktopInstaller;
namespace EngineInstaller = ManagerCore::EngineInstaller;
namespace Installer = ManagerCore::Installer;
namespace Proc = ManagerCore::Proc;
namespace fs = std::filesystem;
using ManagerCore::Identity;
using Proc::Out;
using testing::HasSubstr;
using TestSupport::EnvironmentVariable;

namespace
{

Out refused(const std::string& sentence) { return {.code = 1, .stdout = "", .stderr = sentence}; }

class InstallerTest : public TestSupport::SandboxTest
{
protected:
    [[nodiscard]] std::string project() const { return (scratch() / "a b/work/zyn-v8").string(); }
    void script(const std::string& path, const std::string& body) const
    {
        TestSupport::write(fs::path(project()) / path, body);
    }
    // Cargo as the home's own tools would have it.
    void cargo(const std::string& body) const
    {
        TestSupport::makeExecutable(home() / ".cargo/bin/cargo", "#!/bin/sh\n" + body);
        fs::create_directories(project());
    }
    [[nodiscard]] Out run() const { return Installer::run(project()); }

private:
    // Without any cargo of this machine.
    EnvironmentVariable path_ {"PATH", "/usr/bin:/bin"};
};

TEST_F(InstallerTest, theSearchPathBeginsWithTheDevelopersTools)
{
    const std::string tools = home().string() + "/.cargo/bin:/opt/homebrew/bin:/opt/homebrew/sbin:/usr/local/bin";
    const EnvironmentVariable own("CODE_MANAGER_TEST", "kept =");
    {
        const EnvironmentVariable path("PATH", "/usr/bin::/bin:");
        EXPECT_EQ(Installer::devToolEnv().at("PATH"), tools + ":/usr/bin:/bin");
        EXPECT_EQ(Installer::devToolEnv().at("CODE_MANAGER_TEST"), "kept =");
        Proc::Environment same = Installer::devToolEnv();
        same["PATH"] = "/usr/bin::/bin:";
        EXPECT_EQ(same, Proc::environment());
    }
    for (const auto& nothing :
         {std::optional<std::string>(), std::optional<std::string>(""), std::optional<std::string>("::")}) {
        const EnvironmentVariable path("PATH", nothing);
        EXPECT_EQ(Installer::devToolEnv().at("PATH"), tools);
    }
    const EnvironmentVariable path("PATH", "/usr/local/bin:/usr/local/bin");
    EXPECT_EQ(Installer::devToolEnv().at("PATH"), tools + ":/usr/local/bin:/usr/local/bin") << "duplicates are kept";
}

TEST_F(InstallerTest, theBuildScriptRunsInItsFolderWithTheTools)
{
    script("build.command", "printf '%s|%s|%s|%s' \"$0\" \"$#\" \"$PWD\" \"$PATH\"; printf oops >&2\n");
    EXPECT_EQ(run(),
              (Out {.code = 0,
                    .stdout = project() + "/build.command|0|" + project() + "|" + Installer::devToolEnv().at("PATH"),
                    .stderr = "oops"}));
    EXPECT_EQ(Installer::run(project() + "/"), run());
}

TEST_F(InstallerTest, aRelativeProjectIsTakenAgainstTheWorkingFolder)
{
    script("build.command", "printf '%s' \"$0\"\n");
    const fs::path before = fs::current_path();
    fs::current_path(scratch());
    EXPECT_EQ(Installer::run("a b/work/zyn-v8").stdout, project() + "/build.command");
    fs::current_path(before);
}

TEST_F(InstallerTest, withABuildScriptCargoNeverRuns)
{
    cargo("touch \"$HOME/cargo-ran\"\n");
    script("install.command", "touch \"$HOME/install-ran\"\n");
    script("build.command", "echo half; echo why >&2; exit 7\n");
    EXPECT_EQ(run(), (Out {.code = 7, .stdout = "half\n", .stderr = "why\n"}));
    script("build.command", "exit 0\n");
    EXPECT_TRUE(run().ok());
    EXPECT_FALSE(fs::exists(home() / "cargo-ran") || fs::exists(home() / "install-ran"));
}

TEST_F(InstallerTest, withoutCargoOnTheSearchPathBashSaysSo)
{
    script("install.command", "touch \"$HOME/install-ran\"\n");
    const Out out = run();
    EXPECT_EQ(out.code, 127);
    EXPECT_EQ(out.stdout, "");
    EXPECT_THAT(out.stderr, HasSubstr("cargo: command not found"));
    EXPECT_FALSE(fs::exists(home() / "install-ran"));
}

TEST_F(InstallerTest, aFailingCargoIsGivenAsItIs)
{
    cargo("echo Compiling; echo 'error: no' >&2; exit 101\n");
    script("install.command", "touch \"$HOME/install-ran\"\n");
    EXPECT_EQ(run(), (Out {.code = 101, .stdout = "Compiling\n", .stderr = "error: no\n"}));
    EXPECT_FALSE(fs::exists(home() / "install-ran"));
}

TEST_F(InstallerTest, afterCargoTheInstallScriptRunsAndBothAreTold)
{
    cargo("echo \"$* in $PWD\"; printf 'built ' >&2\n");
    script("install.command", "echo \"installed by $0 in $PWD\"; echo warned >&2; exit 3\n");
    EXPECT_EQ(run(),
              (Out {.code = 3,
                    .stdout = "build --release in " + project() + "\n\ninstalled by " + project()
                        + "/install.command in " + project() + "\n",
                    .stderr = "built warned\n"}));
    script("install.command", "exit 0\n");
    EXPECT_EQ(run(), (Out {.code = 0, .stdout = "build --release in " + project() + "\n\n", .stderr = "built "}));
}

TEST_F(InstallerTest, withNeitherScriptCargosOutputIsKept)
{
    cargo("echo Compiled; echo noise >&2\n");
    EXPECT_EQ(
        run(),
        (Out {.code = 1, .stdout = "Compiled\n", .stderr = "no build.command or install.command in " + project()}));
}

TEST_F(InstallerTest, aMissingProjectIsReported)
{
    const Out out = run();
    EXPECT_EQ(out.code, -1);
    EXPECT_EQ(out.stderr, "The file “zyn-v8” doesn’t exist.");
}

TEST_F(InstallerTest, anEmptyProjectIsNoPlace)
{
    EXPECT_EQ(Installer::run("").code, -1);
    EXPECT_FALSE(Installer::has("", "bin"));
    EXPECT_EQ(EngineInstaller::engineDir(""), std::nullopt);
    EXPECT_EQ(DesktopInstaller::desktopDir(""), std::nullopt);
}

TEST_F(InstallerTest, aFolderNamedLikeTheScriptIsBashsOwnFailure)
{
    fs::create_directories(fs::path(project()) / "build.command");
    EXPECT_NE(run().code, 0);
    EXPECT_THAT(run().stderr, HasSubstr("build.command"));
}

// ---- scripts that behave badly ----

TEST_F(InstallerTest, onlyStandardErrorIsKeptApart)
{
    script("build.command", "echo all of it >&2\n");
    EXPECT_EQ(run(), (Out {.code = 0, .stdout = "", .stderr = "all of it\n"}));
}

TEST_F(InstallerTest, aHundredMegabytesComeWhole)
{
    constexpr std::size_t size = 100'000'000;
    script("build.command",
           "'" + TestSupport::testChild().string() + "' write 1 " + std::to_string(size) + "; echo end >&2\n");
    const Out out = run();
    EXPECT_EQ(out.code, 0);
    EXPECT_EQ(out.stdout.size(), size);
    EXPECT_EQ(out.stderr, "end\n");
}

TEST_F(InstallerTest, bytesThatAreNotUtf8AreRepaired)
{
    script("build.command", "printf 'caf\\351 \\377\\n'\n");
    EXPECT_EQ(run().stdout, "caf\uFFFD \uFFFD\n");
}

TEST_F(InstallerTest, aScriptEndedByASignalFailsWithItsNumber)
{
    script("build.command", "kill -9 $$\n");
    EXPECT_EQ(run().code, SIGKILL);
}

TEST_F(InstallerTest, aChildThatLivesOnWithoutOurStreamsIsNotWaitedFor)
{
    script("build.command", "sleep 600 </dev/null >/dev/null 2>&1 &\necho $!\n");
    const Out out = run();
    EXPECT_EQ(out.code, 0);
    const pid_t left = std::stoi(out.stdout);
    EXPECT_EQ(::kill(left, 0), 0) << "it was ended though nobody asked";
    ::kill(left, SIGKILL);
}

TEST_F(InstallerTest, aScriptThatNeverEndsIsStoppedWithAllItStarted)
{
    script("build.command", "'" + TestSupport::testChild().string() + "' group 600000\n");
    pid_t grandchild = 0;
    Proc::Watcher* stopping = nullptr;
    Proc::Watcher watcher([&](Proc::Stream, std::string_view line) {
        grandchild = std::stoi(std::string(line));
        stopping->stop();
    });
    stopping = &watcher;
    const Out out = Installer::run(project(), &watcher);
    EXPECT_NE(out.code, 0);
    ASSERT_GT(grandchild, 0);
    for (int attempt = 0; attempt < 500 && ::kill(grandchild, 0) == 0; attempt++) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::ifstream state("/proc/" + std::to_string(grandchild) + "/stat");
    std::string pid;
    std::string name;
    std::string letter = "gone";
    state >> pid >> name >> letter;
    EXPECT_THAT(letter, testing::AnyOf("gone", "Z"));
}

TEST_F(InstallerTest, whatWasStoppedDoesNotGoOnWithTheNextScript)
{
    script("install.command", "touch \"$HOME/install-ran\"\n");
    Proc::Watcher* stopping = nullptr;
    Proc::Watcher watcher([&](Proc::Stream, std::string_view) { stopping->stop(); });
    stopping = &watcher;
    cargo("trap '' TERM\necho built\n"); // succeeds though it was asked to stop
    EXPECT_NE(Installer::run(project(), &watcher).code, 0);
    EXPECT_FALSE(fs::exists(home() / "install-ran"));
}

TEST_F(InstallerTest, aWatcherSeesTheLinesOfBothScripts)
{
    cargo("echo one; echo two >&2\n");
    script("install.command", "echo three\n");
    std::vector<std::string> lines;
    Proc::Watcher watcher([&lines](Proc::Stream stream, std::string_view line) {
        lines.push_back((stream == Proc::Stream::error ? "! " : "") + std::string(line));
    });
    EXPECT_TRUE(Installer::run(project(), &watcher).ok());
    EXPECT_THAT(lines, testing::UnorderedElementsAre("one", "! two", "three"));
}

// ---- engine and desktop ----

TEST_F(InstallerTest, theEngineLiesBesideTheProjectOrOneHigher)
{
    const fs::path work = fs::path(project()).parent_path();
    EXPECT_EQ(EngineInstaller::engineDir(project()), std::nullopt);
    EXPECT_EQ(EngineInstaller::run(project()), refused("no mlx-vantor project found next to " + project()));
    const fs::path higher = work.parent_path() / "mlx-vantor";
    TestSupport::write(higher / "build.command", "echo higher in $PWD\n");
    EXPECT_EQ(EngineInstaller::engineDir(project()), higher.string());
    EXPECT_EQ(EngineInstaller::run(project()).stdout, "higher in " + higher.string() + "\n");
    const fs::path near = work / "mlx-vantor";
    TestSupport::write(near / "build.command", "echo near; exit 5\n");
    EXPECT_EQ(EngineInstaller::engineDir(project()), near.string());
    EXPECT_EQ(EngineInstaller::run(project()), (Out {.code = 5, .stdout = "near\n", .stderr = ""}));
}

TEST_F(InstallerTest, theEngineIsFoundHoweverTheProjectIsNamed)
{
    const fs::path work = fs::path(project()).parent_path();
    const fs::path near = work / "mlx-vantor";
    fs::create_directories(near);
    fs::create_directories(fs::path(project()) / "desktop");
    for (const char* const steps : {"/.", "/./", "/desktop/..", "/desktop/../.", "/./desktop/.././"}) {
        EXPECT_EQ(EngineInstaller::engineDir(project() + steps), near.string()) << steps;
    }
}

TEST_F(InstallerTest, besideALinkToTheProjectComesBeforeBesideItsFolder)
{
    const fs::path work = fs::path(project()).parent_path();
    const fs::path real = work / "mlx-vantor";
    fs::create_directories(real);
    fs::create_directories(fs::path(project()) / "desktop");
    const fs::path link = home() / "projects/zyn";
    TestSupport::makeLink(link, project());
    EXPECT_EQ(EngineInstaller::engineDir(link), real.string());
    EXPECT_EQ(EngineInstaller::engineDir(link / "desktop/.."), real.string());
    EXPECT_EQ(Installer::beside(link, "neither"), (home() / "projects/neither").string());
    fs::rename(real, work.parent_path() / "mlx-vantor");
    EXPECT_EQ(EngineInstaller::engineDir(link), (work.parent_path() / "mlx-vantor").string());
    fs::create_directories(home() / "projects/mlx-vantor");
    EXPECT_EQ(EngineInstaller::engineDir(link), (home() / "projects/mlx-vantor").string());
}

TEST_F(InstallerTest, theEngineIsBuiltWithCargoToo)
{
    const fs::path engine = fs::path(project()).parent_path() / "mlx-vantor";
    fs::create_directories(engine);
    cargo("echo engine\n");
    EXPECT_EQ(EngineInstaller::run(project()).stderr, "no build.command or install.command in " + engine.string());
}

TEST_F(InstallerTest, theDesktopAppNeedsItsBuildScript)
{
    fs::create_directories(fs::path(project()) / "desktop");
    script("desktop/install.command", "touch \"$HOME/install-ran\"\n");
    cargo("touch \"$HOME/cargo-ran\"\n");
    EXPECT_EQ(DesktopInstaller::desktopDir(project()), std::nullopt);
    EXPECT_EQ(DesktopInstaller::run(project()), refused("no desktop/build.command found under " + project()));
    script("desktop/build.command", "echo desktop in $PWD\n");
    EXPECT_EQ(DesktopInstaller::desktopDir(project()), project() + "/desktop");
    EXPECT_EQ(DesktopInstaller::run(project()),
              (Out {.code = 0, .stdout = "desktop in " + project() + "/desktop\n", .stderr = ""}));
    EXPECT_FALSE(fs::exists(home() / "cargo-ran") || fs::exists(home() / "install-ran"));
}

// ---- seeding ----

TEST_F(InstallerTest, seedingRunsTheFirstExecutableThatExists)
{
    Identity identity;
    EXPECT_EQ(ConfigSeeder::seed(identity), refused("no installed binary found to seed config from"));
    identity.binaries = {"~/bin/first", "~/bin/second", (scratch() / "third").string()};
    EXPECT_EQ(ConfigSeeder::seed(identity), refused("no installed binary found to seed config from"));
    TestSupport::makeExecutable(scratch() / "third", "#!/bin/sh\necho third\n");
    EXPECT_EQ(ConfigSeeder::seed(identity).stdout, "third\n");
    TestSupport::makeExecutable(home() / "bin/second",
                                "#!/bin/sh\nprintf '%s|' \"$#\" \"$@\" \"$PWD\" \"$PATH\"; echo no >&2; exit 6\n");
    EXPECT_EQ(
        ConfigSeeder::seed(identity),
        (Out {.code = 6, .stdout = "1|--version|" + fs::current_path().string() + "|/usr/bin:/bin|", .stderr = "no\n"}))
        << "the program's own folder and search path";
    TestSupport::makeLink(home() / "bin/first", "/nowhere");
    EXPECT_EQ(ConfigSeeder::seed(identity).code, 6) << "a link that leads nowhere does not exist";
}

TEST_F(InstallerTest, anExecutableThatCannotRunIsTheResult)
{
    Identity identity;
    identity.binaries = {"~/plain", "~/other"};
    TestSupport::write(home() / "plain", "no program");
    TestSupport::makeExecutable(home() / "other", "#!/bin/sh\necho other\n");
    const Out out = ConfigSeeder::seed(identity);
    EXPECT_EQ(out.code, -1);
    EXPECT_THAT(out.stderr, HasSubstr("“plain” couldn’t be run because you don’t have permission"));
}

} // namespace
