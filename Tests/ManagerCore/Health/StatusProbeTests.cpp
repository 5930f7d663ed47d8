#include "ManagerCore/Health/StatusProbe.h"

#include "Tests/Support/Sandbox.h"

using ManagerCore::Identity;
using ManagerCore::ManagerActions;
using ManagerCore::Status;
namespace StatusProbe = ManagerCore::StatusProbe;
namespace fs = std::filesystem;
using TestSupport::makeExecutable;
using TestSupport::write;

namespace
{

class StatusProbeTest : public TestSupport::SandboxTest
{
protected:
    // The snapshot of a product whose executable prints `output`, a printf format.
    [[nodiscard]] Status printing(const std::string& output, int exitCode = 0) const
    {
        makeExecutable(home() / "bin/zyn",
                       "#!/bin/sh\n[ \"$*\" = --version ] || exit 9\nprintf '" + output + "'\nexit "
                           + std::to_string(exitCode) + "\n");
        return StatusProbe::gather({.binaries = {"~/bin/zyn"}}, {});
    }

    [[nodiscard]] std::string providerOf(std::string_view defaults) const
    {
        write(home() / "defaults", defaults);
        return StatusProbe::gather({}, {.defaultsPath = "~/defaults"}).provider;
    }
};

TEST_F(StatusProbeTest, aProductThatIsNowhereIsAllUnknown)
{
    const Status status = StatusProbe::gather(Identity::empty, ManagerActions::empty);
    EXPECT_FALSE(status.installed);
    EXPECT_EQ(status.version, "—");
    EXPECT_EQ(status.commit, "—");
    EXPECT_FALSE(status.backendRunning);
    EXPECT_FALSE(status.modelPresent);
    EXPECT_EQ(status.modelPath, "");
    EXPECT_EQ(status.modelBytes, 0);
    EXPECT_FALSE(status.modelCatalogInstalled);
    EXPECT_EQ(status.provider, "—");
}

TEST_F(StatusProbeTest, versionAndCommitAreReadFromTheExecutable)
{
    const Status status = printing("zyn 0.4.2\\ncommit: 3f9c2ab41d7e\\n");
    EXPECT_TRUE(status.installed);
    EXPECT_EQ(status.version, "0.4.2");
    EXPECT_EQ(status.commit, "3f9c2ab4");
}

TEST_F(StatusProbeTest, theVersionIsTheLastWordOfTheFirstLineThatHasOne)
{
    EXPECT_EQ(printing("zyn version 1.2.3 (build 7)\\n").version, "7)");
    EXPECT_EQ(printing("\\n   \\nfirst 1.0\\nsecond 2.0\\n").version, "1.0");
    EXPECT_EQ(printing("tab\\t1.0 \\n").version, "tab\t1.0");
    EXPECT_EQ(printing("").version, "—");
    EXPECT_EQ(printing("  \\n\\n").version, "—");
}

TEST_F(StatusProbeTest, theLastCommitLineWins)
{
    EXPECT_EQ(printing("commit: abc\\n").commit, "abc");
    EXPECT_EQ(printing("commit: abc\\ncommit: def\\n").commit, "def");
    EXPECT_EQ(printing("commit:\\n").commit, "commit");
    EXPECT_EQ(printing("commit:   \\n").commit, "");
    EXPECT_EQ(printing("the commit is \\t0123456789\\n").commit, "the comm");
    EXPECT_EQ(printing("commit: ééééééééé\\n").commit, "éééééééé") << "characters, not bytes";
    EXPECT_EQ(printing("Commit: abc\\n").commit, "—");
}

TEST_F(StatusProbeTest, aLineWithTheWordCommitIsOnlyACommitLine)
{
    const Status status = printing("version: 1.0 commit: deadbeefcafe\\n");
    EXPECT_EQ(status.commit, "deadbeef");
    EXPECT_EQ(status.version, "—");
    EXPECT_EQ(printing("version: 1.0 commit: deadbeefcafe\\nzyn 2.0\\n").version, "2.0");
}

TEST_F(StatusProbeTest, carriageReturnLineEndsMakeOneLine)
{
    const Status status = printing("zyn 1.0\\r\\ncommit: abc\\r\\n");
    EXPECT_EQ(status.version, "—");
    EXPECT_EQ(status.commit, "abc\r\n");
}

TEST_F(StatusProbeTest, theExitStatusOfTheExecutableIsNotLookedAt)
{
    const Status status = printing("zyn 0.4.2\\ncommit: abc\\n", 7);
    EXPECT_EQ(status.version, "0.4.2");
    EXPECT_EQ(status.commit, "abc");
}

TEST_F(StatusProbeTest, standardErrorIsIgnored)
{
    makeExecutable(home() / "bin/zyn", "#!/bin/sh\necho 'zyn 9.9' >&2\n");
    const Status status = StatusProbe::gather({.binaries = {"~/bin/zyn"}}, {});
    EXPECT_TRUE(status.installed);
    EXPECT_EQ(status.version, "—");
}

TEST_F(StatusProbeTest, theFirstCandidateThatExistsIsTheExecutable)
{
    makeExecutable(scratch() / "second", "#!/bin/sh\necho zyn 2.0\n");
    makeExecutable(scratch() / "third", "#!/bin/sh\necho zyn 3.0\n");
    const Identity identity {.binaries
                             = {"", "~/bin/zyn", (scratch() / "second").string(), (scratch() / "third").string()}};
    EXPECT_EQ(StatusProbe::gather(identity, {}).version, "2.0");
}

TEST_F(StatusProbeTest, existenceIsEnoughToBeInstalled)
{
    const Status folder = StatusProbe::gather({.binaries = {"~"}}, {});
    EXPECT_TRUE(folder.installed);
    EXPECT_EQ(folder.version, "—");
    write(home() / "plain", "no program");
    EXPECT_TRUE(StatusProbe::gather({.binaries = {"~/plain"}}, {}).installed);
    TestSupport::makeLink(home() / "dangling", "nowhere");
    EXPECT_FALSE(StatusProbe::gather({.binaries = {"~/dangling"}}, {}).installed);
}

TEST_F(StatusProbeTest, theProviderIsTheLastPieceOfTheFirstDefaultLine)
{
    EXPECT_EQ(providerOf("  default: lmstudio\n"), "lmstudio");
    EXPECT_EQ(providerOf("a: 1\n\ndefault: mlx\nb: 2\ndefault: other\n"), "mlx");
    EXPECT_EQ(providerOf("default:\n"), "default");
    EXPECT_EQ(providerOf("x-default: a: \t b \t\n"), "b");
    EXPECT_EQ(providerOf("default:  \n"), "");
    EXPECT_EQ(providerOf("Default: mlx\n"), "—");
    EXPECT_EQ(providerOf("other: mlx\n"), "—");
    EXPECT_EQ(providerOf("default: mlx\r\nother: x\r\n"), "x\r\n");
    EXPECT_EQ(providerOf("default: \xFF\n"), "—");
    EXPECT_EQ(providerOf(""), "—");
}

TEST_F(StatusProbeTest, aDefaultsFileThatCannotBeReadLeavesTheProviderUnknown)
{
    EXPECT_EQ(StatusProbe::gather({}, {.defaultsPath = "~/none"}).provider, "—");
    EXPECT_EQ(StatusProbe::gather({}, {.defaultsPath = "~"}).provider, "—");
    EXPECT_EQ(StatusProbe::gather({}, {.defaultsPath = ""}).provider, "—");
}

TEST_F(StatusProbeTest, theModelIsMeasuredBehindItsLinks)
{
    write(home() / "store/weights/big", std::string(40 * 4096, 'x'));
    TestSupport::makeLink(home() / "middle", home() / "store/weights");
    TestSupport::makeLink(home() / "served", home() / "middle");
    const Status status = StatusProbe::gather({}, {.modelServed = "~/served"});
    EXPECT_TRUE(status.modelPresent);
    EXPECT_EQ(status.modelPath, (home() / "served").string());
    EXPECT_EQ(status.modelBytes, 40 * 4096);
    EXPECT_FALSE(status.modelCatalogInstalled);
    EXPECT_TRUE(StatusProbe::gather({.modelPaths = {"~/store/weights"}}, {}).modelCatalogInstalled);
}

TEST_F(StatusProbeTest, aModelThatIsALinkToAFileIsMeasuredAtItsTarget)
{
    write(home() / "weights.bin", std::string(3 * 4096, 'x'));
    TestSupport::makeLink(home() / "served", "weights.bin");
    EXPECT_EQ(StatusProbe::gather({}, {.modelServed = "~/served"}).modelBytes, 3 * 4096);
}

TEST_F(StatusProbeTest, nothingIsChangedAndNothingIsKept)
{
    EXPECT_EQ(printing("zyn 1.0\\n").version, "1.0");
    EXPECT_EQ(printing("zyn 2.0\\n").version, "2.0");
    fs::remove(home() / "bin/zyn");
    EXPECT_FALSE(StatusProbe::gather({.binaries = {"~/bin/zyn"}}, {}).installed);
}

} // namespace
