#include "LinuxTools/Launchctl/DetachedProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <linux/close_range.h>

#include "LinuxTools/Launchctl/LogFile.h"
#include "LinuxTools/Launchctl/ProcessTable.h"
#include "LinuxTools/Shared/Descriptor.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Platform/ErrorText.h"

namespace LinuxTools::DetachedProcess
{

namespace
{

namespace ErrorText = ManagerCore::Platform::ErrorText;

constexpr std::chrono::milliseconds pollInterval {5};
constexpr std::chrono::seconds forceLimit {10}; // after that the kernel itself does not let go of a process

// Where a start can fail in the child, told to the parent through a pipe.
enum class Step : std::uint8_t { prepare, enterFolder, execute };
struct Failure {
    Step step = Step::prepare;
    int error = 0;
};

Descriptor openLog(const std::string& file, const Job& job, std::vector<std::string>& remarks)
{
    auto problem = file.empty() ? std::nullopt : LogFile::prepare(file);
    Descriptor log;
    if (!file.empty() && !problem) {
        log = Descriptor(::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOCTTY | O_CLOEXEC, 0666));
        problem = log.isOpen() ? std::nullopt : std::optional<std::string>("cannot be opened");
    }
    if (problem) {
        remarks.push_back(leftOut("the log file “" + file + "”", job.label, *problem));
    }
    return log.isOpen() ? std::move(log) : Descriptor(::open("/dev/null", O_WRONLY | O_CLOEXEC));
}

void resetSignals()
{
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; signal++) {
        ::sigaction(signal, &standard, nullptr); // refused for a few, which have no other action
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// What cannot be had is passed over, as launchd does.
void applyLimits(const Job& job)
{
    if (job.umask) {
        ::umask(*job.umask);
    }
    if (job.nice) {
        ::setpriority(PRIO_PROCESS, 0, *job.nice);
    }
    for (const ResourceLimit& limit : job.limits) {
        const auto resource = static_cast<__rlimit_resource_t>(limit.resource);
        rlimit values {};
        ::getrlimit(resource, &values);
        values.rlim_max = limit.hard.value_or(std::max<rlim_t>(values.rlim_max, limit.soft.value_or(0)));
        values.rlim_cur = std::min<rlim_t>(limit.soft.value_or(values.rlim_cur), values.rlim_max);
        ::setrlimit(resource, &values);
    }
}

std::optional<std::string> writeMark(const std::filesystem::path& markFile)
{
    const auto self = ProcessTable::entryOf(::getpid());
    return ManagerCore::WholeFile::write(
        markFile, std::to_string(::getpid()) + " " + std::to_string(self ? self->startTime : 0) + "\n", 0600);
}

bool takeStreams(int output, int error)
{
    const Descriptor input(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    return ::dup2(input.get(), STDIN_FILENO) == STDIN_FILENO && ::dup2(output, STDOUT_FILENO) == STDOUT_FILENO
        && ::dup2(error, STDERR_FILENO) == STDERR_FILENO;
}

// What this program was given by its own caller must not live on in the job.
void closeOthersAtExecution()
{
    constexpr unsigned firstOther = 3;
    if (::syscall(SYS_close_range, firstOther, ~0U, CLOSE_RANGE_CLOEXEC) != 0) {
        const long count = ::sysconf(_SC_OPEN_MAX);
        for (int descriptor = static_cast<int>(firstOther); descriptor < count; descriptor++) {
            ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        }
    }
}

// Everything a child needs, made before it is: texts as the system wants them.
struct Prepared {
    std::vector<std::string> environment;
    std::vector<char*> argumentPointers;
    std::vector<char*> environmentPointers;
};

Prepared prepared(Job& job, const std::map<std::string, std::string>& environment)
{
    Prepared made;
    for (const auto& [name, value] : environment) {
        made.environment.push_back(name + "=" + value);
    }
    const auto point = [](std::vector<std::string>& texts, std::vector<char*>& pointers) {
        for (std::string& text : texts) {
            pointers.push_back(text.data());
        }
        pointers.push_back(nullptr);
    };
    point(job.arguments, made.argumentPointers);
    point(made.environment, made.environmentPointers);
    return made;
}

// The child's part: returns only when it fails.
Failure become(const Job& job, Prepared& texts, const std::filesystem::path& markFile, int output, int error)
{
    ::setsid();
    resetSignals();
    if (writeMark(markFile)) {
        return {.step = Step::prepare, .error = EIO};
    }
    if (!takeStreams(output, error)) {
        return {.step = Step::prepare, .error = errno};
    }
    closeOthersAtExecution();
    if (::chdir(job.workingDirectory.c_str()) != 0) {
        return {.step = Step::enterFolder, .error = errno};
    }
    applyLimits(job);
    ::execve(job.program.c_str(), texts.argumentPointers.data(), texts.environmentPointers.data());
    return {.step = Step::execute, .error = errno};
}

std::string sentence(const Failure& failure, const Job& job)
{
    switch (failure.step) {
    case Step::enterFolder:
        return ErrorText::reading(failure.error, job.workingDirectory);
    case Step::execute:
        return ErrorText::launching(failure.error, job.program);
    case Step::prepare:
        break;
    }
    return "The process of “" + job.label + "” couldn’t be prepared (" + ErrorText::systemReason(failure.error) + ").";
}

// Absent when the pipe closed without a word: then the program runs.
std::optional<Failure> failureFrom(int pipe)
{
    Failure failure;
    ssize_t count = ::read(pipe, &failure, sizeof(failure));
    while (count < 0 && errno == EINTR) {
        count = ::read(pipe, &failure, sizeof(failure));
    }
    return count == static_cast<ssize_t>(sizeof(failure)) ? std::optional(failure) : std::nullopt;
}

// Without this program, which the job itself may have started.
std::vector<ProcessTable::Entry> othersOf(pid_t session)
{
    auto members = ProcessTable::membersOf(session);
    std::erase_if(members, [](const ProcessTable::Entry& entry) { return entry.pid == ::getpid(); });
    return members;
}

bool signalAll(pid_t session, int signal)
{
    const auto members = othersOf(session);
    for (const auto& member : members) {
        ::kill(member.pid, signal);
    }
    return !members.empty();
}

// Whether the number still means the marked process, or what is left of its session.
bool isStillTheirs(const Mark& mark)
{
    const auto entry = ProcessTable::entryOf(mark.pid);
    return !entry || entry->startTime == mark.startTime;
}

// False when the time is over and something lives.
bool waitForEnd(pid_t session, std::optional<std::chrono::seconds> patience)
{
    const auto start = std::chrono::steady_clock::now();
    while (!othersOf(session).empty()) {
        if (patience && std::chrono::steady_clock::now() - start >= *patience) {
            return false;
        }
        std::this_thread::sleep_for(pollInterval);
    }
    return true;
}

} // namespace

std::optional<std::string> start(const Job& job,
                                 const std::map<std::string, std::string>& environment,
                                 const std::filesystem::path& markFile,
                                 std::vector<std::string>& remarks)
{
    Job own = job;
    Prepared texts = prepared(own, environment);
    const Descriptor output = openLog(job.outputPath, job, remarks);
    const Descriptor error = openLog(job.errorPath, job, remarks);
    std::array<int, 2> ends {-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return sentence({.step = Step::prepare, .error = errno}, job);
    }
    const Descriptor reading(ends[0]);
    Descriptor writing(ends[1]);
    const pid_t child = ::fork();
    if (child < 0) {
        return sentence({.step = Step::prepare, .error = errno}, job);
    }
    if (child == 0) {
        const Failure failure = become(own, texts, markFile, output.get(), error.get());
        [[maybe_unused]] const ssize_t told = ::write(writing.get(), &failure, sizeof(failure));
        std::_Exit(127);
    }
    writing.close();
    const auto failure = failureFrom(reading.get());
    if (!failure) {
        return std::nullopt;
    }
    ::waitpid(child, nullptr, 0);
    ::unlink(markFile.c_str());
    return sentence(*failure, job);
}

std::optional<Mark> markIn(const std::filesystem::path& markFile)
{
    const auto bytes = ManagerCore::Text::readBytes(markFile);
    Mark mark;
    if (!bytes) {
        return std::nullopt;
    }
    const char* end = bytes->data() + bytes->size();
    const auto pid = std::from_chars(bytes->data(), end, mark.pid);
    if (pid.ec != std::errc {} || pid.ptr == end || std::from_chars(pid.ptr + 1, end, mark.startTime).ec != std::errc {}
        || mark.pid <= 1) {
        return std::nullopt;
    }
    return mark;
}

bool isAlive(const Mark& mark)
{
    const auto entry = ProcessTable::entryOf(mark.pid);
    return entry && entry->startTime == mark.startTime && entry->isAlive();
}

bool stop(const Mark& mark, std::chrono::seconds patience)
{
    if (!isStillTheirs(mark) || !signalAll(mark.pid, SIGTERM)) {
        return true;
    }
    signalAll(mark.pid, SIGCONT); // a stopped process would not hear the first
    if (waitForEnd(mark.pid, patience.count() == 0 ? std::nullopt : std::optional(patience))) {
        return true;
    }
    signalAll(mark.pid, SIGKILL);
    return waitForEnd(mark.pid, forceLimit);
}

} // namespace LinuxTools::DetachedProcess
