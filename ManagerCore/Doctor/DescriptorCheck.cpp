#include <algorithm>
#include <array>
#include <set>

#include "ManagerCore/Doctor/Checks.h"
#include "ManagerCore/Doctor/Report.h"
#include "ManagerCore/Foundation/Descriptor.h"
#include "ManagerCore/Foundation/Text.h"

namespace ManagerCore::Doctor
{

namespace
{

struct Key {
    std::string_view name;
    bool isList = false;
};

// Everything that Identity and ManagerActions read.
constexpr std::array keys {
    Key {.name = "name"},
    Key {.name = "display"},
    Key {.name = "bundle_prefix"},
    Key {.name = "app_paths", .isList = true},
    Key {.name = "binaries", .isList = true},
    Key {.name = "config_dirs", .isList = true},
    Key {.name = "model_paths", .isList = true},
    Key {.name = "model_locations", .isList = true},
    Key {.name = "model_display"},
    Key {.name = "editor_extension_id"},
    Key {.name = "identity_marker"},
    Key {.name = "sweep_names", .isList = true},
    Key {.name = "sweep_dirs", .isList = true},
    Key {.name = "defaults_path"},
    Key {.name = "launch_agent"},
    Key {.name = "server_bin"},
    Key {.name = "server_port"},
    Key {.name = "server_log"},
    Key {.name = "model_served"},
};

constexpr std::size_t longestKey = 40; // of those that could be meant for one of them
constexpr std::size_t guessedAt = 15; // so many unknown ones, for a file may be anything

// How many letters have to be put in, left out or changed to make one word of the other.
std::size_t distance(std::string_view one, std::string_view other)
{
    std::vector<std::size_t> row(other.size() + 1);
    for (std::size_t column = 0; column < row.size(); column++) {
        row[column] = column;
    }
    for (std::size_t line = 1; line <= one.size(); line++) {
        std::size_t above = row[0];
        row[0] = line;
        for (std::size_t column = 1; column <= other.size(); column++) {
            const std::size_t changed = above + (one[line - 1] == other[column - 1] ? 0 : 1);
            above = row[column];
            row[column] = std::min({row[column] + 1, row[column - 1] + 1, changed});
        }
    }
    return row.back();
}

std::string plain(std::string_view key)
{
    std::string text = Text::lowercased(key);
    std::ranges::replace(text, '-', '_');
    return text;
}

// The key that was probably meant; empty when none comes near.
std::string_view meant(std::string_view key)
{
    if (key.size() > longestKey) {
        return {};
    }
    const std::string given = plain(key);
    std::string_view nearest;
    std::size_t least = 3;
    for (const Key& known : keys) {
        const std::size_t away = distance(given, known.name);
        if (away < least && away * 3 < known.name.size()) {
            least = away;
            nearest = known.name;
        }
    }
    return nearest;
}

bool isBalanced(std::string_view value) { return std::ranges::count(value, '[') == std::ranges::count(value, ']'); }

bool isQuote(char letter) { return letter == '"' || letter == '\''; }

bool quotesMatch(std::string_view value)
{
    if (value.empty() || (!isQuote(value.front()) && !isQuote(value.back()))) {
        return true;
    }
    return value.size() > 1 && value.front() == value.back();
}

class DescriptorCheck
{
public:
    DescriptorCheck(const Subject& subject, const std::filesystem::path& file)
        : subject_(subject)
        , file_(file)
    {
    }

    std::vector<Finding> findings()
    {
        const auto text = Text::readFile(file_);
        if (!text) {
            report_.fail(
                advised(text.error(),
                        "mend " + inQuotes(file_) + " or name another descriptor with --identity or CM_IDENTITY_TOML"));
            return report_.take();
        }
        map_ = Descriptor::parse(*text);
        if (map_.empty()) {
            report_.fail("The descriptor " + inQuotes(file_)
                         + " says nothing, so nothing of the product is known: give it lines such as name = \"zyn\".");
            return report_.take();
        }
        lookAtUnknownKeys();
        lookAtValues();
        lookAtMissingKeys();
        lookAtChanges();
        if (good_) {
            report_.ok("The descriptor " + inQuotes(file_) + " gives all " + std::to_string(keys.size()) + " keys.");
        }
        return report_.take();
    }

private:
    void warn(std::string sentence)
    {
        good_ = false;
        report_.warn(std::move(sentence));
    }

    void fail(std::string sentence)
    {
        good_ = false;
        report_.fail(std::move(sentence));
    }

    void lookAtUnknownKeys()
    {
        std::size_t unknown = 0;
        for (const auto& [key, value] : map_.entries()) {
            if (std::ranges::find(keys, key, &Key::name) == keys.end() && ++unknown <= guessedAt) {
                lookAtUnknownKey(key);
            }
        }
        if (unknown > guessedAt) {
            warn(std::to_string(unknown - guessedAt) + " more keys in " + inQuotes(file_)
                 + " mean nothing: see whether it is a descriptor at all.");
        }
    }

    void lookAtUnknownKey(std::string_view key)
    {
        const std::string_view guess = meant(key);
        misspelt_.insert(guess);
        const std::string shown = inQuotes(Text::firstCharacters(key, longestKey));
        warn("The key " + shown + " in " + inQuotes(file_) + " means nothing: "
             + (guess.empty() ? "correct its name or take the line out."
                              : "write " + inQuotes(guess) + " if that is meant."));
    }

    void lookAtValues()
    {
        for (const Key& key : keys) {
            if (const auto value = map_.find(key.name)) {
                lookAtValue(key, *value);
            }
        }
    }

    void lookAtValue(const Key& key, std::string_view value)
    {
        const std::string place = inQuotes(key.name) + " in " + inQuotes(file_);
        if (!isBalanced(value)) {
            fail("The brackets of " + place + " do not match, so the lines around it are misread: close each "
                 + inQuotes("[") + " with a " + inQuotes("]") + ".");
        } else if (key.isList && !value.starts_with('[')) {
            fail("The value of " + place + " is no list and counts for nothing: put it in brackets.");
        } else if (!key.isList && value.starts_with('[')) {
            warn("The value of " + place + " is a list where one value is meant: take the brackets away.");
        } else if (!key.isList && !quotesMatch(value)) {
            warn("The value of " + place + " lacks a quotation mark: quote it whole and without " + inQuotes("#")
                 + ", which begins a comment everywhere.");
        }
    }

    void lookAtMissingKeys()
    {
        std::vector<std::string> missing;
        for (const Key& key : keys) {
            if (!map_.find(key.name) && !misspelt_.contains(key.name)) {
                missing.push_back(inQuotes(key.name));
            }
        }
        if (!missing.empty()) {
            warn("The descriptor " + inQuotes(file_) + " says nothing of " + joined(missing)
                 + ": add what the product has of that.");
        }
    }

    void lookAtChanges()
    {
        const auto identity = Identity::load(file_);
        if (identity && (*identity != subject_.identity || ManagerActions::load(file_) != subject_.actions)) {
            warn("The descriptor " + inQuotes(file_)
                 + " was changed after it had been read: start this program anew to go by what it says now.");
        }
    }

    const Subject& subject_;
    const std::filesystem::path& file_;
    Descriptor::Map map_;
    std::set<std::string_view> misspelt_;
    bool good_ = true;
    Report report_ {"descriptor"};
};

} // namespace

std::vector<Finding> checkDescriptor(const Subject& subject)
{
    if (subject.descriptor && !subject.descriptor->empty()) {
        return DescriptorCheck(subject, *subject.descriptor).findings();
    }
    Report report("descriptor");
    report.fail(
        subject.descriptor
            ? "The descriptor has an empty name: name a file with --identity or CM_IDENTITY_TOML."
            : "There is no descriptor, not even the “identity.toml” that comes with this program: name one with "
              "--identity or CM_IDENTITY_TOML.");
    return report.take();
}

} // namespace ManagerCore::Doctor
