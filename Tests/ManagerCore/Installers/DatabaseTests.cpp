#include <sys/stat.h>

#include <gmock/gmock.h>

#include "ManagerCore/Installers/DatabaseCatalog.h"
#include "ManagerCore/Installers/DatabaseInstaller.h"
#include "ManagerCore/Platform/Platform.h"
#include "Tests/Support/Permissions.h"
#include "Tests/Support/Sandbox.h"

namespace DatabaseCatalog = ManagerCore::DatabaseCatalog;
namespace DatabaseInstaller = ManagerCore::DatabaseInstaller;
namespace Proc = ManagerCore::Proc;
namespace fs = std::filesystem;
using ManagerCore::Database;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using TestSupport::EnvironmentVariable;

namespace
{

class DatabaseTest : public TestSupport::SandboxTest
{
protected:
    [[nodiscard]] fs::path folder() const { return scratch() / "descriptors"; }
    void describe(const std::string& file, const std::string& text) const { TestSupport::write(folder() / file, text); }
    [[nodiscard]] std::vector<std::string> names() const
    {
        std::vector<std::string> all;
        for (const Database& database : DatabaseCatalog::load()) {
            all.push_back(database.name);
        }
        return all;
    }
    [[nodiscard]] Database orchid() const
    {
        return {.id = "orchid",
                .name = "Orchid",
                .detail = "",
                .source = (scratch() / "source").string(),
                .dest = "~/data/orchid"};
    }
    [[nodiscard]] fs::path trashed(const std::string& name) const { return trash() / name; }

private:
    EnvironmentVariable catalog_ {"CM_DATABASES_DIR", folder().string()};
};

TEST_F(DatabaseTest, aDescriptorIsReadWhole)
{
    describe("orchid.toml",
             "id = \"orchid\"\nname = 'Orchid'\ndescription = \"an index\" # told\nsource = \"~/src\"\ndest = "
             "\"~/data/orchid\"\n");
    const auto database = Database::load(folder() / "orchid.toml");
    EXPECT_EQ(database,
              (Database {
                  .id = "orchid", .name = "Orchid", .detail = "an index", .source = "~/src", .dest = "~/data/orchid"}));
    EXPECT_EQ(database->sourcePath(), home() / "src");
    EXPECT_EQ(database->destPath(), home() / "data/orchid");
    EXPECT_FALSE(database->installed());
    fs::create_directories(home() / "data/orchid");
    EXPECT_TRUE(database->installed()) << "looked up each time";
}

TEST_F(DatabaseTest, onlyTheIdIsNeeded)
{
    describe("bare.toml", "id = bare\n");
    EXPECT_EQ(Database::load(folder() / "bare.toml"),
              (Database {.id = "bare", .name = "bare", .detail = "", .source = "", .dest = ""}));
    EXPECT_FALSE(Database::load(folder() / "bare.toml")->installed()) << "an empty place holds nothing";
    describe("none.toml", "name = None\n");
    describe("latin.toml", "id = caf\xE9\n");
    EXPECT_FALSE(Database::load(folder() / "none.toml"));
    EXPECT_FALSE(Database::load(folder() / "latin.toml"));
    EXPECT_FALSE(Database::load(folder() / "missing.toml"));
    EXPECT_FALSE(Database::load(folder()));
}

TEST_F(DatabaseTest, theEnvironmentGivesTheSourceOfAnId)
{
    describe("a.toml", "id = \"db-Orchid 2\"\nsource = \"/own\"\n");
    describe("b.toml", "id = \"db-Orchid 2\"\n");
    const EnvironmentVariable other("CM_DB_SOURCE_db-orchid 2", "/other case");
    EXPECT_EQ(Database::load(folder() / "a.toml")->source, "/own");
    const EnvironmentVariable given("CM_DB_SOURCE_db-Orchid 2", "~/given");
    EXPECT_EQ(Database::load(folder() / "a.toml")->source, "~/given");
    EXPECT_EQ(Database::load(folder() / "b.toml")->sourcePath(), home() / "given");
    const EnvironmentVariable empty("CM_DB_SOURCE_db-Orchid 2", "");
    EXPECT_EQ(Database::load(folder() / "a.toml")->source, "");
}

TEST_F(DatabaseTest, theCatalogIsSortedByNameInPlainOrder)
{
    describe("1.toml", "id = x1\nname = b\n");
    describe("2.toml", "id = x2\nname = B\n");
    describe("3.toml", "id = x3\nname = Ä\n");
    describe("4.toml", "id = a\n");
    EXPECT_THAT(names(), ElementsAre("B", "a", "b", "Ä"));
}

TEST_F(DatabaseTest, onlyFilesOfTheFolderWithTheExactExtensionCount)
{
    describe("good.toml", "id = good\n");
    for (const char* file : {"upper.TOML", "mixed.Toml", "toml", ".toml", "a.toml.bak", "a.toml~", "below/deep.toml"}) {
        describe(file, "id = bad\n");
    }
    describe(".hidden.toml", "id = hidden\n");
    fs::create_directories(folder() / "folder.toml");
    ASSERT_EQ(::mkfifo((folder() / "fifo.toml").c_str(), 0600), 0);
    TestSupport::makeLink(folder() / "dangling.toml", "/nowhere");
    TestSupport::makeLink(folder() / "linked.toml", "good.toml");
    EXPECT_THAT(names(), ElementsAre("good", "good", "hidden"));
}

TEST_F(DatabaseTest, aFolderThatCannotBeListedIsEmpty)
{
    EXPECT_THAT(DatabaseCatalog::load(), IsEmpty());
    describe("good.toml", "id = good\n");
    {
        const EnvironmentVariable none("CM_DATABASES_DIR", "");
        EXPECT_THAT(DatabaseCatalog::load(), IsEmpty());
    }
    {
        const EnvironmentVariable file("CM_DATABASES_DIR", (folder() / "good.toml").string());
        EXPECT_THAT(DatabaseCatalog::load(), IsEmpty());
    }
    fs::permissions(folder(), fs::perms::none);
    {
        const TestSupport::PermissionsHold hold;
        EXPECT_THAT(DatabaseCatalog::load(), IsEmpty());
    }
    fs::permissions(folder(), fs::perms::owner_all);
    EXPECT_THAT(names(), ElementsAre("good"));
}

TEST_F(DatabaseTest, withoutTheVariableTheProgramsOwnAreListed)
{
    const EnvironmentVariable unset("CM_DATABASES_DIR", std::nullopt);
    EXPECT_THAT(names(), ElementsAre("Orchid", "Quill"));
}

TEST_F(DatabaseTest, installingCopiesAFolderAndMakesTheFoldersAbove)
{
    TestSupport::write(scratch() / "source/deep/file", "bytes");
    TestSupport::makeLink(scratch() / "source/link", "deep/file");
    EXPECT_TRUE(DatabaseInstaller::install(orchid()).ok());
    EXPECT_EQ(TestSupport::read(home() / "data/orchid/deep/file"), "bytes");
    EXPECT_EQ(fs::read_symlink(home() / "data/orchid/link"), "deep/file");
    EXPECT_EQ(TestSupport::read(scratch() / "source/deep/file"), "bytes");
    EXPECT_TRUE(orchid().installed());
}

TEST_F(DatabaseTest, installingCopiesAFile)
{
    TestSupport::write(scratch() / "source", "one file");
    EXPECT_TRUE(DatabaseInstaller::install(orchid()).ok());
    EXPECT_EQ(TestSupport::read(home() / "data/orchid"), "one file");
}

TEST_F(DatabaseTest, aMissingSourceChangesNothing)
{
    TestSupport::write(home() / "data/orchid/own", "kept");
    Database database = orchid();
    EXPECT_EQ(DatabaseInstaller::install(database),
              (Proc::Out {.code = 1, .stdout = "", .stderr = "source not found: " + (scratch() / "source").string()}));
    database.source = "~/no such";
    EXPECT_EQ(DatabaseInstaller::install(database).stderr, "source not found: " + (home() / "no such").string());
    database.source = "";
    EXPECT_EQ(DatabaseInstaller::install(database).stderr, "source not found: ");
    database.dest = "~/elsewhere/x";
    EXPECT_FALSE(DatabaseInstaller::install(database).ok());
    EXPECT_FALSE(fs::exists(home() / "elsewhere"));
    EXPECT_EQ(TestSupport::read(home() / "data/orchid/own"), "kept");
    EXPECT_FALSE(fs::exists(home() / ".local/share/Trash"));
}

TEST_F(DatabaseTest, theOldCopyGoesToTheTrashFirst)
{
    TestSupport::write(scratch() / "source/new", "new");
    TestSupport::write(home() / "data/orchid/own", "old");
    EXPECT_TRUE(DatabaseInstaller::install(orchid()).ok());
    EXPECT_EQ(TestSupport::read(home() / "data/orchid/new"), "new");
    EXPECT_FALSE(fs::exists(home() / "data/orchid/own")) << "replaced, not merged";
#ifdef __linux__
    EXPECT_EQ(TestSupport::read(trashed("orchid") / "own"), "old");
#endif
}

TEST_F(DatabaseTest, aLinkAtTheDestinationIsMovedAndItsTargetStays)
{
    TestSupport::write(scratch() / "source/new", "new");
    TestSupport::write(scratch() / "real/own", "old");
    TestSupport::makeLink(home() / "data/orchid", scratch() / "real");
    EXPECT_TRUE(DatabaseInstaller::install(orchid()).ok());
    EXPECT_EQ(TestSupport::read(scratch() / "real/own"), "old");
    EXPECT_FALSE(fs::exists(scratch() / "real/new"));
    EXPECT_FALSE(fs::is_symlink(home() / "data/orchid"));
    EXPECT_EQ(TestSupport::read(home() / "data/orchid/new"), "new");
}

TEST_F(DatabaseTest, aSourceThatWouldGoToTheTrashIsRefused)
{
    TestSupport::write(home() / "data/orchid/inner/own", "old");
    Database database = orchid();
    for (const char* source : {"~/data/orchid", "~/data/orchid/inner", "~/data/../data/orchid/inner"}) {
        database.source = source;
        EXPECT_EQ(DatabaseInstaller::install(database).code, 1) << source;
        EXPECT_THAT(DatabaseInstaller::install(database).stderr, HasSubstr("lies in the destination"));
    }
    TestSupport::makeLink(home() / "way", home() / "data");
    database.source = "~/way/orchid/inner";
    EXPECT_EQ(DatabaseInstaller::install(database).code, 1);
    EXPECT_EQ(TestSupport::read(home() / "data/orchid/inner/own"), "old");
}

TEST_F(DatabaseTest, aDestinationThatDoesNotGoToTheTrashIsLeftAsItIs)
{
    TestSupport::write(scratch() / "source/own", "new");
    TestSupport::write(home() / "data/orchid/own", "old");
    fs::permissions(home() / "data", fs::perms::owner_read | fs::perms::owner_exec);
    {
        const TestSupport::PermissionsHold hold;
        const Proc::Out out = DatabaseInstaller::install(orchid());
        EXPECT_EQ(out.code, 1);
        EXPECT_THAT(out.stderr, HasSubstr("was left as it is. "));
        EXPECT_THAT(out.stderr, HasSubstr("couldn’t be moved to the trash"));
        EXPECT_THAT(out.stderr, EndsWith(" Move it away, then install again."));
    }
    fs::permissions(home() / "data", fs::perms::owner_all);
    EXPECT_EQ(TestSupport::read(home() / "data/orchid/own"), "old") << "not mixed with the new one";
}

#ifndef __APPLE__
TEST_F(DatabaseTest, onADriveWithoutATrashTheMessageSaysWhatToDo)
{
    const TestSupport::MountedVolume volume(scratch() / "memory", "tmpfs", 4);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    TestSupport::write(scratch() / "source/own", "new");
    TestSupport::write(volume.path() / "orchid/own", "old");
    Database database = orchid();
    database.dest = (volume.path() / "orchid").string();
    EXPECT_EQ(DatabaseInstaller::install(database),
              (Proc::Out {.code = 1,
                          .stdout = "",
                          .stderr = "The item at " + database.dest
                              + " was left as it is. “orchid” couldn’t be moved to the trash because the volume "
                                "“memory” doesn’t have one. Move it away, then install again."}));
    EXPECT_EQ(TestSupport::read(volume.path() / "orchid/own"), "old");
}

// Our ditto runs the `cp` that PATH finds first.
class DatabaseCopyTest : public DatabaseTest
{
protected:
    void replaceCp(const std::string& script) const
    {
        TestSupport::makeExecutable(scratch() / "bin/cp", "#!/bin/sh\n" + script);
    }
    [[nodiscard]] static bool hasOwnDitto() { return ManagerCore::Platform::ditto() != "/usr/bin/ditto"; }

private:
    EnvironmentVariable path_ {"PATH", (scratch() / "bin").string() + ":/usr/bin:/bin"};
};

TEST_F(DatabaseCopyTest, whatComesToTheDestinationDuringTheCopyStays)
{
    if (!hasOwnDitto()) {
        GTEST_SKIP() << "this system has a ditto of its own";
    }
    const fs::path dest = home() / "data/orchid";
    TestSupport::write(scratch() / "source/index", "new");
    TestSupport::write(scratch() / "unrelated/index", "unrelated");
    for (const std::string& creator : {"mkdir '" + dest.string() + "' && echo theirs >'" + dest.string() + "/index'",
                                       "echo theirs >'" + dest.string() + "'",
                                       "mkdir '" + dest.string() + "'",
                                       "ln -s '" + (scratch() / "unrelated").string() + "' '" + dest.string() + "'"}) {
        TestSupport::write(dest / "own", "old");
        replaceCp(creator + "\nexec /bin/cp \"$@\"\n");
        const Proc::Out out = DatabaseInstaller::install(orchid());
        EXPECT_EQ(out.code, 1) << creator;
        EXPECT_EQ(out.stderr,
                  "ditto: “" + dest.string() + "” couldn’t be made; something else may exist there by now.\n");
        EXPECT_FALSE(fs::exists(dest / "index") && TestSupport::read(dest / "index") == "new") << creator;
        EXPECT_EQ(TestSupport::read(scratch() / "unrelated/index"), "unrelated");
        EXPECT_EQ(std::distance(fs::directory_iterator(home() / "data"), {}), 1) << "the copy is gone";
        EXPECT_EQ(TestSupport::read(trashed("orchid") / "own"), "old");
        fs::remove_all(dest);
        fs::remove_all(trash().parent_path());
    }
}

TEST_F(DatabaseCopyTest, aKilledCopySaysSo)
{
    if (!hasOwnDitto()) {
        GTEST_SKIP() << "this system has a ditto of its own";
    }
    TestSupport::write(scratch() / "source/own", "new");
    replaceCp("kill -9 $PPID\n");
    EXPECT_EQ(DatabaseInstaller::install(orchid()),
              (Proc::Out {.code = 9,
                          .stdout = "",
                          .stderr = "The copy was ended by signal 9. What was copied until then may be left in "
                              + (home() / "data").string() + " under a name that begins with “.ditto.”."}));
    EXPECT_FALSE(orchid().installed());
    replaceCp("mkdir '" + (home() / "data/orchid").string() + "'; kill -9 $PPID\n");
    EXPECT_EQ(DatabaseInstaller::install(orchid()).stderr,
              "The copy was ended by signal 9. What was copied until then may be left at "
                  + (home() / "data/orchid").string() + ".");
}
#endif

TEST_F(DatabaseTest, aParentThatCannotBeMadeIsTheCopysFailure)
{
    TestSupport::write(scratch() / "source/own", "new");
    TestSupport::write(home() / "data", "a file in the way");
    const Proc::Out out = DatabaseInstaller::install(orchid());
    EXPECT_NE(out.code, 0);
    EXPECT_NE(out.stderr, "");
    EXPECT_EQ(TestSupport::read(home() / "data"), "a file in the way");
}

TEST_F(DatabaseTest, withoutADestinationTheCopyFails)
{
    TestSupport::write(scratch() / "source/own", "new");
    Database database = orchid();
    database.dest = "";
    EXPECT_NE(DatabaseInstaller::install(database).code, 0);
    EXPECT_EQ(TestSupport::read(scratch() / "source/own"), "new");
}

TEST_F(DatabaseTest, onAVolumeThatFillsUpTheOldCopyIsInTheTrash)
{
    const TestSupport::MountedVolume volume(scratch() / "volume", "ext4", 16);
    if (!volume.mounted()) {
        GTEST_SKIP() << "needs a file system of its own, which only root can mount";
    }
    TestSupport::write(scratch() / "source/big", std::string(std::size_t {30} << 20U, 'n'));
    TestSupport::write(volume.path() / "data/orchid/own", "old");
    Database database = orchid();
    database.dest = (volume.path() / "data/orchid").string();
    const Proc::Out out = DatabaseInstaller::install(database);
    EXPECT_NE(out.code, 0);
    EXPECT_THAT(out.stderr, HasSubstr("No space left on device"));
    EXPECT_THAT(out.stderr, EndsWith(" couldn’t be copied to “" + database.dest + "”.\n"));
    EXPECT_FALSE(fs::exists(database.dest)) << "nothing that looks installed";
    std::vector<std::string> kept;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(volume.path())) {
        if (entry.path().filename() == "own") {
            kept.push_back(entry.path().string());
        }
    }
    ASSERT_EQ(kept.size(), 1U);
    EXPECT_THAT(kept.front(), HasSubstr("Trash"));
    EXPECT_EQ(TestSupport::read(kept.front()), "old");
    EXPECT_EQ(fs::file_size(scratch() / "source/big"), std::uintmax_t {30} << 20U);
}

TEST_F(DatabaseTest, aCopyThatIsStoppedLeavesTheOldOneInTheTrash)
{
    TestSupport::write(scratch() / "source/own", "new");
    TestSupport::write(home() / "data/orchid/own", "old");
    Proc::Watcher watcher;
    watcher.stop();
    EXPECT_NE(DatabaseInstaller::install(orchid(), &watcher).code, 0);
#ifdef __linux__
    EXPECT_EQ(TestSupport::read(trashed("orchid") / "own"), "old");
#endif
}

TEST_F(DatabaseTest, removingMovesTheDestinationToTheTrash)
{
    TestSupport::write(home() / "data/orchid/own", "old");
    const auto results = DatabaseInstaller::uninstall(orchid());
    ASSERT_EQ(results.size(), 1U);
    EXPECT_TRUE(results[0].trashed);
    EXPECT_EQ(results[0].path, (home() / "data/orchid").string());
    EXPECT_FALSE(orchid().installed());
    const auto again = DatabaseInstaller::uninstall(orchid());
    ASSERT_EQ(again.size(), 1U);
    EXPECT_FALSE(again[0].trashed);
    EXPECT_EQ(again[0].error, "The file “orchid” doesn’t exist.");
    Database nowhere = orchid();
    nowhere.dest = "";
    EXPECT_FALSE(DatabaseInstaller::uninstall(nowhere).at(0).trashed);
}

} // namespace
