#include "LinuxTools/Launchctl/UnitHost.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "LinuxTools/Launchctl/LogFile.h"
#include "LinuxTools/Launchctl/Places.h"
#include "LinuxTools/Launchctl/UnitName.h"
#include "LinuxTools/Launchctl/UnitText.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Platform/ErrorText.h"

namespace LinuxTools
{

namespace
{

using std::filesystem::path;

constexpr std::chrono::seconds commandLimit {60}; // reading all units anew can take its time on a large system
constexpr std::chrono::seconds forEver = std::chrono::hours(24 * 30);
constexpr const char* propertyNames
    = "LoadState,FragmentPath,ActiveState,SubState,ConditionResult,MainPID,ExecMainCode,ExecMainStatus,"
      "ExecMainExitTimestampMonotonic";

std::string text(const UserManager::Properties& properties, const std::string& name)
{
    const auto found = properties.find(name);
    return found != properties.end() ? found->second : std::string();
}

long long number(const UserManager::Properties& properties, const std::string& name)
{
    const std::string digits = text(properties, name);
    long long value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return value;
}

bool isActive(const UserManager::Properties& properties)
{
    const std::string state = text(properties, "ActiveState");
    return state != "inactive" && state != "failed" && !state.empty();
}

std::string stateOf(const UserManager::Properties& properties)
{
    if (number(properties, "MainPID") > 0) {
        return "running";
    }
    if (text(properties, "SubState") == "auto-restart") {
        return "waiting to be started again";
    }
    return text(properties, "ActiveState") == "failed" ? "failed" : "not running";
}

std::optional<int> lastExitOf(const UserManager::Properties& properties)
{
    constexpr long long exited = 1; // CLD_EXITED; anything else was a signal
    if (number(properties, "ExecMainExitTimestampMonotonic") == 0) {
        return std::nullopt;
    }
    const int status = static_cast<int>(number(properties, "ExecMainStatus"));
    return number(properties, "ExecMainCode") == exited ? status : -status;
}

// The manager ends what does not end by itself after the time-out, and may do so in two steps.
std::chrono::seconds stopLimit(const AgentRecord& record)
{
    return record.exitTimeOut == 0 ? forEver : std::chrono::seconds(2 * std::uint64_t {record.exitTimeOut} + 30);
}

// Who may not read the property list does not read it in the unit.
mode_t modeLike(const path& propertyList)
{
    struct stat found {};
    return ::stat(propertyList.c_str(), &found) == 0 ? 0600U | (found.st_mode & 0044U) : 0600U;
}

std::optional<std::string> setMark(const std::string& label)
{
    const path mark = Places::loadedMark(label);
    if (auto failure = ManagerCore::WholeFile::makeFolders(mark.parent_path(), 0700)) {
        return failure;
    }
    return ManagerCore::WholeFile::write(mark, {}, 0600);
}

// Logs that cannot be written would keep systemd from starting the job.
Job withUsableLogs(Job job, std::vector<std::string>& remarks)
{
    for (auto* file : {&job.outputPath, &job.errorPath}) {
        if (const auto problem = file->empty() ? std::nullopt : LogFile::prepare(*file)) {
            remarks.push_back(leftOut("the log file “" + *file + "”", job.label, *problem));
            file->clear();
        }
    }
    return job;
}

} // namespace

// What a bootstrap is about to make.
struct UnitHost::Plan {
    AgentRecord record;
    path folder;
    std::string service;
    std::string timer; // empty when there is none
    mode_t mode = 0600;
    std::vector<std::string> remarks;

    [[nodiscard]] path serviceFile() const { return folder / UnitName::service(record.label); }
    [[nodiscard]] path timerFile() const { return folder / UnitName::timer(record.label); }
};

UnitHost::UnitHost(UserManager manager)
    : manager_(std::move(manager))
{
}

std::optional<Agent> UnitHost::find(const std::string& label) const
{
    if (!UnitName::isPossible(label)) {
        return std::nullopt;
    }
    const auto properties = manager_.show(UnitName::service(label), propertyNames);
    if (!properties) {
        return std::nullopt;
    }
    const path file = text(*properties, "FragmentPath");
    auto record = file.empty() ? std::nullopt : recordInFile(file);
    if (!record || !isLoaded(*record, *properties)) {
        return std::nullopt;
    }
    const auto pid = static_cast<pid_t>(number(*properties, "MainPID"));
    return Agent {.record = std::move(*record),
                  .file = file,
                  .state = stateOf(*properties),
                  .pid = pid > 0 ? std::optional(pid) : std::nullopt,
                  .lastExit = lastExitOf(*properties)};
}

// A unit file may outlive its agent: at a login launchd loads no agent whose property list has gone, and systemd then
// starts no unit, by its condition. That the list is there again later does not load the agent.
bool UnitHost::isLoaded(const AgentRecord& record, const UserManager::Properties& properties) const
{
    if (isActive(properties) || ManagerCore::FilePath::exists(Places::loadedMark(record.label))) {
        return true;
    }
    if (!record.startsAtLogin) {
        return ManagerCore::FilePath::exists(record.propertyList);
    }
    if (record.hasTimer) {
        const auto ofTimer = manager_.show(UnitName::timer(record.label), "ActiveState");
        return ofTimer && isActive(*ofTimer);
    }
    return text(properties, "ConditionResult") == "yes";
}

std::vector<Agent> UnitHost::all() const
{
    std::set<std::string> labels;
    for (const std::string& folder : manager_.unitPath()) {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
            const auto record
                = entry.path().extension() == ".service" ? recordInFile(entry.path()) : std::optional<AgentRecord>();
            if (record) {
                labels.insert(record->label);
            }
        }
    }
    std::vector<Agent> agents;
    for (const std::string& label : labels) {
        if (auto agent = find(label)) {
            agents.push_back(std::move(*agent));
        }
    }
    return agents;
}

Change UnitHost::bootstrap(const Job& job, const path& propertyList, const std::string& /*bytes*/)
{
    if (auto failure = foreignUnit(job)) {
        return {.failure = std::move(failure), .remarks = {}};
    }
    Plan plan = planned(job, propertyList);
    if (auto failure = carryOut(job, plan)) {
        [[maybe_unused]] const auto stopped = stop(plan.record);
        forget(plan.record, plan.folder);
        return {.failure = std::move(failure), .remarks = {}};
    }
    return {.failure = {}, .remarks = std::move(plan.remarks)};
}

std::optional<std::string> UnitHost::carryOut(const Job& job, const Plan& plan) const
{
    auto failure = writeUnits(plan);
    failure = failure ? failure : reload();
    failure = failure ? failure : checkLoaded(plan);
    return failure ? failure : activate(job, plan);
}

// A unit of that name which another has made is neither covered nor replaced.
std::optional<std::string> UnitHost::foreignUnit(const Job& job) const
{
    for (const std::string& unit : {UnitName::service(job.label), UnitName::timer(job.label)}) {
        const auto properties = manager_.show(unit, "LoadState,FragmentPath");
        if (!properties) {
            return "The user manager does not answer.";
        }
        const std::string file = text(*properties, "FragmentPath");
        if (text(*properties, "LoadState") != "not-found" && !recordInFile(file)) {
            return "There is another unit of the name “" + unit + "”.";
        }
    }
    return std::nullopt;
}

UnitHost::Plan UnitHost::planned(const Job& job, const path& propertyList) const
{
    const auto folders = manager_.unitPath();
    const bool lasting = std::ranges::find(folders, Places::lastingUnits().string()) != folders.end();
    Plan plan;
    plan.folder = lasting ? Places::lastingUnits() : Places::passingUnits();
    plan.mode = modeLike(propertyList);
    plan.record = recordOf(job, propertyList);
    plan.record.startsAtLogin = lasting && (job.startsAtLoad || job.startInterval);

    const Job usable = withUsableLogs(job, plan.remarks);
    const path mark = Places::loadedMark(job.label);
    UnitText::Unit unit = UnitText::service(usable, plan.record, mark);
    plan.service = std::move(unit.text);
    plan.remarks.insert(plan.remarks.end(), unit.remarks.begin(), unit.remarks.end());
    if (job.startInterval) {
        plan.timer = UnitText::timer(usable, plan.record, mark);
    }
    return plan;
}

// The service comes last: with it the agent is loaded.
std::optional<std::string> UnitHost::writeUnits(const Plan& plan)
{
    auto failure = ManagerCore::WholeFile::makeFolders(plan.folder, 0755);
    failure = failure ? failure : setMark(plan.record.label);
    if (!failure && !plan.timer.empty()) {
        failure = ManagerCore::WholeFile::write(plan.timerFile(), plan.timer, plan.mode);
    } else if (recordInFile(plan.timerFile())) {
        ::unlink(plan.timerFile().c_str()); // of a bootstrap that was killed
    }
    return failure ? failure : ManagerCore::WholeFile::write(plan.serviceFile(), plan.service, plan.mode);
}

std::optional<std::string> UnitHost::reload() const { return command({"daemon-reload"}, commandLimit); }

std::optional<std::string> UnitHost::checkLoaded(const Plan& plan) const
{
    const auto properties = manager_.show(UnitName::service(plan.record.label), "LoadState,FragmentPath");
    if (!properties) {
        return "The user manager does not answer.";
    }
    const std::string state = text(*properties, "LoadState");
    if (state == "loaded" && text(*properties, "FragmentPath") == plan.serviceFile().string()) {
        return std::nullopt;
    }
    return "The user manager does not take the unit “" + UnitName::service(plan.record.label) + "” (" + state + ").";
}

std::optional<std::string> UnitHost::activate(const Job& job, const Plan& plan) const
{
    const std::string service = UnitName::service(job.label);
    const std::string timer = UnitName::timer(job.label);
    std::optional<std::string> failure;
    if (plan.record.startsAtLogin) {
        std::vector<std::string> enable {"enable", "--quiet", "--"};
        if (job.startsAtLoad) {
            enable.push_back(service);
        }
        if (job.startInterval) {
            enable.push_back(timer);
        }
        failure = command(enable, commandLimit);
    }
    if (!failure && job.startInterval) {
        failure = command({"start", "--", timer}, commandLimit);
    }
    if (!failure && job.startsAtLoad) {
        failure = command({"start", "--", service}, commandLimit);
    }
    return failure;
}

Change UnitHost::bootout(const Agent& agent)
{
    if (auto failure = stop(agent.record)) {
        return {.failure = std::move(failure), .remarks = {}};
    }
    forget(agent.record, agent.file.parent_path());
    std::error_code error;
    if (std::filesystem::exists(agent.file, error) || error) {
        return {.failure = ManagerCore::Platform::ErrorText::saving(EACCES, agent.file), .remarks = {}};
    }
    return {};
}

std::optional<std::string> UnitHost::stop(const AgentRecord& record) const
{
    std::vector<std::string> arguments {"stop", "--"};
    if (record.hasTimer) {
        arguments.push_back(UnitName::timer(record.label));
    }
    arguments.push_back(UnitName::service(record.label));
    auto failure = command(arguments, stopLimit(record));
    if (failure) {
        // Also the way in which a unit is told to be unknown that has nothing left to stop.
        const auto properties = manager_.show(UnitName::service(record.label), propertyNames);
        failure = properties && !isActive(*properties) ? std::nullopt : failure;
    }
    return failure;
}

// Takes everything back that a bootstrap made, in the reverse order but for the service file, whose end is the agent's.
// What is not there is no failure: this also undoes a bootstrap that came half way.
void UnitHost::forget(const AgentRecord& record, const path& folder) const
{
    const std::string service = UnitName::service(record.label);
    const std::string timer = UnitName::timer(record.label);
    [[maybe_unused]] auto ignored = command({"reset-failed", "--", service}, commandLimit);
    if (record.startsAtLogin) {
        ignored = command({"disable", "--quiet", "--", service}, commandLimit);
    }
    if (record.startsAtLogin && record.hasTimer) {
        ignored = command({"disable", "--quiet", "--", timer}, commandLimit);
    }
    if (recordInFile(folder / timer)) {
        ::unlink((folder / timer).c_str());
    }
    ::unlink(Places::loadedMark(record.label).c_str());
    ::unlink(ManagerCore::WholeFile::besideName(folder / timer).c_str());
    ::unlink(ManagerCore::WholeFile::besideName(folder / service).c_str());
    ::unlink((folder / service).c_str());
    ignored = reload();
}

Change UnitHost::kickstart(const Agent& agent, bool killFirst)
{
    if (agent.state == "running" && !killFirst) {
        return {};
    }
    Change change;
    for (const std::string& file : {agent.record.outputPath, agent.record.errorPath}) {
        if (!file.empty()) {
            [[maybe_unused]] const auto problem = LogFile::prepare(file); // else the start tells
        }
    }
    change.failure = setMark(agent.record.label);
    // A plain start would wait until the pause before the next automatic start is over.
    change.failure = change.failure
        ? change.failure
        : command({"restart", "--", UnitName::service(agent.record.label)}, stopLimit(agent.record));
    return change;
}

std::optional<std::string> UnitHost::command(const std::vector<std::string>& arguments,
                                             std::chrono::seconds limit) const
{
    const ManagerCore::Proc::Out out = manager_.run(arguments, limit);
    if (out.ok()) {
        return std::nullopt;
    }
    const std::string said(ManagerCore::Text::trimWhiteSpaceAndLineBreaks(out.stderr));
    return said.empty() ? "systemctl " + arguments.front() + " failed with status " + std::to_string(out.code) + "."
                        : said;
}

} // namespace LinuxTools
