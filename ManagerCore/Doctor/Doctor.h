#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"

// Looks for what keeps the product from being looked after: the descriptor, the executables, the backend's agent, the
// store's links, the source project with its scripts and its catalog, the databases.
namespace ManagerCore::Doctor
{

enum class State : std::uint8_t {
    ok,
    warning, // something is absent or odd, and here is what to do about it
    error, // what the descriptor declares cannot work
};

struct Finding {
    std::string check; // what was looked at: "descriptor", "agent file"
    State state = State::ok;
    std::string message; // one sentence, with what to do unless the state is ok

    bool operator==(const Finding&) const = default;
};

// What is looked at: the descriptor's file, absent where there is none, the records that were loaded from it, and the
// source project, empty where none is known.
struct Subject {
    std::optional<std::filesystem::path> descriptor;
    Identity identity;
    ManagerActions actions;
    std::string projectDir;
};

// The findings, check by check. Reads only, starts nothing and never fails; what cannot be read is a finding. Without a
// project folder there is nothing to say of its scripts and its catalog. Walks the store's folders and the catalog: not
// for the interface thread.
std::vector<Finding> examine(const Subject& subject);

// "ok", "warning", "error"
std::string_view word(State state);

// "1 error, 2 warnings, 9 ok": what there is none of is left out.
std::string summary(const std::vector<Finding>& findings);

} // namespace ManagerCore::Doctor
