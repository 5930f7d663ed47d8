#include "ManagerCore/Crucible/CrucibleBackup.h"

#include <gmock/gmock.h>

#include "ManagerCore/Crucible/CrucibleRestore.h"
#include "Tests/ManagerCore/Crucible/CrucibleTest.h"

namespace CrucibleBackup = ManagerCore::CrucibleBackup;
namespace CrucibleHealth = ManagerCore::CrucibleHealth;
namespace CrucibleRestore = ManagerCore::CrucibleRestore;
using ManagerCore::CrucibleRepair::Result;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr const char* header
    = "# zyn crucible link topology — restore with `zyn-code-manager crucible restore`\n"
      "# Weights are NOT included; this records only which node is real and where links aim.\n";

class CrucibleBackupTest : public CrucibleTest
{
protected:
    [[nodiscard]] fs::path root() const { return scratch() / "root"; }
    [[nodiscard]] fs::path drive() const { return scratch() / "drive"; }

    static std::string document(const std::string& link, const std::string& target)
    {
        return "link = \"" + link + "\"\ntarget = \"" + target + "\"\n";
    }
};

TEST_F(CrucibleBackupTest, anEmptyCrucibleGivesTheHeaderAlone)
{
    EXPECT_EQ(CrucibleBackup::exported({}, std::nullopt), header);
    EXPECT_EQ(CrucibleBackup::exported({root()}, root() / "crucible.toml"), header);
    fs::create_directories(root() / "crucible.toml");
    EXPECT_EQ(CrucibleBackup::exported({root()}, root() / "crucible.toml"), header) << "a folder is no configuration";
    write(scratch() / "binary", "\xFF");
    EXPECT_EQ(CrucibleBackup::exported({}, scratch() / "binary"), header);
}

TEST_F(CrucibleBackupTest, theDocumentIsWrittenToTheLetter)
{
    write(root() / "crucible.toml", "[layout]\nfinal = \"3_final\"\n");
    write(drive() / "a", "weights");
    makeLink(root() / "models/a", drive() / "a");
    makeLink(root() / "models/b", "../gone");
    EXPECT_EQ(CrucibleBackup::exported({root()}, root() / "crucible.toml"),
              header + std::string("\n[config]\npath = \"") + (root() / "crucible.toml").string()
                  + "\"\nbody = \"\"\"\n[layout]\nfinal = \"3_final\"\n\n\"\"\"\n"
                    "\n[[link]]\nlink = \""
                  + (root() / "models/a").string() + "\"\ntarget = \"" + (drive() / "a").string()
                  + "\"\nresolved_at_backup = true\n"
                    "\n[[link]]\nlink = \""
                  + (root() / "models/b").string() + "\"\ntarget = \"" + (root() / "models/../gone").string()
                  + "\"\nresolved_at_backup = false\n");
}

TEST_F(CrucibleBackupTest, theConfigurationIsCarriedExactly)
{
    for (const std::string body : {"", "no line feed", "\r\n", "\xEF\xBB\xBFmark = 1\n", "\"\"\"\n", "ü\n\n\n"}) {
        write(root() / "crucible.toml", body);
        EXPECT_THAT(CrucibleBackup::exported({root()}, root() / "crucible.toml"),
                    testing::EndsWith("\nbody = \"\"\"\n" + body + "\n\"\"\"\n"));
    }
}

// ---- restore ----

TEST_F(CrucibleBackupTest, aDocumentWithoutPairsRestoresNothing)
{
    EXPECT_THAT(CrucibleRestore::restore(""), IsEmpty());
    EXPECT_THAT(CrucibleRestore::restore(header), IsEmpty());
    EXPECT_THAT(CrucibleRestore::restore("target = \"/tmp\"\nlink = \"/x\"\n"), IsEmpty());
    EXPECT_THAT(CrucibleRestore::restore("link\ntarget\n= x\n===\n\"\"\"\n"), IsEmpty());
    EXPECT_THAT(CrucibleRestore::restore("# link = /x\n# target = /tmp\n"), IsEmpty());
    EXPECT_THAT(CrucibleRestore::restore("LINK = /x\nTARGET = /tmp\n"), IsEmpty());
}

TEST_F(CrucibleBackupTest, linksAreMadeWhoseTargetsExistNow)
{
    write(drive() / "a", "weights");
    fs::create_directories(root());
    EXPECT_THAT(CrucibleRestore::restore(document(root() / "a", drive() / "a") + "resolved_at_backup = false\n"
                                         + document(root() / "b", drive() / "b")),
                ElementsAre(Result {root() / "a", true, "restored:\n" + (drive() / "a").string()},
                            Result {root() / "b", false, "target missing, skipped: " + (drive() / "b").string()}));
    EXPECT_EQ(fs::read_symlink(root() / "a"), drive() / "a");
    EXPECT_FALSE(fs::is_symlink(root() / "b"));
}

TEST_F(CrucibleBackupTest, spellingsOfOnePairReadTheSame)
{
    write(drive() / "a", "weights");
    fs::create_directories(root());
    const std::string link = root() / "a";
    const std::string target = drive() / "a";
    for (const std::string& spelling :
         {"link=" + link + "\ntarget=" + target,
          "  \tlink\t =  \"" + link + "\"  \n\ttarget =\"\"\"" + target + "\"\n",
          "link = \"" + link + "\"\r\ntarget = \"" + target + "\"\r\n",
          "link = /replaced\nlink = " + link + "\nother = 1\n\n[x]\ntarget = " + target}) {
        fs::remove(root() / "a");
        EXPECT_THAT(CrucibleRestore::restore(spelling), ElementsAre(Result {link, true, "restored:\n" + target}))
            << spelling;
        EXPECT_EQ(fs::read_symlink(root() / "a"), target);
    }
}

TEST_F(CrucibleBackupTest, onlyTheFirstEqualsSignCountsAndOneTargetPerLink)
{
    write(drive() / "a=b", "weights");
    fs::create_directories(root());
    EXPECT_THAT(CrucibleRestore::restore(document(root() / "l=k", drive() / "a=b") + "target = /tmp\n"),
                ElementsAre(Result {root() / "l=k", true, "restored:\n" + (drive() / "a=b").string()}));
}

TEST_F(CrucibleBackupTest, pairsInTheConfigurationsBodyCount)
{
    fs::create_directories(root());
    write(drive() / "y", "weights");
    write(root() / "crucible.toml", "link = \"" + (root() / "x").string() + "\"\ntarget = " + (drive() / "y").string());
    EXPECT_THAT(CrucibleRestore::restore(CrucibleBackup::exported({root()}, root() / "crucible.toml")),
                ElementsAre(Result {root() / "x", true, "restored:\n" + (drive() / "y").string()}));
}

TEST_F(CrucibleBackupTest, aFolderAtALinksPlaceGoesToTheTrash)
{
    write(root() / "a/file", "in the way");
    write(drive() / "a", "weights");
    EXPECT_TRUE(CrucibleRestore::restore(document(root() / "a", drive() / "a")).front().repaired);
    EXPECT_EQ(read(trash() / "a/file"), "in the way");
    EXPECT_EQ(read(root() / "a"), "weights");
}

TEST_F(CrucibleBackupTest, noLinkIsMadeWhoseTargetWouldBeGoneWithWhatItReplaces)
{
    write(root() / "a/3_final/weights", "weights");
    for (const fs::path& target : {root() / "a", root() / "a/3_final", root() / "a/../a/3_final"}) {
        const auto results = CrucibleRestore::restore(document(root() / "a", target));
        ASSERT_EQ(results.size(), 1);
        EXPECT_FALSE(results[0].repaired) << target;
        EXPECT_EQ(read(root() / "a/3_final/weights"), "weights");
    }
    EXPECT_THAT(trashed(), IsEmpty());
}

TEST_F(CrucibleBackupTest, aLinkThatEndsInDotsIsRefusedByRestoreAndDryRun)
{
    write(root() / "models/one/weights", "one");
    write(drive() / "a", "weights");
    for (const char* dots : {".", ".."}) {
        const fs::path link = root() / "models/one" / dots;
        const Result refusal {
            link, false, "Could not update the link: The path “" + link.string() + "” doesn’t end with a name."};
        EXPECT_THAT(CrucibleRestore::restore(document(link, drive() / "a")), ElementsAre(refusal));
        EXPECT_THAT(
            CrucibleRestore::restore(document(link, drive() / "a"), &ManagerCore::CrucibleAdmin::foretellRepoint),
            ElementsAre(refusal));
    }
    EXPECT_EQ(read(root() / "models/one/weights"), "one");
    EXPECT_THAT(trashed(), IsEmpty());
}

TEST_F(CrucibleBackupTest, emptyAndOddValuesMakeNothing)
{
    fs::create_directories(root());
    EXPECT_THAT(CrucibleRestore::restore("link = \"\"\ntarget = \"\"\n"),
                ElementsAre(Result {"", false, "target missing, skipped: "}));
    EXPECT_FALSE(CrucibleRestore::restore("link = \"\"\ntarget = \"/tmp\"\n").front().repaired);
    EXPECT_FALSE(
        CrucibleRestore::restore(std::string("link = \"/tmp/\0x\"\ntarget = \"/tmp\"\n", 33)).front().repaired);
    EXPECT_FALSE(CrucibleRestore::restore(document("~/link", "~")).front().repaired) << "no home expansion";
    EXPECT_FALSE(CrucibleRestore::restore(document(root() / "no/such/folder", drive())).front().repaired);
    EXPECT_THAT(trashed(), IsEmpty());
}

TEST_F(CrucibleBackupTest, aForetoldRestoreTouchesNothing)
{
    write(drive() / "a", "weights");
    makeLink(root() / "a", "old");
    EXPECT_THAT(
        CrucibleRestore::restore(document(root() / "a", drive() / "a"), &ManagerCore::CrucibleAdmin::foretellRepoint),
        ElementsAre(Result {root() / "a", true, "Would be restored:\n" + (drive() / "a").string()}));
    EXPECT_EQ(fs::read_symlink(root() / "a"), "old");
}

// ---- there and back ----

TEST_F(CrucibleBackupTest, pathsThatTheFormatCanCarryComeBackAndOthersAreReported)
{
    fs::create_directories(drive());
    const std::vector<std::string> carried {"plain",
                                            "a b",
                                            " lead",
                                            "trail ",
                                            "tab\t",
                                            "quo\"te",
                                            "\"lead",
                                            "eq=ual",
                                            "# hash",
                                            "ünïcödé",
                                            "日本",
                                            "cr\rx",
                                            "trail\r",
                                            "'",
                                            "\\n",
                                            "[[link]]",
                                            "link = x"};
    const std::vector<std::string> notCarried {"line\nfeed", "quote at the end\"", "latin\xE9", "\n", "crlf\r\nx"};
    for (const auto* names : {&carried, &notCarried}) {
        for (const std::string& name : *names) {
            write(drive() / name, "weights of " + name);
            makeLink(root() / name, drive() / name);
        }
    }
    makeLink(root() / "plain name, odd target", drive() / "line\nfeed");
    const auto backup = CrucibleBackup::make({root()}, std::nullopt);
    EXPECT_EQ(backup.leftOut.size(), notCarried.size() + 1);
    fs::rename(root(), scratch() / "destroyed");
    fs::create_directories(root());
    write(root() / "line", "real weights that nothing may touch");
    for (const Result& result : CrucibleRestore::restore(backup.document)) {
        EXPECT_TRUE(result.repaired) << result.message;
    }
    for (const std::string& name : carried) {
        EXPECT_EQ(fs::read_symlink(root() / name), drive() / name);
        EXPECT_EQ(read(root() / name), "weights of " + name);
    }
    EXPECT_EQ(read(root() / "line"), "real weights that nothing may touch");
    EXPECT_EQ(static_cast<std::size_t>(std::distance(fs::directory_iterator(root()), fs::directory_iterator())),
              carried.size() + 1);
    EXPECT_THAT(trashed(), IsEmpty());
}

TEST_F(CrucibleBackupTest, aThousandLinksOnThreeDrivesComeBack)
{
    std::vector<fs::path> drives;
    for (const char* name : {"one", "two", "three"}) {
        drives.push_back(scratch() / "drives" / name);
        fs::create_directories(drives.back());
    }
    const TestSupport::MountedVolume second(drives[1], "ext4", 16);
    const TestSupport::MountedVolume third(drives[2], "tmpfs", 16);
    for (int index = 0; index < 1000; index++) {
        const fs::path place = "models/m" + std::to_string(index % 100) + "/part" + std::to_string(index);
        const fs::path& drive = drives[static_cast<std::size_t>(index) % 3];
        write(drive / place, std::to_string(index));
        makeLink(drives[static_cast<std::size_t>(index + 1) % 3] / "links" / place,
                 index % 2 == 0 ? drive / place
                                : fs::relative(drive / place, scratch() / "drives/x/links" / place.parent_path()));
    }
    const auto before = CrucibleHealth::scanAll(drives);
    ASSERT_EQ(before.size(), 1000);
    const std::string document = CrucibleBackup::exported(drives, std::nullopt);
    for (const auto& finding : before) {
        ASSERT_TRUE(finding.resolves) << finding.link << " " << finding.target;
        fs::remove(finding.link);
    }
    ASSERT_THAT(CrucibleHealth::scanAll(drives), IsEmpty());
    for (const Result& result : CrucibleRestore::restore(document)) {
        EXPECT_TRUE(result.repaired) << result.message;
    }
    EXPECT_EQ(CrucibleHealth::scanAll(drives), before);
}

TEST_F(CrucibleBackupTest, hugeDocumentsAreReadInOnePass)
{
    std::string text;
    text.reserve(std::size_t {60} << 20);
    while (text.size() < (std::size_t {20} << 20)) {
        text += "link = \"/nowhere/" + std::string(40, 'x') + "\"\n";
    }
    text += std::string(std::size_t {20} << 20, '"') + "\n" + std::string(std::size_t {10} << 20, '=') + "\n";
    text += "target = " + std::string(std::size_t {5} << 20, ' ') + "/missing\n";
    EXPECT_THAT(CrucibleRestore::restore(text),
                ElementsAre(Result {"/nowhere/" + std::string(40, 'x'), false, "target missing, skipped: /missing"}));
}

} // namespace
