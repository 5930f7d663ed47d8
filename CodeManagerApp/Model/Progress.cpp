#include "CodeManagerApp/Model/Progress.h"

#include <QRegularExpression>

#include "CodeManagerApp/Model/Console.h"
#include "CodeManagerApp/Model/QtText.h"

namespace CodeManagerApp
{

using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace
{

constexpr milliseconds lookEvery = 100ms;
constexpr milliseconds shownAfter = 400ms;
constexpr std::size_t lineBytes = 1200; // more fits no window
constexpr qsizetype lineLength = 300;

// What a terminal would show of a line, without its colours.
QString asSeen(const std::string& line)
{
    static const QRegularExpression escapes(QStringLiteral("\\x1b\\[[0-9;?]*[A-Za-z]"));
    QString text = fromUtf8(line);
    text.remove(escapes);
    return oneLine(toUtf8(text.trimmed().left(lineLength)));
}

} // namespace

// Of a line that was written over and over the last state counts.
void Progress::LatestLine::put(std::string_view line)
{
    while (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    line.remove_prefix(line.find_last_of('\r') + 1); // from the beginning where there is none
    delete line_.exchange(new std::string(line.substr(0, lineBytes)));
}

Progress::Progress(QObject* parent)
    : QObject(parent)
{
    timer_.setInterval(lookEvery);
    connect(&timer_, &QTimer::timeout, this, &Progress::look);
}

void Progress::begin(const QString& name, std::size_t steps)
{
    latest_ = std::make_shared<LatestLine>();
    watcher_ = std::make_shared<ManagerCore::Proc::Watcher>(ManagerCore::Proc::WatcherOptions {
        .onLine = [latest = latest_](ManagerCore::Proc::Stream, std::string_view line) { latest->put(line); },
        .onPrompt = {},
        .kept = Console::cap});
    began_ = std::chrono::steady_clock::now();
    steps_ = steps;
    number_ = 0;
    doing_ = name;
    stoppable_ = false;
    shown_ = false;
    elapsed_ = inWords({});
    lastLine_.clear();
    timer_.start();
    Q_EMIT changed();
}

void Progress::step(std::size_t number, const QString& doing, bool stoppable)
{
    number_ = number;
    doing_ = doing;
    stoppable_ = stoppable;
    lastLine_.clear();
    latest_->take();
    Q_EMIT changed();
}

milliseconds Progress::end()
{
    const milliseconds took = time();
    timer_.stop();
    watcher_.reset();
    latest_.reset();
    shown_ = false;
    Q_EMIT changed();
    return took;
}

void Progress::stop()
{
    if (reasonAgainstStopping().isEmpty()) {
        watcher_->stop();
        Q_EMIT changed();
    }
}

QString Progress::text() const
{
    if (steps_ < 2 || number_ == 0) {
        return doing_;
    }
    return QStringLiteral("Step %1 of %2 · %3").arg(number_).arg(steps_).arg(doing_);
}

double Progress::fraction() const
{
    if (steps_ < 2) {
        return -1;
    }
    return number_ == 0 ? 0.0 : static_cast<double>(number_ - 1) / static_cast<double>(steps_);
}

QString Progress::reasonAgainstStopping() const
{
    if (stopRequested()) {
        return QStringLiteral("It is being stopped.");
    }
    return runs() && stoppable_ ? QString() : QStringLiteral("This cannot be stopped half way.");
}

QString Progress::inWords(milliseconds time)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
    const QString inMinutes = QStringLiteral(":%1").arg(seconds % 60, 2, 10, QLatin1Char('0'));
    const auto minutes = seconds / 60;
    if (minutes < 60) {
        return QString::number(minutes) + inMinutes;
    }
    return QStringLiteral("%1:%2").arg(minutes / 60).arg(minutes % 60, 2, 10, QLatin1Char('0')) + inMinutes;
}

milliseconds Progress::time() const
{
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - began_);
}

void Progress::look()
{
    bool anew = false;
    if (const auto line = latest_->take()) {
        lastLine_ = asSeen(*line);
        anew = true;
    }
    if (const QString now = inWords(time()); now != elapsed_) {
        elapsed_ = now;
        anew = true;
    }
    if (!shown_ && time() >= shownAfter) {
        shown_ = true;
        anew = true;
    }
    if (anew) {
        Q_EMIT changed();
    }
}

} // namespace CodeManagerApp
