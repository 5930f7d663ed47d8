#include "CodeManagerCLI/CommandTree.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "CodeManagerCLI/Arguments.h"
#include "CodeManagerCLI/Output.h"
#include "ManagerCore/Foundation/Text.h"

namespace CodeManagerCLI
{

namespace Text = ManagerCore::Text;

namespace
{

std::string namesOf(const std::vector<const CLI::App*>& commands)
{
    std::string names;
    for (const CLI::App* command : commands) {
        names += (names.empty() ? "" : ", ") + command->get_name();
    }
    return names;
}

std::string unexpected(const CLI::App& command, const std::string& word)
{
    if (command.get_subcommands({}).empty()) {
        return Text::inQuotes(fullName(command)) + " does not expect the argument " + Text::inQuotes(word) + ".";
    }
    return Text::inQuotes(word) + " is not a command of " + Text::inQuotes(fullName(command)) + ".";
}

// The first word that no argument of the command has room for.
std::optional<std::string> wordTooMany(const CLI::App& command)
{
    for (const CLI::Option* option : command.get_options()) {
        const auto room = static_cast<std::size_t>(option->get_items_expected_max());
        if (option->get_positional() && option->count() > room) {
            return option->results()[room];
        }
    }
    return std::nullopt;
}

std::string missingArgument(const CLI::App& command)
{
    const auto options
        = command.get_options([](const CLI::Option* option) { return option->get_required() && option->count() == 0; });
    if (options.empty()) {
        return {};
    }
    const CLI::Option& missing = *options.front();
    const std::string name = missing.get_name();
    if (missing.nonpositional()) {
        return Text::inQuotes(fullName(command)) + " needs " + name + " " + missing.get_type_name() + ".";
    }
    return Text::inQuotes(fullName(command)) + " needs " + (name.starts_with('I') ? "an " : "a ") + name + ".";
}

} // namespace

CommandTree::CommandTree()
    : root_("Manages one command-line product and what it has put on this machine", "zyn-code-manager")
{
    root_.fallthrough(); // the global options hold after a command, too
    root_.require_subcommand(1);
    root_.set_help_flag("-h,--help", "Show this help");
    identityOption_ = root_.add_option("--identity", identityFile_, "Read the product's descriptor from this file")
                          ->type_name(ValueType::file)
                          ->take_last();
    root_.add_flag("--json", json_, "Print one JSON document")->disable_flag_override();
    root_.set_version_flag("--version", "zyn-code-manager " CODE_MANAGER_VERSION, "Show the version");
}

CLI::App& CommandTree::noun(const std::string& name, const std::string& summary, Action action)
{
    return add(root_, name, summary, std::move(action));
}

CLI::App& CommandTree::verb(CLI::App& noun, const std::string& name, const std::string& summary, Action action)
{
    noun.require_subcommand(1);
    return add(noun, name, summary, std::move(action));
}

CLI::App& CommandTree::add(CLI::App& parent, const std::string& name, const std::string& summary, Action action)
{
    CLI::App& command = *parent.add_subcommand(name, summary);
    if (action) {
        setAction(command, std::move(action));
    }
    return command;
}

void CommandTree::setAction(const CLI::App& command, Action action)
{
    actions_.insert_or_assign(&command, std::move(action));
}

std::shared_ptr<std::vector<std::string>> CommandTree::paths(CLI::App& command, const std::string& summary)
{
    return take(command, {.name = ValueType::path, .summary = summary, .required = true, .several = true});
}

std::shared_ptr<std::vector<std::string>> CommandTree::take(CLI::App& command, const Taken& taken)
{
    auto words = std::make_shared<std::vector<std::string>>();
    CLI::Option* option = command.add_option(taken.name, *words, taken.summary);
    option->type_name(taken.type)->required(taken.required);
    if (option->nonpositional()) {
        option->allow_extra_args(false); // one value each time it is given
    } else if (!taken.several) {
        option->expected(1);
    }
    arguments_.push_back(words);
    return words;
}

std::shared_ptr<std::optional<std::string>>
CommandTree::value(CLI::App& command, const std::string& name, const std::string& type, const std::string& summary)
{
    auto given = std::make_shared<std::optional<std::string>>();
    command.add_option_function<std::string>(
               name, [given](const std::string& word) { *given = word; }, summary)
        ->type_name(type)
        ->take_last();
    values_.push_back(given);
    return given;
}

void CommandTree::parse(const std::vector<std::string>& arguments)
{
    std::vector<std::string> words = Arguments::shielded(root_, arguments);
    std::ranges::reverse(words); // the order in which CLI11 wants them
    try {
        root_.parse(words);
    } catch (const CLI::Success&) {
        throw;
    } catch (const CLI::ParseError& error) {
        throw UsageError {whatIsWrong(error), fullName(selected())};
    }
    for (const auto& each : arguments_) {
        std::ranges::transform(*each, each->begin(), Arguments::plain);
    }
    for (const auto& each : values_) {
        *each = each->transform(Arguments::plain);
    }
}

const CLI::App& CommandTree::selected() const
{
    const CLI::App* command = &root_;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
    }
    return *command;
}

int CommandTree::run(Output& output) const
{
    const auto named = identityOption_->count() > 0 ? std::optional(Arguments::plain(identityFile_)) : std::nullopt;
    return actions_.at(&selected())({.output = output, .json = json_, .identityFile = named});
}

// Told from the tree's state and not from CLI11's messages, which differ between its versions.
std::string CommandTree::whatIsWrong(const CLI::ParseError& error) const
{
    const CLI::App& command = selected();
    if (const auto extras = root_.remaining(true); !extras.empty()) {
        return unexpected(command, Arguments::plain(extras.front()));
    }
    if (const auto below = command.get_subcommands({}); !below.empty()) {
        return Text::inQuotes(fullName(command)) + " needs a command: " + namesOf(below) + ".";
    }
    if (const auto word = wordTooMany(command)) {
        return unexpected(command, Arguments::plain(*word));
    }
    const std::string missing = missingArgument(command);
    return missing.empty() ? std::string(error.what()) + "." : missing;
}

std::shared_ptr<bool> addFlag(CLI::App& command, const std::string& name, const std::string& summary)
{
    auto flag = std::make_shared<bool>(false);
    command.add_flag(name, *flag, summary)->disable_flag_override();
    return flag;
}

std::shared_ptr<bool> addDryRun(CLI::App& command)
{
    return addFlag(command, "--dry-run", "Print what would happen and touch nothing");
}

std::string fullName(const CLI::App& command)
{
    const CLI::App* parent = command.get_parent();
    return parent == nullptr ? command.get_name() : fullName(*parent) + " " + command.get_name();
}

} // namespace CodeManagerCLI
