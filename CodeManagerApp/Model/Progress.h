#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include <QObject>
#include <QString>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include "ManagerCore/Foundation/Proc.h"

namespace CodeManagerApp
{

// Where the operation under way stands, shown beside what the console says of it. Interface thread; nothing here waits.
class Progress : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The model has the one there is.")
    Q_PROPERTY(bool shown READ shown NOTIFY changed)
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(double fraction READ fraction NOTIFY changed)
    Q_PROPERTY(QString elapsed READ elapsed NOTIFY changed)
    Q_PROPERTY(QString lastLine READ lastLine NOTIFY changed)
    Q_PROPERTY(QString reasonAgainstStopping READ reasonAgainstStopping NOTIFY changed)

public:
    using Watcher = std::shared_ptr<ManagerCore::Proc::Watcher>;

    explicit Progress(QObject* parent = nullptr);

    // An operation of so many counted steps begins; it is named until its first step is.
    void begin(const QString& name, std::size_t steps = 1);
    // The step that begins now, counted from 1, and whether its children can be stopped.
    void step(std::size_t number, const QString& doing, bool stoppable = true);
    // The operation is over; gives how long it took.
    std::chrono::milliseconds end();

    // For the children of the operation under way, of all its steps. It outlives the operation where they do.
    [[nodiscard]] const Watcher& watcher() const { return watcher_; }
    [[nodiscard]] bool stopRequested() const { return watcher_ != nullptr && watcher_->stopRequested(); }
    Q_INVOKABLE void stop();

    [[nodiscard]] bool runs() const { return watcher_ != nullptr; }
    // It runs, and has for a moment: nothing flashes up for what is done at once.
    [[nodiscard]] bool shown() const { return shown_; }
    // "Step 3 of 5 · Installing the local engine"
    [[nodiscard]] QString text() const;
    // Of the steps, how many are done, 0 to 1; negative where there is only one.
    [[nodiscard]] double fraction() const;
    [[nodiscard]] const QString& elapsed() const { return elapsed_; }
    // The last line that a child of the step printed.
    [[nodiscard]] const QString& lastLine() const { return lastLine_; }
    // Empty where it can be stopped now.
    [[nodiscard]] QString reasonAgainstStopping() const;

    // "1:42", "1:02:03"
    static QString inWords(std::chrono::milliseconds time);

Q_SIGNALS:
    void changed();

private:
    // The latest line, handed from the thread that reads it to the one that shows it. Neither ever waits.
    class LatestLine
    {
    public:
        LatestLine() = default;
        ~LatestLine() { take(); }
        LatestLine(const LatestLine&) = delete;
        LatestLine& operator=(const LatestLine&) = delete;

        void put(std::string_view line);
        std::unique_ptr<std::string> take() { return std::unique_ptr<std::string>(line_.exchange(nullptr)); }

    private:
        std::atomic<std::string*> line_ = nullptr;
    };

    [[nodiscard]] std::chrono::milliseconds time() const;
    void look();

    QTimer timer_;
    std::chrono::steady_clock::time_point began_;
    Watcher watcher_; // null while nothing runs
    std::shared_ptr<LatestLine> latest_;
    QString doing_;
    std::size_t number_ = 0;
    std::size_t steps_ = 0;
    bool stoppable_ = false;
    bool shown_ = false;
    QString elapsed_;
    QString lastLine_;
};

} // namespace CodeManagerApp
