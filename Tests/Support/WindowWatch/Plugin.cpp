// Watches the window of the program that it is loaded into: WINDOW_WATCH_FILE names the file that tells what was seen,
// WINDOW_WATCH_STARTED when the program was started, in nanoseconds of the monotonic clock; WINDOW_WATCH_FRAMES, where
// it is set, the file that tells of each frame.

#include "Tests/Support/WindowWatch/Plugin.h"

#include <cstdio>
#include <cstdlib>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QQuickWindow>

#include "Tests/Support/WindowWatch/Watch.h"

namespace
{

// Waits for the first window to be made, to hear of its frames.
class FirstWindow : public QObject
{
public:
    using QObject::QObject;

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        auto* const window = event->type() == QEvent::PlatformSurface ? qobject_cast<QQuickWindow*>(watched) : nullptr;
        if (window != nullptr) {
            QCoreApplication::instance()->removeEventFilter(this);
            connect(
                window,
                &QQuickWindow::frameSwapped,
                this,
                [] { WindowWatch::Watch::frameShown(); },
                Qt::DirectConnection);
        }
        return false;
    }
};

} // namespace

QObject* WindowWatchPlugin::create(const QString& /*name*/, const QString& /*specification*/)
{
    const char* const file = std::getenv("WINDOW_WATCH_FILE");
    const char* const started = std::getenv("WINDOW_WATCH_STARTED");
    const auto* const dispatcher = QAbstractEventDispatcher::instance();
    if (file == nullptr || started == nullptr || dispatcher == nullptr
        || !dispatcher->inherits("QEventDispatcherGlib")) {
        std::fputs("The window cannot be watched: its event loop is not GLib's, or no file is named.\n", stderr);
        return nullptr;
    }
    WindowWatch::Watch::begin(file, std::strtoll(started, nullptr, 10));
    if (const char* const frames = std::getenv("WINDOW_WATCH_FRAMES")) {
        WindowWatch::Watch::tellFrames(frames);
    }
    auto* const first = new FirstWindow;
    QCoreApplication* const application = QCoreApplication::instance();
    application->installEventFilter(first);
    connect(application, &QCoreApplication::aboutToQuit, first, [] { WindowWatch::Watch::write(); });
    return first;
}
