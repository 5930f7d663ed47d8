#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace TestSupport
{

// A program that runs beside the test, its standard output and error added to a file. Ended by force with the test.
class ServerProcess
{
public:
    ServerProcess(const std::filesystem::path& program,
                  const std::vector<std::string>& arguments,
                  const std::filesystem::path& log);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    void signal(int number) const;
    // The exit status, a signal's number negated. Absent when the program still runs after 20 seconds.
    std::optional<int> wait();
    [[nodiscard]] bool running();

private:
    bool reap();

    pid_t child_ = -1;
    std::optional<int> status_;
};

// What a server on 127.0.0.1 answers to these bytes, waiting up to 10 seconds for it to listen; empty when it does not.
std::string ask(int port, const std::string& request);

// The body of the answer to a GET.
std::string get(int port, const std::string& path);

} // namespace TestSupport
