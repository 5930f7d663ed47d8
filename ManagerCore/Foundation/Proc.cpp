#include "ManagerCore/Foundation/Proc.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <shared_mutex>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include <spawn.h>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/Platform.h"

// POSIX leaves its declaration to the program.
extern char** environ; // NOLINT(readability-redundant-declaration)

namespace ManagerCore::Proc
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds gracePeriod {3}; // between asking a group to end and ending it by force
constexpr std::size_t readSize = 65536;
constexpr int silence = 200; // milliseconds after which the beginning of a line may be a question
constexpr std::size_t firstTrim = 1U << 20; // bytes of a stream

// The process groups that are running, so that a program that ends can take its children along.
class Groups
{
public:
    // Starts a child through `spawn` and remembers its group, as one step before `stopAll`. `spawn` gives an errno.
    template <class Spawn> int start(pid_t& child, Spawn spawn)
    {
        const std::shared_lock starting(starting_);
        if (ended_) {
            return ECANCELED;
        }
        const int error = spawn();
        if (error == 0) {
            const std::lock_guard lock(list_);
            groups_.push_back(child);
        }
        return error;
    }

    // Reaps the child and forgets its group, as one step: a group that is listed is never another program's. Once all
    // are being stopped the group stays listed, for what its leader leaves behind.
    int reap(pid_t child, int& status)
    {
        siginfo_t ended {};
        while (::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT) != 0 && errno == EINTR) { }
        const std::lock_guard lock(list_);
        if (!stopping_) {
            std::erase(groups_, child);
        }
        while (::waitpid(child, &status, 0) < 0) {
            if (errno != EINTR) {
                return errno;
            }
        }
        return 0;
    }

    void stopAll(int patience)
    {
        const std::unique_lock starting(starting_);
        ended_ = true;
        {
            const std::lock_guard lock(list_);
            stopping_ = true;
        }
        signalAll(SIGTERM);
        signalAll(SIGCONT); // a stopped process would not hear the first
        const auto deadline = Clock::now() + std::chrono::milliseconds(patience);
        while (signalAll(0) && Clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        signalAll(SIGKILL);
    }

private:
    // Forgets the groups that have no member left. False when no process is left that can be signalled: EPERM is the
    // answer for other users' processes and, on a Mac, for zombies. Such a group stays listed, since a process of
    // another user may become one of ours.
    bool signalAll(int signal)
    {
        const std::lock_guard lock(list_);
        bool reached = false;
        std::erase_if(groups_, [&](pid_t group) {
            const int error = ::kill(-group, signal) == 0 ? 0 : errno;
            reached = reached || error == 0;
            return error == ESRCH;
        });
        return reached;
    }

    std::shared_mutex starting_;
    std::mutex list_;
    std::vector<pid_t> groups_; // under list_
    bool stopping_ = false; // under list_
    bool ended_ = false; // under starting_
};

// Restores SIGCHLD if it was inherited as ignored; waitpid needs it.
bool restoreChildSignal()
{
    struct sigaction action {};
    if (::sigaction(SIGCHLD, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
        action.sa_handler = SIG_DFL;
        ::sigaction(SIGCHLD, &action, nullptr);
    }
    return true;
}

Groups& groups()
{
    [[maybe_unused]] static const bool restored = restoreChildSignal();
    static Groups all;
    return all;
}

Out notLaunched(std::string sentence) { return {.code = -1, .stdout = {}, .stderr = std::move(sentence)}; }

// Texts as the system wants them: a list of C strings that ends with a null.
std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

struct Command {
    std::filesystem::path executable;
    std::optional<std::filesystem::path> workingFolder;
    std::vector<std::string> arguments; // the executable's own name first
    std::optional<std::vector<std::string>> environment; // NAME=value
};

Command commandOf(const std::string& executable,
                  const std::vector<std::string>& arguments,
                  const std::optional<std::string>& cwd,
                  const std::optional<Environment>& env)
{
    Command command {.executable = FilePath::fromText(executable)};
    command.arguments.push_back(command.executable.string());
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    if (cwd) {
        command.workingFolder = FilePath::fromText(*cwd);
    }
    if (env) {
        command.environment.emplace();
        for (const auto& [name, value] : *env) {
            command.environment->push_back(name + "=" + value);
        }
    }
    return command;
}

// The system would cut a text at its zero byte: the child would get something else than what was asked for.
bool holdsZeroByte(const Command& command)
{
    const auto cut = [](const std::string& text) { return text.find('\0') != std::string::npos; };
    return std::ranges::any_of(command.arguments, cut)
        || (command.environment && std::ranges::any_of(*command.environment, cut));
}

// Why the folder cannot be entered; absent where it can.
std::optional<std::string> enteringFailure(const std::filesystem::path& folder)
{
    struct stat status {};
    if (::stat(folder.c_str(), &status) == 0 && !S_ISDIR(status.st_mode)) {
        return Platform::ErrorText::unsuitable(folder, "it isn’t a folder");
    }
    if (::faccessat(AT_FDCWD, folder.c_str(), X_OK, AT_EACCESS) != 0) {
        return Platform::ErrorText::reading(errno, folder);
    }
    return std::nullopt;
}

// How the child begins: its streams, its folder, a session of its own and signals as a program expects them.
class SpawnSetup
{
public:
    SpawnSetup()
    {
        ::posix_spawnattr_init(&attributes_);
        ::posix_spawn_file_actions_init(&actions_);
    }
    ~SpawnSetup()
    {
        ::posix_spawn_file_actions_destroy(&actions_);
        ::posix_spawnattr_destroy(&attributes_);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    int prepare(int output, int error, const std::optional<std::filesystem::path>& workingFolder)
    {
        sigset_t none;
        sigemptyset(&none);
        // What a program may ignore for itself, but its children should not; handled ones are reset by the system.
        sigset_t defaults;
        sigemptyset(&defaults);
        for (const int signal : {SIGPIPE, SIGCHLD, SIGTERM}) {
            sigaddset(&defaults, signal);
        }
        const short flags = POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        int failure = ::posix_spawnattr_setflags(&attributes_, flags);
        failure = failure != 0 ? failure : ::posix_spawnattr_setsigmask(&attributes_, &none);
        failure = failure != 0 ? failure : ::posix_spawnattr_setsigdefault(&attributes_, &defaults);
        failure = failure != 0 ? failure : ::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        failure = failure != 0 ? failure : ::posix_spawn_file_actions_adddup2(&actions_, error, STDERR_FILENO);
        if (failure == 0 && workingFolder) {
            failure = Platform::setWorkingFolder(actions_, *workingFolder);
        }
        return failure != 0 ? failure : Platform::restrictInheritance(attributes_, actions_);
    }

    int spawn(pid_t& child, Command& command)
    {
        std::vector<char*> environment = command.environment ? pointersTo(*command.environment) : std::vector<char*> {};
        return ::posix_spawn(&child,
                             command.executable.c_str(),
                             &actions_,
                             &attributes_,
                             pointersTo(command.arguments).data(),
                             command.environment ? environment.data() : environ);
    }

private:
    posix_spawnattr_t attributes_ {};
    posix_spawn_file_actions_t actions_ {};
};

// One of the child's streams: what it wrote, and how much of that the watcher has seen.
struct Collected {
    Stream stream = Stream::output;
    Platform::UniqueFd end;
    std::string bytes;
    std::size_t reported = 0;
    std::size_t trimAt = firstTrim;

    [[nodiscard]] bool isOpen() const { return end.isOpen(); }

    // Drops what comes before the last `kept` characters, now and then. One character more stays: the last one may yet
    // become one with what follows.
    void trim(std::size_t kept)
    {
        if (kept == std::string::npos || bytes.size() < trimAt) {
            return;
        }
        const std::size_t dropped = bytes.size() - Text::lastCharacters(bytes, kept + 1).size();
        bytes.erase(0, dropped);
        reported -= std::min(reported, dropped);
        trimAt = std::max(firstTrim, 2 * bytes.size());
    }
};

// Everything about one child while it runs.
class Run
{
public:
    Run(const WatcherOptions& options, const std::atomic<bool>* stopRequested, int wake)
        : options_(options)
        , stopRequested_(stopRequested)
        , wake_(wake)
    {
    }

    Out run(Command command)
    {
        if (holdsZeroByte(command)) {
            return notLaunched("The file “" + FilePath::lastComponent(command.executable)
                               + "” couldn’t be run because an argument holds a zero byte.");
        }
        if (const int error = start(command); error != 0) {
            return notLaunched(launchFailure(error, command));
        }
        collect();
        int status = 0;
        if (const int error = groups().reap(child_, status); error != 0) {
            return notLaunched(Platform::ErrorText::launching(error, command.executable));
        }
        endedBySignal_ = WIFSIGNALED(status);
        return {.code = endedBySignal_ ? WTERMSIG(status) : WEXITSTATUS(status),
                .stdout = Text::repairedUtf8(std::move(streams_[0].bytes)),
                .stderr = Text::repairedUtf8(std::move(streams_[1].bytes))};
    }

    [[nodiscard]] bool endedBySignal() const { return endedBySignal_; }

private:
    // The working folder is entered by the child, whose errno does not tell whether the folder or the program failed.
    static std::string launchFailure(int error, const Command& command)
    {
        if (command.workingFolder) {
            if (const auto failure = enteringFailure(*command.workingFolder)) {
                return *failure;
            }
        }
        return Platform::ErrorText::launching(error, command.executable);
    }

    int start(Command& command)
    {
        std::array<std::array<Platform::UniqueFd, 2>, 2> pipes; // of each stream the end to read and the end to write
        for (auto& pipe : pipes) {
            if (!Platform::makePipe(pipe)) {
                return errno;
            }
        }
        SpawnSetup setup;
        if (const int error = setup.prepare(pipes[0][1].get(), pipes[1][1].get(), command.workingFolder); error != 0) {
            return error;
        }
        streams_[0].end = std::move(pipes[0][0]);
        streams_[1].end = std::move(pipes[1][0]);
        streams_[1].stream = Stream::error;
        return groups().start(child_, [&] { return setup.spawn(child_, command); });
    }

    // Without a watcher the end of the streams is enough: reaping waits for the child's own. With one the child's end
    // is waited for here, where a stop can still be heard.
    void collect()
    {
        const Platform::UniqueFd exit = isWatched() ? Platform::exitDescriptor(child_) : Platform::UniqueFd();
        ended_ = !exit.isOpen();
        while (anyOpen() || !ended_) {
            wait(exit.get());
            if (forced_ && ended_) {
                readRest();
                break;
            }
        }
        if (stopping_) {
            ::kill(-child_, SIGKILL); // what the group left behind without holding a stream
        }
    }

    [[nodiscard]] bool isWatched() const { return stopRequested_ != nullptr; }
    [[nodiscard]] bool anyOpen() const { return streams_[0].isOpen() || streams_[1].isOpen(); }

    // Waits until something happens and deals with it.
    void wait(int exit)
    {
        std::array<pollfd, 4> waited {{{.fd = streams_[0].end.get(), .events = POLLIN, .revents = 0},
                                       {.fd = streams_[1].end.get(), .events = POLLIN, .revents = 0},
                                       {.fd = ended_ ? -1 : exit, .events = POLLIN, .revents = 0},
                                       {.fd = stopping_ ? -1 : wake_, .events = POLLIN, .revents = 0}}};
        const int happened = ::poll(waited.data(), waited.size(), timeLeft());
        if (happened == 0) {
            reportPrompts();
        } else if (happened > 0) {
            for (std::size_t index = 0; index < streams_.size(); index++) {
                if (waited[index].revents != 0) {
                    readSome(streams_[index]);
                }
            }
            ended_ = ended_ || waited[2].revents != 0;
        }
        askToStop();
    }

    // In milliseconds, as poll takes it: until force is due or a prompt is to be reported, or for ever.
    [[nodiscard]] int timeLeft() const
    {
        if (stopping_ && !forced_) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(forceAt_ - Clock::now());
            return static_cast<int>(std::max<std::int64_t>(left.count() + 1, 0));
        }
        if (options_.onPrompt && std::ranges::any_of(streams_, &Run::hasUnreported)) {
            return silence;
        }
        constexpr int withoutWake = 100;
        return isWatched() && wake_ < 0 && !stopping_ ? withoutWake : -1;
    }

    // The child is not reaped before `collect` is done, so that its group cannot be another program's.
    void askToStop()
    {
        if (!isWatched() || !*stopRequested_ || forced_) {
            return;
        }
        if (!stopping_) {
            stopping_ = true;
            forceAt_ = Clock::now() + gracePeriod;
            ::kill(-child_, SIGTERM);
            ::kill(-child_, SIGCONT); // a stopped process would not hear the first
        } else if (Clock::now() >= forceAt_) {
            forced_ = true;
            ::kill(-child_, SIGKILL);
        }
    }

    // False at the stream's end.
    bool readSome(Collected& stream)
    {
        const std::size_t filled = stream.bytes.size();
        const ssize_t count = ::read(stream.end.get(), buffer_.data(), buffer_.size());
        if (count > 0) {
            stream.bytes.append(buffer_.data(), static_cast<std::size_t>(count));
            reportLines(stream, filled);
            stream.trim(options_.kept);
            return true;
        }
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
            return errno == EINTR;
        }
        stream.end.reset();
        reportRest(stream);
        return false;
    }

    // What was written before the end of a stopped child, without waiting for what may still hold the stream.
    void readRest()
    {
        for (Collected& stream : streams_) {
            if (stream.isOpen()) {
                ::fcntl(stream.end.get(), F_SETFL, O_NONBLOCK);
                while (readSome(stream)) { }
                reportRest(stream);
            }
        }
    }

    static bool hasUnreported(const Collected& stream) { return stream.reported < stream.bytes.size(); }

    void reportLines(Collected& stream, std::size_t searchFrom)
    {
        if (!options_.onLine) {
            return;
        }
        for (std::size_t at = stream.bytes.find('\n', searchFrom); at != std::string::npos;
             at = stream.bytes.find('\n', at + 1)) {
            options_.onLine(stream.stream, unreported(stream, at));
            stream.reported = at + 1;
        }
    }

    void reportRest(Collected& stream)
    {
        if (options_.onLine && hasUnreported(stream)) {
            options_.onLine(stream.stream, unreported(stream, stream.bytes.size()));
            stream.reported = stream.bytes.size();
        }
    }

    // A text that ends inside of a character is none yet.
    void reportPrompts()
    {
        for (Collected& stream : streams_) {
            const std::string_view text = std::string_view(stream.bytes).substr(stream.reported);
            if (options_.onPrompt && !text.empty() && Text::isUtf8(text)) {
                options_.onPrompt(stream.stream, text);
                stream.reported = stream.bytes.size();
            }
        }
    }

    static std::string unreported(const Collected& stream, std::size_t end)
    {
        return Text::repairedUtf8(stream.bytes.substr(stream.reported, end - stream.reported));
    }

    const WatcherOptions& options_;
    const std::atomic<bool>* stopRequested_;
    int wake_;
    pid_t child_ = -1;
    std::array<Collected, 2> streams_;
    std::array<char, readSize> buffer_; // NOLINT(cppcoreguidelines-pro-type-member-init): overwritten by each read
    bool ended_ = false;
    bool stopping_ = false;
    bool forced_ = false;
    bool endedBySignal_ = false;
    Clock::time_point forceAt_;
};

} // namespace

Watcher::Watcher(WatcherOptions::OnText onLine)
    : Watcher(WatcherOptions {.onLine = std::move(onLine)})
{
}

Watcher::Watcher(WatcherOptions options)
    : options_(std::move(options))
{
    Platform::makePipe(wake_);
}

void Watcher::stop()
{
    if (!stopRequested_.exchange(true) && wake_[1].isOpen()) {
        [[maybe_unused]] const ssize_t written = ::write(wake_[1].get(), "", 1);
    }
}

Out run(const std::string& executable,
        const std::vector<std::string>& arguments,
        const std::optional<std::string>& cwd,
        const std::optional<Environment>& env,
        Watcher* watcher)
{
    Command command = commandOf(executable, arguments, cwd, env);
    if (watcher == nullptr) {
        return Run({}, nullptr, -1).run(std::move(command));
    }
    if (watcher->stopRequested()) {
        return notLaunched(Platform::ErrorText::launching(ECANCELED, command.executable));
    }
    Run child(watcher->options_, &watcher->stopRequested_, watcher->wake_[0].get());
    Out out = child.run(std::move(command));
    watcher->endedBySignal_ = child.endedBySignal();
    return out;
}

void giveUpTerminalInput()
{
    if (::isatty(STDIN_FILENO) != 1) {
        return;
    }
    const Platform::UniqueFd nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (nothing.isOpen()) {
        ::dup2(nothing.get(), STDIN_FILENO);
    }
}

Environment environment()
{
    Environment variables;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; entry++) {
        const std::string_view text = *entry;
        const std::size_t equals = text.find('=');
        if (equals != std::string_view::npos) {
            variables.emplace(text.substr(0, equals), text.substr(equals + 1));
        }
    }
    return variables;
}

void stopAll(int patience) { groups().stopAll(patience); }

} // namespace ManagerCore::Proc
