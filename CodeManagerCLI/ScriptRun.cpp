#include "CodeManagerCLI/ScriptRun.h"

#include <utility>

#include <nlohmann/json.hpp>

#include "ManagerCore/Setup/InstallTexts.h"

namespace CodeManagerCLI
{

namespace
{

using ManagerCore::Proc::Out;
using ManagerCore::Proc::Stream;

bool lacksLineEnd(std::string_view text) { return !text.empty() && !text.ends_with('\n'); }

std::string_view withoutLineEnd(std::string_view text)
{
    return text.ends_with('\n') ? text.substr(0, text.size() - 1) : text;
}

} // namespace

Json jsonOf(const Out& out, bool dryRun)
{
    Json document {{"code", out.code}, {"stdout", out.stdout}, {"stderr", out.stderr}};
    if (dryRun) {
        document["dryRun"] = true;
    }
    return document;
}

Out refusal(std::string sentence) { return {.code = 1, .stdout = {}, .stderr = std::move(sentence)}; }

ScriptRun::ScriptRun(const Context& context)
    : output_(context.output)
    , shows_(!context.json)
    , watcher_(ManagerCore::Proc::WatcherOptions {
          .onLine = [this](Stream stream, std::string_view line) { show(stream, line); },
          .onPrompt = [this](Stream stream, std::string_view text) { showPrompt(stream, text); }})
{
}

ManagerCore::Proc::Watcher* ScriptRun::watcher() { return shows_ ? &watcher_ : nullptr; }

void ScriptRun::show(Stream stream, std::string_view line)
{
    openLine_.reset();
    if (stream == Stream::output) {
        output_.streamedLine(line);
        return;
    }
    lastError_ = std::string(line);
    output_.streamedErrorLine(line);
}

void ScriptRun::showPrompt(Stream stream, std::string_view text)
{
    openLine_ = stream;
    if (stream == Stream::output) {
        output_.streamedText(text);
        return;
    }
    lastError_ = std::string(text);
    output_.streamedErrorText(text);
}

void ScriptRun::finish(const Out& out)
{
    if (!shows_) {
        return;
    }
    if (openLine_) {
        show(*openLine_, {});
    }
    lineEndAdded_ = lacksLineEnd(out.stdout);
    const bool shown = lastError_ && withoutLineEnd(out.stderr).ends_with(*lastError_);
    if (!out.stderr.empty() && !shown) {
        complain(out.stderr);
    }
    lastError_.reset();
}

// A line end that stands for the one that the text brings along.
std::string_view ScriptRun::continued(std::string_view text)
{
    if (lineEndAdded_ && text.starts_with('\n')) {
        text.remove_prefix(1);
    }
    lineEndAdded_ = lacksLineEnd(text);
    return text;
}

void ScriptRun::say(std::string_view text)
{
    if (shows_ && !text.empty()) {
        output_.lines(continued(text));
        output_.flush();
    }
}

void ScriptRun::complain(std::string_view text)
{
    if (shows_ && !text.empty()) {
        output_.errorLines(continued(text));
    }
}

int report(const Context& context, ScriptRun& run, const Out& out)
{
    if (context.json) {
        context.output.json(jsonOf(out, false));
    } else {
        run.finish(out);
        run.complain(ManagerCore::InstallTexts::ending(out));
    }
    return out.ok() ? ExitStatus::done : ExitStatus::failed;
}

} // namespace CodeManagerCLI
