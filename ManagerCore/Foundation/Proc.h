#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio> // stdout and stderr are macros there: included so that the fields of Out have one name everywhere
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ManagerCore/Platform/UniqueFd.h"

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

// What a watcher wants of a child's output. The functions are called on the thread that runs the child, with text
// repaired to UTF-8, and must not throw.
struct WatcherOptions {
    using OnText = std::function<void(Stream, std::string_view text)>;

    // Once per line, without its line feed; a last line without a line feed comes when its stream ends.
    OnText onLine;
    // The beginning of a line, once the child has been silent for a moment: it may wait for an answer. `onLine` gets
    // the rest of the line.
    OnText onPrompt;
    // How many characters `Out` holds at least of the end of each stream; what came before may be dropped. Of a line
    // that is longer `onLine` may get the end alone.
    std::size_t kept = std::string::npos;
};

// Sees a child's output as it comes and can stop the child. May be given to several runs, one after the other: once it
// was asked to stop, those that follow do not launch.
class Watcher
{
public:
    explicit Watcher(WatcherOptions::OnText onLine = {});
    explicit Watcher(WatcherOptions options);
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    // Any thread, returns at once. Ends the child's whole process group: asked first (SIGTERM), by force after 3
    // seconds. `run` then returns once the child has ended, without waiting for what escaped from the group. Before
    // `run` was called, keeps it from launching.
    void stop();

    [[nodiscard]] bool stopRequested() const { return stopRequested_; }

    // Whether a signal ended the last child. `Out::code` is then the signal's number.
    [[nodiscard]] bool endedBySignal() const { return endedBySignal_; }

private:
    friend Out run(const std::string& executable,
                   const std::vector<std::string>& arguments,
                   const std::optional<std::string>& cwd,
                   const std::optional<Environment>& env,
                   Watcher* watcher);

    WatcherOptions options_;
    std::atomic<bool> stopRequested_ = false;
    std::atomic<bool> endedBySignal_ = false;
    std::array<Platform::UniqueFd, 2> wake_;
};

// Runs a program and blocks until it has ended and both its streams are at their end, even when a grandchild holds one
// open. `executable` is a full path, not searched for in PATH; `arguments` are handed over as they are. `cwd` and `env`
// are inherited when absent; `env` replaces the whole environment. Standard input is inherited. The child leads a
// session of its own, which has no controlling terminal: opening /dev/tty fails instead of stopping the child. Nothing
// is thrown and nothing is left behind: no descriptor, no zombie.
Out run(const std::string& executable,
        const std::vector<std::string>& arguments,
        const std::optional<std::string>& cwd = std::nullopt,
        const std::optional<Environment>& env = std::nullopt,
        Watcher* watcher = nullptr);

// Redirects a terminal on standard input to /dev/null, so that children find an empty file instead of waiting for what
// is typed; anything but a terminal stays. To be called before there are other threads.
void giveUpTerminalInput();

// The program's own environment.
Environment environment();

// For a program that is about to end: no `run` launches anything from now on, and the process groups of all children
// are ended, asked first and by force after `patience` milliseconds. A group in which no process can be signalled is
// not waited for. Returns when they have been signalled. Any thread, not from a signal handler.
void stopAll(int patience);

} // namespace ManagerCore::Proc
