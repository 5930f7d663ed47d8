#include "Tests/CodeManagerApp/Support/ViewTest.h"

#include <QAccessible>
#include <QCoreApplication>
#include <QTest>

namespace TestSupport
{

namespace
{

void gather(QAccessibleInterface* from, QList<QAccessibleInterface*>& into)
{
    for (int index = 0; index < from->childCount(); index++) {
        QAccessibleInterface* const child = from->child(index);
        if (child == nullptr || child->state().invisible) {
            continue;
        }
        into.append(child);
        gather(child, into);
    }
}

} // namespace

void ViewTest::show(const ManagerCore::Identity& identity, const ManagerCore::ManagerActions& actions)
{
    QAccessible::setActive(true);
    window_.reset();
    model_ = std::make_unique<CodeManagerApp::ManagerModel>(identity, actions);
    window_ = std::make_unique<CodeManagerApp::ManagerWindow>(*model_);
    ASSERT_EQ(window_->trouble(), QString());
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window()));
    // The first look at the product is taken once the window is on screen.
    ASSERT_TRUE(
        until(*model_, &CodeManagerApp::ManagerModel::statusChanged, [this] { return model_->status().has_value(); }));
    ASSERT_TRUE(refreshed(*model_));
    settle();
}

QList<QAccessibleInterface*> ViewTest::accessible()
{
    QList<QAccessibleInterface*> found;
    gather(QAccessible::queryAccessibleInterface(&window()), found);
    return found;
}

QAccessibleInterface* ViewTest::find(const QString& name, std::optional<QAccessible::Role> role)
{
    for (QAccessibleInterface* const item : accessible()) {
        if (item->text(QAccessible::Name) == name && (!role || item->role() == *role)) {
            return item;
        }
    }
    return nullptr;
}

QStringList ViewTest::names(QAccessible::Role role)
{
    QStringList found;
    for (QAccessibleInterface* const item : accessible()) {
        if (item->role() == role) {
            found.append(item->text(QAccessible::Name));
        }
    }
    return found;
}

void ViewTest::press(const QString& name, QAccessible::Role role)
{
    QAccessibleInterface* const item = find(name, role);
    ASSERT_NE(item, nullptr) << name.toStdString();
    item->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    settle();
}

void ViewTest::click(const QString& name, QAccessible::Role role)
{
    QAccessibleInterface* const item = find(name, role);
    ASSERT_NE(item, nullptr) << name.toStdString();
    const QPoint middle = window().mapFromGlobal(item->rect().center());
    QTest::mouseClick(&window(), Qt::LeftButton, Qt::NoModifier, middle);
    settle();
}

void ViewTest::settle()
{
    const auto* const stage = window().findChild<QQuickItem*>(QStringLiteral("stage"));
    ASSERT_NE(stage, nullptr);
    ASSERT_TRUE(QTest::qWaitFor([stage] { return !stage->property("changing").toBool(); }, patience));
    for (int round = 0; round < 3; round++) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
        // Lists make their rows when a frame is due.
        static_cast<void>(window().grabWindow());
    }
}

} // namespace TestSupport
