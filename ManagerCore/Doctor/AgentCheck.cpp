#include <algorithm>
#include <array>

#include "ManagerCore/Doctor/Checks.h"
#include "ManagerCore/Doctor/Report.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/PropertyList.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Health/Service.h"

namespace ManagerCore::Doctor
{

namespace
{

using Path = std::filesystem::path;

// As agents are started: a name alone is looked for in the system's folders.
Path programNamed(const std::string& name)
{
    if (name.find('/') == std::string::npos) {
        for (const char* const folder : {"/usr/bin", "/bin", "/usr/sbin", "/sbin"}) {
            if (Path path = FilePath::appending(folder, name); FilePath::exists(path)) {
                return path;
            }
        }
    }
    return FilePath::appending("/", name);
}

class AgentCheck
{
public:
    AgentCheck(const Subject& subject, Path file)
        : actions_(subject.actions)
        , file_(std::move(file))
        , named_("The agent file " + inQuotes(file_))
    {
    }

    std::vector<Finding> findings()
    {
        if (standingOf(file_) == Standing::missing) {
            report_.warn(named_
                         + " is not there, so the backend cannot be started: install the engine, which brings it.");
            return report_.take();
        }
        const auto bytes = Text::readBytes(file_);
        if (!bytes) {
            report_.fail(advised(bytes.error(), "fix " + inQuotes(file_) + " or install the engine anew"));
            return report_.take();
        }
        list_ = PropertyList::parse(*bytes);
        if (!list_) {
            report_.fail(named_ + " is no property list: write it anew by installing the engine.");
            return report_.take();
        }
        lookAtLabel();
        lookAtProgram();
        return report_.take();
    }

private:
    void lookAtLabel()
    {
        const std::string& wanted = actions_.launchAgent;
        const auto label = PropertyList::text(list_, "Label");
        if (label == wanted) {
            report_.ok(named_ + " bears the label of the descriptor, " + inQuotes(wanted) + ".");
        } else {
            report_.fail(named_ + (label ? " bears the label " + inQuotes(*label) : std::string(" bears no label"))
                         + " where the descriptor's “launch_agent” is " + inQuotes(wanted)
                         + ": make the two the same.");
        }
    }

    void lookAtProgram()
    {
        const std::vector<std::string> arguments = PropertyList::texts(list_, "ProgramArguments");
        const std::string first = arguments.empty() ? std::string() : arguments.front();
        const std::string name = PropertyList::text(list_, "Program").value_or(first);
        if (name.empty()) {
            report_.fail(named_ + " names no program to start: write it anew by installing the engine.");
            return;
        }
        const Path path = programNamed(name);
        if (const auto fault = faultOfProgram(path)) {
            report_.fail(named_ + " starts " + inQuotes(path) + ", which " + *fault
                         + ": install the engine or correct the file.");
        } else if (differs(path)) {
            report_.warn(named_ + " starts " + inQuotes(path) + " and not the descriptor's “server_bin” "
                         + inQuotes(FilePath::expandHome(actions_.serverBin)) + ": make the two the same.");
        } else {
            report_.ok(named_ + " starts " + inQuotes(path) + ", which is there and can be run.");
        }
    }

    [[nodiscard]] bool differs(const Path& program) const
    {
        return !actions_.serverBin.empty()
            && FilePath::resolved(program) != FilePath::resolved(FilePath::expandHome(actions_.serverBin));
    }

    const ManagerActions& actions_;
    Path file_;
    std::string named_;
    PropertyList::Tree list_;
    Report report_ {"agent file"};
};

} // namespace

std::vector<Finding> checkAgent(const Subject& subject)
{
    const std::string& label = subject.actions.launchAgent;
    if (!label.empty()) {
        return AgentCheck(subject, Service::plistPath(label)).findings();
    }
    Report report("agent file");
    report.warn("The descriptor declares no launch agent, so there is no backend to start: give it “launch_agent”.");
    return report.take();
}

} // namespace ManagerCore::Doctor
