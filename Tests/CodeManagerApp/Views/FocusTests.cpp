#include <algorithm>

#include <QAccessible>
#include <QTest>

#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ViewTest.h"

using namespace CodeManagerApp;
using ManagerCore::Status;

namespace
{

const ManagerCore::ManagerActions backend {
    .launchAgent = "com.example.none", .serverPort = "8080", .serverLog = "~/server.log"};

// Where the keyboard is.
class FocusTest : public TestSupport::ViewTest
{
protected:
    void showPane(Pane pane)
    {
        show({.name = "zyn", .display = "Zyn"}, backend);
        model().setStatus(Status {});
        model().setSection(pane);
        settle();
    }

    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(&window(), key, modifiers);
        settle();
    }

    // The innermost of those that say so; null while none does.
    QAccessibleInterface* focused()
    {
        QAccessibleInterface* found = nullptr;
        for (QAccessibleInterface* const item : accessible()) {
            found = item->state().focused ? item : found;
        }
        return found;
    }

    QString focusedName()
    {
        QAccessibleInterface* const item = focused();
        return item != nullptr ? item->text(QAccessible::Name) : QString();
    }

    void tabTo(const QString& name)
    {
        for (int step = 0; step < 30 && focusedName() != name; step++) {
            key(Qt::Key_Tab);
        }
        ASSERT_EQ(toUtf8(focusedName()), toUtf8(name));
    }

    // Whether the ring of this button is drawn.
    bool hasRing(const QString& button)
    {
        const auto* const item = qobject_cast<QQuickItem*>(find(button, QAccessible::Button)->object());
        const QList<QQuickItem*> rings = item->property("background").value<QQuickItem*>()->childItems();
        return std::ranges::any_of(rings, [](const QQuickItem* ring) { return ring->isVisible(); });
    }

    void whenFocusedIs(const QString& name)
    {
        EXPECT_TRUE(QTest::qWaitFor([&] { return focusedName() == name; }, TestSupport::patience))
            << toUtf8(name) << " is not where the keyboard is, but " << toUtf8(focusedName());
        settle();
    }
};

TEST_F(FocusTest, staysAndIsSeenOnAButtonThatWaits)
{
    showPane(Pane::services);
    tabTo(QStringLiteral("Start"));
    EXPECT_TRUE(hasRing(QStringLiteral("Start")));
    int changes = 0;
    const auto look = [&] {
        changes++;
        EXPECT_EQ(toUtf8(focusedName()), "Start");
        EXPECT_TRUE(hasRing(QStringLiteral("Start")));
    };
    const QObject context;
    QObject::connect(&model(), &ManagerModel::busyChanged, &context, look, Qt::QueuedConnection);
    QTest::keyClick(&window(), Qt::Key_Space);
    ASSERT_TRUE(QTest::qWaitFor([&] { return changes == 2; }, TestSupport::patience)) << "it begins and ends";
    ASSERT_TRUE(refreshed(model()));
    settle();
    // Nothing was started: it can be pressed again.
    EXPECT_EQ(toUtf8(focusedName()), "Start");
    EXPECT_TRUE(hasRing(QStringLiteral("Start")));
}

TEST_F(FocusTest, goesOnToANeighbourFromAButtonThatHasNoUseAnyMore)
{
    showPane(Pane::services);
    tabTo(QStringLiteral("Start"));
    model().setStatus(Status {.backendRunning = true});
    whenFocusedIs(QStringLiteral("Stop"));
    EXPECT_TRUE(hasRing(QStringLiteral("Stop")));
    model().setStatus(Status {});
    whenFocusedIs(QStringLiteral("Start"));
}

TEST_F(FocusTest, aClickShowsNoRing)
{
    showPane(Pane::services);
    tabTo(QStringLiteral("Start"));
    click(QStringLiteral("Open Log"));
    EXPECT_EQ(toUtf8(focusedName()), "Open Log");
    EXPECT_FALSE(hasRing(QStringLiteral("Open Log")));
    click(QStringLiteral("Start"));
    EXPECT_FALSE(hasRing(QStringLiteral("Start")));
    ASSERT_TRUE(until(model(), &ManagerModel::busyChanged, [this] { return !model().busy(); }));
    ASSERT_TRUE(refreshed(model()));
}

TEST_F(FocusTest, goesOnWhenTheWayToStopGoes)
{
    showPane(Pane::services);
    Progress& progress = *model().progress();
    progress.begin(QStringLiteral("Trying"));
    progress.step(1, QStringLiteral("Trying"));
    model().setBusy(true);
    ASSERT_TRUE(until(progress, &Progress::changed, [&] { return progress.shown(); }));
    settle();
    tabTo(QStringLiteral("Stop the operation"));
    progress.end();
    model().setBusy(false);
    ASSERT_TRUE(QTest::qWaitFor([&] { return focused() != nullptr; }, TestSupport::patience));
    settle();
    key(Qt::Key_Tab);
    EXPECT_NE(focused(), nullptr);
}

TEST_F(FocusTest, comesBackToARowAndNotToItsTextThatWasClicked)
{
    showPane(Pane::overview);
    QAccessibleInterface* const row = find(QStringLiteral("Status: Not installed"));
    ASSERT_NE(row, nullptr);
    const QPoint corner = window().mapFromGlobal(row->rect().topLeft());
    QTest::mouseClick(&window(), Qt::LeftButton, Qt::NoModifier, corner + QPoint(170, row->rect().height() / 2));
    settle();
    for (int step = 0; step < 2 && focusedName() != QStringLiteral("Refresh"); step++) {
        key(Qt::Key_Backtab, Qt::ShiftModifier);
    }
    EXPECT_EQ(toUtf8(focusedName()), "Refresh");
    key(Qt::Key_Tab);
    EXPECT_EQ(toUtf8(focusedName()), "Status: Not installed");
    EXPECT_EQ(window().activeFocusItem(), find(QStringLiteral("Status: Not installed"))->object())
        << "a text shows no ring";
}

TEST_F(FocusTest, isAlwaysInSight)
{
    showPane(Pane::guide);
    window().resize(window().minimumSize());
    settle();
    const QRect inside(window().mapToGlobal(QPoint()), window().size());
    for (const Qt::Key direction : {Qt::Key_Tab, Qt::Key_Backtab}) {
        for (int step = 0; step < 9; step++) {
            key(direction, direction == Qt::Key_Tab ? Qt::NoModifier : Qt::ShiftModifier);
            ASSERT_NE(focused(), nullptr) << step;
            EXPECT_TRUE(inside.contains(focused()->rect())) << toUtf8(focusedName());
        }
    }
}

TEST_F(FocusTest, theConsoleIsReadByKeysAndFollowsItsEndInEverySize)
{
    showPane(Pane::services);
    QString text;
    for (int line = 0; line < 500; line++) {
        text += QStringLiteral("line %1\n").arg(line);
    }
    model().setConsole(text);
    settle();
    const auto* const edit = qobject_cast<QQuickItem*>(find(QStringLiteral("Console"))->object());
    const QQuickItem& area = *edit->parentItem()->parentItem();
    // What of the text is seen: none is hidden below, or above.
    const auto below = [&] { return edit->height() + edit->mapToItem(&area, QPointF()).y() - area.height(); };
    const auto above = [&] { return -edit->mapToItem(&area, QPointF()).y(); };
    EXPECT_LE(below(), 1);
    for (const QSize size : {QSize(980, 900), QSize(760, 520), QSize(980, 640)}) {
        window().resize(size);
        settle();
        EXPECT_LE(below(), 1) << size.height();
        EXPECT_GT(above(), 0) << size.height();
    }
    tabTo(QStringLiteral("Console"));
    key(Qt::Key_Home, Qt::ControlModifier);
    EXPECT_LE(above(), 1);
    key(Qt::Key_PageDown);
    EXPECT_GT(above(), area.height() / 2);
    key(Qt::Key_PageUp);
    EXPECT_LE(above(), 1);
    key(Qt::Key_Down);
    EXPECT_GT(above(), 1);
    model().setConsole(text + QStringLiteral("more"));
    settle();
    EXPECT_LE(above(), 100) << "its reader has scrolled up";
    key(Qt::Key_End, Qt::ControlModifier);
    EXPECT_LE(below(), 1);
}

TEST_F(FocusTest, aToolTipLetsClicksThrough)
{
    showPane(Pane::overview);
    QAccessibleInterface* const row = find(QStringLiteral("Overview"), QAccessible::ListItem);
    QTest::mouseMove(&window(), window().mapFromGlobal(row->rect().center()));
    const auto tip = [this] {
        for (QAccessibleInterface* const item : accessible()) {
            if (item->role() == QAccessible::ToolTip) {
                return item;
            }
        }
        return static_cast<QAccessibleInterface*>(nullptr);
    };
    ASSERT_TRUE(QTest::qWaitFor([&] { return tip() != nullptr; }, TestSupport::patience));
    const QRect below = find(QStringLiteral("Components"), QAccessible::ListItem)->rect();
    const QRect covered = below & tip()->rect();
    ASSERT_TRUE(covered.isValid()) << "it lies over the next row";
    QTest::mouseClick(&window(), Qt::LeftButton, Qt::NoModifier, window().mapFromGlobal(covered.center()));
    EXPECT_EQ(model().section(), Pane::components);
    ASSERT_TRUE(until(model(), &ManagerModel::scanningChanged, [this] { return !model().scanning(); }));
}

} // namespace
