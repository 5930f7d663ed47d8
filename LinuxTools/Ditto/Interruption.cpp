#include "LinuxTools/Ditto/Interruption.h"

#include <csignal>
#include <initializer_list>

namespace LinuxTools::Interruption
{

namespace
{

volatile std::sig_atomic_t flag = 0;

void raiseFlag(int /*signal*/) { flag = 1; }

} // namespace

void heed()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        // Who started this with a signal ignored, as nohup does, wants it ignored.
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            action.sa_handler = &raiseFlag;
            action.sa_flags = 0;
            ::sigaction(signal, &action, nullptr);
        }
    }
}

bool requested() { return flag != 0; }

} // namespace LinuxTools::Interruption
