#include <sys/stat.h>

#include "Tests/ManagerCore/Doctor/DoctorTest.h"
#include "Tests/Support/Permissions.h"

namespace fs = std::filesystem;
using namespace ManagerCore::Doctor;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::EnvironmentVariable;
using TestSupport::makeExecutable;
using TestSupport::write;

namespace
{

class ProjectFolderCheckTest : public DoctorTest
{
protected:
    [[nodiscard]] std::vector<std::string> said() const { return DoctorTest::said("project folder"); }

    const std::string advice_ = ": choose it in the Install pane, or name it with --project or CM_PROJECT_DIR.";
};

TEST_F(ProjectFolderCheckTest, OneThatIsThereIsFine)
{
    EXPECT_THAT(said(), ElementsAre("ok: The project folder “work/zyn-v8” is there."));
}

TEST_F(ProjectFolderCheckTest, NoneIsAWarning)
{
    projectDir_.clear();
    EXPECT_THAT(said(), ElementsAre("warning: No project folder is known, so nothing can be installed" + advice_));
}

TEST_F(ProjectFolderCheckTest, OneThatIsNotThereIsAnError)
{
    projectDir_ = (work() / "gone").string();
    EXPECT_THAT(said(), ElementsAre("error: The project folder “work/gone” is not there" + advice_));
    EXPECT_THAT(DoctorTest::said("scripts"), IsEmpty());
    EXPECT_THAT(DoctorTest::said("catalog"), IsEmpty());
    projectDir_ = (project() / "build.command").string();
    EXPECT_THAT(said(), ElementsAre("error: The project folder “work/zyn-v8/build.command” is no folder" + advice_));
    fs::permissions(project(), fs::perms::none);
    projectDir_ = project().string();
    {
        const TestSupport::PermissionsHold hold;
        EXPECT_THAT(said(), ElementsAre("error: The project folder “work/zyn-v8” may not be looked into" + advice_));
    }
    fs::permissions(project(), fs::perms::owner_all);
}

class ScriptsCheckTest : public DoctorTest
{
protected:
    [[nodiscard]] std::vector<std::string> said() const { return DoctorTest::said("scripts"); }
    static std::string fine(const std::string& script)
    {
        return "ok: The script “work/" + script + "” is there and can be run.";
    }
};

TEST_F(ScriptsCheckTest, AllThatInstallAndRemoveAreLookedAt)
{
    EXPECT_THAT(said(),
                ElementsAre(fine("zyn-v8/build.command"),
                            fine("mlx-vantor/build.command"),
                            fine("zyn-v8/desktop/build.command"),
                            fine("install-models/install-one-model.command"),
                            fine("install-models/uninstall-model.command")));
}

TEST_F(ScriptsCheckTest, ScriptsThatAreMissingAreErrors)
{
    fs::remove(project() / "build.command");
    fs::remove(work() / "install-models/uninstall-model.command");
    EXPECT_THAT(
        said(),
        Contains("error: The folder “work/zyn-v8” has neither a “build.command” nor an “install.command”: get them "
                 "from the project's source."));
    EXPECT_THAT(
        said(),
        Contains("error: The script “work/install-models/uninstall-model.command” is not there: get it from the "
                 "project's source."));
}

TEST_F(ScriptsCheckTest, ProjectsThatAreMissingAreWarnings)
{
    fs::remove_all(work() / "mlx-vantor");
    fs::remove_all(work() / "install-models");
    fs::remove_all(project() / "desktop");
    EXPECT_THAT(
        said(),
        ElementsAre(fine("zyn-v8/build.command"),
                    "warning: The engine's project “mlx-vantor” is not beside “work/zyn-v8”, so the engine cannot "
                    "be installed: put it there.",
                    "warning: There is no “desktop/build.command” in “work/zyn-v8”, so the desktop application "
                    "cannot be installed: leave it out, or get it from the source.",
                    "warning: The folder “work/install-models” is not there, so no model can be installed: put it "
                    "beside the project folder."));
}

TEST_F(ScriptsCheckTest, AScriptMustBeAFileThatMayBeRead)
{
    fs::remove(project() / "build.command");
    ASSERT_EQ(::mkfifo((project() / "build.command").c_str(), 0700), 0);
    EXPECT_THAT(
        said(),
        Contains("error: The script “work/zyn-v8/build.command” is neither a file nor a folder: get it from the "
                 "project's source."));
    fs::permissions(work() / "mlx-vantor/build.command", fs::perms::owner_exec);
    const TestSupport::PermissionsHold hold;
    EXPECT_THAT(said(),
                Contains("error: The script “work/mlx-vantor/build.command” may not be read: give yourself that "
                         "permission."));
}

TEST_F(ScriptsCheckTest, AScriptThatIsNotMarkedAsExecutableIsAWarning)
{
    fs::permissions(project() / "build.command", fs::perms::owner_read);
    EXPECT_THAT(
        said(),
        Contains("warning: The script “work/zyn-v8/build.command” is run from here but not marked as executable: "
                 "mark it with “chmod +x” to start it by hand as well."));
}

TEST_F(ScriptsCheckTest, WithoutABuildScriptCargoIsNeeded)
{
    fs::rename(project() / "build.command", project() / "install.command");
    makeExecutable(home() / ".cargo/bin/cargo", "#!/bin/sh\n");
    EXPECT_THAT(said(), Contains(fine("zyn-v8/install.command")));
    EXPECT_EQ(said().size(), 5U);
    fs::remove(home() / ".cargo/bin/cargo");
    const EnvironmentVariable path("PATH", (home() / "bin").string());
    if (fs::exists("/usr/local/bin/cargo") || fs::exists("/opt/homebrew/bin/cargo")) {
        GTEST_SKIP() << "cargo is in a folder that is always searched";
    }
    EXPECT_THAT(said(),
                Contains("error: The folder “work/zyn-v8” has no “build.command” and is built by cargo, which is not "
                         "found: install cargo."));
}

class CatalogCheckTest : public DoctorTest
{
protected:
    [[nodiscard]] std::vector<std::string> said() const { return DoctorTest::said("catalog"); }
    [[nodiscard]] fs::path catalog() const { return work() / "install-models/catalog"; }
};

TEST_F(CatalogCheckTest, ItsEntriesAreCounted)
{
    EXPECT_THAT(said(), ElementsAre("ok: The catalog “work/install-models/catalog” has 1 entry and offers 1 model."));
    write(catalog() / "org/two/model.toml", "release = \"no\"\nrepo = \"org/Two\"\n");
    write(catalog() / "three/model.toml", "release = \"yes\"\nrepo = \"org/Three\"\n");
    EXPECT_THAT(said(),
                ElementsAre("ok: The catalog “work/install-models/catalog” has 3 entries and offers 2 models."));
}

TEST_F(CatalogCheckTest, OneThatOffersNothingIsAWarning)
{
    fs::remove_all(catalog() / "org");
    EXPECT_THAT(said(),
                ElementsAre("warning: The catalog “work/install-models/catalog” has 0 entries and offers no model: see "
                            "whether it is complete."));
    fs::remove_all(catalog());
    EXPECT_THAT(
        said(),
        ElementsAre("warning: The catalog “work/install-models/catalog” is not there, so no models are offered: "
                    "put it beside the project folder."));
    write(catalog(), "");
    EXPECT_THAT(
        said(),
        ElementsAre("error: The catalog “work/install-models/catalog” is no folder, so no models are offered: put "
                    "it beside the project folder."));
}

TEST_F(CatalogCheckTest, MalformedEntriesAreTold)
{
    write(catalog() / "a/model.toml", "\xFF");
    write(catalog() / "b/model.toml", "no key\n");
    write(catalog() / "c/model.toml", "release = \"yes\"\n");
    write(catalog() / "model.toml", "release = \"yes\"\nrepo = \"org/Lost\"\n");
    EXPECT_THAT(
        said(),
        ElementsAre("ok: The catalog “work/install-models/catalog” has 5 entries and offers 2 models.",
                    "error: The file “model.toml” couldn’t be opened because it isn’t UTF-8 text: fix "
                    "“work/install-models/catalog/a/model.toml” or take it out of the catalog.",
                    "warning: The catalog's entry “work/install-models/catalog/b/model.toml” says nothing: write "
                    "it or take it out of the catalog.",
                    "warning: The catalog's entry “work/install-models/catalog/c/model.toml” is offered without "
                    "saying where its model comes from: give it “repo”.",
                    "error: The file “model.toml” is directly in the catalog and has no slug: fix "
                    "“work/install-models/catalog/model.toml” or take it out of the catalog."));
}

class DatabasesCheckTest : public DoctorTest
{
protected:
    [[nodiscard]] std::vector<std::string> said() const
    {
        std::vector<std::string> sentences = DoctorTest::said("databases");
        for (std::string& sentence : sentences) {
            for (auto at = sentence.find(databases().string()); at != std::string::npos;
                 at = sentence.find(databases().string())) {
                sentence.replace(at, databases().string().size(), "databases");
            }
        }
        return sentences;
    }
    void describe(const std::string& file, const std::string& text) const { write(databases() / file, text); }
};

TEST_F(DatabasesCheckTest, OneThatIsInstalledIsFine)
{
    EXPECT_THAT(said(), ElementsAre("ok: The database “A” of “databases/a.toml” is installed at “~/installed/a”."));
    fs::remove(home() / "sources/a");
    EXPECT_THAT(
        said(),
        ElementsAre("ok: The database “A” of “databases/a.toml” is installed at “~/installed/a”, though its source "
                    "“~/sources/a” is not there."));
}

TEST_F(DatabasesCheckTest, OneThatIsNotInstalledIsAWarning)
{
    fs::remove(home() / "installed/a");
    EXPECT_THAT(
        said(),
        ElementsAre("warning: The database “A” of “databases/a.toml” is not installed: install it in the Databases "
                    "pane or with “database install”."));
    fs::remove(home() / "sources/a");
    EXPECT_THAT(said(),
                ElementsAre("warning: The database “A” of “databases/a.toml” is not installed and its source "
                            "“~/sources/a” is not there: get it, or name another one with CM_DB_SOURCE_a."));
}

TEST_F(DatabasesCheckTest, DescriptorsThatCannotBeUsedAreErrors)
{
    describe("b.toml", "\xFF");
    describe("c.toml", "name = \"C\"\n");
    describe("d.toml", "id = \"d\"\nsource = \"~/sources/a\"\n");
    describe("e.toml", "id = \"e\"\ndest = \"~/installed/e\"\n");
    EXPECT_THAT(
        said(),
        ElementsAre("ok: The database “A” of “databases/a.toml” is installed at “~/installed/a”.",
                    "error: The file “b.toml” couldn’t be opened because it isn’t UTF-8 text: fix "
                    "“databases/b.toml” or take it away.",
                    "error: The database descriptor “databases/c.toml” gives no id: give it one.",
                    "error: The database “d” of “databases/d.toml” does not say where it belongs: give it “dest”.",
                    "error: The database “e” of “databases/e.toml” does not say what it is copied from: give it "
                    "“source”."));
}

TEST_F(DatabasesCheckTest, TwoOfOneIdOrOnePlaceAreErrors)
{
    describe("b.toml", "id = \"a\"\nname = \"B\"\nsource = \"~/sources/a\"\ndest = \"~/installed/b\"\n");
    describe("c.toml", "id = \"c\"\nname = \"C\"\nsource = \"~/sources/a\"\ndest = \"~/installed/a\"\n");
    EXPECT_THAT(
        said(),
        ElementsAre("ok: The database “A” of “databases/a.toml” is installed at “~/installed/a”.",
                    "error: The database “B” of “databases/b.toml” has the id “a” of “databases/a.toml” and cannot "
                    "be told from it: give it another one.",
                    "error: The database “C” of “databases/c.toml” belongs to the place of “A”, “~/installed/a”, "
                    "and would replace it: give it another “dest”."));
}

TEST_F(DatabasesCheckTest, TheFolderMayBeEmptyOrNone)
{
    fs::remove(databases() / "a.toml");
    EXPECT_THAT(said(),
                ElementsAre("warning: The folder of database descriptors “databases” has none: put some there, or name "
                            "another one with CM_DATABASES_DIR."));
    fs::remove(databases());
    EXPECT_THAT(
        said(),
        ElementsAre("warning: The folder of database descriptors “databases” is not there: name another one with "
                    "CM_DATABASES_DIR."));
    write(databases(), "");
    EXPECT_THAT(said(),
                ElementsAre("error: The folder of database descriptors “databases” is no folder: name another one with "
                            "CM_DATABASES_DIR."));
    const EnvironmentVariable none("CM_DATABASES_DIR", "");
    EXPECT_THAT(
        said(),
        ElementsAre("warning: There is no folder of database descriptors, so none can be installed: name one with "
                    "CM_DATABASES_DIR."));
}

} // namespace
