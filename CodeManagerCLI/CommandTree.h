#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

// Something is wrong with how the program was called: one sentence, and the command whose help tells more.
struct UsageError {
    std::string sentence;
    std::string command;
};

// What an argument or an option's value is, for help and completion: the name of its type in the tree.
namespace ValueType
{

inline constexpr const char* path = "PATH"; // anything on disk
inline constexpr const char* file = "FILE";
inline constexpr const char* folder = "DIR";
inline constexpr const char* root = "ROOT"; // a folder that holds a store of weights

} // namespace ValueType

// The nouns, verbs and options that the program knows, and what each command does.
class CommandTree
{
public:
    using Action = std::function<int(const Context&)>;

    // With the global options and no commands.
    CommandTree();

    // Declares a command. It wants an action or verbs below it.
    CLI::App& noun(const std::string& name, const std::string& summary, Action action = {});
    CLI::App& verb(CLI::App& noun, const std::string& name, const std::string& summary, Action action = {});
    void setAction(const CLI::App& command, Action action);

    // The paths that a command takes. They are known when its action is called.
    std::shared_ptr<std::vector<std::string>> paths(CLI::App& command, const std::string& summary);

    // Arguments of another name, or an option such as "--to" that takes a value and may be given several times; `type`
    // is a value type, or what to call a value that is nothing on disk.
    struct Taken {
        std::string name;
        const char* type = ValueType::path;
        std::string summary;
        bool required = false;
        bool several = false;
    };
    std::shared_ptr<std::vector<std::string>> take(CLI::App& command, const Taken& taken);
    // An option with a value, known when the command's action is called; the last one given counts.
    std::shared_ptr<std::optional<std::string>>
    value(CLI::App& command, const std::string& name, const std::string& type, const std::string& summary);

    // Reads the program's arguments. Throws UsageError, or CLI::CallForHelp and CLI::CallForVersion.
    void parse(const std::vector<std::string>& arguments);

    // After `parse`, complete or not: the command that was named, as far as it was recognised.
    [[nodiscard]] const CLI::App& selected() const;
    // After a complete `parse`: runs the command.
    [[nodiscard]] int run(Output& output) const;

    [[nodiscard]] const CLI::App& root() const { return root_; }

private:
    CLI::App& add(CLI::App& parent, const std::string& name, const std::string& summary, Action action);
    [[nodiscard]] std::string whatIsWrong(const CLI::ParseError& error) const;

    CLI::App root_;
    bool json_ = false;
    std::string identityFile_;
    CLI::Option* identityOption_ = nullptr;
    std::map<const CLI::App*, Action> actions_;
    std::vector<std::shared_ptr<std::vector<std::string>>> arguments_;
    std::vector<std::shared_ptr<std::optional<std::string>>> values_;
};

// A flag of a command, known when its action is called.
std::shared_ptr<bool> addFlag(CLI::App& command, const std::string& name, const std::string& summary);

// Gives a command that changes something its --dry-run, known when its action is called.
std::shared_ptr<bool> addDryRun(CLI::App& command);

// "zyn-code-manager service start"
std::string fullName(const CLI::App& command);

} // namespace CodeManagerCLI
