#pragma once

#include <memory>

#include <QSocketNotifier>

namespace CodeManagerApp
{

// For as long as this lives, the signals that ask a program to end (a terminal's interrupt and hang-up, the session's
// end) let it end as closing the window does, so that no child is left running. One at a time.
class EndingSignals
{
public:
    EndingSignals();
    ~EndingSignals();
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

private:
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace CodeManagerApp
