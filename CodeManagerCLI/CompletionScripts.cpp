#include "CodeManagerCLI/CompletionScripts.h"

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Help.h"

namespace CodeManagerCLI::CompletionScripts
{

namespace
{

using Commands = std::vector<const CLI::App*>;

// The command and everything below it.
void gather(const CLI::App& command, Commands& commands)
{
    commands.push_back(&command);
    for (const CLI::App* below : command.get_subcommands({})) {
        gather(*below, commands);
    }
}

Commands everyCommand(const CLI::App& root)
{
    Commands commands;
    gather(root, commands);
    return commands;
}

// The words that lead to a command, without the program's: "service start". The scripts call it the node.
std::string nodeOf(const CLI::App& command)
{
    const CLI::App* parent = command.get_parent();
    if (parent == nullptr) {
        return {};
    }
    const std::string above = nodeOf(*parent);
    return above.empty() ? command.get_name() : above + " " + command.get_name();
}

bool isPath(const CLI::Option& option)
{
    constexpr std::array types {ValueType::path, ValueType::file, ValueType::folder, ValueType::root};
    return std::ranges::find(types, option.get_type_name()) != types.end();
}

bool takesPaths(const CLI::App& command)
{
    return std::ranges::any_of(Help::argumentsOf(command), [](const CLI::Option* each) { return isPath(*each); });
}

// The names of all options that take a value, "|" between them. All values are paths so far.
std::string optionsWithValue(const CLI::App& root)
{
    std::vector<std::string> names;
    for (const CLI::App* command : everyCommand(root)) {
        for (const CLI::Option* option : Help::optionsOf(*command)) {
            if (Help::takesValue(*option)) {
                std::ranges::copy(Help::namesOf(*option), std::back_inserter(names));
            }
        }
    }
    std::ranges::sort(names);
    const auto [first, last] = std::ranges::unique(names);
    names.erase(first, last);
    std::string joined;
    for (const std::string& name : names) {
        joined += (joined.empty() ? "" : "|") + name;
    }
    return joined;
}

std::string replaced(std::string text, const std::string& mark, const std::string& by)
{
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + by.size())) {
        text.replace(at, mark.size(), by);
    }
    return text;
}

// Between single quotes, as bash and zsh read them.
std::string quoted(const std::string& text) { return "'" + replaced(text, "'", "'\\''") + "'"; }

std::string quotedForFish(const std::string& text)
{
    return "'" + replaced(replaced(text, "\\", "\\\\"), "'", "\\'") + "'";
}

std::string indented(const std::string& line, int depth)
{
    return std::string(static_cast<std::size_t>(depth) * 4, ' ') + line + "\n";
}

// What bash and zsh write differently.
struct Dialect {
    std::string beforePattern; // of a branch of `case`
    std::string beforeWords;
    std::string afterWords;
    std::function<std::string(const std::string& name, const std::string& summary)> word;
};

// The branches of `case "$node/$word"` that walk from a command to the ones below it.
std::string steps(const CLI::App& root, const Dialect& dialect)
{
    std::string text;
    for (const CLI::App* command : everyCommand(root)) {
        if (const CLI::App* parent = command->get_parent()) {
            const std::string pattern = dialect.beforePattern + quoted(nodeOf(*parent) + "/" + command->get_name());
            text += indented(pattern + ") node=" + quoted(nodeOf(*command)) + " ;;", 3);
        }
    }
    return text;
}

std::string commandWords(const CLI::App& command, const Dialect& dialect)
{
    std::string words;
    for (const CLI::App* below : command.get_subcommands({})) {
        words += (words.empty() ? "" : " ") + dialect.word(below->get_name(), below->get_description());
    }
    return dialect.beforeWords + words + dialect.afterWords;
}

std::string optionWords(const CLI::App& command, const Dialect& dialect)
{
    std::string words;
    for (const CLI::Option* option : Help::optionsOf(command)) {
        for (const std::string& name : Help::namesOf(*option)) {
            words += (words.empty() ? "" : " ") + dialect.word(name, option->get_description());
        }
    }
    return dialect.beforeWords + words + dialect.afterWords;
}

// The branches of `case $node` that say what may follow.
std::string offers(const CLI::App& root, const Dialect& dialect)
{
    std::string text;
    for (const CLI::App* command : everyCommand(root)) {
        text += indented(dialect.beforePattern + quoted(nodeOf(*command)) + ")", 2);
        text += indented("commands=" + commandWords(*command, dialect), 3);
        text += indented("options=" + optionWords(*command, dialect), 3);
        if (takesPaths(*command)) {
            text += indented("paths=yes", 3);
        }
        text += indented(";;", 3);
    }
    return text;
}

std::string filled(const char* script, const CLI::App& root, const Dialect& dialect)
{
    const std::string text = replaced(script, "@VALUES@", optionsWithValue(root));
    return replaced(replaced(text, "@STEPS@", steps(root, dialect)), "@OFFERS@", offers(root, dialect));
}

constexpr const char* bashScript = R"script(# Completes zyn-code-manager in bash. Load it with
#   eval "$(zyn-code-manager completion bash)"
_zyn_code_manager()
{
    local current=${COMP_WORDS[COMP_CWORD]} node='' plain='' commands='' options='' paths='' IFS=$' \n' i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            --) plain=yes; break ;;
            @VALUES@)
                # Its value follows, after a word of its own where an equals sign was typed.
                if [[ ${COMP_WORDS[i + 1]} == = ]]; then ((i++)); fi
                ((i++))
                continue
                ;;
        esac
        case "$node/${COMP_WORDS[i]}" in
@STEPS@        esac
    done
    case $node in
@OFFERS@    esac

    # File names are readline's own: it knows quotes and "~".
    if ((i > COMP_CWORD)); then return; fi
    if [[ -n $paths && ( -n $plain || $current != -* ) ]]; then return; fi
    compopt +o default 2>/dev/null
    if [[ -n $plain ]]; then return; fi
    if [[ $current == -* || -z $commands ]]; then commands=$options; fi
    COMPREPLY=($(compgen -W "$commands" -- "$current"))
}
complete -o default -F _zyn_code_manager zyn-code-manager
)script";

constexpr const char* zshScript = R"script(#compdef zyn-code-manager
# Completes zyn-code-manager in zsh. Write it into a folder of $fpath as _zyn-code-manager, or load it with
#   eval "$(zyn-code-manager completion zsh)"
_zyn-code-manager()
{
    local node='' plain='' paths=''
    local -a commands options
    integer i
    for ((i = 2; i < CURRENT; i++)); do
        case $words[i] in
            (--) plain=yes; break ;;
            (@VALUES@) ((i++)); continue ;;
        esac
        case "$node/$words[i]" in
@STEPS@        esac
    done
    case $node in
@OFFERS@    esac

    if ((i > CURRENT)); then
        _files
    elif [[ -z $plain && $PREFIX == (@VALUES@)=* ]]; then
        compset -P '*='
        _files
    elif [[ -z $plain && $PREFIX == -* ]]; then
        _describe -o option options
    elif [[ -n $paths ]]; then
        _files
    elif [[ -n $plain ]]; then
        return 1
    elif (($#commands)); then
        _describe command commands
    else
        _describe -o option options
    fi
}
# Loaded from $fpath, this file is the function's first call.
if [[ $funcstack[1] == _zyn-code-manager ]]; then
    _zyn-code-manager "$@"
else
    compdef _zyn-code-manager zyn-code-manager
fi
)script";

constexpr const char* fishScript = R"script(# Completes zyn-code-manager in fish. Load it with
#   zyn-code-manager completion fish | source
function __zyn_code_manager_at
    set -l words (commandline -opc)
    set -l node ''
    set -l skip no
    for word in $words[2..-1]
        if test $skip = yes
            set skip no
            continue
        end
        switch $word
            case --
                break
            case @VALUES@
                set skip yes
                continue
        end
        switch "$node/$word"
@STEPS@        end
    end
    test "$node" = $argv[1]
end
complete -c zyn-code-manager -f
@OFFERS@)script";

std::string fishSteps(const CLI::App& root)
{
    std::string text;
    for (const CLI::App* command : everyCommand(root)) {
        if (const CLI::App* parent = command->get_parent()) {
            text += indented("case " + quotedForFish(nodeOf(*parent) + "/" + command->get_name()), 3);
            text += indented("set node " + quotedForFish(nodeOf(*command)), 4);
        }
    }
    return text;
}

std::string fishOption(const CLI::Option& option)
{
    std::string text;
    for (const std::string& name : option.get_snames()) {
        text += " -s " + name;
    }
    for (const std::string& name : option.get_lnames()) {
        text += " -l " + name;
    }
    return text + (Help::takesValue(option) ? " -r -F" : "") + " -d " + quotedForFish(option.get_description());
}

std::string fishOffers(const CLI::App& root)
{
    std::string text;
    for (const CLI::App* command : everyCommand(root)) {
        const std::string here = "complete -c zyn-code-manager -n "
            + quotedForFish("__zyn_code_manager_at " + quotedForFish(nodeOf(*command)));
        for (const CLI::App* below : command->get_subcommands({})) {
            text += here + " -a " + below->get_name() + " -d " + quotedForFish(below->get_description()) + "\n";
        }
        if (takesPaths(*command)) {
            text += here + " -F\n";
        }
        for (const CLI::Option* option : Help::optionsOf(*command)) {
            text += here + fishOption(*option) + "\n";
        }
    }
    return text;
}

} // namespace

std::string bash(const CLI::App& root)
{
    const Dialect dialect {
        .beforePattern = "",
        .beforeWords = "'",
        .afterWords = "'",
        .word = [](const std::string& name, const std::string& /*summary*/) { return name; },
    };
    return filled(bashScript, root, dialect);
}

std::string zsh(const CLI::App& root)
{
    const Dialect dialect {
        .beforePattern = "(",
        .beforeWords = "(",
        .afterWords = ")",
        .word = [](const std::string& name, const std::string& summary) { return quoted(name + ":" + summary); },
    };
    return filled(zshScript, root, dialect);
}

std::string fish(const CLI::App& root)
{
    const std::string script = replaced(fishScript, "@VALUES@", replaced(optionsWithValue(root), "|", " "));
    return replaced(replaced(script, "@STEPS@", fishSteps(root)), "@OFFERS@", fishOffers(root));
}

} // namespace CodeManagerCLI::CompletionScripts
