#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QTest>

#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ViewTest.h"

using namespace CodeManagerApp;
using ManagerCore::ArtifactCategory;
using ManagerCore::Identity;
namespace fs = std::filesystem;

namespace
{

class ComponentsViewTest : public TestSupport::ViewTest
{
protected:
    // A product with a folder of settings and a log, and its pane once it has been read.
    void showComponents()
    {
        TestSupport::write(home() / ".zyn/settings", "configuration");
        TestSupport::write(home() / "Library/Logs/zyn/one.log", "log");
        show({.name = "zyn", .display = "Zyn", .configDirs = {"~/.zyn"}});
        openPane();
    }

    // A hundred thousand items.
    void showMany()
    {
        std::vector<ManagerCore::FoundItem> many;
        many.reserve(100000);
        for (int number = 0; number < 100000; number++) {
            many.push_back({.url = "/folder/item " + std::to_string(number),
                            .category = ArtifactCategory::caches,
                            .sizeBytes = number});
        }
        model().setItems(std::move(many));
        settle();
    }

    void openPane()
    {
        model().setSection(Pane::components);
        settle();
        settled();
    }

    void settled()
    {
        ASSERT_TRUE(until(model(), &ManagerModel::scanningChanged, [this] { return !model().scanning(); }));
        settle();
    }

    [[nodiscard]] QStringList rows()
    {
        QStringList found;
        for (QAccessibleInterface* const item : accessible()) {
            const QString name = item->text(QAccessible::Name);
            if (item->role() == QAccessible::ListItem && name.contains(QLatin1Char(','))) {
                found.append(name);
            }
        }
        return found;
    }

    void type(std::string_view text)
    {
        for (const char letter : text) {
            QTest::keyClick(&window(), letter);
        }
        settle();
    }

    [[nodiscard]] bool isEnabled(const QString& button)
    {
        return qobject_cast<QQuickItem*>(find(button, QAccessible::Button)->object())->isEnabled();
    }
};

TEST_F(ComponentsViewTest, readsTheDiskWhenItIsShown)
{
    showComponents();
    EXPECT_EQ(rows(),
              (QStringList {fromUtf8("Configuration & Data · 1, 4 KB"),
                            QStringLiteral(".zyn, %1/.zyn, 4 KB").arg(fromUtf8(home().string())),
                            fromUtf8("Logs · 1, 4 KB"),
                            QStringLiteral("zyn, %1/Library/Logs/zyn, 4 KB").arg(fromUtf8(home().string()))}));
    EXPECT_TRUE(find(QStringLiteral("Select items to move to the Trash (recoverable).")));
    EXPECT_FALSE(isEnabled(QStringLiteral("Clear")));
    EXPECT_FALSE(isEnabled(QStringLiteral("Move to Trash")));
    EXPECT_TRUE(isEnabled(QStringLiteral("Select All")));
}

TEST_F(ComponentsViewTest, saysWhenNothingIsInstalled)
{
    show({.name = "zyn", .display = "Zyn"});
    openPane();
    EXPECT_TRUE(find(QStringLiteral("Nothing installed for zyn")));
    EXPECT_FALSE(find(QStringLiteral("Select All")));
}

TEST_F(ComponentsViewTest, ticksByClickByPressAndByKey)
{
    showComponents();
    click(QStringLiteral("Select .zyn"), QAccessible::CheckBox);
    EXPECT_EQ(model().checked().size(), 1U);
    EXPECT_TRUE(find(QStringLiteral("Select .zyn"), QAccessible::CheckBox)->state().checked);
    EXPECT_TRUE(find(fromUtf8("1 item · 4 KB")));
    press(QStringLiteral("Select all of Logs"), QAccessible::CheckBox);
    EXPECT_EQ(model().checked().size(), 2U);
    EXPECT_TRUE(find(fromUtf8("2 items · 8 KB")));
    press(QStringLiteral("Clear"));
    EXPECT_TRUE(model().checked().empty());
    press(QStringLiteral("Select All"));
    EXPECT_EQ(model().checked().size(), 2U);
}

TEST_F(ComponentsViewTest, theKeyboardReachesEveryRow)
{
    showComponents();
    // From the sidebar over the filter and the head's button to the list.
    for (int step = 0; step < 3; step++) {
        QTest::keyClick(&window(), Qt::Key_Tab);
    }
    QTest::keyClick(&window(), Qt::Key_Down);
    QTest::keyClick(&window(), Qt::Key_Space);
    settle();
    EXPECT_EQ(model().checked(), (std::unordered_set<std::string> {(home() / ".zyn").string()}));
    QTest::keyClick(&window(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), fromUtf8((home() / ".zyn").string()));
    QTest::keyClick(&window(), Qt::Key_Left);
    settle();
    EXPECT_FALSE(model().expanded().contains(ArtifactCategory::configuration));
    QTest::keyClick(&window(), Qt::Key_Right);
    settle();
    EXPECT_TRUE(model().expanded().contains(ArtifactCategory::configuration));
}

TEST_F(ComponentsViewTest, aSectionOpensAndCloses)
{
    showComponents();
    press(fromUtf8("Logs · 1, 4 KB"), QAccessible::ListItem);
    EXPECT_EQ(rows().size(), 3);
    click(fromUtf8("Logs · 1, 4 KB"), QAccessible::ListItem);
    EXPECT_EQ(rows().size(), 4);
}

TEST_F(ComponentsViewTest, theFilterNarrowsTheRows)
{
    showComponents();
    QTest::keyClick(&window(), Qt::Key_F, Qt::ControlModifier);
    type("logs");
    EXPECT_EQ(rows().size(), 2);
    type("x");
    EXPECT_TRUE(find(fromUtf8("No item holds “logsx” in its name or path.")));
    QTest::keyClick(&window(), Qt::Key_Escape);
    settle();
    EXPECT_EQ(rows().size(), 4);
    EXPECT_TRUE(model().checked().empty());
}

TEST_F(ComponentsViewTest, movesOnlyAfterItWasConfirmed)
{
    showComponents();
    press(QStringLiteral("Select .zyn"), QAccessible::CheckBox);
    press(QStringLiteral("Move to Trash"));
    EXPECT_TRUE(find(QStringLiteral("Move 1 item(s) to the Trash?")));
    EXPECT_TRUE(find(QStringLiteral("This can be undone from the Trash.")));
    press(QStringLiteral("Cancel"));
    EXPECT_FALSE(find(QStringLiteral("This can be undone from the Trash.")));
    EXPECT_EQ(model().checked().size(), 1U);
    EXPECT_FALSE(model().busy());
    EXPECT_TRUE(fs::exists(home() / ".zyn"));

    press(QStringLiteral("Move to Trash"));
    const QList<QAccessibleInterface*> all = accessible();
    // The dialog's button stands above the bar's.
    const auto last = std::ranges::find_if(all.rbegin(), all.rend(), [](QAccessibleInterface* item) {
        return item->role() == QAccessible::Button && item->text(QAccessible::Name) == QStringLiteral("Move to Trash");
    });
    ASSERT_NE(last, all.rend());
    (*last)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    ASSERT_TRUE(until(model(), &ManagerModel::busyChanged, [this] { return !model().busy(); }));
    settled();
    EXPECT_FALSE(fs::exists(home() / ".zyn"));
    EXPECT_EQ(rows().size(), 2);
    EXPECT_TRUE(find(QStringLiteral("Console"), QAccessible::EditableText)) << "the outcome is told";
}

TEST_F(ComponentsViewTest, theKeyboardComesBackFromTheQuestion)
{
    showComponents();
    press(QStringLiteral("Select .zyn"), QAccessible::CheckBox);
    // From the sidebar over the filter, the head's button, the list, and the bar's first two buttons.
    for (int step = 0; step < 6; step++) {
        QTest::keyClick(&window(), Qt::Key_Tab);
    }
    ASSERT_TRUE(find(QStringLiteral("Move to Trash"))->state().focused);
    for (const Qt::Key answer : {Qt::Key_Return, Qt::Key_Escape}) {
        QTest::keyClick(&window(), Qt::Key_Space);
        settle();
        ASSERT_TRUE(find(QStringLiteral("Cancel"))->state().focused);
        QTest::keyClick(&window(), answer);
        settle();
        ASSERT_FALSE(find(QStringLiteral("Cancel")));
        EXPECT_TRUE(find(QStringLiteral("Move to Trash"))->state().focused);
    }
    EXPECT_EQ(model().checked().size(), 1U);
}

TEST_F(ComponentsViewTest, theKeyboardGoesByPagesAndToTheEnds)
{
    showComponents();
    showMany();
    for (int step = 0; step < 3; step++) {
        QTest::keyClick(&window(), Qt::Key_Tab);
    }
    const auto pathAfter = [this](Qt::Key key) {
        QTest::keyClick(&window(), key);
        settle();
        QTest::keyClick(&window(), Qt::Key_C, Qt::ControlModifier);
        return QGuiApplication::clipboard()->text();
    };
    EXPECT_EQ(pathAfter(Qt::Key_End), QStringLiteral("/folder/item 99999"));
    const QString before = pathAfter(Qt::Key_PageUp);
    const int page = 99999 - before.section(QLatin1Char(' '), -1).toInt();
    EXPECT_GT(page, 3);
    EXPECT_LT(page, 30);
    EXPECT_EQ(pathAfter(Qt::Key_PageDown), QStringLiteral("/folder/item 99999"));
    EXPECT_EQ(pathAfter(Qt::Key_PageDown), QStringLiteral("/folder/item 99999"));
    QTest::keyClick(&window(), Qt::Key_Home);
    settle();
    EXPECT_TRUE(find(fromUtf8("Caches · 100000, 5 GB"), QAccessible::ListItem)->state().focused);
    EXPECT_EQ(pathAfter(Qt::Key_PageDown), QStringLiteral("/folder/item %1").arg(page - 1));
}

// Rows are made for what is seen, not for what there is.
TEST_F(ComponentsViewTest, aHundredThousandItemsTakeAFewRows)
{
    showComponents();
    showMany();
    EXPECT_EQ(model().components()->count(), 100001);
    EXPECT_LT(rows().size(), 60);
    EXPECT_GT(rows().size(), 5);
    press(QStringLiteral("Select all of Caches"), QAccessible::CheckBox);
    EXPECT_EQ(model().checked().size(), 100000U);
}

} // namespace
