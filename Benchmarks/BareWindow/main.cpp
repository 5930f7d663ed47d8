#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>

// bare-window         a window with a few controls
// bare-window ROWS    a window with a list of that many rows
int main(int argc, char* argv[])
{
    // As the program chooses where there is no graphics processor.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const QGuiApplication application(argc, argv);
    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    const QStringList arguments = QGuiApplication::arguments().mid(1);
    if (!arguments.isEmpty()) {
        engine.setInitialProperties({{QStringLiteral("rows"), arguments.first().toInt()}});
    }
    engine.load(QUrl(arguments.isEmpty() ? QStringLiteral("qrc:/qt/qml/BareWindow/BareWindow.qml")
                                         : QStringLiteral("qrc:/qt/qml/BareWindow/BareList.qml")));
    return engine.rootObjects().isEmpty() ? EXIT_FAILURE : QGuiApplication::exec();
}
