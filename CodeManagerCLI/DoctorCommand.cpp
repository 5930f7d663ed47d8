#include "CodeManagerCLI/DoctorCommand.h"

#include <algorithm>

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
    output.line(Doctor::summary(findings));
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

int run(const Context& context, const std::string& projectDir)
{
    Doctor::Subject subject {.descriptor = descriptorFile(context), .identity = {}, .actions = {}, .projectDir = {}};
    // What cannot be read is a finding and no message of its own.
    if (subject.descriptor) {
        subject.identity = ManagerCore::Identity::load(*subject.descriptor).value_or(ManagerCore::Identity::empty);
        subject.actions = ManagerCore::ManagerActions::load(*subject.descriptor);
    }
    subject.projectDir
        = projectDir.empty() ? ManagerCore::ProjectDir::peekProjectDir(subject.identity.name) : projectDir;
    const std::vector<Doctor::Finding> findings = Doctor::examine(subject);
    if (context.json) {
        printJson(context.output, findings);
    } else {
        print(context.output, findings);
    }
    const bool broken = std::ranges::count(findings, Doctor::State::error, &Doctor::Finding::state) > 0;
    return broken ? ExitStatus::failed : ExitStatus::done;
}

void declare(CommandTree& tree)
{
    CLI::App& command = tree.noun("doctor", "Check what the product needs and tell what to do about what is wrong");
    const auto project = Project::add(tree, command);
    tree.setAction(command, [project](const Context& context) { return run(context, Project::named(project)); });
}

} // namespace CodeManagerCLI::DoctorCommand
