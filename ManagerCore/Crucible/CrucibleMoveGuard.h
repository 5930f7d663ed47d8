#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

// Whether a place may be used as the destination of a move.
namespace ManagerCore::CrucibleMoveGuard
{

struct Verdict {
    enum class Kind : std::uint8_t {
        free, // nothing stands there
        shimToTrash, // a link back to the node itself, left by a move the other way: it may be moved to the Trash
        occupied, // taken: `message` refuses the move
    };
    Kind kind = Kind::free;
    std::filesystem::path shim; // the destination, for shimToTrash
    std::string message; // for occupied

    bool operator==(const Verdict&) const = default;
};

// Only looks.
Verdict verdict(const std::filesystem::path& destination, const std::filesystem::path& node);

} // namespace ManagerCore::CrucibleMoveGuard
