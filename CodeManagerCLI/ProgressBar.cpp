#include "CodeManagerCLI/ProgressBar.h"

#include <algorithm>

#include "CodeManagerCLI/Output.h"
#include "ManagerCore/Foundation/Size.h"
#include "ManagerCore/Foundation/Text.h"

namespace CodeManagerCLI
{

namespace
{

constexpr std::int64_t cells = 20;
constexpr std::size_t nameLength = 24; // so that a line fits into 79 columns
constexpr std::chrono::milliseconds interval(100);

} // namespace

ProgressBar::~ProgressBar()
{
    if (visible_) {
        output_.passingLine({});
    }
}

void ProgressBar::show(std::int64_t done, std::int64_t total, const std::string& what)
{
    const auto now = std::chrono::steady_clock::now();
    if (!output_.hasBars() || (visible_ && done < total && now - drawn_ < interval)) {
        return;
    }
    const std::int64_t whole = std::max<std::int64_t>(total, 1);
    const std::int64_t part = std::clamp<std::int64_t>(done, 0, whole);
    const auto filled = static_cast<std::size_t>(part * cells / whole);
    const std::string percent = std::to_string(part * 100 / whole);
    using ManagerCore::Size::human;
    output_.passingLine("[" + std::string(filled, '#') + std::string(cells - filled, ' ') + "] "
                        + std::string(3 - percent.size(), ' ') + percent + " %  " + human(done) + " of " + human(total)
                        + "  " + std::string(ManagerCore::Text::firstCharacters(what, nameLength)));
    drawn_ = now;
    visible_ = true;
}

} // namespace CodeManagerCLI
