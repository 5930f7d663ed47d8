#include "LinuxTools/Launchctl/DetachedHost.h"

#include <cerrno>
#include <chrono>
#include <set>
#include <system_error>
#include <utility>

#include "LinuxTools/Launchctl/DetachedProcess.h"
#include "LinuxTools/Launchctl/JobReader.h"
#include "LinuxTools/Launchctl/Places.h"
#include "LinuxTools/Launchctl/ProcessTable.h"
#include "LinuxTools/Launchctl/UnitName.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Platform/ErrorText.h"

namespace LinuxTools
{

namespace
{

using std::filesystem::path;

constexpr const char* recordName = "agent";
constexpr const char* listName = "job.plist";
constexpr const char* processName = "process";

std::optional<Agent> agentIn(const path& folder)
{
    auto record = recordInFile(folder / recordName);
    // What was loaded before the system was started anew is no longer loaded.
    if (!record || record->boot != ProcessTable::boot()) {
        return std::nullopt;
    }
    const auto mark = DetachedProcess::markIn(folder / processName);
    const bool running = mark && DetachedProcess::isAlive(*mark);
    return Agent {.record = std::move(*record),
                  .file = folder / recordName,
                  .state = running ? "running" : "not running",
                  .pid = running ? std::optional(mark->pid) : std::nullopt,
                  .lastExit = std::nullopt};
}

// Not under this name in one step, then piece by piece. Absent on success.
std::optional<std::string> removeFolder(const path& folder)
{
    const path aside = folder.parent_path() / ("." + folder.filename().string() + ".old");
    std::error_code error;
    std::filesystem::remove_all(aside, error);
    std::filesystem::rename(folder, aside, error);
    if (error && error != std::errc::no_such_file_or_directory) {
        return ManagerCore::Platform::ErrorText::saving(error.value(), folder);
    }
    std::filesystem::remove_all(aside, error);
    return std::nullopt;
}

// The agent's folder, whole or not at all.
std::optional<std::string> makeFolder(const path& folder, const AgentRecord& record, const std::string& bytes)
{
    const path beside = ManagerCore::WholeFile::besideName(folder);
    std::error_code error;
    std::filesystem::remove_all(beside, error);
    auto failure = ManagerCore::WholeFile::makeFolders(beside, 0700);
    failure = failure ? failure : ManagerCore::WholeFile::write(beside / listName, bytes, 0600);
    failure = failure ? failure : ManagerCore::WholeFile::write(beside / recordName, toText(record), 0600);
    failure = failure ? failure : removeFolder(folder);
    if (!failure) {
        std::filesystem::rename(beside, folder, error);
        failure = error ? std::optional(ManagerCore::Platform::ErrorText::saving(error.value(), folder)) : std::nullopt;
    }
    if (failure) {
        std::filesystem::remove_all(beside, error);
    }
    return failure;
}

std::vector<std::string> unsupervised(const Job& job)
{
    const std::string why = "is not available without a user manager";
    std::vector<std::string> remarks;
    if (job.restart != Restart::never) {
        remarks.push_back(leftOut("the key “KeepAlive”", job.label, why));
    }
    if (job.startInterval) {
        remarks.push_back(leftOut("the key “StartInterval”", job.label, why));
    }
    if (job.background) {
        remarks.push_back(leftOut("the key “ProcessType”", job.label, why));
    }
    return remarks;
}

bool stopProcess(const path& folder, const AgentRecord& record)
{
    const auto mark = DetachedProcess::markIn(folder / processName);
    return !mark || DetachedProcess::stop(*mark, std::chrono::seconds(record.exitTimeOut));
}

} // namespace

std::optional<Agent> DetachedHost::find(const std::string& label) const
{
    if (!UnitName::isPossible(label)) {
        return std::nullopt;
    }
    for (const path& folder : Places::agentsFolders()) {
        if (auto agent = agentIn(folder / UnitName::escaped(label))) {
            return agent;
        }
    }
    return std::nullopt;
}

std::vector<Agent> DetachedHost::all() const
{
    std::set<std::string> labels;
    for (const path& folder : Places::agentsFolders()) {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
            const bool hidden = entry.path().filename().string().starts_with('.');
            if (const auto agent = hidden ? std::nullopt : agentIn(entry.path())) {
                labels.insert(agent->record.label);
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

Change DetachedHost::bootstrap(const Job& job, const path& propertyList, const std::string& bytes)
{
    const path folder = Places::agentsFolders().front() / UnitName::escaped(job.label);
    AgentRecord record = recordOf(job, propertyList);
    record.boot = ProcessTable::boot();
    record.hasTimer = false;
    if (auto failure = makeFolder(folder, record, bytes)) {
        return {.failure = std::move(failure), .remarks = {}};
    }
    Change change {.failure = {}, .remarks = unsupervised(job)};
    if (job.startsAtLoad) {
        // Loaded it is all the same, as with launchd, and can be started once what is missing is there.
        const auto problem
            = DetachedProcess::start(job, environmentOf(job, record.home), folder / processName, change.remarks);
        if (problem) {
            change.remarks.push_back(*problem);
        }
    }
    return change;
}

Change DetachedHost::bootout(const Agent& agent)
{
    const path folder = agent.file.parent_path();
    if (!stopProcess(folder, agent.record)) {
        return {.failure = "A process of “" + agent.record.label + "” does not end.", .remarks = {}};
    }
    return {.failure = removeFolder(folder), .remarks = {}};
}

Change DetachedHost::kickstart(const Agent& agent, bool killFirst)
{
    const path folder = agent.file.parent_path();
    if (agent.pid && !killFirst) {
        return {};
    }
    const auto bytes = ManagerCore::Text::readBytes(folder / listName);
    const auto job = bytes ? JobReader::parse(*bytes) : std::unexpected(bytes.error());
    if (!job) {
        return {.failure = job.error(), .remarks = {}};
    }
    // Also what an ended process has left behind in its session.
    if (!stopProcess(folder, agent.record)) {
        return {.failure = "A process of “" + agent.record.label + "” does not end.", .remarks = {}};
    }
    Change change;
    change.failure
        = DetachedProcess::start(*job, environmentOf(*job, agent.record.home), folder / processName, change.remarks);
    return change;
}

} // namespace LinuxTools
