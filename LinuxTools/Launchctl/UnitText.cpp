#include "LinuxTools/Launchctl/UnitText.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <sys/resource.h>
#include <unistd.h>

#include "LinuxTools/Launchctl/UnitName.h"
#include "ManagerCore/Foundation/Text.h"

namespace LinuxTools::UnitText
{

namespace
{

bool isControl(char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f; }

std::string hexadecimal(char byte)
{
    constexpr std::string_view digits = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    return {'\\', 'x', digits[value / 16U], digits[value % 16U]};
}

std::string escaped(char byte, bool plainText)
{
    switch (byte) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\n':
        return "\\n";
    case '\t':
        return "\\t";
    default:
        return isControl(byte) || (byte < 0 && !plainText) ? hexadecimal(byte) : std::string(1, byte);
    }
}

// What stands after the backslash, but for "x".
char unescaped(char kind)
{
    switch (kind) {
    case 'n':
        return '\n';
    case 't':
        return '\t';
    default:
        return kind;
    }
}

char byteOf(std::string_view digits)
{
    unsigned value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    return static_cast<char>(value);
}

// systemd replaces what follows a "%" in most places; two of them stand for one.
std::string withoutSpecifiers(std::string_view text)
{
    std::string kept;
    for (const char byte : text) {
        kept += byte;
        if (byte == '%') {
            kept += byte;
        }
    }
    return kept;
}

std::string word(std::string_view text) { return withoutSpecifiers(quoted(text)); }

// Whether systemd takes a path that stands alone after "=", where it knows neither quotes nor escapes.
bool isPlainPath(std::string_view path)
{
    const auto pieces = ManagerCore::Text::pieces(path, '/');
    return ManagerCore::Text::isUtf8(path) && std::ranges::none_of(path, isControl) && !path.ends_with(' ')
        && !path.ends_with('\\') && std::ranges::find(pieces, "..") == pieces.end();
}

// Whether systemd takes a program by this path.
bool isPlainProgram(std::string_view path)
{
    return std::ranges::none_of(path, isControl) && path.find_first_of("\"'\\") == std::string_view::npos
        && !path.ends_with('/');
}

bool isNameOfVariable(std::string_view name)
{
    const auto isLetter
        = [](char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte == '_'; };
    return !name.empty() && isLetter(name.front())
        && std::ranges::all_of(name, [&](char byte) { return isLetter(byte) || (byte >= '0' && byte <= '9'); });
}

bool isValueOfVariable(std::string_view value)
{
    return ManagerCore::Text::isUtf8(value)
        && std::ranges::none_of(value, [](char byte) { return isControl(byte) && byte != '\t' && byte != '\n'; });
}

// At a login systemd starts an enabled unit, and looks at these first: an agent whose property list has gone since is
// no longer there for launchd. While it is loaded the mark stands, so that its start never depends on the list.
std::string condition(const AgentRecord& record, const std::filesystem::path& loadedMark)
{
    if (!isPlainPath(record.propertyList) || !isPlainPath(loadedMark.string())) {
        return {};
    }
    return "ConditionPathExists=|" + withoutSpecifiers(record.propertyList) + "\nConditionPathExists=|"
        + withoutSpecifiers(loadedMark.string()) + "\n";
}

std::string head(const Job& job)
{
    return "# Made by launchctl from the agent’s property list; “launchctl bootout” removes it.\n[Unit]\nDescription="
        + withoutSpecifiers(UnitName::escaped(job.label)) + "\n";
}

std::string install(const std::string& target) { return "\n[Install]\nWantedBy=" + target + "\n"; }

const char* restartWord(Restart restart)
{
    switch (restart) {
    case Restart::always:
        return "always";
    case Restart::onSuccess:
        return "on-success";
    case Restart::onFailure:
        return "on-failure";
    case Restart::onCrash:
        return "on-abnormal";
    case Restart::never:
        break;
    }
    return "no";
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

// The lines that start the job. What systemd does not take as a setting a shell does before it becomes the program.
class Start
{
public:
    explicit Start(const Job& job)
        : job_(job)
    {
        goInto(job.workingDirectory);
        redirect(job.outputPath, "StandardOutput", "exec >>\"$1\" || exit 209; shift; ");
        redirect(job.errorPath, "StandardError", "exec 2>>\"$1\" || exit 209; shift; ");
    }

    Unit lines()
    {
        const bool needsShell = !script_.empty() || !isPlainProgram(job_.program);
        Unit made;
        made.text = "ExecStart=" + (needsShell ? throughShell(made.remarks) : directly()) + "\n" + settings_;
        return made;
    }

private:
    void goInto(const std::string& folder)
    {
        if (isPlainPath(folder)) {
            settings_ += "WorkingDirectory=" + withoutSpecifiers(folder) + "\n";
        } else {
            script_ += "cd -- \"$1\" || exit 200; shift; ";
            operands_.push_back(folder);
        }
    }

    void redirect(const std::string& path, const std::string& setting, const std::string& step)
    {
        if (isPlainPath(path)) {
            settings_ += path.empty() ? "" : setting + "=append:" + withoutSpecifiers(path) + "\n";
        } else {
            script_ += step;
            operands_.push_back(path);
        }
    }

    // ":" leaves "$" alone, "@" lets argv[0] differ from the program's path.
    [[nodiscard]] std::string directly() const
    {
        std::string line = word(":@" + job_.program);
        for (const std::string& argument : job_.arguments) {
            line += " " + word(argument);
        }
        return line;
    }

    std::string throughShell(std::vector<std::string>& remarks)
    {
        if (job_.arguments.front() != job_.program) {
            remarks.push_back(leftOut("the first of the “ProgramArguments”", job_.label, "differs from the program"));
        }
        std::string line = word(":/bin/sh") + " " + word("-c") + " " + word(script_ + "exec \"$@\"") + " " + word("sh");
        for (const std::string& operand : operands_) {
            line += " " + word(operand);
        }
        line += " " + word(job_.program);
        for (auto argument = job_.arguments.begin() + 1; argument != job_.arguments.end(); ++argument) {
            line += " " + word(*argument);
        }
        return line;
    }

    const Job& job_;
    std::string settings_;
    std::string script_;
    std::vector<std::string> operands_;
};

// The home is the one the agent was loaded for: the user manager's may be another. The rest of what launchd gives every
// agent is the user manager's to give.
std::string environmentLines(const Job& job, const std::string& home, std::vector<std::string>& remarks)
{
    std::string lines;
    const auto add = [&](const std::string& name, const std::string& value) {
        if (isNameOfVariable(name) && isValueOfVariable(value)) {
            lines += "Environment=" + word(name + "=" + value) + "\n";
        } else {
            remarks.push_back(leftOut("the environment variable “" + name + "”", job.label, "cannot be handed over"));
        }
    };
    if (!job.environment.contains("HOME")) {
        add("HOME", home);
    }
    for (const auto& [name, value] : job.environment) {
        add(name, value);
    }
    return lines;
}

std::string processLines(const Job& job, std::vector<std::string>& remarks)
{
    std::string lines;
    if (job.nice && *job.nice < 0 && ::geteuid() != 0) {
        remarks.push_back(leftOut("the key “Nice”", job.label, "asks for more than this user may have"));
    } else if (job.nice) {
        lines += "Nice=" + std::to_string(*job.nice) + "\n";
    }
    if (job.umask) {
        std::string octal(4, '0');
        for (unsigned digit = 0; digit < 4; digit++) {
            octal[3 - digit] = static_cast<char>('0' + ((*job.umask >> (3 * digit)) & 7U));
        }
        lines += "UMask=" + octal + "\n";
    }
    lines += job.background ? "CPUWeight=idle\n" : "";
    for (const ResourceLimit& limit : job.limits) {
        lines += limitLine(limit);
    }
    return lines;
}

std::string endLines(const Job& job)
{
    const std::string patience = job.exitTimeOut == 0 ? "infinity" : std::to_string(job.exitTimeOut);
    // No pause at all would let a program that ends at once turn in circles.
    const std::string pause = job.throttleInterval == 0 ? "100ms" : std::to_string(job.throttleInterval);
    return std::string("Restart=") + restartWord(job.restart) + "\nRestartSec=" + pause + "\nTimeoutStopSec=" + patience
        + "\n";
}

} // namespace

std::string quoted(std::string_view text)
{
    const bool plainText = ManagerCore::Text::isUtf8(text);
    std::string word = "\"";
    for (const char byte : text) {
        word += escaped(byte, plainText);
    }
    return word + "\"";
}

std::string unquoted(std::string_view text)
{
    if (text.size() < 2 || !text.starts_with('"') || !text.ends_with('"')) {
        return std::string(text);
    }
    text = text.substr(1, text.size() - 2);
    std::string plain;
    for (std::size_t at = 0; at < text.size(); at++) {
        if (text[at] != '\\' || at + 1 == text.size()) {
            plain += text[at];
            continue;
        }
        const char kind = text[++at];
        if (kind == 'x') {
            const std::string_view digits = text.substr(at + 1, 2);
            plain += byteOf(digits);
            at += digits.size();
        } else {
            plain += unescaped(kind);
        }
    }
    return plain;
}

Unit service(const Job& job, const AgentRecord& record, const std::filesystem::path& loadedMark)
{
    Unit unit = Start(job).lines();
    std::string text = head(job) + condition(record, loadedMark) + "StartLimitIntervalSec=0\n\n[Service]\n";
    text += unit.text + environmentLines(job, record.home, unit.remarks) + processLines(job, unit.remarks);
    text += endLines(job) + (record.startsAtLogin && job.startsAtLoad ? install("default.target") : "");
    text += "\n" + toText(record);
    return {.text = std::move(text), .remarks = std::move(unit.remarks)};
}

std::string timer(const Job& job, const AgentRecord& record, const std::filesystem::path& loadedMark)
{
    const std::string interval = std::to_string(job.startInterval.value_or(0));
    return head(job) + condition(record, loadedMark) + "\n[Timer]\nOnActiveSec=" + interval + "\nOnUnitActiveSec="
        + interval + "\nAccuracySec=100ms\nUnit=" + withoutSpecifiers(UnitName::service(job.label)) + "\n"
        + (record.startsAtLogin ? install("timers.target") : "") + "\n" + toText(record);
}

} // namespace LinuxTools::UnitText
