// A window whose interface thread stays away from its event loop once, for as many milliseconds as the argument says:
// what the watch has to find.

#include <chrono>
#include <cstdlib>
#include <thread>

#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>

int main(int argc, char* argv[])
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const QGuiApplication application(argc, argv);
    const std::chrono::milliseconds away(argc > 1 ? std::atoi(argv[1]) : 0);
    QQuickWindow window;
    window.resize(200, 200);
    window.setColor(Qt::white);
    QObject::connect(
        &window,
        &QQuickWindow::frameSwapped,
        &window,
        [away] {
            std::this_thread::sleep_for(away);
            QTimer::singleShot(0, &QCoreApplication::quit);
        },
        static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::SingleShotConnection));
    window.show();
    return QGuiApplication::exec();
}
