#pragma once

#include <memory>

#include <QQmlEngine>
#include <QQuickWindow>

#include "CodeManagerApp/Model/ManagerModel.h"

namespace CodeManagerApp
{

// The one window on the model, which must outlive it.
class ManagerWindow
{
public:
    explicit ManagerWindow(ManagerModel& model);

    // What kept the window from being made, as the toolkit says it; empty when it stands.
    [[nodiscard]] const QString& trouble() const { return trouble_; }
    [[nodiscard]] QQuickWindow* window() const { return window_.get(); }

private:
    QQmlEngine engine_;
    QString trouble_;
    std::unique_ptr<QQuickWindow> window_;
};

} // namespace CodeManagerApp
