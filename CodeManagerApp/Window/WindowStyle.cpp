#include "CodeManagerApp/Window/WindowStyle.h"

#include <algorithm>

#include <QFontDatabase>
#include <QFuture>
#include <QGuiApplication>
#include <QScreen>
#include <QtConcurrentRun>

#include "CodeManagerApp/Desktop/Desktop.h"
#include "CodeManagerApp/Model/InBackground.h"
#include "CodeManagerApp/Model/QtText.h"

namespace CodeManagerApp
{

namespace
{

QString installedOr(const QString& wanted, const QFont& otherwise)
{
    return !wanted.isEmpty() && QFontDatabase::hasFamily(wanted) ? wanted : otherwise.family();
}

double wantedTextScale()
{
    const Desktop::UsualText usual = Desktop::usualText();
    const QScreen* const screen = QGuiApplication::primaryScreen();
    const double dots = screen != nullptr ? screen->logicalDotsPerInchY() : usual.dotsPerInch;
    // Desktops that come with smaller text look alike here.
    const double points = std::max(QGuiApplication::font().pointSizeF(), usual.points);
    return std::max(1.0, points / usual.points * dots / usual.dotsPerInch);
}

} // namespace

WindowStyle::WindowStyle(QObject* parent)
    : QObject(parent)
    , family_(installedOr(fromUtf8(Desktop::preferredFamily()), QGuiApplication::font()))
    , monospacedFamily_(
          installedOr(QStringLiteral("JetBrains Mono"), QFontDatabase::systemFont(QFontDatabase::FixedFont)))
    , textScale_(wantedTextScale())
{
}

QCoro::Task<> WindowStyle::learnMotion()
{
    const bool reduced = co_await Awaited(this, QtConcurrent::run(&Desktop::wantsReducedMotion));
    if (reduced != reducedMotion_) {
        reducedMotion_ = reduced;
        Q_EMIT reducedMotionChanged();
    }
}

} // namespace CodeManagerApp
