#include "LinuxTools/Launchctl/JobParser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>
#include <variant>

#include "LinuxTools/Launchctl/Label.h"
#include "ManagerCore/Foundation/PropertyList.h"

namespace LinuxTools::JobParser
{

namespace
{

using ManagerCore::PropertyList::Value;

struct LimitName {
    std::string_view key;
    const char* name;
    int resource;
};
constexpr std::array limitNames {
    LimitName {.key = "Core", .name = "CORE", .resource = RLIMIT_CORE},
    LimitName {.key = "CPU", .name = "CPU", .resource = RLIMIT_CPU},
    LimitName {.key = "Data", .name = "DATA", .resource = RLIMIT_DATA},
    LimitName {.key = "FileSize", .name = "FSIZE", .resource = RLIMIT_FSIZE},
    LimitName {.key = "MemoryLock", .name = "MEMLOCK", .resource = RLIMIT_MEMLOCK},
    LimitName {.key = "NumberOfFiles", .name = "NOFILE", .resource = RLIMIT_NOFILE},
    LimitName {.key = "NumberOfProcesses", .name = "NPROC", .resource = RLIMIT_NPROC},
    LimitName {.key = "ResidentSetSize", .name = "RSS", .resource = RLIMIT_RSS},
    LimitName {.key = "Stack", .name = "STACK", .resource = RLIMIT_STACK},
};

// launchd searches these folders for a program without a slash.
std::string findProgram(const std::string& name)
{
    for (const char* folder : {"/usr/bin", "/bin", "/usr/sbin", "/sbin", "/usr/local/bin"}) {
        std::string path = std::string(folder) + "/" + name;
        if (::access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return "/usr/bin/" + name;
}

std::string absolute(const std::string& path, const std::string& folder)
{
    if (path.empty() || path.starts_with('/')) {
        return path;
    }
    return folder.ends_with('/') ? folder + path : folder + "/" + path;
}

// The read functions return false for a value that is not valid, and leave the field as it was.
template <class Content> bool read(const Value& value, Content& field)
{
    const auto* content = std::get_if<Content>(&value.content);
    field = content != nullptr ? *content : field;
    return content != nullptr;
}

bool readText(const Value& value, std::string& field)
{
    std::string text;
    const bool valid = read(value, text) && !text.empty();
    field = valid ? text : field;
    return valid;
}

bool readNumber(const Value& value, std::int64_t least, std::int64_t most, std::int64_t& field)
{
    std::int64_t number = 0;
    const bool valid = read(value, number) && number >= least && number <= most;
    field = valid ? number : field;
    return valid;
}

bool readSeconds(const Value& value, std::uint32_t& field)
{
    std::int64_t seconds = field;
    const bool valid = readNumber(value, 0, std::numeric_limits<std::int32_t>::max(), seconds);
    field = static_cast<std::uint32_t>(seconds);
    return valid;
}

// A number, or text in C's notation, where "022" is octal.
bool readUmask(const Value& value, std::optional<unsigned>& field)
{
    std::int64_t mask = -1;
    std::string text;
    if (read(value, text)) {
        const bool octal = text.size() > 1 && text.starts_with('0');
        const char* end = text.data() + text.size();
        const auto parsed = std::from_chars(text.data(), end, mask, octal ? 8 : 10);
        mask = parsed.ec == std::errc {} && parsed.ptr == end ? mask : -1;
    } else {
        read(value, mask);
    }
    const bool valid = mask >= 0 && mask <= 0777;
    field = valid ? std::optional(static_cast<unsigned>(mask)) : field;
    return valid;
}

class Parser
{
public:
    explicit Parser(std::string label) { job_.label = std::move(label); }

    std::expected<Job, std::string> parse(const Value::Dictionary& list)
    {
        for (const auto& [key, value] : list) {
            const auto handler = handlers().find(key);
            if (handler == handlers().end()) {
                warn(key);
            } else if (!handler->second(*this, value)) {
                std::string warning = "The value of the key “" + key + "” of “" + job_.label + "” is not supported.";
                if (key.starts_with("Program")) {
                    return std::unexpected(std::move(warning));
                }
                job_.warnings.push_back(std::move(warning));
            }
        }
        return finish();
    }

private:
    // Returns false for a value that is not supported.
    using Handler = bool (*)(Parser& parser, const Value& value);

    static const std::map<std::string_view, Handler>& handlers()
    {
        static const std::map<std::string_view, Handler> all {
            {"Label", [](Parser&, const Value&) { return true; }},
            {"Disabled", [](Parser& p, const Value& v) { return p.parseDisabled(v); }},
            {"Program", [](Parser& p, const Value& v) { return readText(v, p.job_.program); }},
            {"ProgramArguments", [](Parser& p, const Value& v) { return p.parseArguments(v); }},
            {"EnvironmentVariables", [](Parser& p, const Value& v) { return p.parseVariables(v); }},
            {"WorkingDirectory", [](Parser& p, const Value& v) { return readText(v, p.job_.workingDirectory); }},
            {"StandardOutPath", [](Parser& p, const Value& v) { return readText(v, p.job_.outputPath); }},
            {"StandardErrorPath", [](Parser& p, const Value& v) { return readText(v, p.job_.errorPath); }},
            {"RunAtLoad", [](Parser& p, const Value& v) { return read(v, p.job_.runAtLoad); }},
            {"KeepAlive", [](Parser& p, const Value& v) { return p.parseKeepAlive(v); }},
            {"ThrottleInterval", [](Parser& p, const Value& v) { return readSeconds(v, p.job_.throttleInterval); }},
            {"ExitTimeOut", [](Parser& p, const Value& v) { return readSeconds(v, p.job_.exitTimeOut); }},
            {"StartInterval", [](Parser& p, const Value& v) { return p.parseStartInterval(v); }},
            {"Nice", [](Parser& p, const Value& v) { return p.parseNice(v); }},
            {"Umask", [](Parser& p, const Value& v) { return readUmask(v, p.job_.umask); }},
            {"ProcessType", [](Parser& p, const Value& v) { return p.parseProcessType(v); }},
            {"SoftResourceLimits",
             [](Parser& p, const Value& v) { return p.parseLimits("SoftResourceLimits", v, &ResourceLimit::soft); }},
            {"HardResourceLimits",
             [](Parser& p, const Value& v) { return p.parseLimits("HardResourceLimits", v, &ResourceLimit::hard); }},
        };
        return all;
    }

    void warn(const std::string& key) { job_.warnings.push_back(unsupportedKey(job_.label, key)); }

    // false is the default.
    bool parseDisabled(const Value& value)
    {
        bool disabled = false;
        const bool valid = read(value, disabled);
        if (disabled) {
            warn("Disabled");
        }
        return valid;
    }

    bool parseArguments(const Value& value)
    {
        Value::Array items;
        read(value, items);
        job_.arguments.resize(items.size());
        return !items.empty() && std::ranges::equal(items, job_.arguments, [](const Value& item, std::string& text) {
            return read(item, text);
        });
    }

    bool parseVariables(const Value& value)
    {
        Value::Dictionary variables;
        const bool valid = read(value, variables);
        for (const auto& [name, item] : variables) {
            std::string text;
            if (read(item, text) && !name.empty() && !name.contains('=')) {
                job_.environment[name] = text;
            } else {
                warn("EnvironmentVariables." + name);
            }
        }
        return valid;
    }

    bool parseKeepAlive(const Value& value)
    {
        bool always = false;
        if (read(value, always)) {
            job_.restart = always ? "always" : "no";
            return true;
        }
        Value::Dictionary conditions;
        const bool valid = read(value, conditions);
        std::optional<bool> afterSuccess;
        bool afterCrash = false;
        for (const auto& [key, item] : conditions) {
            bool wanted = false;
            const bool isFlag = read(item, wanted);
            if (key == "SuccessfulExit" && isFlag) {
                afterSuccess = wanted;
            } else if (key == "Crashed" && wanted) {
                afterCrash = true;
            } else {
                warn("KeepAlive." + key);
            }
        }
        setConditions(afterSuccess, afterCrash);
        return valid;
    }

    // The conditions are alternatives. "on-failure" includes crashes.
    void setConditions(std::optional<bool> afterSuccess, bool afterCrash)
    {
        if (afterSuccess) {
            job_.restart = *afterSuccess ? "on-success" : "on-failure";
            needsExit_ = true;
        } else if (afterCrash) {
            job_.restart = "on-abnormal";
        }
        if (afterSuccess.value_or(false) && afterCrash) {
            warn("KeepAlive.Crashed");
        }
    }

    bool parseStartInterval(const Value& value)
    {
        std::uint32_t seconds = 0;
        const bool valid = readSeconds(value, seconds) && seconds > 0;
        job_.startInterval = valid ? std::optional(seconds) : std::nullopt;
        return valid;
    }

    bool parseNice(const Value& value)
    {
        std::int64_t nice = 0;
        const bool valid = readNumber(value, ::geteuid() == 0 ? -20 : 0, 20, nice);
        constexpr std::int64_t most = 19; // Linux has no 20
        job_.nice = valid ? std::optional(static_cast<int>(std::min(nice, most))) : std::nullopt;
        return valid;
    }

    bool parseProcessType(const Value& value)
    {
        std::string type;
        read(value, type);
        job_.background = type == "Background";
        return job_.background || type == "Standard" || type == "Interactive";
    }

    bool parseLimits(const std::string& key, const Value& value, std::optional<std::uint64_t> ResourceLimit::* field)
    {
        Value::Dictionary limits;
        const bool valid = read(value, limits);
        for (const auto& [name, item] : limits) {
            const auto* known = std::ranges::find(limitNames, name, &LimitName::key);
            std::int64_t limit = 0;
            if (known != limitNames.end() && readNumber(item, 0, std::numeric_limits<std::int64_t>::max(), limit)) {
                limitNamed(*known).*field = static_cast<std::uint64_t>(limit);
            } else {
                warn(key + "." + name);
            }
        }
        return valid;
    }

    ResourceLimit& limitNamed(const LimitName& known)
    {
        const auto found = std::ranges::find(job_.limits, known.resource, &ResourceLimit::resource);
        if (found != job_.limits.end()) {
            return *found;
        }
        return job_.limits.emplace_back(ResourceLimit {.name = known.name, .resource = known.resource});
    }

    std::expected<Job, std::string> finish()
    {
        if (job_.program.empty() && !job_.arguments.empty()) {
            job_.program = job_.arguments.front();
        }
        if (job_.program.empty()) {
            return std::unexpected("The property list of “" + job_.label + "” has no program.");
        }
        if (job_.arguments.empty()) {
            job_.arguments = {job_.program};
        }
        job_.workingDirectory = absolute(job_.workingDirectory, "/");
        const std::string& program = job_.program;
        job_.program = program.contains('/') ? absolute(program, job_.workingDirectory) : findProgram(program);
        job_.outputPath = absolute(job_.outputPath, job_.workingDirectory);
        job_.errorPath = absolute(job_.errorPath, job_.workingDirectory);
        // launchd starts such a job at load too, because it has not run yet.
        job_.runAtLoad = job_.runAtLoad || job_.restart == "always" || needsExit_;
        return std::move(job_);
    }

    Job job_;
    bool needsExit_ = false; // KeepAlive depends on the exit status
};

} // namespace

std::expected<Job, std::string> parse(std::string_view bytes)
{
    const auto root = ManagerCore::PropertyList::value(ManagerCore::PropertyList::parse(bytes));
    const auto* list = std::get_if<Value::Dictionary>(&root.content);
    if (list == nullptr) {
        return std::unexpected("The property list is malformed.");
    }
    const auto entry = std::ranges::find(*list, "Label", &Value::Entry::key);
    std::string label;
    if (entry == list->end() || !readText(entry->value, label)) {
        return std::unexpected("The property list has no label.");
    }
    if (!Label::isValid(label)) {
        return std::unexpected("The label of the property list is too long.");
    }
    return Parser(std::move(label)).parse(*list);
}

} // namespace LinuxTools::JobParser
