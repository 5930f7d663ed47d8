#include <algorithm>

#include "ManagerCore/Doctor/Checks.h"
#include "ManagerCore/Doctor/Report.h"
#include "ManagerCore/Foundation/DescriptorFields.h"
#include "ManagerCore/Foundation/Text.h"

namespace ManagerCore::Doctor
{

namespace
{

struct Key {
    std::string_view name;
    bool isList = false;
};

std::vector<Key> knownKeys()
{
    std::vector<Key> keys;
    const auto add
        = [&keys](const auto& field) { keys.push_back({.name = field.key, .isList = field.list != nullptr}); };
    std::ranges::for_each(DescriptorFields::identity, add);
    std::ranges::for_each(DescriptorFields::actions, add);
    return keys;
}

constexpr std::size_t longestKey = 40; // that is shown whole

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
                        "fix " + inQuotes(file_) + " or name another descriptor with --identity or CM_IDENTITY_TOML"));
            return report_.take();
        }
        map_ = Descriptor::parse(*text);
        if (map_.empty()) {
            report_.fail("The descriptor " + inQuotes(file_)
                         + " has no keys, so the product is unknown: add lines such as name = \"zyn\".");
            return report_.take();
        }
        lookAtUnknownKeys();
        lookAtValues();
        lookAtMissingKeys();
        lookAtChanges();
        if (good_) {
            report_.ok("The descriptor " + inQuotes(file_) + " gives all " + std::to_string(keys_.size()) + " keys.");
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
        for (const auto& [key, value] : map_.entries()) {
            if (std::ranges::find(keys_, key, &Key::name) == keys_.end()) {
                warn("The key " + inQuotes(Text::firstCharacters(key, longestKey)) + " in " + inQuotes(file_)
                     + " is unknown: correct its name or remove the line.");
            }
        }
    }

    void lookAtValues()
    {
        for (const Key& key : keys_) {
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
            fail("The value of " + place + " is not a list and is ignored: put it in brackets.");
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
        for (const Key& key : keys_) {
            if (!map_.find(key.name)) {
                missing.push_back(inQuotes(key.name));
            }
        }
        if (!missing.empty()) {
            warn("The descriptor " + inQuotes(file_) + " lacks " + joined(missing)
                 + ": add what the product has of these.");
        }
    }

    void lookAtChanges()
    {
        const auto identity = Identity::load(file_);
        if (identity && (*identity != subject_.identity || ManagerActions::load(file_) != subject_.actions)) {
            warn("The descriptor " + inQuotes(file_)
                 + " was changed after it was read: start this program again to use it.");
        }
    }

    const Subject& subject_;
    const std::filesystem::path& file_;
    std::vector<Key> keys_ = knownKeys();
    Descriptor::Map map_;
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
