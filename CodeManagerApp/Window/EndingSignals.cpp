#include "CodeManagerApp/Window/EndingSignals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <unistd.h>

#include <QCoreApplication>

#include "ManagerCore/Platform/Platform.h"

namespace CodeManagerApp
{

namespace
{

constexpr std::array ending {SIGINT, SIGTERM, SIGHUP};
std::array<ManagerCore::Platform::UniqueFd, 2> pipeEnds;

void tell(int /*signal*/)
{
    const int before = errno;
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = ::write(pipeEnds[1].get(), &byte, 1);
    errno = before;
}

// Signals that were ignored when the program started stay ignored, as nohup wants it.
void handle(int signal, void (*handler)(int))
{
    struct sigaction before {};
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN) {
        return;
    }
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
}

} // namespace

EndingSignals::EndingSignals()
{
    if (!ManagerCore::Platform::makePipe(pipeEnds)) {
        return;
    }
    notifier_ = std::make_unique<QSocketNotifier>(pipeEnds[0].get(), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] {
        notifier_->setEnabled(false);
        QCoreApplication::exit(); // to quit would ask the window, which may not want to close
    });
    for (const int signal : ending) {
        handle(signal, &tell);
    }
}

EndingSignals::~EndingSignals()
{
    if (!notifier_) {
        return;
    }
    for (const int signal : ending) {
        handle(signal, SIG_DFL);
    }
    notifier_.reset();
    pipeEnds = {};
}

} // namespace CodeManagerApp
