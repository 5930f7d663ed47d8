#include "LinuxTools/Launchctl/UserManager.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "LinuxTools/Launchctl/Places.h"
#include "LinuxTools/Shared/Descriptor.h"
#include "ManagerCore/Foundation/Text.h"

namespace LinuxTools
{

namespace
{

constexpr std::chrono::seconds answerLimit {5};

// A socket that nobody listens at any more may be left behind, so that its being there is not enough.
bool isListening(const std::filesystem::path& socket)
{
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const std::string name = socket.string();
    if (name.size() >= sizeof(address.sun_path)) {
        return false; // systemctl could not reach it either
    }
    std::memcpy(address.sun_path, name.data(), name.size());
    const Descriptor end(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!end.isOpen()) {
        return false;
    }
    // EAGAIN: so busy that nobody has been let in yet.
    return ::connect(end.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 || errno == EAGAIN;
}

std::filesystem::path systemctlOfSystem()
{
    for (const char* place : {"/usr/bin/systemctl", "/bin/systemctl", "/run/current-system/sw/bin/systemctl"}) {
        if (::access(place, X_OK) == 0) {
            return place;
        }
    }
    return {};
}

// Stops the run when it takes too long.
class TimeLimit
{
public:
    TimeLimit(ManagerCore::Proc::Watcher& watcher, std::chrono::seconds limit)
        : thread_([this, &watcher, limit] {
            std::unique_lock lock(mutex_);
            if (!ended_.wait_for(lock, limit, [this] { return over_; })) {
                watcher.stop();
            }
        })
    {
    }
    ~TimeLimit()
    {
        {
            const std::lock_guard lock(mutex_);
            over_ = true;
        }
        ended_.notify_one();
        thread_.join();
    }
    TimeLimit(const TimeLimit&) = delete;
    TimeLimit& operator=(const TimeLimit&) = delete;

private:
    std::mutex mutex_;
    std::condition_variable ended_;
    bool over_ = false;
    std::thread thread_; // last: it uses the others
};

// A list as systemctl shows it: between spaces, what has some itself between double quotes, with backslashes there.
std::vector<std::string> words(std::string_view text)
{
    std::vector<std::string> all(1);
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); at++) {
        const char byte = text[at];
        if (byte == '"') {
            quoted = !quoted;
        } else if (byte == ' ' && !quoted) {
            all.emplace_back();
        } else if (byte == '\\' && quoted && at + 1 < text.size()) {
            all.back() += text[++at];
        } else {
            all.back() += byte;
        }
    }
    return all;
}

} // namespace

UserManager::UserManager(std::filesystem::path systemctl)
    : systemctl_(std::move(systemctl))
    , environment_(ManagerCore::Proc::environment())
{
    environment_["LC_ALL"] = "C";
    environment_["SYSTEMD_COLORS"] = "0";
    environment_["SYSTEMD_PAGER"] = "";
}

std::optional<UserManager> UserManager::find()
{
    const std::filesystem::path runtime = Places::runtimeFolder();
    if (runtime.empty() || !isListening(runtime / "systemd/private")) {
        return std::nullopt;
    }
    std::filesystem::path systemctl = systemctlOfSystem();
    return systemctl.empty() ? std::nullopt : std::optional(UserManager(std::move(systemctl)));
}

ManagerCore::Proc::Out UserManager::run(const std::vector<std::string>& arguments, std::chrono::seconds limit) const
{
    std::vector<std::string> all {"--user", "--no-pager", "--no-ask-password"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    ManagerCore::Proc::Watcher watcher;
    ManagerCore::Proc::Out out;
    {
        const TimeLimit timeLimit(watcher, limit);
        out = ManagerCore::Proc::run(systemctl_.string(), all, "/", environment_, &watcher);
    }
    if (watcher.stopRequested()) {
        out.code = out.ok() ? ETIMEDOUT : out.code;
        out.stderr = "The user manager did not answer within " + std::to_string(limit.count()) + " seconds.";
    }
    return out;
}

std::optional<UserManager::Properties> UserManager::show(const std::string& unit, const std::string& names) const
{
    const ManagerCore::Proc::Out out = run({"show", "--property=" + names, "--", unit}, answerLimit);
    if (!out.ok()) {
        return std::nullopt;
    }
    Properties properties;
    for (const std::string_view line : ManagerCore::Text::nonEmptyLines(out.stdout)) {
        const std::size_t equals = line.find('=');
        if (equals != std::string_view::npos) {
            properties.emplace(line.substr(0, equals), line.substr(equals + 1));
        }
    }
    return properties;
}

std::vector<std::string> UserManager::unitPath() const
{
    const ManagerCore::Proc::Out out = run({"show", "--property=UnitPath", "--value"}, answerLimit);
    const std::string_view text = out.stdout;
    return words(text.substr(0, text.find('\n')));
}

} // namespace LinuxTools
