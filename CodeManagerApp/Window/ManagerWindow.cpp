#include "CodeManagerApp/Window/ManagerWindow.h"

#include <QQmlComponent>
#include <QtQml/QQmlExtensionPlugin>

#include "CodeManagerApp/Window/ButtonAccess.h"
#include "CodeManagerApp/Window/SymbolProvider.h"
#include "CodeManagerApp/Window/WindowStyle.h"

extern void qml_register_types_CodeManager(); // NOLINT(readability-identifier-naming): made by the build from our types

namespace CodeManagerApp
{

ManagerWindow::ManagerWindow(ManagerModel& model)
{
    static const bool registered = [] {
        qml_register_types_CodeManager();
        QAccessible::installFactory(&buttonAccess);
        return true;
    }();
    Q_UNUSED(registered)
    engine_.addImageProvider(QStringLiteral("symbol"), new SymbolProvider);
    engine_.addImportPath(QStringLiteral("qrc:/qt/qml"));
    QQmlEngine::setObjectOwnership(&model, QQmlEngine::CppOwnership);

    QQmlComponent component(&engine_, QUrl(QStringLiteral("qrc:/qt/qml/CodeManager/ManagerWindow.qml")));
    if (!component.isReady()) {
        trouble_ = component.errorString();
        return;
    }
    std::unique_ptr<QObject> made(
        component.createWithInitialProperties({{QStringLiteral("model"), QVariant::fromValue(&model)}}));
    if (qobject_cast<QQuickWindow*>(made.get()) == nullptr) {
        trouble_ = component.errorString();
        return;
    }
    window_.reset(static_cast<QQuickWindow*>(made.release()));
    engine_.setIncubationController(window_->incubationController()); // what views make bit by bit, it makes
    // Nothing is probed before the window is on screen.
    QObject::connect(
        window_.get(),
        &QQuickWindow::frameSwapped,
        &model,
        [&model, this] {
            model.requestRefresh();
            const int type = qmlTypeId("CodeManager", 1, 0, "WindowStyle");
            if (auto* const style = engine_.singletonInstance<WindowStyle*>(type)) {
                style->learnMotion();
            }
        },
        static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::SingleShotConnection));
}

} // namespace CodeManagerApp
