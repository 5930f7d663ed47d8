#include "ManagerCore/Platform/linux/MountTable.h"

#include <algorithm>
#include <charconv>
#include <sys/stat.h>
#include <system_error>

namespace ManagerCore::Platform::MountTable
{

namespace
{

// Replaces `introducer` followed by `digits` digits in `base` by the byte that they give.
std::string unescaped(std::string_view text, std::string_view introducer, std::size_t digits, int base)
{
    std::string plain;
    while (!text.empty()) {
        unsigned byte = 0;
        const std::string_view number = text.substr(std::min(introducer.size(), text.size())).substr(0, digits);
        const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), byte, base);
        if (text.starts_with(introducer) && number.size() == digits && error == std::errc {}
            && end == number.data() + digits && byte < 256) {
            plain.push_back(static_cast<char>(byte));
            text.remove_prefix(introducer.size() + digits);
        } else {
            plain.push_back(text.front());
            text.remove_prefix(1);
        }
    }
    return plain;
}

std::string decodedField(std::string_view field) { return unescaped(field, "\\", 3, 8); }

std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        parts.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

// A line: id, parent, device, root, mount point, options, optional fields, "-", type, source, more options.
std::optional<Mount> parseLine(std::string_view line)
{
    const std::vector<std::string_view> fields = split(line, ' ');
    const auto dash = std::ranges::find(fields, "-");
    if (dash - fields.begin() < 6 || fields.end() - dash < 3) {
        return std::nullopt;
    }
    return Mount {.mountPoint = decodedField(fields[4]), .source = decodedField(dash[2])};
}

bool leads(const std::filesystem::path& mountPoint, const std::filesystem::path& path)
{
    const std::string& prefix = mountPoint.native();
    const std::string& whole = path.native();
    return prefix == "/"
        || (whole.starts_with(prefix) && (whole.size() == prefix.size() || whole[prefix.size()] == '/'));
}

} // namespace

std::vector<Mount> parse(std::string_view mountinfo)
{
    std::vector<Mount> mounts;
    for (const std::string_view line : split(mountinfo, '\n')) {
        if (auto mount = parseLine(line)) {
            mounts.push_back(std::move(*mount));
        }
    }
    return mounts;
}

std::optional<Mount> holding(const std::vector<Mount>& mounts, const std::filesystem::path& path)
{
    const Mount* longest = nullptr;
    for (const Mount& mount : mounts) {
        const bool longer
            = longest == nullptr || mount.mountPoint.native().size() >= longest->mountPoint.native().size();
        if (longer && leads(mount.mountPoint, path)) {
            longest = &mount;
        }
    }
    return longest == nullptr ? std::nullopt : std::optional(*longest);
}

std::string decodedLabel(std::string_view name) { return unescaped(name, "\\x", 2, 16); }

std::string labelOf(const std::filesystem::path& device, const std::filesystem::path& labelFolder)
{
    struct stat wanted {};
    if (::stat(device.c_str(), &wanted) != 0) {
        return {};
    }
    std::error_code error;
    for (std::filesystem::directory_iterator entry(labelFolder, error), end; !error && entry != end;
         entry.increment(error)) {
        struct stat labelled {};
        const bool same = ::stat(entry->path().c_str(), &labelled) == 0 && labelled.st_rdev == wanted.st_rdev
            && labelled.st_dev == wanted.st_dev && labelled.st_ino == wanted.st_ino;
        if (same) {
            return decodedLabel(entry->path().filename().native());
        }
    }
    return {};
}

} // namespace ManagerCore::Platform::MountTable
