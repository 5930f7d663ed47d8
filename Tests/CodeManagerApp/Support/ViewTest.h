#pragma once

#include <optional>

#include <QQuickItem>
#include <QQuickWindow>

#include "CodeManagerApp/Window/ManagerWindow.h"
#include "Tests/CodeManagerApp/Support/ModelTest.h"

namespace TestSupport
{

// A test of the real window, offscreen. What is on it is found the way assistive tools find it: by role and name.
class ViewTest : public ModelTest
{
protected:
    // Shows the window on a model of these records.
    void show(const ManagerCore::Identity& identity = {}, const ManagerCore::ManagerActions& actions = {});

    [[nodiscard]] CodeManagerApp::ManagerModel& model() { return *model_; }
    [[nodiscard]] QQuickWindow& window() { return *window_->window(); }

    // Every visible item that assistive tools see, in the order in which they stand.
    [[nodiscard]] QList<QAccessibleInterface*> accessible();
    // The one of this name, and of this role where one is given; null when there is none.
    [[nodiscard]] QAccessibleInterface* find(const QString& name, std::optional<QAccessible::Role> role = {});
    // The names of those of a role.
    [[nodiscard]] QStringList names(QAccessible::Role role);

    void press(const QString& name, QAccessible::Role role = QAccessible::Button);
    void click(const QString& name, QAccessible::Role role = QAccessible::Button);
    // Lets the window do what is due, up to a frame: a pane that was asked for is shown then.
    void settle();

private:
    std::unique_ptr<CodeManagerApp::ManagerModel> model_;
    std::unique_ptr<CodeManagerApp::ManagerWindow> window_;
};

} // namespace TestSupport
