#include "CodeManagerApp/Window/WindowStyle.h"

#include <QFontDatabase>
#include <QFuture>
#include <QGuiApplication>
#include <QtConcurrentRun>

#include "CodeManagerApp/Desktop/Desktop.h"

namespace CodeManagerApp
{

namespace
{

QString installedOr(const QString& wanted, const QFont& otherwise)
{
    return QFontDatabase::hasFamily(wanted) ? wanted : otherwise.family();
}

} // namespace

WindowStyle::WindowStyle(QObject* parent)
    : QObject(parent)
#ifdef Q_OS_MACOS
    , family_(QGuiApplication::font().family())
    , monospacedFamily_(
          installedOr(QStringLiteral("JetBrains Mono"), QFontDatabase::systemFont(QFontDatabase::FixedFont)))
#else
    , family_(installedOr(QStringLiteral("Inter"), QGuiApplication::font()))
    , monospacedFamily_(
          installedOr(QStringLiteral("JetBrains Mono"), QFontDatabase::systemFont(QFontDatabase::FixedFont)))
#endif
    , textScale_(Desktop::textScale())
{
}

void WindowStyle::learnMotion()
{
    QtConcurrent::run(&Desktop::wantsReducedMotion).then(this, [this](bool reduced) {
        if (reduced != reducedMotion_) {
            reducedMotion_ = reduced;
            Q_EMIT reducedMotionChanged();
        }
    });
}

} // namespace CodeManagerApp
