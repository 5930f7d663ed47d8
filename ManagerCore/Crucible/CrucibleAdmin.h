#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// Changes the two links that decide which weights are served, and nothing but links. A link that is replaced goes to
// the Trash first; what is refused leaves the disk as it was. Never throws. Blocks: not for the interface thread.
namespace ManagerCore::CrucibleAdmin
{

// What an operation came to, for people: what was done, or why nothing or only a part of it was.
struct Outcome {
    bool ok = false;
    std::string message;

    bool operator==(const Outcome&) const = default;
};

// Points the crucible's root link at the folder `to`. A real item at the link's place is refused and never moved.
Outcome setRoot(const std::filesystem::path& link, const std::filesystem::path& to);

// Writes a link, whose old self, or whatever stands there, goes to the Trash first. On a failure after that no link
// stands there and the old one can be taken back from the Trash. A destination that is reached through the very place
// of the link is refused: it would be gone with what is moved away. So is a link whose path ends in "." or "..": the
// folder above would be moved away. `label` opens the message of success.
Outcome repoint(const std::filesystem::path& link, const std::filesystem::path& to, std::string_view label);

// Serves the weights that `currentTarget` has below `from` from the same place below `to`, where they must be already.
// A real item at the link's place is refused and never moved.
Outcome switchServed(const std::filesystem::path& activeLink,
                     const std::filesystem::path& currentTarget,
                     const std::filesystem::path& from,
                     const std::filesystem::path& to);

// What each of these would come to, with the disk left as it is.
Outcome foretellSetRoot(const std::filesystem::path& link, const std::filesystem::path& to);
Outcome foretellRepoint(const std::filesystem::path& link, const std::filesystem::path& to, std::string_view label);
Outcome foretellSwitchServed(const std::filesystem::path& activeLink,
                             const std::filesystem::path& currentTarget,
                             const std::filesystem::path& from,
                             const std::filesystem::path& to);

// Where `item` lies below `base`; absent when it does not, or is `base` itself. Links are resolved in the folders
// above either, never in their own names.
std::optional<std::string> relativePath(const std::filesystem::path& item, const std::filesystem::path& base);

// The refusal of a path that is empty, "/", or ends in "." or "..": no link can be made there. Absent for others.
std::optional<std::string> refusalOfNamelessPath(const std::filesystem::path& path);

// The refusal of a place where something stands that is no link; absent where a link or nothing stands.
std::optional<std::string> refusalOfRealItem(const std::filesystem::path& link);

} // namespace ManagerCore::CrucibleAdmin
