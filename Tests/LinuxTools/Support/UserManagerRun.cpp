#include "Tests/LinuxTools/Support/UserManagerRun.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "Tests/Support/Sandbox.h"

namespace TestSupport
{

namespace
{

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr const char* program = "/lib/systemd/systemd";

template <class Condition> bool waitFor(std::chrono::seconds limit, Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

// Where the control groups are that systemd uses; empty when there are none.
fs::path controlGroups()
{
    std::ifstream mounts("/proc/self/mounts");
    for (std::string line; std::getline(mounts, line);) {
        if (line.starts_with("cgroup2 ") || line.contains(" cgroup2 ")) {
            const std::size_t from = line.find(' ') + 1;
            return line.substr(from, line.find(' ', from) - from);
        }
    }
    return {};
}

bool isListening(const fs::path& socket)
{
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const std::string name = socket.string();
    std::copy_n(name.data(), std::min(name.size(), sizeof(address.sun_path) - 1), std::begin(address.sun_path));
    const int end = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected = ::connect(end, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(end);
    return connected;
}

// The child's part: joins the group and becomes the manager. It goes when the test program goes.
[[noreturn]] void become(const fs::path& group, const fs::path& log, std::vector<std::string> environment)
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (!group.empty()) {
        const int members = ::open((group / "cgroup.procs").c_str(), O_WRONLY | O_CLOEXEC);
        [[maybe_unused]] const ssize_t joined = ::write(members, "0", 1);
        ::close(members);
    }
    const int input = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int output = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    ::setsid();
    std::vector<char*> variables;
    for (std::string& variable : environment) {
        variables.push_back(variable.data());
    }
    variables.push_back(nullptr);
    std::string name = program;
    std::string option = "--user";
    char* arguments[] = {name.data(), option.data(), nullptr};
    ::execve(program, arguments, variables.data());
    std::_Exit(127);
}

} // namespace

std::string UserManagerRun::obstacle()
{
    if (!isRoot()) {
        return "A user manager of its own for a test needs root.";
    }
    if (::access(program, X_OK) != 0 || ::access("/usr/bin/systemctl", X_OK) != 0) {
        return "There is no systemd here.";
    }
    // Without it systemd’s programs take the system for one that does not run systemd.
    std::error_code error;
    fs::create_directories("/run/systemd/system", error);
    return error ? "The folder /run/systemd/system cannot be made." : "";
}

UserManagerRun::UserManagerRun(fs::path runtimeFolder, fs::path home)
    : runtimeFolder_(std::move(runtimeFolder))
    , home_(std::move(home))
{
    start();
}

UserManagerRun::~UserManagerRun() { end(); }

std::string UserManagerRun::log() const { return read(runtimeFolder_.string() + ".log"); }

void UserManagerRun::loginAnew()
{
    end();
    std::error_code error;
    fs::remove_all(runtimeFolder_, error);
    start();
}

void UserManagerRun::pause() const { ::kill(manager_, SIGSTOP); }

void UserManagerRun::resume() const { ::kill(manager_, SIGCONT); }

void UserManagerRun::start()
{
    fs::create_directories(runtimeFolder_);
    fs::permissions(runtimeFolder_, fs::perms::owner_all);
    const fs::path groups = controlGroups();
    static int number = 0;
    const std::string name = "code-manager-test-" + std::to_string(::getpid()) + "-" + std::to_string(number++);
    group_ = groups.empty() ? groups : groups / name;
    if (!group_.empty() && ::mkdir(group_.c_str(), 0755) != 0 && errno != EEXIST) {
        group_.clear();
    }
    manager_ = ::fork();
    if (manager_ == 0) {
        become(group_,
               runtimeFolder_.string() + ".log",
               {"HOME=" + home_.string(),
                "XDG_RUNTIME_DIR=" + runtimeFolder_.string(),
                "PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin",
                "USER=root",
                "LOGNAME=root",
                "SHELL=/bin/sh"});
    }
    const auto isUp = [this] { return isListening(runtimeFolder_ / "systemd/private"); };
    if (!waitFor(30s, isUp)) {
        end();
    }
}

void UserManagerRun::end()
{
    if (manager_ <= 0) {
        return;
    }
    resume();
    ::kill(manager_, SIGTERM);
    int status = 0;
    if (!waitFor(15s, [this, &status] { return ::waitpid(manager_, &status, WNOHANG) != 0; })) {
        ::kill(manager_, SIGKILL);
        ::waitpid(manager_, &status, 0);
    }
    manager_ = -1;
    if (!group_.empty()) {
        waitFor(5s, [this] {
            killAll();
            return ::rmdir(group_.c_str()) == 0 || errno == ENOENT;
        });
    }
}

// What is left in the control group, and the groups within it that are empty by then.
void UserManagerRun::killAll() const
{
    std::vector<fs::path> folders;
    std::error_code error;
    for (fs::recursive_directory_iterator each(group_, error), none; !error && each != none; each.increment(error)) {
        if (each->is_directory(error)) {
            folders.push_back(each->path());
        }
    }
    folders.push_back(group_);
    for (const fs::path& folder : folders) {
        std::ifstream members(folder / "cgroup.procs");
        for (pid_t pid = 0; members >> pid;) {
            ::kill(pid, SIGKILL);
        }
    }
    std::ranges::sort(folders, std::greater {});
    for (const fs::path& folder : folders) {
        if (folder != group_) {
            ::rmdir(folder.c_str());
        }
    }
}

} // namespace TestSupport
