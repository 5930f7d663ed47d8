#include "LinuxTools/Launchctl/JobReader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include <plist/plist.h>

#include "LinuxTools/Launchctl/UnitName.h"
#include "ManagerCore/Foundation/PropertyList.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Platform/ErrorText.h"

namespace LinuxTools::JobReader
{

namespace
{

constexpr std::uintmax_t sizeLimit = std::uintmax_t {1} << 20;

using OwnedText = std::unique_ptr<char, decltype(&std::free)>;

OwnedText owned(char* text) { return {text, &std::free}; }

std::optional<bool> boolOf(plist_t node)
{
    if (plist_get_node_type(node) != PLIST_BOOLEAN) {
        return std::nullopt;
    }
    std::uint8_t value = 0;
    plist_get_bool_val(node, &value);
    return value != 0;
}

std::optional<std::int64_t> integerOf(plist_t node)
{
    if (plist_get_node_type(node) != PLIST_UINT) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    plist_get_uint_val(node, &value);
    return static_cast<std::int64_t>(value); // the library hands negative ones over in two's complement
}

std::optional<std::uint32_t> secondsOf(plist_t node)
{
    const auto value = integerOf(node);
    if (!value || *value < 0 || *value > std::numeric_limits<std::int32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(*value);
}

std::optional<std::string> textOf(plist_t node)
{
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) {
        return std::nullopt;
    }
    char* text = nullptr;
    plist_get_string_val(node, &text);
    const OwnedText release = owned(text);
    return text != nullptr ? text : "";
}

std::optional<std::vector<std::string>> textsOf(plist_t node)
{
    if (plist_get_node_type(node) != PLIST_ARRAY) {
        return std::nullopt;
    }
    std::vector<std::string> texts;
    const std::uint32_t count = plist_array_get_size(node);
    for (std::uint32_t index = 0; index < count; index++) {
        auto text = textOf(plist_array_get_item(node, index));
        if (!text) {
            return std::nullopt;
        }
        texts.push_back(std::move(*text));
    }
    return texts;
}

// False when it is no dictionary.
bool forEach(plist_t node, const std::function<void(const std::string& key, plist_t value)>& entry)
{
    if (plist_get_node_type(node) != PLIST_DICT) {
        return false;
    }
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    const std::unique_ptr<void, decltype(&std::free)> release(iterator, &std::free);
    while (iterator != nullptr) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iterator, &key, &value);
        const OwnedText name = owned(key);
        if (value == nullptr) {
            break;
        }
        entry(key != nullptr ? key : "", value);
    }
    return true;
}

struct LimitName {
    const char* key;
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

// As launchd finds a program that is named without a folder.
std::string searched(const std::string& name)
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

// Takes the keys of one property list over into a job.
class Taker
{
public:
    explicit Taker(std::string label) { job_.label = std::move(label); }

    std::expected<Job, std::string> take(plist_t root)
    {
        forEach(root, [this](const std::string& key, plist_t value) { takeKey(key, value); });
        if (!malformed_.empty()) {
            return std::unexpected(malformed_);
        }
        return completed();
    }

private:
    struct Rule {
        const char* key;
        bool (Taker::*take)(plist_t value); // false when the value does not suit the key
    };
    static const std::array<Rule, 17> rules;

    void takeKey(const std::string& key, plist_t value)
    {
        if (key == "Label") {
            return; // read beforehand
        }
        const auto* rule = std::ranges::find_if(rules, [&key](const Rule& each) { return key == each.key; });
        if (rule == rules.end()) {
            remark(key, "has no counterpart here");
        } else if (!(this->*rule->take)(value)) {
            remark(key, "has an unsuitable value");
        }
    }

    void remark(const std::string& key, const std::string& why)
    {
        job_.remarks.push_back(leftOut("the key “" + key + "”", job_.label, why));
    }

    // Off is what stands when the key is absent.
    bool takeDisabled(plist_t value)
    {
        const auto disabled = boolOf(value);
        if (disabled.value_or(false)) {
            remark("Disabled", "has no counterpart here");
        }
        return disabled.has_value();
    }

    bool takeProgram(plist_t value)
    {
        program_ = textOf(value);
        if (!program_ || program_->empty()) {
            malformed_ = "The key “Program” of “" + job_.label + "” is no text that names a program.";
        }
        return true;
    }

    bool takeArguments(plist_t value)
    {
        auto arguments = textsOf(value);
        if (!arguments || arguments->empty()) {
            malformed_ = "The key “ProgramArguments” of “" + job_.label + "” is no list of texts that names a program.";
            return true;
        }
        job_.arguments = std::move(*arguments);
        return true;
    }

    bool takeEnvironment(plist_t value)
    {
        return forEach(value, [this](const std::string& name, plist_t entry) {
            const auto text = textOf(entry);
            if (!text) {
                remark("EnvironmentVariables." + name, "has an unsuitable value");
            } else if (name.empty() || name.contains('=')) {
                remark("EnvironmentVariables." + name, "is no name of an environment variable");
            } else {
                job_.environment[name] = *text;
            }
        });
    }

    static bool takeText(plist_t value, std::string& field)
    {
        const auto text = textOf(value);
        field = text.value_or(field);
        return text && !text->empty();
    }
    bool takeFolder(plist_t value)
    {
        std::string folder;
        const bool suits = takeText(value, folder);
        job_.workingDirectory = suits ? absolute(folder, "/") : "/";
        return suits;
    }
    bool takeOutput(plist_t value) { return takeText(value, job_.outputPath); }
    bool takeError(plist_t value) { return takeText(value, job_.errorPath); }

    bool takeRunAtLoad(plist_t value)
    {
        const auto atLoad = boolOf(value);
        job_.startsAtLoad = job_.startsAtLoad || atLoad.value_or(false);
        return atLoad.has_value();
    }

    bool takeKeepAlive(plist_t value)
    {
        if (const auto always = boolOf(value)) {
            job_.restart = *always ? Restart::always : Restart::never;
            job_.startsAtLoad = job_.startsAtLoad || *always;
            return true;
        }
        const bool suits
            = forEach(value, [this](const std::string& key, plist_t entry) { takeKeepAliveKey(key, entry); });
        settleRestart();
        return suits;
    }

    void takeKeepAliveKey(const std::string& key, plist_t value)
    {
        const auto wanted = boolOf(value);
        if (key == "SuccessfulExit" && wanted) {
            afterSuccess_ = wanted;
        } else if (key == "Crashed" && wanted.value_or(false)) {
            afterCrash_ = true;
        } else {
            remark("KeepAlive." + key, "has no counterpart here");
        }
    }

    // Its conditions are alternatives; an unsuccessful exit includes a crash.
    void settleRestart()
    {
        if (!afterSuccess_) {
            job_.restart = afterCrash_ ? Restart::onCrash : Restart::never;
            return;
        }
        job_.restart = *afterSuccess_ ? Restart::onSuccess : Restart::onFailure;
        job_.startsAtLoad = true; // it has to run once before its exit can be judged
        if (*afterSuccess_ && afterCrash_) {
            remark("KeepAlive.Crashed", "has no counterpart here beside “SuccessfulExit”");
        }
    }

    bool takeThrottle(plist_t value) { return takeSeconds(value, job_.throttleInterval); }
    bool takeExitTimeOut(plist_t value) { return takeSeconds(value, job_.exitTimeOut); }
    static bool takeSeconds(plist_t value, std::uint32_t& field)
    {
        const auto seconds = secondsOf(value);
        field = seconds.value_or(field);
        return seconds.has_value();
    }

    bool takeStartInterval(plist_t value)
    {
        const auto seconds = secondsOf(value);
        if (!seconds || *seconds == 0) {
            return false;
        }
        job_.startInterval = seconds;
        return true;
    }

    bool takeNice(plist_t value)
    {
        const auto nice = integerOf(value);
        if (!nice || *nice < -20 || *nice > 20) {
            return false;
        }
        job_.nice = std::min(static_cast<int>(*nice), 19); // this system ends one earlier
        return true;
    }

    // A number as it is; a text as C reads one, where "022" is octal.
    bool takeUmask(plist_t value)
    {
        std::int64_t mask = integerOf(value).value_or(-1);
        if (const auto text = textOf(value)) {
            const bool octal = text->size() > 1 && text->starts_with('0');
            const char* end = text->data() + text->size();
            const auto read = std::from_chars(text->data(), end, mask, octal ? 8 : 10);
            mask = read.ec == std::errc {} && read.ptr == end ? mask : -1;
        }
        if (mask < 0 || mask > 0777) {
            return false;
        }
        job_.umask = static_cast<unsigned>(mask);
        return true;
    }

    bool takeProcessType(plist_t value)
    {
        const std::string type = textOf(value).value_or("");
        job_.background = type == "Background";
        // An interactive process is one without restraints, as here every process is.
        return job_.background || type == "Standard" || type == "Interactive";
    }

    bool takeSoftLimits(plist_t value) { return takeLimits(value, "SoftResourceLimits", &ResourceLimit::soft); }
    bool takeHardLimits(plist_t value) { return takeLimits(value, "HardResourceLimits", &ResourceLimit::hard); }
    bool takeLimits(plist_t value, const std::string& key, std::optional<std::uint64_t> ResourceLimit::* field)
    {
        return forEach(value, [&](const std::string& name, plist_t entry) {
            const auto limit = integerOf(entry);
            const auto* known
                = std::ranges::find_if(limitNames, [&name](const LimitName& each) { return name == each.key; });
            if (known == limitNames.end() || !limit || *limit < 0) {
                remark(key + "." + name, known == limitNames.end() ? "has no counterpart here" : "is no number");
                return;
            }
            limitNamed(*known).*field = static_cast<std::uint64_t>(*limit);
        });
    }

    ResourceLimit& limitNamed(const LimitName& known)
    {
        const auto found = std::ranges::find(job_.limits, known.resource, &ResourceLimit::resource);
        if (found != job_.limits.end()) {
            return *found;
        }
        job_.limits.push_back({.name = known.name, .resource = known.resource, .soft = {}, .hard = {}});
        return job_.limits.back();
    }

    std::expected<Job, std::string> completed()
    {
        if (!program_ && job_.arguments.empty()) {
            return std::unexpected("“" + job_.label + "” names no program to run.");
        }
        const std::string named = program_ ? *program_ : job_.arguments.front();
        if (named.empty()) {
            return std::unexpected("The first of the “ProgramArguments” of “" + job_.label + "” is empty.");
        }
        if (job_.arguments.empty()) {
            job_.arguments = {named};
        }
        job_.program = named.contains('/') ? absolute(named, job_.workingDirectory) : searched(named);
        job_.outputPath = absolute(job_.outputPath, job_.workingDirectory);
        job_.errorPath = absolute(job_.errorPath, job_.workingDirectory);
        return std::move(job_);
    }

    Job job_;
    std::optional<std::string> program_;
    std::optional<bool> afterSuccess_;
    bool afterCrash_ = false;
    std::string malformed_;
};

const std::array<Taker::Rule, 17> Taker::rules {{
    {.key = "Disabled", .take = &Taker::takeDisabled},
    {.key = "Program", .take = &Taker::takeProgram},
    {.key = "ProgramArguments", .take = &Taker::takeArguments},
    {.key = "EnvironmentVariables", .take = &Taker::takeEnvironment},
    {.key = "WorkingDirectory", .take = &Taker::takeFolder},
    {.key = "StandardOutPath", .take = &Taker::takeOutput},
    {.key = "StandardErrorPath", .take = &Taker::takeError},
    {.key = "RunAtLoad", .take = &Taker::takeRunAtLoad},
    {.key = "KeepAlive", .take = &Taker::takeKeepAlive},
    {.key = "ThrottleInterval", .take = &Taker::takeThrottle},
    {.key = "ExitTimeOut", .take = &Taker::takeExitTimeOut},
    {.key = "StartInterval", .take = &Taker::takeStartInterval},
    {.key = "Nice", .take = &Taker::takeNice},
    {.key = "Umask", .take = &Taker::takeUmask},
    {.key = "ProcessType", .take = &Taker::takeProcessType},
    {.key = "SoftResourceLimits", .take = &Taker::takeSoftLimits},
    {.key = "HardResourceLimits", .take = &Taker::takeHardLimits},
}};

} // namespace

std::expected<std::string, std::string> readBytes(const std::filesystem::path& propertyList)
{
    struct stat found {};
    if (::stat(propertyList.c_str(), &found) == 0 && S_ISREG(found.st_mode)
        && std::cmp_greater(found.st_size, sizeLimit)) {
        return std::unexpected(ManagerCore::Platform::ErrorText::reading(EFBIG, propertyList));
    }
    return ManagerCore::Text::readBytes(propertyList);
}

std::expected<Job, std::string> parse(std::string_view bytes)
{
    const auto tree = ManagerCore::PropertyList::parse(bytes);
    if (!tree || plist_get_node_type(tree.get()) != PLIST_DICT) {
        return std::unexpected("The property list is malformed.");
    }
    auto label = textOf(plist_dict_get_item(tree.get(), "Label"));
    if (!label || label->empty()) {
        return std::unexpected("The property list has no label.");
    }
    if (!UnitName::isPossible(*label)) {
        return std::unexpected("The label of the property list is too long.");
    }
    return Taker(std::move(*label)).take(tree.get());
}

} // namespace LinuxTools::JobReader
