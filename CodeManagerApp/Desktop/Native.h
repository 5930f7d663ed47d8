#pragma once

#include <array>

#include "CodeManagerApp/Desktop/Desktop.h"

// The parts of Desktop.h that differ between platforms and need checks that do not. CMake selects the implementation.
namespace CodeManagerApp::Desktop::Native
{

// Absent on success, else one sentence why not. The file exists, as does the item, which may be a dangling link.
std::optional<std::string> open(const std::filesystem::path& file);
std::optional<std::string> reveal(const std::filesystem::path& item);

// Where a drawing of this size goes that is to be as large as fits in the middle of a square, in its units.
struct Frame {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
};
Frame fitted(double width, double height, double square);

// Red, green and blue of a colour (0xRRGGBB), from 0 to 1.
std::array<double, 3> components(std::uint32_t colour);

// Draws the system's symbol in this colour (0xRRGGBB), as `fitted` says, in the empty picture. False where
// the system has none of this name.
bool drawSymbol(const std::string& name, std::uint32_t colour, Picture& picture);

} // namespace CodeManagerApp::Desktop::Native
