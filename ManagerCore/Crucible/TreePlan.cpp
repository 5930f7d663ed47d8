#include "ManagerCore/Crucible/TreePlan.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "ManagerCore/Foundation/TreeWalk.h"
#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/Platform.h"
#include "ManagerCore/Platform/UniqueFd.h"

namespace ManagerCore
{

namespace
{

namespace ErrorText = Platform::ErrorText;
using Platform::UniqueFd;

class Reader
{
public:
    explicit Reader(const std::filesystem::path& path)
        : path_(path)
    {
    }

    std::expected<TreePlan, std::string> read(int parent, const std::string& name)
    {
        struct stat facts {};
        if (::fstatat(parent, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) {
            return std::unexpected(ErrorText::reading(errno, path_));
        }
        if (!S_ISDIR(facts.st_mode)) {
            take(0, name, facts, path_);
        } else {
            const UniqueFd root(Platform::openFolderAt(parent, name.c_str()));
            if (!root.isOpen()) {
                return std::unexpected(ErrorText::reading(errno, path_));
            }
            plan_.folders.push_back({.path = {}, .facts = facts});
            // Grows while it is gone through: each folder stands behind the one that holds it.
            for (std::size_t index = 0; index < plan_.folders.size() && !error_; index++) {
                readFolder(root.get(), index);
            }
        }
        return error_ ? std::expected<TreePlan, std::string>(std::unexpected(*error_)) : std::move(plan_);
    }

private:
    void readFolder(int root, std::size_t index)
    {
        const std::string relative = plan_.folders[index].path;
        const std::filesystem::path path = relative.empty() ? path_ : path_ / relative;
        const UniqueFd folder(TreeWalk::openBelow(root, relative));
        if (!folder.isOpen() || ::fstat(folder.get(), &plan_.folders[index].facts) != 0) {
            error_ = ErrorText::reading(errno, path);
            return;
        }
        std::vector<std::string> names;
        const auto collect = [&names](std::string_view name, Platform::FileKind /*kind*/) { names.emplace_back(name); };
        if (!Platform::readFolder(folder.get(), collect)) {
            error_ = ErrorText::reading(errno, path);
            return;
        }
        std::ranges::sort(names);
        for (const std::string& name : names) {
            struct stat facts {};
            if (::fstatat(folder.get(), name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) {
                error_ = ErrorText::reading(errno, path / name);
                return;
            }
            if (S_ISDIR(facts.st_mode)) {
                plan_.folders.push_back({.path = relative.empty() ? name : relative + "/" + name, .facts = facts});
            } else {
                take(index, name, facts, path / name);
            }
        }
    }

    void take(std::size_t folder, const std::string& name, const struct stat& facts, const std::filesystem::path& path)
    {
        if (!S_ISREG(facts.st_mode) && !S_ISLNK(facts.st_mode) && !S_ISFIFO(facts.st_mode)) {
            error_ = ErrorText::unsuitable(path, "it is a device or a socket, which cannot be copied");
            return;
        }
        TreePlan::Entry entry {.folder = folder, .name = name, .facts = facts};
        if (S_ISREG(facts.st_mode) && facts.st_nlink > 1) {
            const auto [first, isFirst] = firstNames_.try_emplace({facts.st_dev, facts.st_ino}, plan_.entries.size());
            if (!isFirst) {
                plan_.secondNames.push_back({.entry = std::move(entry), .first = first->second});
                return;
            }
        }
        if (S_ISREG(facts.st_mode)) {
            plan_.bytes += std::min<std::int64_t>(facts.st_size, Platform::bytesInBlocks(facts));
        }
        plan_.entries.push_back(std::move(entry));
    }

    const std::filesystem::path& path_;
    TreePlan plan_;
    std::map<std::pair<dev_t, ino_t>, std::size_t> firstNames_;
    std::optional<std::string> error_;
};

} // namespace

std::expected<TreePlan, std::string>
TreePlan::read(int parent, const std::string& name, const std::filesystem::path& path)
{
    return Reader(path).read(parent, name);
}

} // namespace ManagerCore
