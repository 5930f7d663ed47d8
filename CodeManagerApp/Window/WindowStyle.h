#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <qcorotask.h>

namespace CodeManagerApp
{

// What the desktop says of how the window should look.
class WindowStyle : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

    Q_PROPERTY(QString family READ family CONSTANT)
    Q_PROPERTY(QString monospacedFamily READ monospacedFamily CONSTANT)
    Q_PROPERTY(double textScale READ textScale CONSTANT)
    Q_PROPERTY(bool reducedMotion READ reducedMotion NOTIFY reducedMotionChanged)

public:
    explicit WindowStyle(QObject* parent = nullptr);

    [[nodiscard]] const QString& family() const { return family_; }
    [[nodiscard]] const QString& monospacedFamily() const { return monospacedFamily_; }
    [[nodiscard]] double textScale() const { return textScale_; }
    // True until the desktop has been asked, which takes a while: a window that opens does not move.
    [[nodiscard]] bool reducedMotion() const { return reducedMotion_; }

    // Asks the desktop, on another thread.
    QCoro::Task<> learnMotion();

Q_SIGNALS:
    void reducedMotionChanged();

private:
    QString family_;
    QString monospacedFamily_;
    double textScale_;
    bool reducedMotion_ = true;
};

} // namespace CodeManagerApp
