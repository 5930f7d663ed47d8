#include "ManagerCore/Platform/linux/MountTable.h"

#include <algorithm>
#include <string>

#include "Fuzz/Target.h"

namespace
{

namespace MountTable = ManagerCore::Platform::MountTable;
using Fuzz::require;

// Every byte as an escape, which a reader must take for the byte itself.
std::string escapedInOctal(std::string_view text)
{
    std::string escaped;
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        escaped += '\\';
        escaped += static_cast<char>('0' + (byte >> 6U));
        escaped += static_cast<char>('0' + ((byte >> 3U) & 7U));
        escaped += static_cast<char>('0' + (byte & 7U));
    }
    return escaped;
}

std::string escapedInHexadecimal(std::string_view text)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string escaped;
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        escaped += "\\x";
        escaped += digits[byte >> 4U];
        escaped += digits[byte & 0xFU];
    }
    return escaped;
}

void checkMount(const MountTable::Mount& mount, const std::vector<MountTable::Mount>& all)
{
    const std::string line = "1 0 8:1 / " + escapedInOctal(mount.mountPoint.native()) + " rw - ext4 "
        + escapedInOctal(mount.source) + " rw\n";
    const auto again = MountTable::parse(line);
    const bool hasNames = !mount.mountPoint.empty() && !mount.source.empty();
    require(!hasNames || again.size() == 1, "A line that is written anew is read.");
    if (hasNames) {
        require(again.front().mountPoint == mount.mountPoint && again.front().source == mount.source,
                "A mount that is written anew is the same.");
    }
    if (!mount.mountPoint.is_absolute()) {
        return;
    }
    const std::string inside = mount.mountPoint.native() + "/inside";
    const auto holder = MountTable::holding(all, inside);
    require(holder.has_value(), "What lies in a mount is held by one.");
    const std::string prefix = holder ? holder->mountPoint.string() : std::string();
    require(inside.starts_with(prefix) && prefix.size() >= mount.mountPoint.native().size(),
            "The longest mount point holds a path.");
}

void runMountTable(std::string_view input)
{
    const auto mounts = MountTable::parse(input);
    require(std::ssize(mounts) <= std::ranges::count(input, '\n') + 1, "A line is one mount at most.");
    constexpr std::size_t most = 20;
    for (std::size_t index = 0; index < std::min(mounts.size(), most); index++) {
        checkMount(mounts[index], mounts);
    }
    require(MountTable::decodedLabel(escapedInHexadecimal(input)) == input, "An escaped label is decoded.");
    require(MountTable::decodedLabel(input).size() <= input.size(), "Decoding never adds.");
}

const Fuzz::Registration mountTableTarget("mount-table", &runMountTable);

} // namespace
