#include "ManagerCore/Doctor/Doctor.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "ManagerCore/Doctor/Checks.h"
#include "ManagerCore/Doctor/Report.h"

namespace ManagerCore::Doctor
{

std::vector<Finding> examine(const Subject& subject)
{
    constexpr std::array checks {
        &checkDescriptor,
        &checkExecutables,
        &checkAgent,
        &checkLinks,
        &checkProjectFolder,
        &checkScripts,
        &checkCatalog,
        &checkDatabases,
    };
    std::vector<Finding> findings;
    for (const auto check : checks) {
        std::ranges::move(check(subject), std::back_inserter(findings));
    }
    return findings;
}

std::string_view word(State state)
{
    switch (state) {
    case State::ok:
        return "ok";
    case State::warning:
        return "warning";
    case State::error:
        break;
    }
    return "error";
}

std::string summary(const std::vector<Finding>& findings)
{
    const auto count = [&findings](State state) {
        return static_cast<std::size_t>(std::ranges::count(findings, state, &Finding::state));
    };
    std::string text;
    const auto add = [&text](std::size_t number, const std::string& words) {
        if (number > 0) {
            text += (text.empty() ? "" : ", ") + words;
        }
    };
    const std::size_t errors = count(State::error);
    const std::size_t warnings = count(State::warning);
    const std::size_t good = count(State::ok);
    add(errors, counted(errors, "error", "errors"));
    add(warnings, counted(warnings, "warning", "warnings"));
    add(good, std::to_string(good) + " ok");
    return text;
}

} // namespace ManagerCore::Doctor
