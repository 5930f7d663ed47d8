#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

// A program that a test talks to while it runs: by signals and, where it has one, by its terminal. Ended at the latest
// with this object.
class Running
{
public:
    struct Setting {
        std::map<std::string, std::string> environment;
        std::filesystem::path folder;
        bool terminal = false; // a terminal of its own instead of no input and a pipe for both outputs
    };

    Running(const std::vector<std::string>& command, const Setting& setting);
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }

    void type(const std::string& text) const;

    // Reads until `text` has come out; false when it has not within the time.
    bool shows(const std::string& text, std::chrono::milliseconds time = std::chrono::seconds(30));

    // How it ended: "exit 3", "signal 2", or "running" when it has not within the time. Reads all output meanwhile.
    std::string ending(std::chrono::milliseconds time = std::chrono::seconds(30));

    // Everything that came out so far.
    [[nodiscard]] const std::string& output() const { return output_; }

private:
    void start(const std::vector<std::string>& command, const Setting& setting);
    bool readSome(std::chrono::milliseconds time);

    pid_t pid_ = -1;
    int descriptor_ = -1;
    bool atEnd_ = false;
    std::optional<int> status_;
    std::string output_;
};

// Whether a process of this number runs; one that has ended and was not waited for does not.
bool isRunning(pid_t process);
