#include "LinuxTools/Launchctl/SystemdBackend.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

#include "LinuxTools/Launchctl/JobParser.h"
#include "LinuxTools/Launchctl/Label.h"
#include "LinuxTools/Launchctl/LogFile.h"
#include "LinuxTools/Launchctl/Paths.h"
#include "LinuxTools/Launchctl/UnitText.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/UniqueFd.h"

namespace LinuxTools
{

namespace
{

namespace FilePath = ManagerCore::FilePath;
using std::filesystem::path;
using Error = std::optional<std::string>;

constexpr const char* noAnswer = "The systemd user manager does not answer.";

std::string serviceName(const std::string& label) { return Label::escape(label) + ".service"; }
std::string timerName(const std::string& label) { return Label::escape(label) + ".timer"; }

// systemctl waits up to 90 seconds for a user manager that hangs; timeout ends it with status 124. 0 is no limit.
ManagerCore::Proc::Out systemctl(const std::vector<std::string>& arguments, const std::string& seconds = "0")
{
    std::vector<std::string> all {"--kill-after=1", seconds, "systemctl", "--user", "--no-pager", "--no-ask-password"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    auto environment = ManagerCore::Proc::environment();
    environment["LC_ALL"] = "C";
    environment["PATH"] = "/usr/bin:/bin";
    return ManagerCore::Proc::run("/usr/bin/timeout", all, "/", environment);
}

Error command(const std::vector<std::string>& arguments)
{
    const auto out = systemctl(arguments);
    if (out.ok()) {
        return std::nullopt;
    }
    const std::string message(ManagerCore::Text::trimWhiteSpaceAndLineBreaks(out.stderr));
    return message.empty() ? "systemctl ended with status " + std::to_string(out.code) + "." : message;
}

using Properties = std::map<std::string, std::string>;

std::string get(const Properties& unit, const std::string& name)
{
    const auto found = unit.find(name);
    return found != unit.end() ? found->second : "";
}

// The properties of a unit, also of one that does not exist. Empty when the user manager does not answer.
Properties show(const std::string& unit)
{
    const auto out = systemctl({"show",
                                "--property=LoadState,FragmentPath,SourcePath,ActiveState,MainPID,ConditionResult,"
                                "UnitFileState",
                                "--",
                                unit},
                               "5");
    Properties properties;
    for (const std::string_view line : ManagerCore::Text::nonEmptyLines(out.stdout)) {
        const std::size_t equals = line.find('=');
        if (equals != std::string_view::npos) {
            properties.emplace(line.substr(0, equals), line.substr(equals + 1));
        }
    }
    return properties;
}

bool isActive(const Properties& unit)
{
    const std::string state = get(unit, "ActiveState");
    return state != "inactive" && state != "failed";
}

// Whether launchctl has written the unit.
bool isOwn(const path& file)
{
    const auto bytes = ManagerCore::Text::readBytes(file);
    return bytes && bytes->starts_with(UnitText::header);
}

// At a login systemd starts no unit whose property list is missing; such a service is not loaded then, also when the
// property list comes back.
bool isLoaded(const std::string& label, const Properties& unit)
{
    if (isActive(unit) || FilePath::exists(Paths::loadedMark(label))) {
        return true;
    }
    const bool skipped = get(unit, "UnitFileState").starts_with("enabled") && get(unit, "ConditionResult") == "no";
    return FilePath::exists(get(unit, "SourcePath")) && !skipped;
}

// The folder for a new unit. UnitPath is a list in which a path with a space is quoted.
path unitFolder()
{
    path folder = Paths::configUnits();
    const std::string list = "=" + systemctl({"show", "--property=UnitPath", "--value"}, "5").stdout;
    for (const char* separator : {"=", " ", "\""}) {
        if (list.contains(separator + folder.string())) {
            return folder;
        }
    }
    return Paths::runtimeUnits();
}

// Arguments that enable or disable units in a folder, and start or stop them.
std::vector<std::string> switchUnits(const char* verb, const path& folder, const std::vector<std::string>& units)
{
    std::vector<std::string> arguments {verb, "--now", "--quiet"};
    if (folder == Paths::runtimeUnits()) {
        arguments.emplace_back("--runtime");
    }
    arguments.emplace_back("--");
    arguments.insert(arguments.end(), units.begin(), units.end());
    return arguments;
}

Error writeMark(const std::string& label)
{
    const path mark = Paths::loadedMark(label);
    auto error = ManagerCore::WholeFile::makeFolders(mark.parent_path(), 0700);
    return error ? error : ManagerCore::WholeFile::write(mark, {}, 0600);
}

// Stops and disables the units, then removes the files. The service file goes last, because with it the service is
// loaded. After an error the service is still loaded.
Error removeUnits(const std::string& label, const path& folder)
{
    const path service = folder / serviceName(label);
    const path timer = folder / timerName(label);
    std::vector<std::string> units {serviceName(label)};
    if (isOwn(timer)) {
        units.push_back(timerName(label));
    }
    const auto error = command(switchUnits("disable", folder, units));
    const auto state = show(serviceName(label));
    if (state.empty() || isActive(state)) {
        return error.value_or(noAnswer);
    }
    // systemd keeps a failed unit in its list until it is reset.
    [[maybe_unused]] auto ignored = command({"reset-failed", "--", serviceName(label)});
    if (units.size() > 1) {
        ::unlink(timer.c_str());
    }
    if (isOwn(service) && ::unlink(service.c_str()) != 0) {
        return ManagerCore::Platform::ErrorText::saving(errno, service);
    }
    ::unlink(Paths::loadedMark(label).c_str());
    ignored = command({"daemon-reload"});
    return std::nullopt;
}

struct Units {
    path folder;
    std::string service;
    std::string timer; // empty without startInterval
};

Error writeUnits(const Job& job, const Units& units)
{
    auto error = ManagerCore::WholeFile::makeFolders(units.folder, 0755);
    error = error ? error : writeMark(job.label);
    // The property list may hold secrets that others must not read.
    constexpr mode_t mode = 0600;
    if (!error && !units.timer.empty()) {
        error = ManagerCore::WholeFile::write(units.folder / timerName(job.label), units.timer, mode);
    }
    return error ? error : ManagerCore::WholeFile::write(units.folder / serviceName(job.label), units.service, mode);
}

Error startUnits(const Job& job, const path& folder)
{
    if (auto error = command({"daemon-reload"})) {
        return error;
    }
    const auto state = show(serviceName(job.label));
    if (state.empty() || get(state, "LoadState") != "loaded") {
        return state.empty() ? noAnswer : "systemd does not accept the unit “" + serviceName(job.label) + "”.";
    }
    std::vector<std::string> units;
    if (job.runAtLoad) {
        units.push_back(serviceName(job.label));
    }
    if (job.startInterval) {
        units.push_back(timerName(job.label));
    }
    return units.empty() ? std::nullopt : command(switchUnits("enable", folder, units));
}

// Removes what an unloaded service left behind. A unit of another program is an error.
Error makeRoom(const Job& job)
{
    for (const std::string& name : {serviceName(job.label), timerName(job.label)}) {
        const auto unit = show(name);
        if (unit.empty()) {
            return noAnswer;
        }
        if (get(unit, "LoadState") == "not-found") {
            continue;
        }
        const path file = get(unit, "FragmentPath");
        if (!isOwn(file)) {
            return "Another program has a unit with the name “" + name + "”.";
        }
        if (auto error = removeUnits(job.label, file.parent_path())) {
            return error;
        }
    }
    return std::nullopt;
}

} // namespace

bool SystemdBackend::isAvailable()
{
    // Only a connection shows that a process listens: a manager that was killed leaves its socket behind.
    const std::string name = (Paths::runtimeFolder() / "systemd/private").string();
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const ManagerCore::Platform::UniqueFd end(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!end.isOpen() || name.size() >= sizeof(address.sun_path)) {
        return false;
    }
    std::memcpy(address.sun_path, name.data(), name.size());
    // EAGAIN: the queue of connections is full.
    return ::connect(end.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 || errno == EAGAIN;
}

std::optional<Service> SystemdBackend::find(const std::string& label) const
{
    const auto unit = show(serviceName(label));
    if (unit.empty() || !isOwn(get(unit, "FragmentPath")) || !isLoaded(label, unit)) {
        return std::nullopt;
    }
    pid_t pid = 0;
    std::istringstream(get(unit, "MainPID")) >> pid;
    return Service {.pid = pid > 0 ? std::optional(pid) : std::nullopt};
}

Result SystemdBackend::bootstrap(const Job& job, const path& propertyList, const std::string& /*bytes*/)
{
    if (auto error = makeRoom(job)) {
        return std::unexpected(std::move(*error));
    }
    Job usable = job;
    std::vector<std::string> warnings = prepareLogs(usable);
    const path mark = Paths::loadedMark(job.label);
    const auto unit = UnitText::service(usable, propertyList, mark);
    if (!unit) {
        return std::unexpected(unit.error());
    }
    const Units units {.folder = unitFolder(),
                       .service = unit->text,
                       .timer = job.startInterval ? UnitText::timer(job, propertyList, mark) : ""};
    auto error = writeUnits(job, units);
    error = error ? error : startUnits(job, units.folder);
    if (error) {
        [[maybe_unused]] const auto ignored = removeUnits(job.label, units.folder);
        return std::unexpected(std::move(*error));
    }
    warnings.insert(warnings.end(), unit->warnings.begin(), unit->warnings.end());
    return warnings;
}

Result SystemdBackend::bootout(const std::string& label)
{
    const auto unit = show(serviceName(label));
    const path folder = unit.empty() ? path {} : path(get(unit, "FragmentPath")).parent_path();
    auto error = unit.empty() ? noAnswer : removeUnits(label, folder);
    return error ? Result(std::unexpected(std::move(*error))) : Result();
}

Result SystemdBackend::restart(const std::string& label)
{
    const auto unit = show(serviceName(label));
    const auto bytes = ManagerCore::Text::readBytes(unit.empty() ? path {} : path(get(unit, "SourcePath")));
    if (auto job = JobParser::parse(bytes.value_or(""))) {
        [[maybe_unused]] const auto ignored = prepareLogs(*job); // the log folder may have been removed meanwhile
    }
    auto error = writeMark(label);
    // "start" would wait for the delay before the next automatic start.
    error = error ? error : command({"restart", "--", serviceName(label)});
    return error ? Result(std::unexpected(std::move(*error))) : Result();
}

} // namespace LinuxTools
