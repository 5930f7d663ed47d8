#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ManagerCore
{

// Finds one text in blocks of bytes, many places at a time. Not changed by its use: any number of threads.
class TextFinder
{
public:
    explicit TextFinder(std::string text); // not an empty one

    [[nodiscard]] bool occursIn(std::string_view bytes) const;
    [[nodiscard]] const std::string& text() const { return text_; }

private:
    [[nodiscard]] bool beginsIn(const char* block, unsigned& patience) const;

    std::string text_;
    // Two bytes of the text that programs hold seldom, by their places in it: where they do not stand, nothing more
    // need be compared.
    std::size_t first_;
    std::size_t second_;
};

} // namespace ManagerCore
