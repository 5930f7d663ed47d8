#include "LinuxTools/Launchctl/Commands.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "LinuxTools/Launchctl/AgentText.h"
#include "LinuxTools/Launchctl/DetachedHost.h"
#include "LinuxTools/Launchctl/JobReader.h"
#include "LinuxTools/Launchctl/Places.h"
#include "LinuxTools/Launchctl/Target.h"
#include "LinuxTools/Launchctl/UnitHost.h"
#include "LinuxTools/Launchctl/UnitName.h"
#include "LinuxTools/Shared/FileLock.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/WholeFile.h"

namespace LinuxTools::Commands
{

namespace
{

using Arguments = std::span<const std::string>;

// What launchd's own tool ends with.
constexpr int noSuchProcess = 3;
constexpr int inputOutputError = 5;
constexpr int wrongUsage = 64;
constexpr int unknownService = 113;
constexpr int unsupportedDomain = 125;

constexpr std::string_view help = R"(Loads, starts and stops this user's launch agents.

  launchctl list [LABEL]                    all loaded agents, or the one of that label
  launchctl bootstrap gui/UID FILE          load the agent of a property list, and start it if it says so
  launchctl bootout gui/UID/LABEL           stop an agent and unload it
  launchctl kickstart [-k] gui/UID/LABEL    start an agent; with -k, end first what runs of it
  launchctl print gui/UID/LABEL             everything known of an agent
  launchctl --help                          this text

Agents become units of systemd's user manager. Where none answers they are plain processes, which nobody starts again
when they end. Exit status: 0 done, 3 not loaded (bootout), 5 failed, 64 wrong usage, 113 not loaded, 125 another user's
domain.
)";

Result failed(int code, const std::string& line) { return {.code = code, .output = {}, .error = line + "\n"}; }

std::string remark(const std::string& sentence) { return "launchctl: " + sentence + "\n"; }

Result usage(const std::string& sentence)
{
    return {.code = wrongUsage, .output = {}, .error = remark(sentence + " See launchctl --help.")};
}

Result refused(const std::string& what, int code, const std::string& reason)
{
    return failed(code, what + " failed: " + std::to_string(code) + ": " + reason);
}

Result unsupported(const std::string& what)
{
    return refused(what, unsupportedDomain, "Domain does not support specified action");
}

Result unknownInDomain(const std::string& label)
{
    return failed(unknownService,
                  "Could not find service \"" + label + "\" in domain for user gui: " + std::to_string(::getuid()));
}

// The launchctl line and below it, where there is more to say than that, why.
Result broken(const std::string& what, const std::optional<std::string>& reason)
{
    Result result = refused(what, inputOutputError, "Input/output error");
    result.error += reason ? remark(*reason) : "";
    return result;
}

std::string remarks(const Change& change)
{
    std::string lines;
    for (const std::string& sentence : change.remarks) {
        lines += remark(sentence);
    }
    return lines;
}

using Hosts = std::vector<std::unique_ptr<AgentHost>>;

// Those that may keep agents, the one for new ones first: an agent that was loaded while no user manager answered stays
// where it is when one does.
Hosts hosts()
{
    Hosts all;
    if (auto manager = UserManager::find()) {
        all.push_back(std::make_unique<UnitHost>(std::move(*manager)));
    }
    all.push_back(std::make_unique<DetachedHost>());
    return all;
}

struct Found {
    AgentHost* host = nullptr;
    Agent agent;
};

std::optional<Found> find(const Hosts& all, const std::string& label)
{
    for (const auto& host : all) {
        if (auto agent = host->find(label)) {
            return Found {.host = host.get(), .agent = std::move(*agent)};
        }
    }
    return std::nullopt;
}

// Keeps changes of one label apart. Where the state folder cannot be made the change itself will tell.
FileLock lockOf(const std::string& label)
{
    const auto folder = Places::stateFolder() / "locks";
    [[maybe_unused]] const auto failure = ManagerCore::WholeFile::makeFolders(folder, 0700);
    return FileLock(folder / UnitName::escaped(label));
}

Result list(Arguments arguments)
{
    if (arguments.size() > 1) {
        return usage("“list” takes at most one label.");
    }
    const Hosts all = hosts();
    if (arguments.empty()) {
        std::vector<Agent> agents;
        for (const auto& host : all) {
            std::ranges::move(host->all(), std::back_inserter(agents));
        }
        return {.code = 0, .output = AgentText::table(agents), .error = {}};
    }
    const auto found = find(all, arguments[0]);
    if (!found) {
        return failed(unknownService, "Could not find service \"" + arguments[0] + "\" in domain for port");
    }
    return {.code = 0, .output = AgentText::summary(found->agent), .error = {}};
}

Result bootstrap(Arguments arguments)
{
    const std::string verb = "Bootstrap";
    if (arguments.size() != 2) {
        return usage("“bootstrap” takes a domain and the path of a property list.");
    }
    if (!Target::isOwnDomain(arguments[0])) {
        return unsupported(verb);
    }
    const auto propertyList = ManagerCore::FilePath::standardised(ManagerCore::FilePath::fromText(arguments[1]));
    if (!ManagerCore::FilePath::exists(propertyList)) {
        return broken(verb, std::nullopt);
    }
    const auto bytes = JobReader::readBytes(propertyList);
    const auto job = bytes ? JobReader::parse(*bytes) : std::unexpected(bytes.error());
    if (!job) {
        return broken(verb, job.error());
    }
    const FileLock lock = lockOf(job->label);
    const Hosts all = hosts();
    if (find(all, job->label)) {
        return broken(verb, std::nullopt);
    }
    Change change = all.front()->bootstrap(*job, propertyList, *bytes);
    if (change.failure) {
        return broken(verb, change.failure);
    }
    change.remarks.insert(change.remarks.begin(), job->remarks.begin(), job->remarks.end());
    return {.code = 0, .output = {}, .error = remarks(change)};
}

Result bootout(Arguments arguments)
{
    const std::string verb = "Boot-out";
    if (arguments.size() != 1) {
        return usage("“bootout” takes the target of one agent.");
    }
    const auto label = Target::labelIn(arguments[0]);
    if (!label) {
        return unsupported(verb);
    }
    const FileLock lock = lockOf(*label);
    const Hosts all = hosts();
    const auto found = find(all, *label);
    if (!found) {
        return refused(verb, noSuchProcess, "No such process");
    }
    const Change change = found->host->bootout(found->agent);
    return change.failure ? broken(verb, change.failure) : Result {};
}

Result kickstart(Arguments arguments)
{
    const std::string verb = "Kickstart";
    const bool killFirst = !arguments.empty() && arguments[0] == "-k";
    arguments = arguments.subspan(killFirst ? 1 : 0);
    if (arguments.size() != 1) {
        return usage("“kickstart” takes “-k”, if wanted, and the target of one agent.");
    }
    const auto label = Target::labelIn(arguments[0]);
    if (!label) {
        return unsupported(verb);
    }
    const FileLock lock = lockOf(*label);
    const Hosts all = hosts();
    const auto found = find(all, *label);
    if (!found) {
        return unknownInDomain(*label);
    }
    const Change change = found->host->kickstart(found->agent, killFirst);
    return change.failure ? broken(verb, change.failure) : Result {.code = 0, .output = {}, .error = remarks(change)};
}

Result print(Arguments arguments)
{
    if (arguments.size() != 1) {
        return usage("“print” takes the target of one agent.");
    }
    const auto label = Target::labelIn(arguments[0]);
    if (!label) {
        return unsupported("Print");
    }
    const Hosts all = hosts();
    const auto found = find(all, *label);
    return found ? Result {.code = 0, .output = AgentText::details(found->agent, arguments[0]), .error = {}}
                 : unknownInDomain(*label);
}

Result showHelp(Arguments /*arguments*/) { return {.code = 0, .output = std::string(help), .error = {}}; }

struct Verb {
    std::string_view name;
    Result (*run)(Arguments arguments);
};
constexpr std::array verbs {
    Verb {.name = "list", .run = &list},
    Verb {.name = "bootstrap", .run = &bootstrap},
    Verb {.name = "bootout", .run = &bootout},
    Verb {.name = "kickstart", .run = &kickstart},
    Verb {.name = "print", .run = &print},
    Verb {.name = "--help", .run = &showHelp},
    Verb {.name = "-h", .run = &showHelp},
    Verb {.name = "help", .run = &showHelp},
};

} // namespace

Result run(const std::vector<std::string>& arguments)
{
    if (arguments.empty()) {
        return usage("launchctl wants to be told what to do.");
    }
    const auto* verb = std::ranges::find(verbs, arguments.front(), &Verb::name);
    if (verb == verbs.end()) {
        return usage("There is no command “" + arguments.front() + "”.");
    }
    return verb->run(Arguments(arguments).subspan(1));
}

} // namespace LinuxTools::Commands
