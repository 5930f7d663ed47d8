#include "LinuxTools/Launchctl/UnitName.h"

#include <cstddef>

namespace LinuxTools::UnitName
{

namespace
{

constexpr std::size_t longest = 240; // of the 255 bytes of a file name

bool isPlain(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') || byte == ':'
        || byte == '_' || byte == '.';
}

} // namespace

std::string escaped(std::string_view label)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string name;
    for (const char byte : label) {
        if (byte == '/') {
            name += '-';
        } else if (isPlain(byte) && !(byte == '.' && name.empty())) {
            name += byte;
        } else {
            const auto value = static_cast<unsigned char>(byte);
            name += "\\x";
            name += digits[value / 16U];
            name += digits[value % 16U];
        }
    }
    return name;
}

bool isPossible(std::string_view label) { return !label.empty() && escaped(label).size() <= longest; }

std::string service(std::string_view label) { return escaped(label) + ".service"; }

std::string timer(std::string_view label) { return escaped(label) + ".timer"; }

} // namespace LinuxTools::UnitName
