#include "LinuxTools/Launchctl/AgentText.h"

#include "LinuxTools/Launchctl/UnitText.h"

namespace LinuxTools::AgentText
{

namespace
{

std::string exitText(const Agent& agent) { return std::to_string(agent.lastExit.value_or(0)); }

std::string entry(const std::string& key, const std::string& value) { return "\t\"" + key + "\" = " + value + ";\n"; }

std::string fact(const std::string& name, const std::string& value)
{
    return value.empty() ? "" : "\t" + name + " = " + value + "\n";
}

} // namespace

std::string table(const std::vector<Agent>& agents)
{
    std::string text = "PID\tStatus\tLabel\n";
    for (const Agent& agent : agents) {
        text += (agent.pid ? std::to_string(*agent.pid) : "-") + "\t" + exitText(agent) + "\t" + agent.record.label
            + "\n";
    }
    return text;
}

std::string summary(const Agent& agent)
{
    const auto quoted = [](const std::string& text) { return UnitText::quoted(text); };
    std::string text = "{\n" + entry("Label", quoted(agent.record.label)) + entry("LastExitStatus", exitText(agent));
    if (agent.pid) {
        text += entry("PID", std::to_string(*agent.pid));
    }
    text += entry("Program", quoted(agent.record.program)) + "\t\"ProgramArguments\" = (\n";
    for (const std::string& argument : agent.record.arguments) {
        text += "\t\t" + quoted(argument) + ";\n";
    }
    return text + "\t);\n};\n";
}

std::string details(const Agent& agent, const std::string& target)
{
    std::string text = target + " = {\n" + fact("state", agent.state);
    text += fact("pid", agent.pid ? std::to_string(*agent.pid) : "");
    text += fact("program", agent.record.program) + "\targuments = {\n";
    for (const std::string& argument : agent.record.arguments) {
        text += "\t\t" + argument + "\n";
    }
    text += "\t}\n" + fact("stdout path", agent.record.outputPath) + fact("stderr path", agent.record.errorPath);
    text += fact("last exit code", agent.lastExit ? exitText(agent) : "(never exited)");
    text += fact("path", agent.record.propertyList) + fact("unit file", agent.file.string());
    return text + "}\n";
}

} // namespace LinuxTools::AgentText
