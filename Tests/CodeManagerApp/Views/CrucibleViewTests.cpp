#include <QAccessible>
#include <QGuiApplication>
#include <QTest>

#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ViewTest.h"

using namespace CodeManagerApp;

namespace
{

class CrucibleViewTest : public TestSupport::ViewTest
{
protected:
    void showCrucible()
    {
        TestSupport::write(home() / "near/models/a/weights", "near");
        TestSupport::write(home() / "far/models/a/weights", "far away");
        TestSupport::makeLink(home() / ".zyn/crucible", home() / "near");
        TestSupport::makeLink(home() / ".zyn/served", home() / "near/models/a");
        show({.name = "zyn", .modelLocations = {"~/.zyn/crucible", "~/far", "~/absent"}},
             {.modelServed = "~/.zyn/served"});
        model().setSection(Pane::crucible);
        settle();
        settled();
    }

    void settled()
    {
        ASSERT_TRUE(until(model(), &ManagerModel::crucibleBusyChanged, [this] { return !model().crucibleBusy(); }));
        settle();
    }

    [[nodiscard]] bool shows(const std::string& name) { return find(fromUtf8(name)) != nullptr; }
};

TEST_F(CrucibleViewTest, showsEveryCopyAndBothLinks)
{
    showCrucible();
    EXPECT_TRUE(find(QStringLiteral("Crucibles on this Mac"), QAccessible::Heading));
    QStringList rows;
    for (QAccessibleInterface* const item : accessible()) {
        const QString name = item->text(QAccessible::Name);
        if (item->role() == QAccessible::Grouping && name.contains(QLatin1Char(','))) {
            rows.append(name);
        }
    }
    ASSERT_EQ(rows.size(), 3);
    EXPECT_TRUE(rows[0].endsWith(fromUtf8("internal, " + (home() / "near").string() + ", 4 KB, serving")))
        << toUtf8(rows[0]);
    EXPECT_TRUE(rows[1].endsWith(fromUtf8("internal, " + (home() / "far").string() + ", 4 KB"))) << toUtf8(rows[1]);
    EXPECT_EQ(toUtf8(rows[2]), "— internal, " + (home() / "absent").string() + ", absent");
    EXPECT_EQ(names(QAccessible::Button).count(QStringLiteral("Serve from this drive")), 1);
    EXPECT_TRUE(shows("Crucible root: " + (home() / "near").string()));
    EXPECT_TRUE(shows("Served model: " + (home() / "near/models/a").string()));
    EXPECT_TRUE(shows("Points the crucible root at a folder on any drive. Only the link changes — weights are never "
                      "moved or copied by this button."));
    EXPECT_FALSE(shows("The served model link is dangling — pick a drive below that still has these weights to repair "
                       "it."));
}

TEST_F(CrucibleViewTest, servesFromAnotherDriveAndShowsIt)
{
    showCrucible();
    press(QStringLiteral("Serve from this drive"));
    settled();
    settled();
    EXPECT_EQ(toUtf8(model().console()), "Now serving from:\n" + (home() / "far/models/a").string());
    EXPECT_TRUE(model().crucibleSites()[1].serving);
    EXPECT_TRUE(find(QStringLiteral("Console"), QAccessible::EditableText));
}

TEST_F(CrucibleViewTest, tellsOfADanglingServedLink)
{
    showCrucible();
    std::filesystem::remove_all(home() / "near/models");
    press(QStringLiteral("Refresh"));
    settled();
    EXPECT_TRUE(shows("The served model link is dangling — pick a drive below that still has these weights to repair "
                      "it."));
}

TEST_F(CrucibleViewTest, checksLinks)
{
    const TestSupport::EnvironmentVariable local("ZYN_CRUCIBLE_LOCAL", (home() / "near").string());
    showCrucible();
    TestSupport::makeLink(home() / "near/models/b", "/gone");
    const auto enabled = [this](const QString& button) {
        return qobject_cast<QQuickItem*>(find(button, QAccessible::Button)->object())->isEnabled();
    };
    EXPECT_FALSE(enabled(QStringLiteral("Repair")));
    press(QStringLiteral("Check links"));
    settled();
    // Once below the local root and once below the link that leads there.
    EXPECT_TRUE(model().console().startsWith(QStringLiteral("2 links, 2 dangling.\n"))) << toUtf8(model().console());
    EXPECT_TRUE(enabled(QStringLiteral("Repair")));
}

} // namespace
