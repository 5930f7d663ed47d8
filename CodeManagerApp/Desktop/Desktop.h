#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// What the desktop owes the window. One set of sources stands behind it, chosen by CMake. Nothing here throws.
namespace CodeManagerApp::Desktop
{

// Opens the file in its default application. Absent on success, else one sentence why not. Any thread; may take long:
// not for the interface thread.
std::optional<std::string> open(const std::filesystem::path& file);

// Shows the item, a link itself, in the file manager. As above.
std::optional<std::string> reveal(const std::filesystem::path& item);

// Hands the desktop a short message from this application. Absent on success, else one sentence why not; a desktop may
// keep it from its user without a word. As above.
std::optional<std::string> notify(const std::string& application, const std::string& message);

// Why no window can be shown, as one sentence; absent when there is a display. Before any window is made.
std::optional<std::string> displayTrouble();

// Whether there is a graphics processor to draw with. Where there is none, drawing in software starts faster and takes
// less memory than an imitation of one.
bool hasGraphicsProcessor();

// Whether the user asked for less motion. Any thread; may take long: not for the interface thread.
bool wantsReducedMotion();

// The family that the window's text is set in where it is installed; empty where that is the desktop's own.
std::string preferredFamily();

// What text usually has on such a desktop; more of either means that the user wants larger text.
struct UsualText {
    double points = 0;
    double dotsPerInch = 0;
};
UsualText usualText();

// A square picture of one of the system's own symbols.
struct Picture {
    int pixels = 0; // of a side
    std::vector<std::uint32_t> argb; // row by row, premultiplied
};
// The system's symbol of this name in this colour (0xRRGGBB); absent where the system has none. Interface thread.
std::optional<Picture> systemSymbol(const std::string& name, int pixels, std::uint32_t colour);

} // namespace CodeManagerApp::Desktop
