#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio> // stdout and stderr are macros there: included so that the fields of Out have one name everywhere
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Child processes. No other part of the program starts one.
namespace ManagerCore::Proc
{

struct Out {
    std::int32_t code = 0; // exit status; the signal's number for a child ended by one; -1 when it was not launched
    std::string stdout; // UTF-8, repaired where it was not
    std::string stderr; // the same; one sentence why when the child was not launched

    [[nodiscard]] bool ok() const { return code == 0; }
    bool operator==(const Out&) const = default;
};

using Environment = std::map<std::string, std::string>;

enum class Stream : std::uint8_t { output, error };

// Sees a child's lines as they come and can stop it. May be given to several runs, one after the other: once it was
// asked to stop, those that follow do not launch.
class Watcher
{
public:
    using OnLine = std::function<void(Stream, std::string_view line)>;

    // `onLine` is called on the thread that runs the child, once per line without its line feed and repaired to UTF-8;
    // a last line without a line feed comes when its stream ends. Must not throw.
    explicit Watcher(OnLine onLine = {});
    ~Watcher();
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    // Any thread, returns at once. Ends the child's whole process group: asked first (SIGTERM), by force after 3
    // seconds. `run` then returns once the child has ended, without waiting for what escaped from the group. Before
    // `run` was called, keeps it from launching.
    void stop();

    [[nodiscard]] bool stopRequested() const { return stopRequested_; }

private:
    friend Out run(const std::string& executable,
                   const std::vector<std::string>& arguments,
                   const std::optional<std::string>& cwd,
                   const std::optional<Environment>& env,
                   Watcher* watcher);

    OnLine onLine_;
    std::atomic<bool> stopRequested_ = false;
    std::array<int, 2> wake_ {-1, -1};
};

// Runs a program and blocks until it has ended and both its streams are at their end, even when a grandchild holds one
// open. `executable` is a full path, not searched for in PATH; `arguments` are handed over as they are. `cwd` and `env`
// are inherited when absent; `env` replaces the whole environment. Standard input is inherited. The child leads a
// process group of its own. Nothing is thrown and nothing is left behind: no descriptor, no zombie.
Out run(const std::string& executable,
        const std::vector<std::string>& arguments,
        const std::optional<std::string>& cwd = std::nullopt,
        const std::optional<Environment>& env = std::nullopt,
        Watcher* watcher = nullptr);

// For a program that may be started from a terminal: takes that away from its standard input, and so from its
// children's, which are not in the foreground and would be stopped when they read it. They find an empty file; anything
// but a terminal stays. To be called before there are other threads.
void giveUpTerminalInput();

// The program's own environment.
Environment environment();

// For a program that is about to end: no `run` launches anything from now on, and the process groups of all children
// are ended, asked first and by force after `patience` milliseconds. Returns when they have been signalled. Any thread,
// not from a signal handler.
void stopAll(int patience);

} // namespace ManagerCore::Proc
