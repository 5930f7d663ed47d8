#include "LinuxTools/Launchctl/StartStopBackend.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include <pwd.h>

#include "LinuxTools/Launchctl/JobParser.h"
#include "LinuxTools/Launchctl/Label.h"
#include "LinuxTools/Launchctl/LogFile.h"
#include "LinuxTools/Launchctl/Paths.h"
#include "LinuxTools/Launchctl/ProcessTable.h"
#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/Platform.h"

namespace LinuxTools
{

namespace
{

using std::filesystem::path;
using Error = std::optional<std::string>;
using ProcessTable::Process;

std::string readFile(const path& file) { return ManagerCore::Text::readBytes(file).value_or(""); }

constexpr const char* startStopDaemon = "/sbin/start-stop-daemon";

// The folder of a loaded service.
std::optional<path> folderOf(const std::string& label)
{
    for (const path& folder : Paths::serviceFolders()) {
        path service = folder / Label::escape(label);
        if (Label::isValid(label) && readFile(service / "boot") == ProcessTable::bootId()) {
            return service;
        }
    }
    return std::nullopt;
}

// launchd sets this variable too. Here it also identifies the processes of a service.
std::string marker(const std::string& label) { return "XPC_SERVICE_NAME=" + label; }

pid_t pidIn(const path& folder)
{
    pid_t pid = 0;
    std::istringstream(readFile(folder / "pid")) >> pid;
    return pid;
}

// The process that start-stop-daemon has started last. It is alive only if its pid still names the same process.
Process mainProcess(const path& folder, const std::string& label)
{
    Process recorded;
    std::istringstream(readFile(folder / "process")) >> recorded.pid >> recorded.startTime >> recorded.session;
    const pid_t pid = pidIn(folder);
    const auto found = pid > 1 ? ProcessTable::find(pid) : std::nullopt;
    // launchctl may have been killed before it wrote the identity.
    const bool same = found
        && (recorded.pid == pid ? found->startTime == recorded.startTime
                                : ProcessTable::hasEnvironment(pid, marker(label)));
    return same ? *found : recorded;
}

// The living processes of the service except this one. A session number may be in use again once the main process has
// ended; then only processes with the marker belong to the service.
std::vector<Process> processesOf(const Process& main, const std::string& label)
{
    auto members = main.session > 0 ? ProcessTable::inSession(main.session) : std::vector<Process> {};
    std::erase_if(members, [&](const Process& process) {
        return process.pid == ::getpid() || (!main.alive && !ProcessTable::hasEnvironment(process.pid, marker(label)));
    });
    return members;
}

void signalAll(const std::vector<Process>& processes, int signal)
{
    for (const Process& process : processes) {
        ::kill(process.pid, signal);
    }
}

// Waits until the service has no process; false after `seconds` (0 is no limit).
bool waitForEnd(const Process& main, const std::string& label, std::uint32_t seconds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!processesOf(main, label).empty()) {
        if (seconds != 0 && std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

Error stop(const path& folder, const std::string& label, std::uint32_t exitTimeOut)
{
    const Process main = mainProcess(folder, label);
    const auto processes = processesOf(main, label);
    signalAll(processes, SIGTERM);
    signalAll(processes, SIGCONT); // a stopped process receives SIGTERM only when it continues
    if (waitForEnd(main, label, exitTimeOut)) {
        return std::nullopt;
    }
    signalAll(processesOf(main, label), SIGKILL);
    constexpr std::uint32_t killTimeout = 10;
    return waitForEnd(main, label, killTimeout) ? Error() : "A process of “" + label + "” does not end.";
}

// launchd's environment, with the variables of the job.
ManagerCore::Proc::Environment environmentOf(const Job& job)
{
    const char* temporary = std::getenv("TMPDIR");
    ManagerCore::Proc::Environment variables = {
        {"HOME", ManagerCore::Platform::homeFolder().string()},
        {"PATH", "/usr/bin:/bin:/usr/sbin:/sbin"},
        {"TMPDIR", temporary != nullptr && *temporary != '\0' ? temporary : "/tmp"},
    };
    if (const passwd* user = ::getpwuid(::getuid())) {
        variables["USER"] = user->pw_name;
        variables["LOGNAME"] = user->pw_name;
        variables["SHELL"] = user->pw_shell;
    }
    for (const auto& [name, value] : job.environment) {
        variables[name] = value;
    }
    variables["XPC_SERVICE_NAME"] = job.label;
    return variables;
}

std::vector<std::string> startArguments(const Job& job, const path& folder)
{
    std::vector<std::string> arguments {"--start",
                                        "--quiet",
                                        "--background",
                                        "--make-pidfile",
                                        "--pidfile",
                                        (folder / "pid").string(),
                                        "--chdir",
                                        job.workingDirectory};
    const auto add
        = [&](const char* option, const std::string& value) { arguments.insert(arguments.end(), {option, value}); };
    if (!job.outputPath.empty() || !job.errorPath.empty()) {
        add("--output", job.outputPath.empty() ? job.errorPath : job.outputPath);
    }
    if (job.nice) {
        add("--nicelevel", std::to_string(*job.nice - ::getpriority(PRIO_PROCESS, 0))); // is added to the present value
    }
    if (job.umask) {
        std::ostringstream octal;
        octal << std::oct << *job.umask;
        add("--umask", "0" + octal.str());
    }
    add("--startas", job.program);
    arguments.emplace_back("--");
    arguments.insert(arguments.end(), job.arguments.begin() + 1, job.arguments.end());
    return arguments;
}

// Starts the program. start-stop-daemon reports neither a missing program nor, by its status, other failures of the
// background process; those are on its standard error.
Result start(Job job, const path& folder)
{
    if (::access(job.program.c_str(), X_OK) != 0) {
        return std::unexpected(ManagerCore::Platform::ErrorText::launching(errno, job.program));
    }
    std::vector<std::string> warnings = prepareLogs(job);
    ::unlink((folder / "process").c_str());
    ::unlink((folder / "pid").c_str());
    // Keeps a process that ends at once as a zombie until its identity is read.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const auto out = ManagerCore::Proc::run(startStopDaemon, startArguments(job, folder), "/", environmentOf(job));
    if (!out.ok() || !out.stderr.empty()) {
        return std::unexpected(std::string(ManagerCore::Text::trimWhiteSpaceAndLineBreaks(out.stderr)));
    }
    const auto process = ProcessTable::find(pidIn(folder));
    if (!process) {
        return std::unexpected("start-stop-daemon did not start the service.");
    }
    const std::string identity = std::to_string(process->pid) + " " + std::to_string(process->startTime) + " "
        + std::to_string(process->session) + "\n";
    if (auto error = ManagerCore::WholeFile::write(folder / "process", identity, 0600)) {
        warnings.push_back(std::move(*error)); // the marker still identifies the process
    }
    return warnings;
}

std::vector<std::string> unsupportedKeys(const Job& job)
{
    const bool hasSoft = std::ranges::any_of(job.limits, [](const auto& limit) { return limit.soft.has_value(); });
    const bool hasHard = std::ranges::any_of(job.limits, [](const auto& limit) { return limit.hard.has_value(); });
    const std::array<std::pair<const char*, bool>, 7> keys {{
        {"KeepAlive", job.restart != "no"},
        {"StartInterval", job.startInterval.has_value()},
        {"ProcessType", job.background},
        {"SoftResourceLimits", hasSoft},
        {"HardResourceLimits", hasHard},
        // start-stop-daemon has one log, and argv[0] is the path of the program.
        {"StandardErrorPath", !job.outputPath.empty() && !job.errorPath.empty() && job.outputPath != job.errorPath},
        {"ProgramArguments[0]", path(job.arguments.front()).filename() != path(job.program).filename()},
    }};
    std::vector<std::string> warnings;
    for (const auto& [key, used] : keys) {
        if (used) {
            warnings.push_back(unsupportedKey(job.label, key, " without a systemd user manager"));
        }
    }
    return warnings;
}

// Another command may have unloaded it since the caller has found it.
std::string notLoaded(const std::string& label) { return "“" + label + "” is not loaded any more."; }

// "boot" is written last and removed first: with it the service is loaded.
Error removeFolder(const path& folder)
{
    std::error_code error;
    std::filesystem::remove(folder / "boot", error);
    if (error && error != std::errc::no_such_file_or_directory) {
        return ManagerCore::Platform::ErrorText::saving(error.value(), folder / "boot");
    }
    std::filesystem::remove_all(folder, error);
    return std::nullopt;
}

Error createFolder(const path& folder, const std::string& bytes)
{
    auto error = removeFolder(folder);
    error = error ? error : ManagerCore::WholeFile::makeFolders(folder, 0700);
    error = error ? error : ManagerCore::WholeFile::write(folder / "job.plist", bytes, 0600);
    return error ? error : ManagerCore::WholeFile::write(folder / "boot", ProcessTable::bootId(), 0600);
}

} // namespace

std::optional<Service> StartStopBackend::find(const std::string& label) const
{
    const auto folder = folderOf(label);
    if (!folder) {
        return std::nullopt;
    }
    const Process main = mainProcess(*folder, label);
    return Service {.pid = main.alive ? std::optional(main.pid) : std::nullopt};
}

Result StartStopBackend::bootstrap(const Job& job, const path& /*propertyList*/, const std::string& bytes)
{
    if (::access(startStopDaemon, X_OK) != 0) {
        return std::unexpected("This system has neither a systemd user manager nor start-stop-daemon.");
    }
    const path folder = Paths::serviceFolders().front() / Label::escape(job.label);
    if (auto error = createFolder(folder, bytes)) {
        return std::unexpected(std::move(*error));
    }
    std::vector<std::string> warnings = unsupportedKeys(job);
    if (job.runAtLoad) {
        // As with launchd, a service that cannot start is loaded all the same.
        const auto started = start(job, folder);
        const auto more = started ? *started : std::vector {started.error()};
        warnings.insert(warnings.end(), more.begin(), more.end());
    }
    return warnings;
}

Result StartStopBackend::bootout(const std::string& label)
{
    const auto folder = folderOf(label);
    if (!folder) {
        return std::unexpected(notLoaded(label));
    }
    const auto job = JobParser::parse(readFile(*folder / "job.plist"));
    auto error = stop(*folder, label, job ? job->exitTimeOut : Job().exitTimeOut);
    error = error ? error : removeFolder(*folder);
    return error ? Result(std::unexpected(std::move(*error))) : Result();
}

Result StartStopBackend::restart(const std::string& label)
{
    const auto folder = folderOf(label);
    if (!folder) {
        return std::unexpected(notLoaded(label));
    }
    const auto job = JobParser::parse(readFile(*folder / "job.plist"));
    if (!job) {
        return std::unexpected(job.error());
    }
    if (auto error = stop(*folder, label, job->exitTimeOut)) {
        return std::unexpected(std::move(*error));
    }
    return start(*job, *folder);
}

} // namespace LinuxTools
