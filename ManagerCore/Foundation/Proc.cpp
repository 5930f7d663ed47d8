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

constexpr std::chrono::seconds politeness {3}; // between asking a group to end and ending it by force
constexpr std::size_t readSize = 65536;

void closeEnd(int& end)
{
    if (end >= 0) {
        ::close(end);
        end = -1;
    }
}

struct Pipe {
    std::array<int, 2> ends {-1, -1};

    Pipe() = default;
    ~Pipe()
    {
        closeEnd(ends[0]);
        closeEnd(ends[1]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int& reading() { return ends[0]; }
    int& writing() { return ends[1]; }
};

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
    // Forgets the groups that have no member left; false when none is left.
    bool signalAll(int signal)
    {
        const std::lock_guard lock(list_);
        std::erase_if(groups_, [signal](pid_t group) { return ::kill(-group, signal) != 0 && errno == ESRCH; });
        return !groups_.empty();
    }

    std::shared_mutex starting_;
    std::mutex list_;
    std::vector<pid_t> groups_; // under list_
    bool stopping_ = false; // under list_
    bool ended_ = false; // under starting_
};

// A program that was started with SIGCHLD ignored could not learn how its children end.
bool heedChildren()
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
    [[maybe_unused]] static const bool heeding = heedChildren();
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

// How the child begins: its streams, its folder, a process group of its own and signals as a program expects them.
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
        const short flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        int failure = ::posix_spawnattr_setflags(&attributes_, flags);
        failure = failure != 0 ? failure : ::posix_spawnattr_setpgroup(&attributes_, 0);
        failure = failure != 0 ? failure : ::posix_spawnattr_setsigmask(&attributes_, &none);
        failure = failure != 0 ? failure : ::posix_spawnattr_setsigdefault(&attributes_, &defaults);
        failure = failure != 0 ? failure : ::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        failure = failure != 0 ? failure : ::posix_spawn_file_actions_adddup2(&actions_, error, STDERR_FILENO);
        if (failure == 0 && workingFolder) {
            failure = ::posix_spawn_file_actions_addchdir_np(&actions_, workingFolder->c_str());
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

// One of the child's streams: what it wrote so far, and how much of that the watcher has seen.
struct Collected {
    Stream stream = Stream::output;
    int end = -1;
    std::string bytes;
    std::size_t told = 0;
    std::size_t searched = 0;
};

// Everything about one child while it runs.
class Run
{
public:
    Run(const Watcher::OnLine* onLine, const std::atomic<bool>* stopRequested, int wake)
        : onLine_(onLine)
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
        return {.code = WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status),
                .stdout = Text::repairedUtf8(std::move(streams_[0].bytes)),
                .stderr = Text::repairedUtf8(std::move(streams_[1].bytes))};
    }

private:
    // The working folder is entered by the child, whose errno does not tell which of the two was missing.
    static std::string launchFailure(int error, const Command& command)
    {
        if (command.workingFolder && !FilePath::isFolder(*command.workingFolder)) {
            return FilePath::exists(*command.workingFolder)
                ? Platform::ErrorText::unsuitable(*command.workingFolder, "it isn’t a folder")
                : Platform::ErrorText::missing(*command.workingFolder);
        }
        return Platform::ErrorText::launching(error, command.executable);
    }

    int start(Command& command)
    {
        for (Pipe& pipe : pipes_) {
            if (!Platform::makePipe(pipe.ends)) {
                return errno;
            }
        }
        SpawnSetup setup;
        if (const int error = setup.prepare(pipes_[0].writing(), pipes_[1].writing(), command.workingFolder);
            error != 0) {
            return error;
        }
        const int error = groups().start(child_, [&] { return setup.spawn(child_, command); });
        for (std::size_t index = 0; index < pipes_.size(); index++) {
            closeEnd(pipes_[index].writing());
            streams_[index].end = pipes_[index].reading();
        }
        streams_[1].stream = Stream::error;
        return error;
    }

    // Without a watcher the end of the streams is enough: reaping waits for the child's own. With one the child's end
    // is waited for here, where a stop can still be heard.
    void collect()
    {
        int exit = isWatched() ? Platform::exitDescriptor(child_) : -1;
        ended_ = exit < 0;
        while (anyOpen() || !ended_) {
            wait(exit);
            if (forced_ && ended_) {
                readRest();
                break;
            }
        }
        closeEnd(exit);
        if (stopping_) {
            ::kill(-child_, SIGKILL); // what the group left behind without holding a stream
        }
    }

    [[nodiscard]] bool isWatched() const { return stopRequested_ != nullptr; }
    [[nodiscard]] bool anyOpen() const { return isOpen(streams_[0]) || isOpen(streams_[1]); }

    static bool isOpen(const Collected& stream) { return stream.end >= 0; }

    // Waits until something happens and deals with it.
    void wait(int exit)
    {
        std::array<pollfd, 4> waited {{{.fd = streams_[0].end, .events = POLLIN, .revents = 0},
                                       {.fd = streams_[1].end, .events = POLLIN, .revents = 0},
                                       {.fd = ended_ ? -1 : exit, .events = POLLIN, .revents = 0},
                                       {.fd = stopping_ ? -1 : wake_, .events = POLLIN, .revents = 0}}};
        if (::poll(waited.data(), waited.size(), timeLeft()) >= 0) {
            for (std::size_t index = 0; index < streams_.size(); index++) {
                if (waited[index].revents != 0) {
                    readSome(streams_[index]);
                }
            }
            ended_ = ended_ || waited[2].revents != 0;
        }
        askToStop();
    }

    // In milliseconds, as poll takes it: until force is due, or for ever.
    [[nodiscard]] int timeLeft() const
    {
        if (!stopping_ || forced_) {
            constexpr int withoutWake = 100;
            return isWatched() && wake_ < 0 ? withoutWake : -1;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(forceAt_ - Clock::now());
        return static_cast<int>(std::max<std::int64_t>(left.count() + 1, 0));
    }

    // The child is not reaped before `collect` is done, so that its group cannot be another program's.
    void askToStop()
    {
        if (!isWatched() || !*stopRequested_ || forced_) {
            return;
        }
        if (!stopping_) {
            stopping_ = true;
            forceAt_ = Clock::now() + politeness;
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
        const ssize_t count = ::read(stream.end, buffer_.data(), buffer_.size());
        if (count > 0) {
            stream.bytes.append(buffer_.data(), static_cast<std::size_t>(count));
            tellLines(stream, filled);
            return true;
        }
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
            return errno == EINTR;
        }
        stream.end = -1;
        tellRest(stream);
        return false;
    }

    // What was written before the end of a stopped child, without waiting for what may still hold the stream.
    void readRest()
    {
        for (Collected& stream : streams_) {
            if (isOpen(stream)) {
                ::fcntl(stream.end, F_SETFL, O_NONBLOCK);
                while (readSome(stream)) { }
                tellRest(stream);
            }
        }
    }

    void tellLines(Collected& stream, std::size_t searchFrom)
    {
        if (onLine_ == nullptr || !*onLine_) {
            return;
        }
        for (std::size_t at = stream.bytes.find('\n', searchFrom); at != std::string::npos;
             at = stream.bytes.find('\n', at + 1)) {
            tell(stream, at);
            stream.told = at + 1;
        }
    }

    void tellRest(Collected& stream)
    {
        if (onLine_ != nullptr && *onLine_ && stream.told < stream.bytes.size()) {
            tell(stream, stream.bytes.size());
            stream.told = stream.bytes.size();
        }
    }

    void tell(const Collected& stream, std::size_t end)
    {
        (*onLine_)(stream.stream, Text::repairedUtf8(stream.bytes.substr(stream.told, end - stream.told)));
    }

    const Watcher::OnLine* onLine_;
    const std::atomic<bool>* stopRequested_;
    int wake_;
    pid_t child_ = -1;
    std::array<Pipe, 2> pipes_;
    std::array<Collected, 2> streams_;
    std::array<char, readSize> buffer_; // NOLINT(cppcoreguidelines-pro-type-member-init): overwritten by each read
    bool ended_ = false;
    bool stopping_ = false;
    bool forced_ = false;
    Clock::time_point forceAt_;
};

} // namespace

Watcher::Watcher(OnLine onLine)
    : onLine_(std::move(onLine))
{
    Platform::makePipe(wake_);
}

Watcher::~Watcher()
{
    closeEnd(wake_[0]);
    closeEnd(wake_[1]);
}

void Watcher::stop()
{
    if (!stopRequested_.exchange(true) && wake_[1] >= 0) {
        [[maybe_unused]] const ssize_t written = ::write(wake_[1], "", 1);
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
        return Run(nullptr, nullptr, -1).run(std::move(command));
    }
    if (watcher->stopRequested()) {
        return notLaunched(Platform::ErrorText::launching(ECANCELED, command.executable));
    }
    return Run(&watcher->onLine_, &watcher->stopRequested_, watcher->wake_[0]).run(std::move(command));
}

void giveUpTerminalInput()
{
    if (::isatty(STDIN_FILENO) != 1) {
        return;
    }
    const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing >= 0 && nothing != STDIN_FILENO) {
        ::dup2(nothing, STDIN_FILENO);
        ::close(nothing);
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
