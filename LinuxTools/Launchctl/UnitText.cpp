#include "LinuxTools/Launchctl/UnitText.h"

#include <algorithm>
#include <cstdint>
#include <sys/resource.h>

#include "LinuxTools/Launchctl/Label.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Platform/Platform.h"

namespace LinuxTools::UnitText
{

namespace
{

bool isControl(char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f; }

std::string escape(char byte, bool isUtf8)
{
    constexpr std::string_view digits = "0123456789abcdef";
    if (byte == '"' || byte == '\\') {
        return {'\\', byte};
    }
    if (isControl(byte) || (byte < 0 && !isUtf8)) {
        const auto value = static_cast<unsigned char>(byte);
        return {'\\', 'x', digits[value / 16U], digits[value % 16U]};
    }
    return {byte};
}

// systemd replaces "%" and a letter; "%%" is a percent sign.
std::string withoutSpecifiers(std::string_view text)
{
    std::string result;
    for (const char byte : text) {
        result.append(byte == '%' ? 2 : 1, byte);
    }
    return result;
}

std::string word(std::string_view text) { return withoutSpecifiers(quote(text)); }

// Whether systemd accepts the path after "=", where it knows neither quotes nor escapes.
bool isPlainPath(const std::string& path)
{
    const auto parts = ManagerCore::Text::pieces(path, '/');
    return ManagerCore::Text::isUtf8(path) && std::ranges::none_of(path, isControl) && !path.ends_with(' ')
        && !path.ends_with('\\') && std::ranges::find(parts, "..") == parts.end();
}

// Whether systemd accepts the path of a program.
bool isPlainProgram(const std::string& path)
{
    return std::ranges::none_of(path, isControl) && path.find_first_of("\"'\\") == std::string::npos;
}

bool isVariable(const std::string& name, const std::string& value)
{
    const auto isLetter
        = [](char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte == '_'; };
    const auto isDigit = [](char byte) { return byte >= '0' && byte <= '9'; };
    const auto isForbidden = [](char byte) { return isControl(byte) && byte != '\t' && byte != '\n'; };
    return isLetter(name.front()) && std::ranges::all_of(name, [&](char c) { return isLetter(c) || isDigit(c); })
        && ManagerCore::Text::isUtf8(value) && std::ranges::none_of(value, isForbidden);
}

std::string head(const Job& job, const std::filesystem::path& propertyList, const std::filesystem::path& loadedMark)
{
    const std::string list = withoutSpecifiers(propertyList.string());
    return std::string(header) + "[Unit]\nDescription=" + withoutSpecifiers(Label::escape(job.label))
        + "\nSourcePath=" + list + "\nConditionPathExists=|" + list + "\nConditionPathExists=|"
        + withoutSpecifiers(loadedMark.string()) + "\n";
}

std::string limitLine(const ResourceLimit& limit)
{
    rlimit current {};
    ::getrlimit(static_cast<__rlimit_resource_t>(limit.resource), &current);
    const std::uint64_t hard = limit.hard.value_or(std::max<std::uint64_t>(current.rlim_max, limit.soft.value_or(0)));
    const std::uint64_t soft = std::min<std::uint64_t>(limit.soft.value_or(current.rlim_cur), hard);
    const auto text = [](std::uint64_t value) { return value == RLIM_INFINITY ? "infinity" : std::to_string(value); };
    return "Limit" + limit.name + "=" + text(soft) + ":" + text(hard) + "\n";
}

// ":" keeps "$" as it is; "@" gives argv[0] apart from the program. A program whose path systemd does not accept is
// run by env, which cannot set argv[0].
std::string commandLine(const Job& job, std::vector<std::string>& warnings)
{
    const bool direct = isPlainProgram(job.program);
    std::string line = direct ? word(":@" + job.program) : "\":/usr/bin/env\" " + word(job.program);
    line += direct ? " " + word(job.arguments.front()) : "";
    if (!direct && job.arguments.front() != job.program) {
        warnings.push_back(unsupportedKey(job.label, "ProgramArguments[0]", " for this path"));
    }
    for (auto argument = job.arguments.begin() + 1; argument != job.arguments.end(); ++argument) {
        line += " " + word(*argument);
    }
    return "ExecStart=" + line + "\n";
}

std::string logLines(const Job& job, std::vector<std::string>& warnings)
{
    std::string lines;
    const auto add = [&](const std::string& key, const std::string& setting, const std::string& path) {
        if (!isPlainPath(path)) {
            warnings.push_back(unsupportedKey(job.label, key, " for this path"));
        } else if (!path.empty()) {
            lines += setting + "=append:" + withoutSpecifiers(path) + "\n";
        }
    };
    add("StandardOutPath", "StandardOutput", job.outputPath);
    add("StandardErrorPath", "StandardError", job.errorPath);
    return lines;
}

// The home is the caller's, because the user manager's may differ. The user manager adds the other variables.
std::string environmentLines(const Job& job, std::vector<std::string>& warnings)
{
    std::string lines = "Environment=" + word("HOME=" + ManagerCore::Platform::homeFolder().string()) + "\n";
    for (const auto& [name, value] : job.environment) {
        if (isVariable(name, value)) {
            lines += "Environment=" + word(name + "=" + value) + "\n";
        } else {
            warnings.push_back(unsupportedKey(job.label, "EnvironmentVariables." + name));
        }
    }
    return lines;
}

std::string processLines(const Job& job)
{
    std::string lines;
    lines += job.nice ? "Nice=" + std::to_string(*job.nice) + "\n" : "";
    if (job.umask) {
        std::string octal;
        for (const unsigned shift : {9U, 6U, 3U, 0U}) {
            octal += static_cast<char>('0' + ((*job.umask >> shift) & 7U));
        }
        lines += "UMask=" + octal + "\n";
    }
    lines += job.background ? "CPUWeight=idle\n" : "";
    for (const ResourceLimit& limit : job.limits) {
        lines += limitLine(limit);
    }
    return lines;
}

std::unexpected<std::string> unsupportedPath(const std::string& path)
{
    return std::unexpected("systemd does not support the path " + quote(path) + ".");
}

std::string restartLines(const Job& job)
{
    const std::string stop = job.exitTimeOut == 0 ? "infinity" : std::to_string(job.exitTimeOut);
    // Without a delay a program that ends at once would restart in a busy loop.
    const std::string delay = job.throttleInterval == 0 ? "100ms" : std::to_string(job.throttleInterval);
    return "Restart=" + job.restart + "\nRestartSec=" + delay + "\nTimeoutStopSec=" + stop + "\n";
}

} // namespace

std::string quote(std::string_view text)
{
    const bool isUtf8 = ManagerCore::Text::isUtf8(text);
    std::string quoted = "\"";
    for (const char byte : text) {
        quoted += escape(byte, isUtf8);
    }
    return quoted + "\"";
}

std::expected<Unit, std::string>
service(const Job& job, const std::filesystem::path& propertyList, const std::filesystem::path& loadedMark)
{
    for (const std::string& path : {propertyList.string(), loadedMark.string(), job.workingDirectory}) {
        if (!isPlainPath(path)) {
            return unsupportedPath(path);
        }
    }
    if (!isPlainProgram(job.program) && job.program.contains('=')) {
        return unsupportedPath(job.program); // env would set a variable
    }
    Unit unit;
    unit.text = head(job, propertyList, loadedMark) + "StartLimitIntervalSec=0\n\n[Service]\n";
    unit.text += commandLine(job, unit.warnings);
    unit.text += "WorkingDirectory=" + withoutSpecifiers(job.workingDirectory) + "\n";
    unit.text += logLines(job, unit.warnings);
    unit.text += environmentLines(job, unit.warnings);
    unit.text += processLines(job) + restartLines(job) + "\n[Install]\nWantedBy=default.target\n";
    return unit;
}

std::string timer(const Job& job, const std::filesystem::path& propertyList, const std::filesystem::path& loadedMark)
{
    const std::string interval = std::to_string(job.startInterval.value_or(0));
    return head(job, propertyList, loadedMark) + "\n[Timer]\nOnActiveSec=" + interval + "\nOnUnitActiveSec=" + interval
        + "\nAccuracySec=100ms\nUnit=" + withoutSpecifiers(Label::escape(job.label) + ".service")
        + "\n\n[Install]\nWantedBy=timers.target\n";
}

} // namespace LinuxTools::UnitText
