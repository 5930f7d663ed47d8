// A window whose interface thread stays away from its event loop once: what the watch has to find. The first argument
// says whether it works or waits meanwhile ("works", "waits"), the second for how many milliseconds.

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <thread>

#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>

namespace
{

std::chrono::nanoseconds worked()
{
    timespec time {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

void stayAway(bool working, std::chrono::milliseconds length)
{
    if (!working) {
        std::this_thread::sleep_for(length);
        return;
    }
    for (const std::chrono::nanoseconds end = worked() + length; worked() < end;) { }
}

} // namespace

int main(int argc, char* argv[])
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const QGuiApplication application(argc, argv);
    const bool working = argc > 1 && std::string_view(argv[1]) == "works";
    const std::chrono::milliseconds length(argc > 2 ? std::atoi(argv[2]) : 0);
    QQuickWindow window;
    window.resize(200, 200);
    window.setColor(Qt::white);
    QObject::connect(
        &window,
        &QQuickWindow::frameSwapped,
        &window,
        [working, length] {
            stayAway(working, length);
            QTimer::singleShot(0, &QCoreApplication::quit);
        },
        static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::SingleShotConnection));
    window.show();
    return QGuiApplication::exec();
}
