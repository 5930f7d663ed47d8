#include "CodeManagerCLI/Arguments.h"

#include <cstddef>

#include "CodeManagerCLI/CommandTree.h"

namespace CodeManagerCLI::Arguments
{

namespace
{

constexpr char shield = '=';

bool looksLikeOption(const std::string& word) { return word.size() > 1 && word.front() == '-'; }

const CLI::App* subcommand(const CLI::App& command, const std::string& word)
{
    const auto found = command.get_subcommands([&word](const CLI::App* each) { return each->check_name(word); });
    return found.empty() ? nullptr : found.front();
}

// An option of the command or, as they are valid everywhere below, of what stands above it.
const CLI::Option* option(const CLI::App* command, const std::string& name)
{
    for (; command != nullptr; command = command->get_parent()) {
        if (const CLI::Option* found = command->get_option_no_throw(name)) {
            return found;
        }
    }
    return nullptr;
}

class Shielding
{
public:
    Shielding(const CLI::App& root, const std::vector<std::string>& words)
        : command_(&root)
        , words_(words)
    {
    }

    std::vector<std::string> result()
    {
        for (; next_ < words_.size(); ++next_) {
            const std::string& word = words_[next_];
            if (onlyArguments_) {
                shieldWord(word);
            } else if (word == "--") {
                onlyArguments_ = true;
            } else if (looksLikeOption(word)) {
                takeOption(word);
            } else {
                takeName(word);
            }
        }
        return std::move(result_);
    }

private:
    void shieldWord(const std::string& word) { result_.push_back(shield + word); }

    void takeName(const std::string& word)
    {
        const CLI::App* below = subcommand(*command_, word);
        if (below == nullptr) {
            shieldWord(word);
            return;
        }
        command_ = below;
        result_.push_back(word);
    }

    void takeOption(const std::string& word)
    {
        const std::size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const CLI::Option* known = option(command_, name);
        if (known == nullptr) {
            refuse("“" + word + "” is not an option of “" + fullName(*command_) + "”.");
        }
        result_.push_back(name);
        if (known->get_items_expected_max() == 0) {
            if (equals != std::string::npos) {
                refuse(name + " takes no value.");
            }
        } else if (equals != std::string::npos) {
            shieldWord(word.substr(equals + 1));
        } else if (++next_ < words_.size()) {
            shieldWord(words_[next_]);
        } else {
            refuse(name + " needs a " + known->get_type_name() + ".");
        }
    }

    [[noreturn]] void refuse(const std::string& sentence) const { throw UsageError {sentence, fullName(*command_)}; }

    const CLI::App* command_;
    const std::vector<std::string>& words_;
    std::size_t next_ = 0;
    bool onlyArguments_ = false;
    std::vector<std::string> result_;
};

} // namespace

std::vector<std::string> shielded(const CLI::App& root, const std::vector<std::string>& words)
{
    return Shielding(root, words).result();
}

std::string plain(const std::string& word) { return word.starts_with(shield) ? word.substr(1) : word; }

} // namespace CodeManagerCLI::Arguments
