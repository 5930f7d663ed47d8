#include <filesystem>

#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ModelTest.h"

using namespace CodeManagerApp;
namespace fs = std::filesystem;

namespace
{

class DatabaseOperationTest : public TestSupport::ModelTest
{
protected:
    DatabaseOperationTest()
    {
        TestSupport::write(scratch() / "databases/orchid.toml",
                           "id = \"db-orchid\"\nname = \"Orchid\"\ndescription = \"Flowers\"\nsource = \""
                               + (scratch() / "source").string() + "\"\ndest = \"~/db/orchid\"\n");
        TestSupport::write(scratch() / "source/rows", "rows");
    }

    static void load(ManagerModel& model)
    {
        model.reloadDatabases();
        ASSERT_TRUE(until(model, &ManagerModel::databaseRowsChanged, [&] { return model.databasesLoaded(); }));
    }

    // Presses the row's button and waits until the list was read anew; gives the console.
    static std::string press(ManagerModel& model, int row, bool installed)
    {
        model.requestDatabase(row);
        EXPECT_TRUE(model.busy());
        EXPECT_TRUE(until(model, &ManagerModel::busyChanged, [&model] { return !model.busy(); }));
        EXPECT_TRUE(until(model, &ManagerModel::databaseRowsChanged, [&] {
            return model.databaseRows().at(row).installed == installed;
        }));
        return toUtf8(model.console());
    }

    TestSupport::EnvironmentVariable catalogue_ {"CM_DATABASES_DIR", (scratch() / "databases").string()};
};

TEST_F(DatabaseOperationTest, theListIsReadFromItsFolder)
{
    ManagerModel model({}, {});
    EXPECT_FALSE(model.databasesLoaded());
    load(model);
    ASSERT_EQ(model.databases().size(), 1U);
    EXPECT_EQ(model.databaseRows(),
              (QList<DatabaseValue> {
                  {.name = QStringLiteral("Orchid"), .detail = QStringLiteral("Flowers"), .installed = false}}));
    fs::remove_all(scratch() / "databases");
    model.reloadDatabases();
    ASSERT_TRUE(until(model, &ManagerModel::databasesChanged, [&] { return model.databases().empty(); }));
}

TEST_F(DatabaseOperationTest, aDatabaseIsInstalledAndRemoved)
{
    const std::string dest = (home() / "db/orchid").string();
    ManagerModel model({}, {});
    load(model);
    EXPECT_EQ(press(model, 0, true), "Installing Orchid…\n✓ installed to " + dest);
    EXPECT_EQ(TestSupport::read(fs::path(dest) / "rows"), "rows");
    EXPECT_EQ(press(model, 0, false), "Moved to Trash:\n" + dest);
    EXPECT_EQ(TestSupport::read(trash() / "orchid/rows"), "rows");
}

TEST_F(DatabaseOperationTest, whatFailsIsToldInTheConsole)
{
    fs::remove_all(scratch() / "source");
    ManagerModel model({}, {});
    load(model);
    model.installDatabase(model.databases().front());
    EXPECT_EQ(toUtf8(model.console()), "Installing Orchid…\n");
    ASSERT_TRUE(until(model, &ManagerModel::busyChanged, [&model] { return !model.busy(); }));
    EXPECT_EQ(toUtf8(model.console()),
              "Installing Orchid…\n✗ failed: source not found: " + (scratch() / "source").string());

    model.removeDatabase(model.databases().front());
    ASSERT_TRUE(until(model, &ManagerModel::busyChanged, [&model] { return !model.busy(); }));
    EXPECT_EQ(toUtf8(model.console()), "Remove failed: The file “orchid” doesn’t exist.");
}

TEST_F(DatabaseOperationTest, nothingIsDoneWhileAnotherOperationRunsOrForARowThatIsNone)
{
    ManagerModel model({}, {});
    load(model);
    model.requestDatabase(-1);
    model.requestDatabase(1);
    EXPECT_FALSE(model.busy());
    model.setBusy(true);
    model.requestDatabase(0);
    EXPECT_EQ(toUtf8(model.console()), "");
    EXPECT_FALSE(model.progress()->runs());
}

} // namespace
