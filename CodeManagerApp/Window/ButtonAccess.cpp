#include "CodeManagerApp/Window/ButtonAccess.h"

#include <algorithm>

#include <QAccessibleObject>
#include <QQuickItem>
#include <QQuickWindow>

namespace CodeManagerApp
{

namespace
{

// What a view sets as Accessible.…; absent where it sets nothing.
QObject* settings(const QQuickItem* item)
{
    const auto found = std::ranges::find_if(
        item->children(), [](const QObject* child) { return child->inherits("QQuickAccessibleAttached"); });
    return found == item->children().end() ? nullptr : *found;
}

QVariant setting(const QQuickItem* item, const char* name)
{
    const QObject* const all = settings(item);
    return all != nullptr ? all->property(name) : QVariant();
}

// What only a signal's own object may ask.
struct Connections : QObject {
    static bool exist(const QObject* object, const char* signal)
    {
        const QMetaObject* const about = object->metaObject();
        const int index = about->indexOfSignal(signal);
        return index >= 0 && (object->*&Connections::isSignalConnected)(about->method(index));
    }
};

// Alone among its kind it has nothing in it: what a control is drawn with is no matter of assistive tools.
class ButtonAccess : public QAccessibleObject, public QAccessibleActionInterface
{
public:
    explicit ButtonAccess(QQuickItem* item)
        : QAccessibleObject(item)
    {
        QObject::connect(item, &QQuickItem::enabledChanged, item, [item] {
            QAccessible::State changed;
            changed.disabled = true;
            QAccessibleStateChangeEvent event(item, changed);
            QAccessible::updateAccessibility(&event);
        });
    }

    [[nodiscard]] QWindow* window() const override { return item() != nullptr ? item()->window() : nullptr; }

    [[nodiscard]] QRect rect() const override
    {
        if (window() == nullptr) {
            return {};
        }
        const QRect inWindow = item()->mapRectToScene(item()->boundingRect()).toRect();
        return {window()->mapToGlobal(inWindow.topLeft()), inWindow.size()};
    }

    [[nodiscard]] QAccessibleInterface* parent() const override
    {
        for (QQuickItem* above = item()->parentItem(); above != nullptr; above = above->parentItem()) {
            if (settings(above) != nullptr && !setting(above, "ignored").toBool()) {
                return QAccessible::queryAccessibleInterface(above);
            }
        }
        return QAccessible::queryAccessibleInterface(window());
    }

    [[nodiscard]] int childCount() const override { return 0; }
    [[nodiscard]] QAccessibleInterface* child(int /*index*/) const override { return nullptr; }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* /*child*/) const override { return -1; }

    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        if (kind == QAccessible::Name) {
            const QString name = setting(item(), "name").toString();
            return name.isEmpty() ? item()->property("text").toString() : name;
        }
        return kind == QAccessible::Description ? setting(item(), "description").toString() : QString();
    }

    [[nodiscard]] QAccessible::Role role() const override
    {
        const auto set = static_cast<QAccessible::Role>(setting(item(), "role").toInt());
        return set == QAccessible::NoRole ? QAccessible::Button : set;
    }

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state;
        state.disabled = !item()->isEnabled();
        state.focused = item()->hasActiveFocus() || keepsFocus();
        state.focusable = state.focused || (item()->isEnabled() && item()->activeFocusOnTab());
        state.pressed = item()->property("pressed").toBool();
        state.checkable = setting(item(), "checkable").toBool();
        state.checked = setting(item(), "checked").toBool();
        state.checkStateMixed = setting(item(), "checkStateMixed").toBool();
        state.invisible = !item()->isVisible() || item()->opacity() <= 0 || window() == nullptr;
        state.offscreen = state.invisible || !window()->geometry().intersects(rect());
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }

    [[nodiscard]] QStringList actionNames() const override
    {
        return role() == QAccessible::CheckBox ? QStringList {pressAction(), toggleAction(), setFocusAction()}
                                               : QStringList {pressAction(), setFocusAction()};
    }

    // The views handle the actions; what is disabled does nothing. The toolkit's own buttons, those of its choosers of
    // files, answer to none and are clicked.
    void doAction(const QString& action) override
    {
        if (!item()->isEnabled()) {
            return;
        }
        if (action == setFocusAction()) {
            item()->forceActiveFocus(Qt::TabFocusReason);
        } else if (QObject* const handler = settings(item());
                   handler != nullptr && Connections::exist(handler, "pressAction()")) {
            QMetaObject::invokeMethod(handler, action == toggleAction() ? "toggleAction" : "pressAction");
        } else {
            QMetaObject::invokeMethod(item(), "clicked");
        }
    }

    [[nodiscard]] QStringList keyBindingsForAction(const QString& /*action*/) const override { return {}; }

private:
    // Disabled while the keyboard was on it, which the scope that it is alone in keeps for it.
    [[nodiscard]] bool keepsFocus() const
    {
        const QQuickItem* const above = item()->parentItem();
        return !item()->isEnabled() && above != nullptr && above->isFocusScope() && above->hasActiveFocus();
    }

    [[nodiscard]] QQuickItem* item() const { return qobject_cast<QQuickItem*>(object()); }
};

} // namespace

QAccessibleInterface* buttonAccess(const QString& className, QObject* object)
{
    auto* const item = qobject_cast<QQuickItem*>(object);
    const bool ours = item != nullptr && className == QLatin1String("QQuickAbstractButton")
        && !item->inherits("QQuickItemDelegate"); // a row, which has more in it
    return ours ? new ButtonAccess(item) : nullptr;
}

} // namespace CodeManagerApp
