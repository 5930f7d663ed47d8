#include <filesystem>

#include "CodeManagerApp/Model/ComponentsPane.h"
#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ModelTest.h"

using namespace CodeManagerApp;
using ManagerCore::ArtifactCategory;
using ManagerCore::FoundItem;
using ManagerCore::Identity;
using ManagerCore::Remover::Result;
namespace fs = std::filesystem;

namespace
{

class SelectionTest : public TestSupport::ModelTest
{
protected:
    SelectionTest()
    {
        TestSupport::write(home() / ".zyn/settings", "configuration");
        TestSupport::write(home() / "Library/Logs/zyn/one.log", "log");
        TestSupport::write(home() / "Library/Caches/zyn/cache", "cache");
    }

    static bool scanned(ManagerModel& model)
    {
        return until(model, &ManagerModel::scanningChanged, [&model] { return !model.scanning(); });
    }

    static void scan(ManagerModel& model)
    {
        model.scan();
        ASSERT_TRUE(model.scanning());
        ASSERT_TRUE(scanned(model));
    }

    // Moves what is ticked and waits until the scan after it is done.
    static void move(ManagerModel& model)
    {
        model.moveChosenToTrash();
        ASSERT_TRUE(model.busy());
        ASSERT_TRUE(until(model, &ManagerModel::busyChanged, [&model] { return !model.busy(); }));
        ASSERT_TRUE(model.scanning()) << "what is left is read anew at once";
        ASSERT_TRUE(scanned(model));
    }

    [[nodiscard]] std::string inHome(const std::string& relative) const { return (home() / relative).string(); }

    static std::set<std::string> paths(const std::vector<FoundItem>& items)
    {
        std::set<std::string> all;
        for (const FoundItem& item : items) {
            all.insert(item.path());
        }
        return all;
    }

    const Identity identity_ {.name = "zyn", .configDirs = {"~/.zyn"}};
};

TEST_F(SelectionTest, aScanFindsWhatTheProductPutOnDisk)
{
    ManagerModel model(identity_, {});
    EXPECT_FALSE(model.scanned());
    scan(model);
    EXPECT_TRUE(model.scanned());
    EXPECT_EQ(paths(model.items()),
              (std::set<std::string> {inHome(".zyn"), inHome("Library/Logs/zyn"), inHome("Library/Caches/zyn")}));
    EXPECT_TRUE(model.checked().empty()) << "nothing is ever ticked by itself";
}

TEST_F(SelectionTest, ticksAreSetAndCleared)
{
    ManagerModel model({}, {});
    model.setItems(
        {{.url = "/a", .sizeBytes = 1000}, {.url = "/b", .sizeBytes = 2000}, {.url = "/c", .sizeBytes = 4000}});
    model.toggle("/b");
    model.toggle("/c");
    EXPECT_EQ(paths(model.chosen()), (std::set<std::string> {"/b", "/c"}));
    EXPECT_EQ(model.chosenBytes(), 6000);
    model.toggle("/c");
    EXPECT_EQ(model.chosenBytes(), 2000);
    model.selectAll();
    EXPECT_EQ(model.chosenBytes(), 7000);
    model.clear();
    EXPECT_TRUE(model.chosen().empty());
}

TEST_F(SelectionTest, theChosenStandInTheOrderOfTheItems)
{
    ManagerModel model({}, {});
    model.setItems({{.url = "/z"}, {.url = "/a"}, {.url = "/m"}});
    model.selectAll();
    std::string order;
    for (const FoundItem& item : model.chosen()) {
        order += item.path();
    }
    EXPECT_EQ(order, "/z/a/m");
}

TEST_F(SelectionTest, ticksStayWithItemsThatAreStillThere)
{
    ManagerModel model(identity_, {});
    scan(model);
    model.toggle(inHome(".zyn"));
    model.toggle(inHome("Library/Logs/zyn"));
    fs::remove_all(home() / "Library/Logs/zyn");
    scan(model);
    EXPECT_EQ(model.checked(), (std::unordered_set<std::string> {inHome(".zyn")}));
}

TEST_F(SelectionTest, whatIsTickedGoesToTheTrashAndNothingElse)
{
    ManagerModel model(identity_, {});
    scan(model);
    model.toggle(inHome(".zyn"));
    model.toggle(inHome("Library/Logs/zyn"));
    move(model);
    EXPECT_FALSE(fs::exists(home() / ".zyn"));
    EXPECT_FALSE(fs::exists(home() / "Library/Logs/zyn"));
    EXPECT_EQ(TestSupport::read(home() / "Library/Caches/zyn/cache"), "cache");
    EXPECT_EQ(TestSupport::read(trash() / ".zyn/settings"), "configuration");
    EXPECT_EQ(paths(model.items()), (std::set<std::string> {inHome("Library/Caches/zyn")}));
    EXPECT_TRUE(model.checked().empty());
    EXPECT_EQ(toUtf8(model.console()),
              "Moved 2 items to the Trash.\nMoved to Trash:\n" + inHome(".zyn") + "\nMoved to Trash:\n"
                  + inHome("Library/Logs/zyn"));
}

TEST_F(SelectionTest, aLinkIsMovedAndNotWhatItLeadsTo)
{
    TestSupport::write(scratch() / "weights/model.bin", "a hundred gigabytes");
    TestSupport::makeLink(home() / "store", scratch() / "weights");
    ManagerModel model({.name = "none", .configDirs = {"~/store"}}, {});
    scan(model);
    model.selectAll();
    move(model);
    EXPECT_FALSE(fs::is_symlink(home() / "store"));
    EXPECT_EQ(TestSupport::read(scratch() / "weights/model.bin"), "a hundred gigabytes");
}

TEST_F(SelectionTest, whatCannotBeMovedStaysListedAndTickedAndSaysWhy)
{
    ManagerModel model(identity_, {});
    scan(model);
    model.selectAll();
    fs::remove_all(home() / "Library/Logs/zyn");
    move(model);
    EXPECT_TRUE(model.console().startsWith(QStringLiteral("Moved 2 of 3 items to the Trash.\n")));
    EXPECT_TRUE(model.console().contains(fromUtf8("Remove failed: The file “zyn” doesn’t exist.")))
        << toUtf8(model.console());
    EXPECT_TRUE(model.items().empty());

    // A Trash that cannot be made: the item stays where it is.
    TestSupport::write(home() / ".zyn/settings", "configuration");
    fs::remove_all(home() / ".local");
    TestSupport::write(home() / ".local", "in the way");
    scan(model);
    model.toggle(inHome(".zyn"));
    move(model);
    EXPECT_EQ(TestSupport::read(home() / ".zyn/settings"), "configuration");
    EXPECT_EQ(model.checked(), (std::unordered_set<std::string> {inHome(".zyn")}));
    EXPECT_EQ(paths(model.items()).count(inHome(".zyn")), 1U);
    EXPECT_TRUE(model.console().startsWith(QStringLiteral("Moved 0 of 1 item to the Trash.\nRemove failed: ")));
}

TEST_F(SelectionTest, withNothingTickedNothingIsMoved)
{
    ManagerModel model(identity_, {});
    scan(model);
    const QSignalSpy busy(&model, &ManagerModel::busyChanged);
    model.moveChosenToTrash();
    EXPECT_EQ(busy.count(), 0);
    EXPECT_EQ(model.items().size(), 3U);
}

TEST_F(SelectionTest, theButtonsSayWhyTheyCannotBePressed)
{
    ManagerModel model({}, {});
    EXPECT_EQ(toUtf8(model.reasonAgainstSelecting()), "There is nothing to select.");
    model.setItems({{.url = "/a"}});
    EXPECT_EQ(toUtf8(model.reasonAgainstSelecting()), "");
    EXPECT_EQ(toUtf8(model.reasonAgainstClearing()), "Nothing is selected.");
    EXPECT_EQ(toUtf8(model.reasonAgainstMoving()), "Nothing is selected.");
    model.selectAll();
    EXPECT_EQ(toUtf8(model.reasonAgainstClearing()), "");
    EXPECT_EQ(toUtf8(model.reasonAgainstMoving()), "");
    model.setScanning(true);
    EXPECT_EQ(toUtf8(model.reasonAgainstMoving()), "The disk is still being read.");
    model.setBusy(true);
    EXPECT_EQ(toUtf8(model.reasonAgainstMoving()), "Another operation is running.");
}

TEST_F(SelectionTest, theTextsAreAsGiven)
{
    EXPECT_EQ(toUtf8(ComponentsPane::totals(0, 0)), "Select items to move to the Trash (recoverable).");
    EXPECT_EQ(toUtf8(ComponentsPane::totals(1, 4096)), "1 item · 4 KB");
    EXPECT_EQ(toUtf8(ComponentsPane::totals(3, 1200000000)), "3 items · 1.2 GB");
    EXPECT_EQ(toUtf8(ComponentsPane::confirmationTitle(1)), "Move 1 item(s) to the Trash?");
    EXPECT_EQ(toUtf8(ComponentsPane::confirmationTitle(12000)), "Move 12000 item(s) to the Trash?");
    EXPECT_EQ(toUtf8(ComponentsPane::nothingInstalled("zyn")), "Nothing installed for zyn");
    EXPECT_EQ(toUtf8(ComponentsPane::outcome({Result {.path = "/a", .trashed = false, .error = std::nullopt}})),
              "Moved 0 of 1 item to the Trash.\nRemove failed: unknown");
}

} // namespace
