#include "LinuxTools/Launchctl/Label.h"

#include <cstddef>

namespace LinuxTools::Label
{

namespace
{

constexpr std::size_t maxLength = 240; // a file name has at most 255 bytes

bool isPlain(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') || byte == ':'
        || byte == '_' || byte == '.';
}

} // namespace

std::string escape(std::string_view label)
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

bool isValid(std::string_view label) { return !label.empty() && escape(label).size() <= maxLength; }

} // namespace LinuxTools::Label
