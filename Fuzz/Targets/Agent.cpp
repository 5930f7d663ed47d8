// The property lists of launch agents and the units that launchctl makes of them.

#include <algorithm>
#include <string>

#include "Fuzz/Target.h"
#include "LinuxTools/Launchctl/JobParser.h"
#include "LinuxTools/Launchctl/Label.h"
#include "LinuxTools/Launchctl/UnitText.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Models/ModelPath.h"
#include "ManagerCore/Platform/Platform.h"

namespace
{

using Fuzz::require;
using LinuxTools::Job;
namespace FilePath = ManagerCore::FilePath;
namespace UnitText = LinuxTools::UnitText;

void checkJob(const Job& job)
{
    require(LinuxTools::Label::isValid(job.label), "A job has a label that names a unit.");
    require(!job.arguments.empty(), "A job has arguments.");
    for (const std::string& path : {job.program, job.workingDirectory}) {
        require(path.starts_with('/'), "Programs and folders are absolute paths.");
    }
    for (const std::string& path : {job.outputPath, job.errorPath}) {
        require(path.empty() || path.starts_with('/'), "Logs are absolute paths or empty.");
    }
    for (const std::string& warning : job.warnings) {
        require(warning.ends_with('.'), "A warning is a sentence.");
    }
}

// No value of a property list may add a line to a unit.
void checkUnit(const std::string& text)
{
    for (const std::string_view line : ManagerCore::Text::pieces(text, '\n')) {
        const char first = line.front();
        require(first == '#' || first == '[' || (first >= 'A' && first <= 'Z'), "Every line is a setting.");
        require(first == '#' || first == '[' || line.find('=') != std::string_view::npos, "Every setting has a value.");
        require(!line.ends_with('\\'), "No line continues on the next.");
        require(std::ranges::none_of(line, [](char byte) { return (byte >= 0 && byte < ' ') || byte == 0x7f; }),
                "A unit has no control characters.");
    }
    require(ManagerCore::Text::isUtf8(text), "A unit is UTF-8.");
}

// StatusProbe reads the same property list.
void checkAgreement(const Job& job, std::string_view input)
{
    Fuzz::put(ManagerCore::Platform::homeFolder() / "Library/LaunchAgents/agent.plist", input);
    const auto model = ManagerCore::ModelPath::resolve({}, {.launchAgent = "agent"});
    const auto option = std::ranges::find(job.arguments, "--model");
    const bool has = option != job.arguments.end() && std::next(option) != job.arguments.end();
    const std::filesystem::path expected = has ? FilePath::expandHome(*std::next(option)) : std::filesystem::path();
    require(model.has_value() == FilePath::exists(expected), "Both parsers find the same model.");
    require(!model || model->url == expected, "Both parsers find the same path.");
}

void runAgent(std::string_view input)
{
    const auto job = LinuxTools::JobParser::parse(input);
    if (!job) {
        require(job.error().ends_with('.'), "An error is a sentence.");
        return;
    }
    checkJob(*job);
    if (const auto unit = UnitText::service(*job, "/lists/agent.plist", "/run/mark")) {
        checkUnit(unit->text);
    }
    checkUnit(UnitText::timer(*job, "/lists/agent.plist", "/run/mark"));
    checkAgreement(*job, input);
}

const Fuzz::Registration agentTarget("agent", &runAgent);

} // namespace
