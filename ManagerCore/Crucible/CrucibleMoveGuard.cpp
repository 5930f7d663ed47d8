#include "ManagerCore/Crucible/CrucibleMoveGuard.h"

#include "ManagerCore/Foundation/FilePath.h"

namespace ManagerCore::CrucibleMoveGuard
{

namespace
{

Verdict occupied(std::string message) { return {.kind = Verdict::Kind::occupied, .message = std::move(message)}; }

} // namespace

Verdict verdict(const std::filesystem::path& destination, const std::filesystem::path& node)
{
    const auto target = FilePath::linkDestination(destination);
    if (!target && !FilePath::exists(destination)) {
        return {};
    }
    if (!target) {
        return occupied("Destination already exists as a real item — refusing to overwrite:\n" + destination.string());
    }
    if (FilePath::standardised(FilePath::resolved(*target)) == FilePath::standardised(FilePath::resolved(node))) {
        return {.kind = Verdict::Kind::shimToTrash, .shim = destination};
    }
    return occupied("Destination is a link to something else — refusing to replace it:\n" + destination.string()
                    + " -> " + target->string());
}

} // namespace ManagerCore::CrucibleMoveGuard
