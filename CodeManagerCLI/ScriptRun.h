#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "CodeManagerCLI/Context.h"
#include "CodeManagerCLI/Output.h"
#include "ManagerCore/Foundation/Proc.h"

namespace CodeManagerCLI
{

// {"code", "stdout", "stderr"}
Json jsonOf(const ManagerCore::Proc::Out& out, bool dryRun);

// Code 1 with the sentence as standard error, as the core refuses.
ManagerCore::Proc::Out refusal(std::string sentence);

// Scripts whose lines are shown as they come, each on its own stream, and so are their questions; with --json nothing
// is.
class ScriptRun
{
public:
    explicit ScriptRun(const Context& context);

    // To be given to the runs, one after the other; none where nothing is shown.
    ManagerCore::Proc::Watcher* watcher();

    // Shows of a run's result what did not come as lines: why it was refused, not launched or counts as failed.
    void finish(const ManagerCore::Proc::Out& out);

    // Says what stands between the scripts, on lines of its own.
    void say(std::string_view text);
    void complain(std::string_view text);

private:
    void show(ManagerCore::Proc::Stream stream, std::string_view line);
    void showPrompt(ManagerCore::Proc::Stream stream, std::string_view text);
    std::string_view continued(std::string_view text);

    Output& output_;
    bool shows_;
    bool lineEndAdded_ = false; // the last text had none of its own
    std::optional<std::string> lastError_; // the last line on the standard error
    std::optional<ManagerCore::Proc::Stream> openLine_; // where the last text was a prompt
    ManagerCore::Proc::Watcher watcher_;
};

// Prints one script's result: what is left of it, or the document. Gives the exit status.
int report(const Context& context, ScriptRun& run, const ManagerCore::Proc::Out& out);

} // namespace CodeManagerCLI
