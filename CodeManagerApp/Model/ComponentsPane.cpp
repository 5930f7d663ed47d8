#include "CodeManagerApp/Model/ComponentsPane.h"

#include <algorithm>

#include "CodeManagerApp/Model/Console.h"
#include "CodeManagerApp/Model/QtText.h"
#include "ManagerCore/Foundation/Size.h"

namespace CodeManagerApp::ComponentsPane
{

namespace
{

std::string counted(std::size_t count) { return std::to_string(count) + " item" + (count == 1 ? "" : "s"); }

} // namespace

QString nothingInstalled(const std::string& name) { return fromUtf8("Nothing installed for " + name); }

QString totals(std::size_t count, std::int64_t bytes)
{
    if (count == 0) {
        return QStringLiteral("Select items to move to the Trash (recoverable).");
    }
    return fromUtf8(counted(count) + " · " + ManagerCore::Size::human(bytes));
}

QString confirmationTitle(std::size_t count)
{
    return fromUtf8("Move " + std::to_string(count) + " item(s) to the Trash?");
}

QString outcome(const std::vector<ManagerCore::Remover::Result>& results)
{
    const auto moved
        = static_cast<std::size_t>(std::ranges::count(results, true, &ManagerCore::Remover::Result::trashed));
    std::string text = moved == results.size()
        ? "Moved " + counted(moved) + " to the Trash."
        : "Moved " + std::to_string(moved) + " of " + counted(results.size()) + " to the Trash.";
    for (const ManagerCore::Remover::Result& result : results) {
        text += "\n";
        if (result.trashed) {
            text += "Moved to Trash:\n" + result.path;
        } else {
            text += "Remove failed: " + result.error.value_or("unknown");
        }
    }
    return fromUtf8(Console::trimmed(std::string_view(text)));
}

} // namespace CodeManagerApp::ComponentsPane
