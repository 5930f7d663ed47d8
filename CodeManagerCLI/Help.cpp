#include "CodeManagerCLI/Help.h"

#include <algorithm>
#include <cstddef>

#include "CodeManagerCLI/CommandTree.h"

namespace CodeManagerCLI::Help
{

namespace
{

struct Entry {
    std::string name;
    std::string summary;
};

std::string section(const std::string& title, const std::vector<Entry>& entries)
{
    if (entries.empty()) {
        return {};
    }
    std::size_t width = 0;
    for (const Entry& entry : entries) {
        width = std::max(width, entry.name.size());
    }
    std::string text = "\n" + title + ":\n";
    for (const Entry& entry : entries) {
        text += "  " + entry.name + std::string(width - entry.name.size() + 2, ' ') + entry.summary + "\n";
    }
    return text;
}

std::string joinedNames(const CLI::Option& option)
{
    std::string names;
    for (const std::string& name : namesOf(option)) {
        names += (names.empty() ? "" : ", ") + name;
    }
    return takesValue(option) ? names + " " + option.get_type_name() : names;
}

std::string usage(const CLI::App& command)
{
    std::string text = "Usage: " + fullName(command) + " [OPTION...]";
    if (!command.get_subcommands({}).empty()) {
        text += " COMMAND";
    }
    for (const CLI::Option* option : command.get_options()) {
        if (option->nonpositional() && option->get_required()) {
            text += " " + joinedNames(*option);
        }
    }
    for (const CLI::Option* argument : argumentsOf(command)) {
        const std::string words = argument->get_name() + (argument->get_items_expected_max() > 1 ? "..." : "");
        text += argument->get_required() ? " " + words : " [" + words + "]";
    }
    return text + "\n";
}

std::vector<Entry> entriesOf(const std::vector<const CLI::App*>& commands)
{
    std::vector<Entry> entries;
    entries.reserve(commands.size());
    for (const CLI::App* command : commands) {
        entries.push_back({command->get_name(), command->get_description()});
    }
    return entries;
}

std::vector<Entry> entriesOf(const std::vector<const CLI::Option*>& options)
{
    std::vector<Entry> entries;
    entries.reserve(options.size());
    for (const CLI::Option* option : options) {
        const std::string name = option->get_positional() ? option->get_name() : joinedNames(*option);
        entries.push_back({name, option->get_description()});
    }
    return entries;
}

} // namespace

std::string of(const CLI::App& command)
{
    return usage(command) + "\n" + command.get_description() + "\n"
        + section("Commands", entriesOf(command.get_subcommands({})))
        + section("Arguments", entriesOf(argumentsOf(command))) + section("Options", entriesOf(optionsOf(command)));
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command)
{
    std::vector<const CLI::Option*> options;
    for (const CLI::App* level = &command; level != nullptr; level = level->get_parent()) {
        for (const CLI::Option* option : level->get_options()) {
            const bool known = std::ranges::any_of(
                options, [option](const CLI::Option* each) { return namesOf(*each) == namesOf(*option); });
            if (!known && option->nonpositional()) {
                options.push_back(option);
            }
        }
    }
    // What every command has comes last.
    std::ranges::stable_partition(options, [](const CLI::Option* option) { return !option->check_lname("help"); });
    return options;
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& command)
{
    return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::vector<std::string> namesOf(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

} // namespace CodeManagerCLI::Help
