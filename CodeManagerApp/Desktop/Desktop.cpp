#include "CodeManagerApp/Desktop/Desktop.h"

#include <algorithm>
#include <utility>

#include "CodeManagerApp/Desktop/Native.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Platform/ErrorText.h"

namespace CodeManagerApp::Desktop
{

namespace FilePath = ManagerCore::FilePath;
namespace ErrorText = ManagerCore::Platform::ErrorText;

Native::Frame Native::fitted(double width, double height, double square)
{
    const double scale = std::min(square / width, square / height);
    const double shownWidth = width * scale;
    const double shownHeight = height * scale;
    return {
        .x = (square - shownWidth) / 2, .y = (square - shownHeight) / 2, .width = shownWidth, .height = shownHeight};
}

std::array<double, 3> Native::components(std::uint32_t colour)
{
    const auto part = [colour](unsigned bit) { return ((colour >> bit) & 0xFFU) / 255.0; };
    return {part(16), part(8), part(0)};
}

std::optional<std::string> open(const std::filesystem::path& file)
{
    return FilePath::exists(file) ? Native::open(file) : std::optional(ErrorText::missing(file));
}

std::optional<std::string> reveal(const std::filesystem::path& item)
{
    const bool exists = FilePath::exists(item) || FilePath::isLink(item);
    return exists ? Native::reveal(item) : std::optional(ErrorText::missing(item));
}

std::optional<Picture> systemSymbol(const std::string& name, int pixels, std::uint32_t colour)
{
    if (pixels <= 0) {
        return std::nullopt;
    }
    Picture picture {.pixels = pixels, .argb = std::vector<std::uint32_t>(static_cast<std::size_t>(pixels) * pixels)};
    return Native::drawSymbol(name, colour, picture) ? std::optional(std::move(picture)) : std::nullopt;
}

} // namespace CodeManagerApp::Desktop
