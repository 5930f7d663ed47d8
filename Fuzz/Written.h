#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "ManagerCore/Foundation/Text.h"

// Records written as descriptor files, for targets that read them again.
namespace Fuzz::Written
{

inline std::string line(std::string_view key, std::string_view value)
{
    return std::string(key) + " = \"" + std::string(value) + "\"\n";
}

inline std::string line(std::string_view key, const std::vector<std::string>& elements)
{
    std::string text = std::string(key) + " = [";
    for (const std::string& element : elements) {
        text += "\"" + element + "\", ";
    }
    return text + "]\n";
}

// Whether every line is read as it was written: other brackets would open lists, and a quote that a combining mark
// belongs to is none.
inline bool isPlain(std::string_view text, std::size_t lists = 0)
{
    for (std::size_t at = text.find('"'); at != std::string_view::npos; at = text.find('"', at + 1)) {
        if (!ManagerCore::Text::isCharacterAt(text, at)) {
            return false;
        }
    }
    return static_cast<std::size_t>(std::ranges::count(text, '[')) == lists
        && static_cast<std::size_t>(std::ranges::count(text, ']')) == lists;
}

} // namespace Fuzz::Written
