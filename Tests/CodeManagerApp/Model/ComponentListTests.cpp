#include "CodeManagerApp/Model/ComponentList.h"

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>

#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ModelTest.h"

using namespace CodeManagerApp;
using ManagerCore::ArtifactCategory;
using ManagerCore::FoundItem;

namespace
{

class ComponentListTest : public TestSupport::ModelTest
{
protected:
    ComponentListTest() { model_.setItems(items()); }

    static std::vector<FoundItem> items()
    {
        return {{.url = "/Applications/Zyn.app", .category = ArtifactCategory::application, .sizeBytes = 3000000},
                {.url = "/opt/bin/zyn", .category = ArtifactCategory::executables, .sizeBytes = 20000},
                {.url = "/usr/bin/zyn", .category = ArtifactCategory::executables, .sizeBytes = 10000},
                {.url = "/models/Orchid", .category = ArtifactCategory::model, .sizeBytes = 1500000000}};
    }

    [[nodiscard]] ComponentList& list() { return *model_.components(); }

    [[nodiscard]] QString text(int row, ComponentList::Role role)
    {
        return list().data(list().index(row), role).toString();
    }

    [[nodiscard]] int state(int row) { return list().data(list().index(row), ComponentList::checkState).toInt(); }

    // The rows as text: sections in brackets, ticks as they stand.
    [[nodiscard]] std::string written()
    {
        constexpr std::array marks {" ", "~", "x"};
        std::string all;
        for (int row = 0; row < list().count(); row++) {
            const bool section = list().data(list().index(row), ComponentList::isSection).toBool();
            const std::string title = toUtf8(text(row, ComponentList::title));
            all += std::string(marks.at(static_cast<std::size_t>(state(row)))) + (section ? "[" + title + "]" : title)
                + "\n";
        }
        return all;
    }

    ManagerModel model_ {{}, {}};
    QAbstractItemModelTester tester_ {model_.components(), QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(ComponentListTest, hasASectionForEachCategoryThatHasItems)
{
    EXPECT_EQ(written(), " [Application]\n Zyn.app\n [Executables]\n zyn\n zyn\n [AI Model]\n Orchid\n");
    EXPECT_EQ(toUtf8(text(2, ComponentList::detail)), "· 2");
    EXPECT_EQ(toUtf8(text(2, ComponentList::size)), "30 KB");
    EXPECT_EQ(toUtf8(text(2, ComponentList::symbol)), "terminal");
    EXPECT_EQ(toUtf8(text(3, ComponentList::detail)), "/opt/bin/zyn");
    EXPECT_EQ(toUtf8(text(3, ComponentList::size)), "20 KB");
    EXPECT_EQ(toUtf8(text(6, ComponentList::size)), "1.5 GB");
    EXPECT_EQ(list().sectionRow(4), 2);
}

TEST_F(ComponentListTest, theLastRowOfEachSectionIsKnown)
{
    std::string lasts;
    for (int row = 0; row < list().count(); row++) {
        lasts += list().data(list().index(row), ComponentList::isLast).toBool() ? "1" : "0";
    }
    EXPECT_EQ(lasts, "0100101");
}

TEST_F(ComponentListTest, sectionsCloseAndOpen)
{
    list().toggleExpanded(2);
    EXPECT_EQ(written(), " [Application]\n Zyn.app\n [Executables]\n [AI Model]\n Orchid\n");
    EXPECT_FALSE(model_.expanded().contains(ArtifactCategory::executables));
    EXPECT_TRUE(list().data(list().index(2), ComponentList::isLast).toBool());
    list().toggleExpanded(2);
    EXPECT_EQ(list().count(), 7);
}

TEST_F(ComponentListTest, ticksOfItemsMakeTheTickOfTheirSection)
{
    list().toggle(3);
    EXPECT_EQ(written(), " [Application]\n Zyn.app\n~[Executables]\nxzyn\n zyn\n [AI Model]\n Orchid\n");
    EXPECT_EQ(model_.checked(), (std::unordered_set<std::string> {"/opt/bin/zyn"}));
    list().toggle(2);
    EXPECT_EQ(written(), " [Application]\n Zyn.app\nx[Executables]\nxzyn\nxzyn\n [AI Model]\n Orchid\n");
    list().toggle(2);
    EXPECT_TRUE(model_.checked().empty());
}

TEST_F(ComponentListTest, aFilterNarrowsRowsAndTouchesNothingElse)
{
    list().toggle(6);
    list().setFilter(QStringLiteral("BIN/"));
    EXPECT_EQ(written(), " [Executables]\n zyn\n zyn\n");
    list().setFilter(QStringLiteral("opt/bin"));
    EXPECT_EQ(written(), " [Executables]\n zyn\n");
    EXPECT_EQ(toUtf8(text(0, ComponentList::detail)), "· 2") << "the section tells of all its items";
    EXPECT_EQ(toUtf8(text(0, ComponentList::size)), "30 KB");
    EXPECT_EQ(model_.checked().size(), 1U);
    EXPECT_EQ(toUtf8(model_.totalsText()), "1 item · 1.5 GB");
    list().setFilter(QStringLiteral("nothing has this"));
    EXPECT_EQ(list().count(), 0);
    list().setFilter({});
    EXPECT_EQ(list().count(), 7);
}

TEST_F(ComponentListTest, aFilterMatchesLettersOfAllKindsInEitherCase)
{
    model_.setItems({{.url = "/a/\u00C4rger.log", .category = ArtifactCategory::logs, .sizeBytes = 1},
                     {.url = "/a/PLAIN.log", .category = ArtifactCategory::logs, .sizeBytes = 1}});
    list().setFilter(QStringLiteral("\u00E4RG"));
    EXPECT_EQ(written(), " [Logs]\n \u00C4rger.log\n");
    list().setFilter(QStringLiteral("RGER.l"));
    EXPECT_EQ(written(), " [Logs]\n \u00C4rger.log\n");
    list().setFilter(QStringLiteral("/plain.LOG"));
    EXPECT_EQ(written(), " [Logs]\n PLAIN.log\n");
    list().setFilter(QStringLiteral("plain\u00E4"));
    EXPECT_EQ(list().count(), 0);
}

// Nothing is ever ticked that its user does not see.
TEST_F(ComponentListTest, aSectionTicksOnlyWhatTheFilterShows)
{
    list().setFilter(QStringLiteral("/opt"));
    list().toggle(0);
    EXPECT_EQ(model_.checked(), (std::unordered_set<std::string> {"/opt/bin/zyn"}));
    EXPECT_EQ(state(0), Qt::Checked);
    list().setFilter({});
    EXPECT_EQ(state(2), Qt::PartiallyChecked);
}

TEST_F(ComponentListTest, rowsThatStayAreNotMadeAnew)
{
    const QSignalSpy resets(&list(), &QAbstractItemModel::modelReset);
    QSignalSpy removals(&list(), &QAbstractItemModel::rowsRemoved);
    const QSignalSpy insertions(&list(), &QAbstractItemModel::rowsInserted);
    auto fewer = items();
    fewer.erase(fewer.begin() + 1);
    model_.setItems(fewer);
    EXPECT_EQ(written(), " [Application]\n Zyn.app\n [Executables]\n zyn\n [AI Model]\n Orchid\n");
    EXPECT_EQ(resets.count() + insertions.count(), 0);
    ASSERT_EQ(removals.count(), 1);
    EXPECT_EQ(removals.first().at(1).toInt(), 3);
    EXPECT_EQ(removals.first().at(2).toInt(), 3);
    model_.setItems(items());
    EXPECT_EQ(insertions.count(), 1);
    EXPECT_EQ(toUtf8(text(3, ComponentList::detail)), "/opt/bin/zyn");
    model_.setItems({});
    EXPECT_EQ(list().count(), 0);
}

TEST_F(ComponentListTest, rowsThatStayTellOfThemselvesWhileOthersGo)
{
    QStringList seen;
    QObject::connect(&list(), &QAbstractItemModel::rowsRemoved, &list(), [this, &seen] {
        for (int row = 0; row < list().count(); row++) {
            seen.append(text(row, ComponentList::title));
        }
    });
    model_.setItems({items().back()});
    EXPECT_EQ(seen, (QStringList {QStringLiteral("AI Model"), QStringLiteral("Orchid")}));
}

TEST_F(ComponentListTest, aNameIsShownOnOneLineAndCopiedAsItIs)
{
    model_.setItems({{.url = "/a/two\nlines", .category = ArtifactCategory::logs, .sizeBytes = 1},
                     {.url = "/a/caf\xE9", .category = ArtifactCategory::logs, .sizeBytes = 1}});
    EXPECT_EQ(toUtf8(text(1, ComponentList::title)), "two\uFFFDlines");
    EXPECT_EQ(toUtf8(text(2, ComponentList::title)), "caf\uFFFD");
    list().copyPath(1);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("/a/two\nlines"));
    list().copyPath(0);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("/a/two\nlines")) << "a section has no path";
    list().toggle(2);
    EXPECT_EQ(model_.chosen().size(), 1U) << "its bytes are kept";
}

TEST_F(ComponentListTest, aRowThatIsNoneDoesNothing)
{
    for (const int row : {-1, 7, 1000}) {
        list().toggle(row);
        list().toggleExpanded(row);
        list().copyPath(row);
        list().reveal(row);
    }
    EXPECT_TRUE(model_.checked().empty());
    EXPECT_EQ(list().count(), 7);
}

} // namespace
