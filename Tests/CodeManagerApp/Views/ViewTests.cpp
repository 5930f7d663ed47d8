#include <map>

#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>

#include "CodeManagerApp/Desktop/Desktop.h"
#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ViewTest.h"

using namespace CodeManagerApp;
using ManagerCore::ArtifactCategory;
using ManagerCore::Identity;
using ManagerCore::ManagerActions;
using ManagerCore::Status;

namespace
{

const Identity zyn {.name = "zyn", .display = "Zyn"};
const ManagerActions backend {.launchAgent = "com.example.none", .serverPort = "8080", .serverLog = "~/server.log"};

class WindowTest : public TestSupport::ViewTest
{
protected:
    [[nodiscard]] QString selectedRow()
    {
        for (QAccessibleInterface* const item : accessible()) {
            if (item->role() == QAccessible::ListItem && item->state().selected) {
                return item->text(QAccessible::Name);
            }
        }
        return {};
    }

    [[nodiscard]] bool shows(const QString& name) { return find(name) != nullptr; }

    [[nodiscard]] bool isEnabled(const QString& button)
    {
        QAccessibleInterface* const item = find(button, QAccessible::Button);
        const auto* const control = item != nullptr ? qobject_cast<QQuickItem*>(item->object()) : nullptr;
        return control != nullptr && control->isEnabled();
    }

    // In every pane each control lies inside the window; where text is large, a pane may be longer and scroll.
    void expectEverythingInside(bool scrolls = false)
    {
        for (const QSize size : {QSize(760, 520), QSize(1600, 1000)}) {
            window().resize(size);
            for (const Pane pane : allPanes) {
                model().setSection(pane);
                settle();
                for (QAccessibleInterface* const item : accessible()) {
                    if (item->role() == QAccessible::Button || item->role() == QAccessible::ListItem) {
                        QRect inside(window().mapToGlobal(QPoint()), size);
                        inside.setHeight(scrolls ? 10 * size.height() : size.height());
                        EXPECT_TRUE(inside.contains(item->rect()))
                            << toUtf8(title(pane)) << ": " << toUtf8(item->text(QAccessible::Name));
                    }
                }
            }
        }
    }
};

TEST_F(WindowTest, isOneWindowNamedAndTitled)
{
    show(zyn);
    EXPECT_EQ(window().objectName(), QStringLiteral("manager"));
    EXPECT_EQ(window().title(), QStringLiteral("Zyn Manager"));
    EXPECT_EQ(window().minimumSize(), QSize(760, 520));
    EXPECT_EQ(window().color(), QColor(QStringLiteral("#FAFAFC"))) << "light, whatever the desktop's colours are";
    show(Identity::empty);
    EXPECT_EQ(window().title(), QStringLiteral("Code Manager"));
}

TEST_F(WindowTest, theSidebarNamesTheProductAndThePanes)
{
    show(zyn);
    EXPECT_TRUE(find(QStringLiteral("Zyn"), QAccessible::Heading));
    QStringList titles;
    for (const Pane pane : allPanes) {
        titles.append(title(pane));
    }
    EXPECT_EQ(names(QAccessible::ListItem), titles);
    EXPECT_EQ(selectedRow(), QStringLiteral("Overview"));
}

TEST_F(WindowTest, theSidebarAndTheSectionFollowEachOther)
{
    show(zyn);
    model().setSection(Pane::guide);
    settle();
    EXPECT_EQ(selectedRow(), QStringLiteral("Guide"));
    click(QStringLiteral("Services"), QAccessible::ListItem);
    EXPECT_EQ(model().section(), Pane::services);
    press(QStringLiteral("Overview"), QAccessible::ListItem);
    EXPECT_EQ(model().section(), Pane::overview);
}

TEST_F(WindowTest, everyPaneHasAKeyAndAHead)
{
    show(zyn);
    for (const Pane pane : allPanes) {
        QTest::keyClick(&window(), static_cast<Qt::Key>(Qt::Key_1 + static_cast<int>(pane)), Qt::ControlModifier);
        settle();
        EXPECT_EQ(model().section(), pane);
        EXPECT_TRUE(find(title(pane), QAccessible::Heading)) << toUtf8(title(pane));
    }
}

TEST_F(WindowTest, theArrowsGoFromPaneToPane)
{
    show(zyn);
    QTest::keyClick(&window(), Qt::Key_Down);
    EXPECT_EQ(model().section(), Pane::components);
    QTest::keyClick(&window(), Qt::Key_Up);
    QTest::keyClick(&window(), Qt::Key_Up);
    EXPECT_EQ(model().section(), Pane::overview) << "the first one is the end";
}

TEST_F(WindowTest, theOverviewShowsTheSnapshot)
{
    show(zyn, backend);
    model().setStatus(Status {.installed = true, .version = "0.4.2", .commit = "3f9c2ab4", .backendRunning = true});
    settle();
    EXPECT_TRUE(shows(QStringLiteral("Status: Installed")));
    EXPECT_TRUE(shows(QStringLiteral("Version: 0.4.2 (3f9c2ab4)")));
    EXPECT_TRUE(shows(QStringLiteral("Backend: running com.example.none:8080")));
    EXPECT_TRUE(shows(QStringLiteral("Model: absent")));
    EXPECT_TRUE(shows(fromUtf8("Provider: —")));
    EXPECT_EQ(find(QStringLiteral("Status: Installed"))->text(QAccessible::Description), QStringLiteral("healthy"));
    EXPECT_EQ(find(QStringLiteral("Model: absent"))->text(QAccessible::Description), QStringLiteral("unhealthy"));
    EXPECT_EQ(find(fromUtf8("Provider: —"))->text(QAccessible::Description), QString());
}

TEST_F(WindowTest, theLegendOfThePictureStandsInEvenLines)
{
    show(zyn);
    std::vector<ManagerCore::FoundItem> items;
    QStringList legends;
    for (std::size_t index = 0; index < 6; index++) {
        const ArtifactCategory category = ManagerCore::allArtifactCategories.at(index);
        items.push_back({.url = "/" + std::to_string(index), .category = category, .sizeBytes = 6000000});
        legends.append(fromUtf8(ManagerCore::title(category)) + QStringLiteral(": 6 MB"));
    }
    model().setItems(items);
    for (const int width : {760, 980, 2000}) {
        model().setSection(Pane::guide);
        settle();
        window().resize(width, 640);
        model().setSection(Pane::overview); // whose items are created while the pane is loaded
        settle();
        std::map<int, int> lines;
        for (const QString& legend : legends) {
            QAccessibleInterface* const item = find(legend);
            ASSERT_NE(item, nullptr) << toUtf8(legend);
            EXPECT_LE(item->rect().right(), window().mapToGlobal(QPoint()).x() + width) << width;
            lines[item->rect().top()]++;
        }
        for (const auto& [top, count] : lines) {
            EXPECT_EQ(count * static_cast<int>(lines.size()), 6) << "no line is left over, at " << width;
        }
    }
}

TEST_F(WindowTest, thePictureOfSpaceComesWithTheItems)
{
    show(zyn);
    EXPECT_FALSE(shows(QStringLiteral("AI Model: 6 MB")));
    model().setItems({{.url = "/m", .category = ArtifactCategory::model, .sizeBytes = 6000000},
                      {.url = "/l", .category = ArtifactCategory::logs, .sizeBytes = 2000}});
    settle();
    EXPECT_TRUE(shows(QStringLiteral("AI Model: 6 MB")));
    EXPECT_TRUE(shows(QStringLiteral("Logs: 2 KB")));
}

TEST_F(WindowTest, aCheckIsShownUntilItIsClosed)
{
    show(zyn);
    EXPECT_FALSE(shows(QStringLiteral("Close the check")));
    press(QStringLiteral("Check"));
    ASSERT_TRUE(until(model(), &ManagerModel::findingsChanged, [this] { return !model().findings().empty(); }));
    ASSERT_TRUE(until(model(), &ManagerModel::checkingChanged, [this] { return !model().checking(); }));
    model().setFindings({{.check = "descriptor", .state = ManagerCore::Doctor::State::ok, .message = "It is whole."},
                         {.check = "agent file", .state = ManagerCore::Doctor::State::error, .message = "Mend it."}});
    settle();
    EXPECT_TRUE(find(QStringLiteral("Check"), QAccessible::Heading));
    EXPECT_TRUE(shows(QStringLiteral("Check, 1 error, 1 ok")));
    QAccessibleInterface* const error = find(QStringLiteral("Agent file, Error"), QAccessible::StaticText);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->text(QAccessible::Description), QStringLiteral("Mend it."));
    EXPECT_TRUE(error->state().focusable);
    QAccessibleInterface* const fine = find(QStringLiteral("Descriptor, OK"), QAccessible::StaticText);
    ASSERT_NE(fine, nullptr);
    EXPECT_LT(error->rect().top(), fine->rect().top()) << "what is wrong comes first";

    click(QStringLiteral("Close the check"));
    EXPECT_FALSE(shows(QStringLiteral("Agent file, Error")));
    EXPECT_TRUE(find(QStringLiteral("Check"), QAccessible::Button)->state().focused) << "where it came from";
    EXPECT_TRUE(model().findings().empty());
}

TEST_F(WindowTest, aFindingIsCopiedWhileItHasTheFocus)
{
    show(zyn);
    model().setFindings({{.check = "links", .state = ManagerCore::Doctor::State::warning, .message = "It dangles."}});
    settle();
    // Backwards from the sidebar, which is the first.
    QTest::keyClick(&window(), Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_TRUE(find(QStringLiteral("Links, Warning"))->state().focused);
    QTest::keyClick(&window(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("It dangles."));
}

TEST_F(WindowTest, aPaneThatIsLongerThanTheWindowFollowsTheKeyboard)
{
    show(zyn);
    window().resize(760, 520);
    model().setFindings(std::vector<ManagerCore::Doctor::Finding>(
        30, {.check = "links", .state = ManagerCore::Doctor::State::warning, .message = "It dangles."}));
    settle();
    const QRect inside(window().mapToGlobal(QPoint()), window().size());
    QTest::keyClick(&window(), Qt::Key_Backtab, Qt::ShiftModifier);
    settle();
    const auto focused = [this] {
        for (QAccessibleInterface* const item : accessible()) {
            if (item->state().focused) {
                return item->rect();
            }
        }
        return QRect();
    };
    EXPECT_TRUE(inside.contains(focused())) << "the last row";
    for (int step = 0; step < 40; step++) {
        QTest::keyClick(&window(), Qt::Key_Backtab, Qt::ShiftModifier);
        settle();
        ASSERT_TRUE(inside.contains(focused())) << "step " << step;
    }
}

TEST_F(WindowTest, refreshIsAButtonAndAKey)
{
    TestSupport::makeExecutable(home() / "slow", "#!/bin/sh\nsleep 0.3\n");
    show({.binaries = {"~/slow"}});
    press(QStringLiteral("Refresh"));
    EXPECT_TRUE(model().refreshing());
    EXPECT_TRUE(find(QStringLiteral("Working"))) << "the head shows that something runs";
    ASSERT_TRUE(refreshed(model()));
    settle();
    EXPECT_FALSE(find(QStringLiteral("Working")));
    QTest::keyClick(&window(), Qt::Key_R, Qt::ControlModifier);
    EXPECT_TRUE(model().refreshing());
    ASSERT_TRUE(refreshed(model()));
    QTest::keyClick(&window(), Qt::Key_F5);
    EXPECT_TRUE(model().refreshing());
    ASSERT_TRUE(refreshed(model()));
}

TEST_F(WindowTest, aRefreshDuringAPaneSwitchAppliesToTheNewPane)
{
    show(zyn);
    model().setSection(Pane::guide);
    settle();
    const QSignalSpy refreshes(&model(), &CodeManagerApp::ManagerModel::refreshingChanged);
    model().setSection(Pane::overview);
    QTest::keyClick(&window(), Qt::Key_F5);
    settle();
    ASSERT_TRUE(refreshed(model()));
    EXPECT_EQ(refreshes.count(), 2) << "begun and ended";
    model().setSection(Pane::guide);
    QTest::keyClick(&window(), Qt::Key_F5);
    settle();
    EXPECT_EQ(refreshes.count(), 2) << "the overview must not be refreshed";
}

TEST_F(WindowTest, theGuideHasNoRefresh)
{
    show(zyn);
    model().setSection(Pane::guide);
    settle();
    EXPECT_FALSE(find(QStringLiteral("Refresh"), QAccessible::Button));
    EXPECT_TRUE(find(QStringLiteral("Missing from Spotlight?")));
    EXPECT_TRUE(find(QStringLiteral("Components"), QAccessible::StaticText)
                    ->text(QAccessible::Description)
                    .startsWith(QStringLiteral("Everything Zyn put on disk.")));
}

TEST_F(WindowTest, theServiceButtonsFollowTheState)
{
    show(zyn, backend);
    model().setSection(Pane::services);
    model().setStatus(Status {});
    settle();
    EXPECT_TRUE(shows(QStringLiteral("mlx-vantor")));
    EXPECT_TRUE(shows(QStringLiteral("stopped")));
    EXPECT_TRUE(isEnabled(QStringLiteral("Start")));
    EXPECT_FALSE(isEnabled(QStringLiteral("Stop")));
    EXPECT_FALSE(isEnabled(QStringLiteral("Restart")));
    EXPECT_EQ(find(QStringLiteral("Stop"))->text(QAccessible::Description),
              QStringLiteral("The backend is not running."));
    model().setStatus(Status {.backendRunning = true});
    settle();
    EXPECT_TRUE(shows(QStringLiteral("running  :8080")));
    EXPECT_FALSE(isEnabled(QStringLiteral("Start")));
    EXPECT_TRUE(isEnabled(QStringLiteral("Stop")));
    EXPECT_TRUE(isEnabled(QStringLiteral("Restart")));
    model().setBusy(true);
    settle();
    EXPECT_FALSE(isEnabled(QStringLiteral("Stop")));
    EXPECT_TRUE(isEnabled(QStringLiteral("Open Log"))) << "it runs no operation";
    press(QStringLiteral("Stop"));
    EXPECT_EQ(model().console(), QString()) << "a disabled button does nothing";
}

TEST_F(WindowTest, aServiceButtonActsAndTheConsoleTells)
{
    show(zyn, backend);
    model().setSection(Pane::services);
    model().setStatus(Status {});
    settle();
    EXPECT_FALSE(find(QStringLiteral("Console")));
    click(QStringLiteral("Start"));
    ASSERT_TRUE(until(model(), &ManagerModel::busyChanged, [this] { return !model().busy(); }));
    settle();
    QAccessibleInterface* const console = find(QStringLiteral("Console"), QAccessible::EditableText);
    ASSERT_NE(console, nullptr);
    EXPECT_EQ(console->textInterface()->text(0, 16), QStringLiteral("Start failed (5)"));
    EXPECT_TRUE(console->state().readOnly);
    ASSERT_TRUE(refreshed(model()));
}

TEST_F(WindowTest, aRowIsCopiedWhileItHasTheFocus)
{
    show(zyn);
    model().setStatus(Status {.version = "0.4.2", .commit = "3f9c2ab4"});
    settle();
    // From the sidebar over the head's buttons to the second row.
    for (int step = 0; step < 4; step++) {
        QTest::keyClick(&window(), Qt::Key_Tab);
    }
    EXPECT_TRUE(find(QStringLiteral("Version: 0.4.2 (3f9c2ab4)"))->state().focused);
    QTest::keyClick(&window(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("0.4.2 (3f9c2ab4)"));
}

TEST_F(WindowTest, everythingThatCanBeReachedHasANameAndARole)
{
    show(zyn, backend);
    model().setConsole(QStringLiteral("said"));
    for (const Pane pane : allPanes) {
        model().setSection(pane);
        settle();
        for (QAccessibleInterface* const item : accessible()) {
            if (item->state().focusable || item->role() == QAccessible::Button
                || item->role() == QAccessible::ListItem) {
                EXPECT_FALSE(item->text(QAccessible::Name).isEmpty())
                    << toUtf8(title(pane)) << " role " << item->role();
                EXPECT_NE(item->role(), QAccessible::NoRole);
            }
        }
    }
}

TEST_F(WindowTest, closesAtOnceWhenNothingRuns)
{
    show(zyn);
    QTest::keyClick(&window(), Qt::Key_W, Qt::ControlModifier);
    settle();
    EXPECT_FALSE(window().isVisible());
}

TEST_F(WindowTest, asksOnceBeforeItClosesOnAnOperation)
{
    show(zyn);
    model().setBusy(true);
    window().close();
    settle();
    EXPECT_TRUE(window().isVisible());
    ASSERT_TRUE(find(QStringLiteral("Stop and Close"), QAccessible::Button));
    window().close();
    settle();
    EXPECT_EQ(names(QAccessible::Button).count(QStringLiteral("Stop and Close")), 1);
    QTest::keyClick(&window(), Qt::Key_Escape);
    settle();
    EXPECT_FALSE(find(QStringLiteral("Stop and Close"), QAccessible::Button));
    EXPECT_TRUE(window().isVisible());
    window().close();
    settle();
    press(QStringLiteral("Stop and Close"));
    EXPECT_FALSE(window().isVisible());
}

TEST_F(WindowTest, staysSensibleWhenSmallAndWhenLarge)
{
    show(zyn, backend);
    model().setConsole(QString(30000, QLatin1Char('x')));
    expectEverythingInside();
}

TEST_F(WindowTest, staysSensibleWithTextOneAndAHalfTimesAsLarge)
{
    const QFont before = QGuiApplication::font();
    QFont large = before;
    large.setPointSizeF(1.5 * CodeManagerApp::Desktop::usualText().points);
    QGuiApplication::setFont(large);
    show(zyn, backend);
    model().setSection(Pane::services);
    settle();
    const auto* const button = qobject_cast<QQuickItem*>(find(QStringLiteral("Start"), QAccessible::Button)->object());
    EXPECT_EQ(button->height(), 42) << "controls grow with their text";
    expectEverythingInside(true);
    QGuiApplication::setFont(before);
}

} // namespace
