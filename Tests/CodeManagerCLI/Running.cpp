#include "Tests/CodeManagerCLI/Running.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __APPLE__
#include <util.h>
#else
#include <pty.h>
#endif

#include "ManagerCore/Foundation/Proc.h"

namespace
{

using Clock = std::chrono::steady_clock;

std::chrono::milliseconds left(Clock::time_point end)
{
    return std::max(std::chrono::milliseconds(0),
                    std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()));
}

// However the test itself was started: in the background, for one, SIGINT is ignored.
void heedAllSignals()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) {
        ::signal(signal, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

} // namespace

Running::Running(const std::vector<std::string>& command, const Setting& setting) { start(command, setting); }

void Running::start(const std::vector<std::string>& command, const Setting& setting)
{
    std::vector<std::string> words = command;
    std::vector<std::string> variables;
    variables.reserve(setting.environment.size());
    for (const auto& [name, value] : setting.environment) {
        variables.push_back(name + "=" + value);
    }
    const std::vector<char*> arguments = pointers(words);
    const std::vector<char*> environment = pointers(variables);
    std::array<int, 2> ends {-1, -1};
    if (!setting.terminal && ::pipe(ends.data()) != 0) {
        throw std::runtime_error("no pipe");
    }
    pid_ = setting.terminal ? ::forkpty(&descriptor_, nullptr, nullptr, nullptr) : ::fork();
    if (pid_ == 0) {
        heedAllSignals();
        if (!setting.terminal) {
            ::close(STDIN_FILENO);
            ::open("/dev/null", O_RDONLY); // takes the number that became free
            ::dup2(ends[1], STDOUT_FILENO);
            ::dup2(ends[1], STDERR_FILENO);
            ::close(ends[0]);
            ::close(ends[1]);
        }
        if (::chdir(setting.folder.c_str()) == 0) {
            ::execve(arguments.front(), arguments.data(), environment.data());
        }
        ::_exit(127);
    }
    if (!setting.terminal) {
        ::close(ends[1]);
        descriptor_ = ends[0];
    }
}

Running::~Running()
{
    if (!status_) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    ::close(descriptor_);
}

void Running::type(const std::string& text) const
{
    if (::write(descriptor_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("the terminal took nothing");
    }
}

bool Running::readSome(std::chrono::milliseconds time)
{
    pollfd wanted {.fd = descriptor_, .events = POLLIN, .revents = 0};
    if (atEnd_ || ::poll(&wanted, 1, static_cast<int>(time.count())) <= 0) {
        return false;
    }
    std::array<char, 4096> buffer {};
    const ssize_t count = ::read(descriptor_, buffer.data(), buffer.size());
    atEnd_ = count <= 0; // a terminal whose programs are gone reports an error
    output_.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    return count > 0;
}

bool Running::shows(const std::string& text, std::chrono::milliseconds time)
{
    const auto end = Clock::now() + time;
    while (output_.find(text) == std::string::npos) {
        if (!readSome(left(end))) {
            return false;
        }
    }
    return true;
}

std::string Running::ending(std::chrono::milliseconds time)
{
    const auto end = Clock::now() + time;
    while (!status_ && left(end).count() > 0) {
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            status_ = status;
        } else if (!readSome(std::chrono::milliseconds(10))) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    while (status_ && readSome(std::chrono::milliseconds(50))) {
        // what was written before the end
    }
    if (!status_) {
        return "running";
    }
    return WIFSIGNALED(*status_) ? "signal " + std::to_string(WTERMSIG(*status_))
                                 : "exit " + std::to_string(WEXITSTATUS(*status_));
}

bool isRunning(pid_t process)
{
    const auto listed = ManagerCore::Proc::run("/bin/ps", {"-o", "stat=", "-p", std::to_string(process)});
    return listed.ok() && !listed.stdout.starts_with("Z");
}
