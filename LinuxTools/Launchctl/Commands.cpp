#include "LinuxTools/Launchctl/Commands.h"

#include <array>
#include <memory>
#include <optional>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "LinuxTools/Launchctl/JobParser.h"
#include "LinuxTools/Launchctl/Label.h"
#include "LinuxTools/Launchctl/Paths.h"
#include "LinuxTools/Launchctl/StartStopBackend.h"
#include "LinuxTools/Launchctl/SystemdBackend.h"
#include "LinuxTools/Launchctl/UnitText.h"
#include "LinuxTools/Shared/FileLock.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/WholeFile.h"

namespace LinuxTools::Commands
{

namespace
{

// launchctl's exit statuses.
constexpr int noSuchProcess = 3;
constexpr int inputOutputError = 5;
constexpr int usageError = 64;
constexpr int unknownService = 113;
constexpr int unsupportedDomain = 125;

Output usage(const std::string& message)
{
    return {.status = usageError, .stdoutText = "", .stderrText = "launchctl: " + message + "\n"};
}

Output failure(const std::string& verb, int status, const std::string& reason)
{
    return {.status = status,
            .stdoutText = "",
            .stderrText = verb + " failed: " + std::to_string(status) + ": " + reason + "\n"};
}

Output domainFailure(const std::string& verb)
{
    return failure(verb, unsupportedDomain, "Domain does not support specified action");
}

Output unknown(const std::string& label, const std::string& domain)
{
    return {.status = unknownService,
            .stdoutText = "",
            .stderrText = "Could not find service \"" + label + "\" in domain for " + domain + "\n"};
}

// Below launchctl's own line, the reason if there is one.
Output ioFailure(const std::string& verb, const std::string& reason = "")
{
    Output output = failure(verb, inputOutputError, "Input/output error");
    output.stderrText += reason.empty() ? "" : "launchctl: " + reason + "\n";
    return output;
}

Output outputOf(const std::string& verb, const Result& result, const std::vector<std::string>& warnings = {})
{
    if (!result) {
        return ioFailure(verb, result.error());
    }
    Output output;
    for (const auto* list : {&warnings, &*result}) {
        for (const std::string& warning : *list) {
            output.stderrText += "launchctl: warning: " + warning + "\n";
        }
    }
    return output;
}

// The backends of this system; the first one loads new services. A service that was loaded without a user manager
// stays loaded when there is one.
std::vector<std::unique_ptr<ServiceBackend>> backends()
{
    std::vector<std::unique_ptr<ServiceBackend>> all;
    if (SystemdBackend::isAvailable()) {
        all.push_back(std::make_unique<SystemdBackend>());
    }
    all.push_back(std::make_unique<StartStopBackend>());
    return all;
}

// The backend that has loaded the label; null when none has.
std::unique_ptr<ServiceBackend> backendOf(const std::string& label)
{
    for (auto& backend : backends()) {
        if (Label::isValid(label) && backend->find(label)) {
            return std::move(backend);
        }
    }
    return nullptr;
}

// Serialises changes of a label. Without the folder there is no lock; then the change itself fails.
FileLock lock(const std::string& label)
{
    const auto folder = Paths::stateFolder() / "locks";
    [[maybe_unused]] const auto ignored = ManagerCore::WholeFile::makeFolders(folder, 0700);
    return FileLock(folder / Label::escape(label));
}

std::string userDomain() { return "gui/" + std::to_string(::getuid()); }

// The label in "gui/UID/LABEL"; empty for another domain.
std::optional<std::string> labelIn(const std::string& target)
{
    const std::string prefix = userDomain() + "/";
    return target.starts_with(prefix) ? std::optional(target.substr(prefix.size())) : std::nullopt;
}

Output list(const std::string& label)
{
    const auto backend = backendOf(label);
    const auto service = backend ? backend->find(label) : std::nullopt;
    if (!service) {
        return unknown(label, "port");
    }
    const std::string pid = service->pid ? "\t\"PID\" = " + std::to_string(*service->pid) + ";\n" : "";
    return {.status = 0,
            .stdoutText = "{\n\t\"Label\" = " + UnitText::quote(label) + ";\n" + pid + "};\n",
            .stderrText = ""};
}

Output bootstrap(const std::string& domain, const std::string& file)
{
    const std::string verb = "Bootstrap";
    if (domain != userDomain()) {
        return domainFailure(verb);
    }
    const auto propertyList = ManagerCore::FilePath::standardised(ManagerCore::FilePath::fromText(file));
    if (!ManagerCore::FilePath::exists(propertyList)) {
        return ioFailure(verb);
    }
    const auto bytes = ManagerCore::Text::readBytes(propertyList);
    const auto job = bytes ? JobParser::parse(*bytes) : std::unexpected(bytes.error());
    if (!job) {
        return ioFailure(verb, job.error());
    }
    const FileLock held = lock(job->label);
    if (backendOf(job->label)) {
        return ioFailure(verb);
    }
    return outputOf(verb, backends().front()->bootstrap(*job, propertyList, *bytes), job->warnings);
}

Output bootout(const std::string& target)
{
    const std::string verb = "Boot-out";
    const auto label = labelIn(target);
    if (!label) {
        return domainFailure(verb);
    }
    const FileLock held = lock(*label);
    const auto backend = backendOf(*label);
    return backend ? outputOf(verb, backend->bootout(*label)) : failure(verb, noSuchProcess, "No such process");
}

Output kickstart(const std::string& target)
{
    const std::string verb = "Kickstart";
    const auto label = labelIn(target);
    if (!label) {
        return domainFailure(verb);
    }
    const FileLock held = lock(*label);
    const auto backend = backendOf(*label);
    return backend ? outputOf(verb, backend->restart(*label))
                   : unknown(*label, "user gui: " + std::to_string(::getuid()));
}

} // namespace

Output run(const std::vector<std::string>& arguments)
{
    const std::string subcommand = arguments.empty() ? "" : arguments.front();
    const std::size_t count = arguments.size();
    if (subcommand == "list") {
        return count == 2 ? list(arguments[1]) : usage("usage: launchctl list LABEL");
    }
    if (subcommand == "bootstrap") {
        return count == 3 ? bootstrap(arguments[1], arguments[2])
                          : usage("usage: launchctl bootstrap gui/UID PROPERTY-LIST");
    }
    if (subcommand == "bootout") {
        return count == 2 ? bootout(arguments[1]) : usage("usage: launchctl bootout gui/UID/LABEL");
    }
    if (subcommand == "kickstart") {
        return count == 3 && arguments[1] == "-k" ? kickstart(arguments[2])
                                                  : usage("usage: launchctl kickstart -k gui/UID/LABEL");
    }
    return usage(subcommand.empty() ? "missing subcommand" : "unknown subcommand “" + subcommand + "”");
}

} // namespace LinuxTools::Commands
