#include "Tests/Demo/ServerProcess.h"

#include <chrono>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Tests/Demo/LoopbackSocket.h"

extern char** environ; // NOLINT(readability-redundant-declaration): not declared everywhere

namespace TestSupport
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr auto pause = std::chrono::milliseconds(10);

} // namespace

ServerProcess::ServerProcess(const std::filesystem::path& program,
                             const std::vector<std::string>& arguments,
                             const std::filesystem::path& log)
{
    std::vector<std::string> words {program.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> vector;
    vector.reserve(words.size() + 1);
    for (std::string& word : words) {
        vector.push_back(word.data());
    }
    vector.push_back(nullptr);
    posix_spawn_file_actions_t actions {};
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    ::posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    if (::posix_spawn(&child_, program.c_str(), &actions, nullptr, vector.data(), environ) != 0) {
        child_ = -1;
    }
    ::posix_spawn_file_actions_destroy(&actions);
}

ServerProcess::~ServerProcess()
{
    if (running()) {
        signal(SIGKILL);
        wait();
    }
}

void ServerProcess::signal(int number) const
{
    if (child_ > 0 && !status_) {
        ::kill(child_, number);
    }
}

bool ServerProcess::reap()
{
    int status = 0;
    if (child_ > 0 && !status_ && ::waitpid(child_, &status, WNOHANG) == child_) {
        status_ = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
    return child_ <= 0 || status_.has_value();
}

bool ServerProcess::running() { return !reap(); }

std::optional<int> ServerProcess::wait()
{
    const auto end = Clock::now() + std::chrono::seconds(20);
    while (!reap() && Clock::now() < end) {
        std::this_thread::sleep_for(pause);
    }
    return status_;
}

std::string ask(int port, const std::string& request)
{
    const auto end = Clock::now() + std::chrono::seconds(10);
    do {
        const LoopbackSocket client = LoopbackSocket::connected(port);
        if (client.stands()) {
            return client.send(request) ? client.receive() : "";
        }
        std::this_thread::sleep_for(pause);
    } while (Clock::now() < end);
    return {};
}

std::string get(int port, const std::string& path)
{
    const std::string answer = ask(port, "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    const std::size_t end = answer.find("\r\n\r\n");
    return end == std::string::npos ? "" : answer.substr(end + 4);
}

} // namespace TestSupport
