#include "Tests/Support/WindowWatch/Watch.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

#include <glib.h>

namespace WindowWatch
{

namespace
{

constexpr double perMillisecond = 1e6; // nanoseconds

double milliseconds(std::int64_t time) { return static_cast<double>(time) / perMillisecond; }

std::int64_t clockNow(clockid_t clock)
{
    timespec time {};
    ::clock_gettime(clock, &time);
    return std::int64_t {time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

// The most memory that the process ever held, in KiB.
long peakMemory()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::strtol(line.c_str() + std::strlen("VmHWM:"), nullptr, 10);
        }
    }
    return 0;
}

} // namespace

Watch Watch::theWatch;

void Watch::begin(std::string file, std::int64_t started)
{
    theWatch.file_ = std::move(file);
    theWatch.started_ = started;
    theWatch.delayFile_ = ::open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC);
    theWatch.processorsFile_ = ::open("/proc/stat", O_RDONLY | O_CLOEXEC);
    theWatch.entered_ = theWatch.now();
    g_main_context_set_poll_func(g_main_context_default(), [](GPollFD* entries, guint count, gint timeout) {
        return pollWatched(entries, count, timeout);
    });
}

void Watch::tellFrames(const std::string& file) { theWatch.frames_.open(file); }

int Watch::pollWatched(void* entries, unsigned count, int timeout)
{
    theWatch.leave();
    const int ready = g_poll(static_cast<GPollFD*>(entries), count, timeout);
    const int error = errno;
    theWatch.enter();
    errno = error;
    return ready;
}

// The file's second number is the time for which the thread was ready and did not run.
Watch::Moment Watch::now() const
{
    std::array<char, 96> text {};
    rusage usage {};
    ::getrusage(RUSAGE_THREAD, &usage);
    Moment moment {.time = clockNow(CLOCK_MONOTONIC),
                   .ran = clockNow(CLOCK_THREAD_CPUTIME_ID),
                   .waits = usage.ru_nvcsw,
                   .stolen = stolenByNow()};
    if (::pread(delayFile_, text.data(), text.size() - 1, 0) > 0) {
        char* behind = nullptr;
        std::strtoll(text.data(), &behind, 10);
        moment.delay = std::strtoll(behind, nullptr, 10);
    }
    return moment;
}

// The file begins with a line for all processors and one for each: its name, then eight times, stolen time the last.
Watch::Stolen Watch::stolenByNow() const
{
    constexpr int timesBefore = 7;
    Stolen stolen {};
    std::array<char, 8192> text {};
    if (::pread(processorsFile_, text.data(), text.size() - 1, 0) <= 0) {
        return stolen;
    }
    char* at = std::strchr(text.data(), '\n');
    for (long& ofOne : stolen) {
        if (at == nullptr || std::strncmp(at, "\ncpu", 4) != 0) {
            break;
        }
        at = std::strchr(at, ' ');
        for (int time = 0; time < timesBefore && at != nullptr; time++) {
            std::strtol(at, &at, 10);
        }
        if (at == nullptr) {
            break;
        }
        ofOne = std::strtol(at, &at, 10);
        at = std::strchr(at, '\n');
    }
    return stolen;
}

// The delay that the system tells of does not hold the time for which the host of a virtual machine has a processor. A
// thread that waited for nothing was away for as long as it ran. From one that did, which also waits while the host has
// what it waits for, goes what surely was taken: the counters tell whole ticks.
std::int64_t Watch::awayBetween(const Moment& entered, const Moment& left)
{
    if (left.waits == entered.waits) {
        return left.ran - entered.ran;
    }
    long ticks = 0;
    for (std::size_t processor = 0; processor < left.stolen.size(); processor++) {
        ticks = std::max(ticks, left.stolen.at(processor) - entered.stolen.at(processor) - 1);
    }
    const std::int64_t taken = ticks * (1'000'000'000 / ::sysconf(_SC_CLK_TCK));
    return std::max(left.time - entered.time - (left.delay - entered.delay) - taken, left.ran - entered.ran);
}

void Watch::enter() { entered_ = now(); }

void Watch::leave()
{
    if (firstFrame_ == 0) {
        return;
    }
    rounds_++;
    const Moment left = now();
    const std::int64_t length = awayBetween(entered_, left);
    const Absence absence {.end = left.time - started_, .length = length, .delay = left.time - entered_.time - length};
    tellFrame(left, absence.length);
    const auto place
        = std::ranges::find_if(longest_, [&absence](const Absence& known) { return known.length < absence.length; });
    if (place == longest_.end()) {
        return;
    }
    std::move_backward(place, longest_.end() - 1, longest_.end());
    *place = absence;
    write(); // the thread is not away meanwhile: what is measured is the program's own
}

void Watch::tellFrame(const Moment& left, std::int64_t away)
{
    awaySinceFrame_ += away;
    ranSinceFrame_ += left.ran - entered_.ran;
    if (!std::exchange(frameInRound_, false)) {
        return;
    }
    if (frames_.is_open()) {
        frames_ << std::fixed << milliseconds(left.time - started_) << ' ' << milliseconds(awaySinceFrame_) << ' '
                << milliseconds(ranSinceFrame_) << '\n'
                << std::flush;
    }
    awaySinceFrame_ = 0;
    ranSinceFrame_ = 0;
}

void Watch::frameShown()
{
    theWatch.frameInRound_ = true;
    if (theWatch.firstFrame_ == 0) {
        theWatch.entered_ = theWatch.now();
        theWatch.firstFrame_ = theWatch.entered_.time;
        theWatch.delayBefore_ = theWatch.entered_.delay;
        write();
    }
}

void Watch::write()
{
    std::ostringstream text;
    text << R"({"firstFrame": )";
    if (theWatch.firstFrame_ == 0) {
        text << "null";
    } else {
        text << milliseconds(theWatch.firstFrame_ - theWatch.started_);
    }
    text << R"(, "delayBefore": )" << milliseconds(theWatch.delayBefore_);
    text << R"(, "rounds": )" << theWatch.rounds_ << R"(, "peakKiB": )" << peakMemory() << R"(, "delayKnown": )"
         << (theWatch.delayFile_ >= 0 ? "true" : "false") << R"(, "longest": [)";
    const char* separator = "";
    for (const Absence& absence : theWatch.longest_) {
        text << separator << R"({"end": )" << milliseconds(absence.end) << R"(, "away": )"
             << milliseconds(absence.length) << R"(, "delayed": )" << milliseconds(absence.delay) << "}";
        separator = ", ";
    }
    text << "]}\n";
    const std::string beside = theWatch.file_ + ".new";
    std::ofstream(beside) << text.str();
    std::rename(beside.c_str(), theWatch.file_.c_str());
}

} // namespace WindowWatch
