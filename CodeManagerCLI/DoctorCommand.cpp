#include "CodeManagerCLI/DoctorCommand.h"

#include <algorithm>
#include <functional>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Product.h"
#include "CodeManagerCLI/Project.h"
#include "ManagerCore/Doctor/Doctor.h"
#include "ManagerCore/Foundation/ProjectDir.h"

namespace CodeManagerCLI::DoctorCommand
{

namespace
{

namespace Doctor = ManagerCore::Doctor;

// All of one width.
struct Mark {
    const char* text = "✗ error  ";
    Tone tone = Tone::bad;
};

Mark markOf(Doctor::State state)
{
    switch (state) {
    case Doctor::State::ok:
        return {.text = "✓ ok     ", .tone = Tone::good};
    case Doctor::State::warning:
        return {.text = "! warning", .tone = Tone::caution};
    case Doctor::State::error:
        break;
    }
    return {};
}

// In place of what is in order, one finding for each check. The findings are sorted by their state.
std::vector<Doctor::Finding> summedUp(const std::vector<Doctor::Finding>& findings)
{
    std::vector<Doctor::Finding> shown;
    std::size_t passed = 0;
    for (const Doctor::Finding& finding : findings) {
        const bool isFirst
            = shown.empty() || shown.back().state != finding.state || shown.back().check != finding.check;
        if (isFirst || finding.state != Doctor::State::ok) {
            shown.push_back(finding);
            passed = 0;
        }
        if (finding.state == Doctor::State::ok) {
            passed++;
            shown.back().message = passed == 1 ? "1 check passed." : std::to_string(passed) + " checks passed.";
        }
    }
    return shown;
}

void print(Output& output, const std::vector<Doctor::Finding>& findings)
{
    std::size_t width = 0;
    for (const Doctor::Finding& finding : findings) {
        width = std::max(width, finding.check.size());
    }
    for (const Doctor::Finding& finding : findings) {
        const Mark mark = markOf(finding.state);
        const std::string gap(width - finding.check.size() + 2, ' ');
        output.markedLine(mark.text, mark.tone, "  " + finding.check + gap + finding.message);
    }
}

void printJson(Output& output, const std::vector<Doctor::Finding>& findings)
{
    Json list = Json::array();
    for (const Doctor::Finding& finding : findings) {
        list.push_back(
            {{"check", finding.check}, {"state", Doctor::word(finding.state)}, {"message", finding.message}});
    }
    output.json(list);
}

} // namespace

int run(const Context& context, const std::string& projectDir, bool all)
{
    Doctor::Subject subject {.descriptor = descriptorFile(context), .identity = {}, .actions = {}, .projectDir = {}};
    // What cannot be read is a finding and no message of its own.
    if (subject.descriptor) {
        subject.identity = ManagerCore::Identity::load(*subject.descriptor).value_or(ManagerCore::Identity::empty);
        subject.actions = ManagerCore::ManagerActions::load(*subject.descriptor);
    }
    subject.projectDir
        = projectDir.empty() ? ManagerCore::ProjectDir::peekProjectDir(subject.identity.name) : projectDir;
    std::vector<Doctor::Finding> findings = Doctor::examine(subject);
    if (context.json) {
        printJson(context.output, findings);
    } else {
        std::ranges::stable_sort(findings, std::ranges::greater {}, &Doctor::Finding::state);
        print(context.output, all ? findings : summedUp(findings));
        context.output.line(Doctor::summary(findings));
    }
    const bool broken = std::ranges::count(findings, Doctor::State::error, &Doctor::Finding::state) > 0;
    return broken ? ExitStatus::failed : ExitStatus::done;
}

void declare(CommandTree& tree)
{
    CLI::App& command = tree.noun("doctor", "Check what the product needs and say how to fix what is wrong");
    const auto project = Project::add(tree, command);
    const auto all = addFlag(command, "--all", "Show every check that passed");
    tree.setAction(command,
                   [project, all](const Context& context) { return run(context, Project::named(project), *all); });
}

} // namespace CodeManagerCLI::DoctorCommand
