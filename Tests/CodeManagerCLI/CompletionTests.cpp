// The completion scripts in the shells themselves.

#include <sstream>

#include <gtest/gtest.h>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/CodeManagerCLI/Installation.h"
#include "Tests/CodeManagerCLI/Running.h"

namespace
{

namespace Proc = ManagerCore::Proc;

class CompletionTest : public InstallationTest
{
protected:
    CompletionTest()
    {
        TestSupport::write(home() / "with space.txt", "x");
        TestSupport::write(home() / "quo'te", "x");
    }

    [[nodiscard]] Proc::Out bash(const std::string& script) const
    {
        return Proc::run("/bin/bash", {"--norc", "-c", script}, home(), environment());
    }

    // The shell's path; empty where it is not installed.
    [[nodiscard]] std::string shell(const std::string& name) const
    {
        const auto found = bash("command -v " + name);
        return found.ok() ? found.stdout.substr(0, found.stdout.find('\n')) : std::string();
    }

    // What bash's function offers for these words, the last being the one under the cursor; "default" in front where
    // file names are left to bash.
    [[nodiscard]] std::string offered(const std::string& words) const
    {
        const auto out = bash("eval \"$(zyn-code-manager completion bash)\"\n"
                              "default=default\n"
                              "compopt() { default=; }\n"
                              "COMP_WORDS=("
                              + words
                              + ")\n"
                                "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                                "_zyn_code_manager\n"
                                "echo $default \"${COMPREPLY[*]}\"");
        EXPECT_EQ(out.stderr, "");
        return out.stdout.substr(0, out.stdout.find_last_not_of(" \n") + 1);
    }
};

const std::string common = "--identity --json --version -h --help";

TEST_F(CompletionTest, BashOffersCommandsAndVerbs)
{
    EXPECT_EQ(offered("zyn-code-manager ''"),
              "status doctor identity scan service model crucible install seed database size trash completion");
    EXPECT_EQ(offered("zyn-code-manager s"), "status scan service seed size");
    EXPECT_EQ(offered("zyn-code-manager service ''"), "status start stop restart plist");
    EXPECT_EQ(offered("zyn-code-manager service st"), "status start stop");
    EXPECT_EQ(offered("zyn-code-manager completion ''"), "bash zsh fish");
    EXPECT_EQ(offered("zyn-code-manager --json service r"), "restart");
    EXPECT_EQ(offered("zyn-code-manager nonsense"), "");
}

TEST_F(CompletionTest, BashOffersOptionsWhereTheyHold)
{
    EXPECT_EQ(offered("zyn-code-manager -"), common);
    EXPECT_EQ(offered("zyn-code-manager service start --d"), "--dry-run");
    EXPECT_EQ(offered("zyn-code-manager service status --d"), "");
    EXPECT_EQ(offered("zyn-code-manager install everything --n"), "--no-desktop");
    EXPECT_EQ(offered("zyn-code-manager model install --p"), "--project");
    EXPECT_EQ(offered("zyn-code-manager trash file -"), "--dry-run " + common);
    EXPECT_EQ(offered("zyn-code-manager status ''"), common);
}

TEST_F(CompletionTest, BashLeavesPathsToItself)
{
    EXPECT_EQ(offered("zyn-code-manager size ''"), "default");
    EXPECT_EQ(offered("zyn-code-manager trash wi"), "default");
    EXPECT_EQ(offered("zyn-code-manager trash -- -"), "default");
    EXPECT_EQ(offered("zyn-code-manager --identity ''"), "default");
    EXPECT_EQ(offered("zyn-code-manager --identity = pr"), "default");
    EXPECT_EQ(offered("zyn-code-manager --identity ="), "default");
    EXPECT_EQ(offered("zyn-code-manager install cli --project ''"), "default");
    EXPECT_EQ(offered("zyn-code-manager status --identity x"), "default");
    EXPECT_EQ(offered("zyn-code-manager crucible set-root x"), "default");
    EXPECT_EQ(offered("zyn-code-manager crucible repair --candidate x"), "default");
    EXPECT_EQ(offered("zyn-code-manager crucible whereis x"), "");
}

TEST_F(CompletionTest, BashKnowsThatAnOptionsValueIsNoCommand)
{
    EXPECT_EQ(offered("zyn-code-manager --identity service ser"), "service");
    EXPECT_EQ(offered("zyn-code-manager --identity = service ser"), "service");
    EXPECT_EQ(offered("zyn-code-manager size service ''"), "default");
    EXPECT_EQ(offered("zyn-code-manager -- ''"), "");
    EXPECT_EQ(offered("zyn-code-manager crucible move --from service --t"), "--to");
}

TEST_F(CompletionTest, EveryWordThatBashOffersIsOneThatTheProgramKnows)
{
    for (const std::string node : {"", "service", "model", "crucible", "install", "database", "completion"}) {
        std::istringstream words(offered("zyn-code-manager " + node + " ''"));
        for (std::string word; words >> word;) {
            const auto help = bash("zyn-code-manager " + node + " " + word + " --help");
            EXPECT_TRUE(help.ok()) << node << " " << word;
            EXPECT_TRUE(help.stdout.starts_with("Usage: ")) << help.stdout;
        }
    }
}

// Types a line with tabs into an interactive shell and expects what the completed command prints.
struct TypedCase {
    std::string line;
    std::string shows;
};

const std::vector<TypedCase>& typedCases()
{
    static const std::vector<TypedCase> cases {
        {"zyn-code-manager serv\tpl\t", "/Library/LaunchAgents/com.example.sample-agent.plist"},
        {"zyn-code-manager si\twith\t", "4 KB  with space.txt"},
        {"zyn-code-manager size -- quo\t", "4 KB  quo'te"},
        {"zyn-code-manager --identity wi\tid\t--js\t", R"("name": "app")"},
        {"zyn-code-manager trash --dry\twith\t", "Would move to Trash:"},
    };
    return cases;
}

class TypedCompletionTest : public CompletionTest
{
protected:
    void expectCompletions(const std::vector<std::string>& command, const std::string& setUp)
    {
        auto variables = environment();
        variables["TERM"] = "dumb"; // no escapes between the letters
        variables["PS1"] = "ready> ";
        variables["HISTFILE"] = "";
        Running run(command, {.environment = variables, .folder = home(), .terminal = true});
        run.type(setUp + "; echo set''-up\n");
        ASSERT_TRUE(run.shows("set-up")) << run.output();
        int count = 0;
        for (const TypedCase& each : typedCases()) {
            const std::string done = "done-" + std::to_string(++count);
            run.type(each.line + "; echo done''-" + std::to_string(count) + "\n");
            ASSERT_TRUE(run.shows(done)) << run.output();
            EXPECT_NE(run.output().find(each.shows), std::string::npos) << each.line << "\n" << run.output();
        }
        run.type("exit\n");
        EXPECT_EQ(run.ending(), "exit 0");
    }
};

TEST_F(TypedCompletionTest, BashCompletesWhatIsTyped)
{
    expectCompletions({"/bin/bash", "--norc", "--noprofile", "-i"}, "eval \"$(zyn-code-manager completion bash)\"");
}

TEST_F(TypedCompletionTest, ZshCompletesWhatIsTyped)
{
    const std::string zsh = shell("zsh");
    if (zsh.empty()) {
        GTEST_SKIP() << "zsh is not installed";
    }
    expectCompletions({zsh, "-f", "-i"},
                      "autoload -U compinit; compinit -u -D; eval \"$(zyn-code-manager completion zsh)\"");
}

TEST_F(TypedCompletionTest, ZshCompletesFromAFolderOfItsFpath)
{
    const std::string zsh = shell("zsh");
    if (zsh.empty()) {
        GTEST_SKIP() << "zsh is not installed";
    }
    ASSERT_TRUE(bash("mkdir functions; zyn-code-manager completion zsh >functions/_zyn-code-manager").ok());
    expectCompletions({zsh, "-f", "-i"}, "fpath=(~/functions $fpath); autoload -U compinit; compinit -u -D");
}

TEST_F(CompletionTest, ZshReadsItsScript)
{
    const std::string zsh = shell("zsh");
    if (zsh.empty()) {
        GTEST_SKIP() << "zsh is not installed";
    }
    const auto out = bash("zyn-code-manager completion zsh >script && zsh -n script");
    EXPECT_TRUE(out.ok()) << out.stderr;
}

class FishCompletionTest : public CompletionTest
{
protected:
    // The words that fish offers for a line, one per line, without their descriptions.
    [[nodiscard]] std::string offeredByFish(const std::string& line) const
    {
        const auto out = Proc::run(
            shell("fish"),
            {"--no-config",
             "-c",
             "zyn-code-manager completion fish | source; complete -C \"" + line + "\" | string split -f 1 \\t"},
            home(),
            environment());
        EXPECT_EQ(out.stderr, "");
        return out.stdout;
    }
};

TEST_F(FishCompletionTest, FishOffersWhatMayFollow)
{
    if (shell("fish").empty()) {
        GTEST_SKIP() << "fish is not installed";
    }
    const std::vector<std::pair<std::string, std::string>> cases {
        {"s", "scan\nseed\nservice\nsize\nstatus\n"},
        {"service st", "start\nstatus\nstop\n"},
        {"--identity service ser", "service\n"},
        {"service start --d", "--dry-run\n"},
        {"service status --d", ""},
        {"size wi", "with space.txt\n"},
        {"--identity wi", "with space.txt\n"},
        {"status wi", ""},
        {"trash -- wi", "with space.txt\n"},
    };
    for (const auto& [line, offered] : cases) {
        EXPECT_EQ(offeredByFish("zyn-code-manager " + line), offered) << line;
    }
}

TEST_F(FishCompletionTest, FishReadsItsScript)
{
    if (shell("fish").empty()) {
        GTEST_SKIP() << "fish is not installed";
    }
    const auto out = bash("zyn-code-manager completion fish >script && fish -n script");
    EXPECT_TRUE(out.ok()) << out.stderr;
}

} // namespace
