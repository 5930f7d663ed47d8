#include "ManagerCore/Crucible/CrucibleHealth.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include <fcntl.h>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/TreeWalk.h"

namespace ManagerCore::CrucibleHealth
{

namespace
{

// As FilePath makes it of a text. Most texts are that already.
std::string plain(std::string text)
{
    if (text.find("//") != std::string::npos || (text.size() > 1 && text.ends_with('/'))) {
        text = FilePath::fromText(text).native();
    }
    return text;
}

std::string joined(const std::string& folder, std::string_view relative)
{
    std::string path;
    path.reserve(folder.size() + 1 + relative.size());
    path.append(folder);
    if (!folder.ends_with('/') && !relative.empty()) {
        path.push_back('/');
    }
    path.append(relative);
    return path;
}

// Following the link itself comes to the same and takes no path; only where the system refuses that, because of the
// link and not of its target, the target is asked.
bool resolves(int folder, const char* name, const std::string& target)
{
    struct stat facts {};
    if (::fstatat(folder, name, &facts, 0) == 0) {
        return true;
    }
    return (errno == EACCES || errno == ELOOP) && FilePath::exists(target);
}

// `place` is the folder's path.
void look(const std::string& place,
          const TreeWalk::Folder& folder,
          const TreeWalk::Entry& entry,
          std::vector<Finding>& findings)
{
    std::array<char, PATH_MAX> buffer; // filled below as far as it is used
    const ssize_t length = ::readlinkat(folder.descriptor, entry.terminatedName(), buffer.data(), buffer.size());
    if (length <= 0) {
        return;
    }
    const std::string_view destination(buffer.data(), static_cast<std::size_t>(length));
    Finding finding {.link = joined(place, entry.name), .target = {}};
    finding.target = plain(destination.front() == '/' ? std::string(destination) : joined(place, destination));
    finding.resolves = resolves(folder.descriptor, entry.terminatedName(), finding.target);
    findings.push_back(std::move(finding));
}

} // namespace

std::vector<Finding> scan(const std::filesystem::path& root)
{
    const std::string base = FilePath::appending(root, "").native();
    auto findings = TreeWalk::gather<Finding>(root, [&](const TreeWalk::Folder& folder, std::vector<Finding>& found) {
        std::optional<std::string> place;
        for (const TreeWalk::Entry& entry : folder.entries) {
            if (entry.kind == TreeWalk::Kind::link) {
                if (!place) {
                    place = joined(base, folder.path);
                }
                look(*place, folder, entry, found);
            }
        }
    });
    std::ranges::sort(findings, {}, &Finding::link);
    return findings;
}

std::vector<Finding> scanAll(const std::vector<std::filesystem::path>& roots)
{
    std::vector<Finding> findings;
    for (const std::filesystem::path& root : roots) {
        std::ranges::move(scan(root), std::back_inserter(findings));
    }
    return findings;
}

} // namespace ManagerCore::CrucibleHealth
