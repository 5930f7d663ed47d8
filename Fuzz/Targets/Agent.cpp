// The launchctl stand-in: property lists of agents, the unit texts made of them, and the record that those carry.

#include <algorithm>
#include <string>

#include "Fuzz/Target.h"
#include "LinuxTools/Launchctl/AgentRecord.h"
#include "LinuxTools/Launchctl/JobReader.h"
#include "LinuxTools/Launchctl/UnitName.h"
#include "LinuxTools/Launchctl/UnitText.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Models/ModelPath.h"
#include "ManagerCore/Platform/Platform.h"

namespace
{

using Fuzz::require;
using LinuxTools::AgentRecord;
using LinuxTools::Job;
namespace FilePath = ManagerCore::FilePath;
namespace UnitText = LinuxTools::UnitText;

void checkJob(const Job& job)
{
    require(!job.label.empty() && LinuxTools::UnitName::isPossible(job.label), "A job has a label that names a unit.");
    require(!job.arguments.empty(), "A job has arguments.");
    for (const std::string& path : {job.program, job.workingDirectory}) {
        require(path.starts_with('/'), "Programs and folders are full paths.");
    }
    for (const std::string& path : {job.outputPath, job.errorPath}) {
        require(path.empty() || path.starts_with('/'), "Outputs are full paths, or none.");
    }
    for (const std::string& remark : job.remarks) {
        require(remark.ends_with('.'), "A remark is a sentence.");
    }
}

// What is in the list must stay inside its setting: no line of a unit may be of its making.
void checkUnit(const std::string& text, const AgentRecord& record)
{
    for (const std::string_view line : ManagerCore::Text::pieces(text, '\n')) {
        const char first = line.front();
        require(first == '#' || first == '[' || (first >= 'A' && first <= 'Z'), "Every line is a setting.");
        require(first == '#' || first == '[' || line.find('=') != std::string_view::npos, "Every setting has a value.");
        require(!line.ends_with('\\'), "No line runs on into the next.");
        require(std::ranges::none_of(line, [](char byte) { return (byte >= 0 && byte < ' ') || byte == 0x7f; }),
                "No control character stands in a unit.");
    }
    require(ManagerCore::Text::isUtf8(text), "A unit is text.");
    require(LinuxTools::recordIn(text) == record, "A unit gives back its record.");
}

// The status reads the same list for itself.
void checkAgreement(const Job& job, std::string_view input)
{
    Fuzz::put(ManagerCore::Platform::homeFolder() / "Library/LaunchAgents/agent.plist", input);
    const auto told = ManagerCore::ModelPath::resolve({}, {.launchAgent = "agent"});
    const auto option = std::ranges::find(job.arguments, "--model");
    const bool has = option != job.arguments.end() && std::next(option) != job.arguments.end();
    const std::filesystem::path expected = has ? FilePath::expandHome(*std::next(option)) : std::filesystem::path();
    require(told.has_value() == FilePath::exists(expected), "Both readers of a list see the same model.");
    require(!told || told->url == expected, "Both readers of a list see it at the same place.");
}

void runAgent(std::string_view input)
{
    const auto job = LinuxTools::JobReader::parse(input);
    if (!job) {
        require(job.error().ends_with('.'), "What describes no job is told in a sentence.");
        return;
    }
    checkJob(*job);
    AgentRecord record = LinuxTools::recordOf(*job, "/lists/agent.plist");
    for (const bool startsAtLogin : {false, true}) {
        record.startsAtLogin = startsAtLogin;
        checkUnit(UnitText::service(*job, record, "/run/mark").text, record);
        checkUnit(UnitText::timer(*job, record, "/run/mark"), record);
    }
    checkAgreement(*job, input);
}

const Fuzz::Registration agentTarget("agent", &runAgent);

void runAgentRecord(std::string_view input)
{
    require(UnitText::unquoted(UnitText::quoted(input)) == input, "What is quoted comes back.");
    if (const auto record = LinuxTools::recordIn(input)) {
        require(!record->label.empty(), "A record has a label.");
        require(LinuxTools::recordIn(LinuxTools::toText(*record)) == record,
                "A record that is written anew is the same.");
    }
}

const Fuzz::Registration agentRecordTarget("agent-record", &runAgentRecord);

} // namespace
