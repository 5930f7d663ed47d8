#include "LinuxTools/Launchctl/AgentRecord.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "LinuxTools/Launchctl/UnitText.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Platform/Platform.h"

namespace LinuxTools
{

namespace
{

constexpr std::string_view heading = "[X-CodeManager]";

struct TextField {
    std::string_view key;
    std::string AgentRecord::* field;
};
constexpr std::array textFields {
    TextField {.key = "Label", .field = &AgentRecord::label},
    TextField {.key = "PropertyList", .field = &AgentRecord::propertyList},
    TextField {.key = "Program", .field = &AgentRecord::program},
    TextField {.key = "StandardOutPath", .field = &AgentRecord::outputPath},
    TextField {.key = "StandardErrorPath", .field = &AgentRecord::errorPath},
    TextField {.key = "Home", .field = &AgentRecord::home},
    TextField {.key = "Boot", .field = &AgentRecord::boot},
};

std::string line(std::string_view key, const std::string& value)
{
    return std::string(key) + "=" + UnitText::quoted(value) + "\n";
}

void take(AgentRecord& record, std::string_view key, const std::string& value)
{
    const auto* known = std::ranges::find(textFields, key, &TextField::key);
    if (known != textFields.end()) {
        record.*known->field = value;
    } else if (key == "Argument") {
        record.arguments.push_back(value);
    } else if (key == "ExitTimeOut") {
        std::from_chars(value.data(), value.data() + value.size(), record.exitTimeOut);
    } else if (key == "StartsAtLogin") {
        record.startsAtLogin = value == "yes";
    } else if (key == "HasTimer") {
        record.hasTimer = value == "yes";
    }
}

} // namespace

AgentRecord recordOf(const Job& job, const std::filesystem::path& propertyList)
{
    return {
        .label = job.label,
        .propertyList = propertyList.string(),
        .program = job.program,
        .arguments = job.arguments,
        .outputPath = job.outputPath,
        .errorPath = job.errorPath,
        .home = ManagerCore::Platform::homeFolder().string(),
        .boot = {},
        .exitTimeOut = job.exitTimeOut,
        .startsAtLogin = false,
        .hasTimer = job.startInterval.has_value(),
    };
}

std::string toText(const AgentRecord& record)
{
    std::string text = std::string(heading) + "\n";
    for (const TextField& each : textFields) {
        text += line(each.key, record.*each.field);
    }
    for (const std::string& argument : record.arguments) {
        text += line("Argument", argument);
    }
    text += line("ExitTimeOut", std::to_string(record.exitTimeOut));
    text += line("StartsAtLogin", record.startsAtLogin ? "yes" : "no");
    text += line("HasTimer", record.hasTimer ? "yes" : "no");
    return text;
}

std::optional<AgentRecord> recordIn(std::string_view text)
{
    AgentRecord record;
    bool inSection = false;
    for (const std::string_view each : ManagerCore::Text::nonEmptyLines(text)) {
        const std::size_t equals = each.find('=');
        if (each.starts_with('[')) {
            inSection = each == heading;
        } else if (inSection && equals != std::string_view::npos) {
            take(record, each.substr(0, equals), UnitText::unquoted(each.substr(equals + 1)));
        }
    }
    return record.label.empty() ? std::nullopt : std::optional(std::move(record));
}

std::optional<AgentRecord> recordInFile(const std::filesystem::path& file)
{
    const auto bytes = ManagerCore::Text::readBytes(file);
    return bytes ? recordIn(*bytes) : std::nullopt;
}

} // namespace LinuxTools
