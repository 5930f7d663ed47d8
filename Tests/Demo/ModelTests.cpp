// The model scripts of the sample: every entry installs, uninstalling loses nothing, bad entries change nothing.
#include <gmock/gmock.h>

#include "ManagerCore/Foundation/Descriptor.h"
#include "Tests/Demo/SampleHome.h"

namespace fs = std::filesystem;
namespace Descriptor = ManagerCore::Descriptor;
namespace Proc = ManagerCore::Proc;
using namespace TestSupport;
using testing::HasSubstr;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace
{

class DemoModel : public SampleTest
{
protected:
    void SetUp() override { makeSample(); }

    [[nodiscard]] fs::path catalog() const { return projects() / "install-models/catalog"; }
    [[nodiscard]] fs::path models() const { return sample() / ".zyn-crucible/models"; }
    [[nodiscard]] fs::path trash() const { return sample() / ".zyn/trash"; }
    [[nodiscard]] Proc::Out install(const std::string& slug) const
    {
        return runScript(projects() / "install-models/install-one-model.command", {slug});
    }
    [[nodiscard]] Proc::Out uninstall(const std::string& slug) const
    {
        return runScript(projects() / "install-models/uninstall-model.command", {slug});
    }
    // The one item in the product's trash.
    [[nodiscard]] fs::path trashed() const
    {
        EXPECT_THAT(treeOf(trash()), testing::Not(testing::IsEmpty()));
        return fs::directory_iterator(trash())->path();
    }
};

std::vector<std::string> slugsIn(const fs::path& catalog)
{
    std::vector<std::string> slugs;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(catalog)) {
        if (entry.path().filename() == "model.toml") {
            slugs.push_back(entry.path().parent_path().lexically_relative(catalog).string());
        }
    }
    return slugs;
}

std::uintmax_t weightBytes(const fs::path& folder)
{
    std::uintmax_t bytes = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        bytes += entry.path().extension() == ".safetensors" ? entry.file_size() : 0;
    }
    return bytes;
}

TEST_F(DemoModel, theCatalogHasEntriesOfEveryKind)
{
    std::vector<std::string> released;
    for (const std::string& slug : slugsIn(catalog())) {
        if (Descriptor::text("release", Descriptor::parse(read(catalog() / slug / "model.toml"))) == "yes") {
            released.push_back(slug);
        }
    }
    EXPECT_THAT(slugsIn(catalog()), SizeIs(9));
    EXPECT_THAT(released,
                UnorderedElementsAre("zyn-labs/vantor-7b",
                                     "zyn-labs/vantor-mini",
                                     "zyn-labs/vantor-draft",
                                     "atlas",
                                     "atlas/embed/small",
                                     "quartz/coder"));
    EXPECT_THAT(read(catalog() / "quartz/coder/model.toml"), HasSubstr("\nrepo = '"));
    EXPECT_THAT(read(catalog() / "zyn-labs/vantor-7b/model.toml"), HasSubstr("/zyn-labs/Vantor-7B-4bit\"\n"));
    EXPECT_FALSE(Descriptor::parse(read(catalog() / "atlas/embed/small/model.toml")).find("name"));
}

TEST_F(DemoModel, everyEntryInstallsIntoAnEmptyCrucible)
{
    fs::remove_all(sample() / ".zyn-crucible");
    fs::remove(sample() / ".zyn/crucible");
    for (const std::string& slug : slugsIn(catalog())) {
        const Proc::Out out = install(slug);
        ASSERT_TRUE(out.ok()) << slug << out.stderr;
        const Descriptor::Map entry = Descriptor::parse(read(catalog() / slug / "model.toml"));
        const fs::path final = models() / Descriptor::text("model", entry) / "3_final";
        EXPECT_TRUE(fs::exists(final / "config.json")) << slug;
        EXPECT_EQ(weightBytes(final),
                  std::stoull(Descriptor::text("files", entry)) * std::stoull(Descriptor::text("file_bytes", entry)));
        const fs::path bundled = projects() / "Models" / Descriptor::text("repo", entry);
        EXPECT_THAT(out.stdout, HasSubstr(fs::exists(bundled) ? "weights that came with" : "downloading "));
        EXPECT_TRUE(!fs::exists(bundled) || treeOf(bundled) == treeOf(final)) << slug;
    }
    EXPECT_EQ(fs::read_symlink(sample() / ".zyn/crucible"), sample() / ".zyn-crucible");
}

TEST_F(DemoModel, installingAgainChangesNothing)
{
    ASSERT_TRUE(install("atlas").ok());
    const Tree before = treeOf(sample());
    for (const char* slug : {"atlas", "zyn-labs/vantor-7b", "zyn-labs/vantor-mini"}) {
        const Proc::Out out = install(slug);
        EXPECT_TRUE(out.ok());
        EXPECT_THAT(out.stdout, HasSubstr("is installed already"));
    }
    EXPECT_EQ(treeOf(sample()), before);
}

TEST_F(DemoModel, uninstallingLosesNoByte)
{
    const Tree before = treeOf(models() / "zyn-labs/Vantor-7B");
    const Proc::Out out = uninstall("zyn-labs/vantor-7b");
    EXPECT_TRUE(out.ok()) << out.stderr;
    EXPECT_THAT(out.stdout, HasSubstr("✓ moved to ~/.zyn/trash/zyn-labs-Vantor-7B-"));
    EXPECT_FALSE(fs::exists(models() / "zyn-labs/Vantor-7B"));
    EXPECT_EQ(treeOf(trashed()), before);
}

TEST_F(DemoModel, uninstallingTheSameTwiceInASecondKeepsBoth)
{
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(install("quartz/coder").ok());
        ASSERT_TRUE(uninstall("quartz/coder").ok());
    }
    std::size_t kept = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(trash())) {
        EXPECT_EQ(weightBytes(entry.path() / "3_final"), 2'500'000U);
        ++kept;
    }
    EXPECT_EQ(kept, 3U);
}

TEST_F(DemoModel, uninstallingABackLinkLeavesTheWeights)
{
    const fs::path real = sample() / "Volumes/Vault/zyn-crucible/models/zyn-labs/Vantor-Mini";
    const Tree before = treeOf(real);
    EXPECT_TRUE(uninstall("zyn-labs/vantor-mini").ok());
    EXPECT_FALSE(fs::is_symlink(models() / "zyn-labs/Vantor-Mini"));
    EXPECT_EQ(treeOf(real), before);
    EXPECT_TRUE(fs::is_symlink(trashed()));
}

TEST_F(DemoModel, theConfiguredModelIsServedAgainAfterReinstalling)
{
    const fs::path served = sample() / ".zyn/served-model";
    ASSERT_TRUE(uninstall("zyn-labs/vantor-7b").ok());
    EXPECT_FALSE(fs::exists(served));
    ASSERT_TRUE(install("zyn-labs/vantor-7b").ok());
    EXPECT_TRUE(fs::exists(served / "config.json"));
    fs::remove(served);
    ASSERT_TRUE(install("zyn-labs/vantor-7b").ok());
    EXPECT_EQ(fs::read_symlink(served), models() / "zyn-labs/Vantor-7B/3_final");
    fs::remove(served);
    ASSERT_TRUE(install("atlas").ok());
    EXPECT_FALSE(fs::is_symlink(served)) << "only the configured model is served of itself";
}

TEST_F(DemoModel, whatCannotBeInstalledChangesNothing)
{
    const Tree before = treeOf(sample());
    for (const char* slug : {"",
                             "/",
                             "..",
                             "../catalog/atlas",
                             "atlas/../atlas",
                             "/etc",
                             "nowhere",
                             "zyn-labs",
                             "atlas/embed/small",
                             "-n"}) {
        const Proc::Out out = install(slug);
        EXPECT_EQ(out.code, 1) << slug;
        EXPECT_THAT(out.stderr, testing::StartsWith("✗ ")) << slug;
        EXPECT_THAT(out.stderr, testing::EndsWith(".\n")) << slug;
    }
    for (const char* slug : {"", "..", "nowhere", "quartz/coder"}) {
        EXPECT_EQ(uninstall(slug).code, 1) << slug;
    }
    EXPECT_EQ(treeOf(sample()), before);
}

TEST_F(DemoModel, anEntryCannotLeadOutOfTheCrucible)
{
    write(catalog() / "evil/model.toml", "release = \"yes\"\nrepo = \"a/b\"\nmodel = \"../../../Library\"\n");
    const Tree before = treeOf(sample());
    EXPECT_EQ(install("evil").code, 1);
    EXPECT_EQ(uninstall("evil").code, 1);
    EXPECT_EQ(treeOf(sample()), before);
}

TEST_F(DemoModel, aCrucibleThatLeadsNowhereIsTheOwnersToMend)
{
    fs::remove(sample() / ".zyn/crucible");
    makeLink(sample() / ".zyn/crucible", sample() / "Volumes/Tape/zyn-crucible");
    const Proc::Out out = install("atlas");
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(out.stderr, HasSubstr("set the crucible folder first"));
    EXPECT_FALSE(fs::exists(sample() / "Volumes/Tape"));
}

TEST_F(DemoModel, aFailedDownloadLeavesNoHalfModel)
{
    fs::remove(projects() / "install-models/tools/fetch-weights");
    makeExecutable(projects() / "install-models/tools/fetch-weights",
                   "#!/bin/sh\nmkdir \"$5\"\necho half >\"$5/a\"\nexit 1\n");
    const Proc::Out out = install("quartz/coder");
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(out.stderr, HasSubstr("could not be downloaded"));
    EXPECT_TRUE(treeOf(models() / "quartz/Quartz-Coder-3B").empty());
}

TEST_F(DemoModel, anUnfinishedCopyGoesToTheTrashFirst)
{
    write(models() / "quartz/Quartz-Coder-3B/3_final/model-00001-of-00001.safetensors", "half of it");
    const Proc::Out out = install("quartz/coder");
    EXPECT_TRUE(out.ok()) << out.stderr;
    EXPECT_EQ(weightBytes(models() / "quartz/Quartz-Coder-3B/3_final"), 2'500'000U);
    EXPECT_EQ(read(trashed() / "model-00001-of-00001.safetensors"), "half of it");
}

} // namespace
