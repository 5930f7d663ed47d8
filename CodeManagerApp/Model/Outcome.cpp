#include "CodeManagerApp/Model/Outcome.h"

#include <string_view>

#include "CodeManagerApp/Model/Console.h"
#include "CodeManagerApp/Model/QtText.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Remover.h"

namespace CodeManagerApp
{

using namespace ManagerCore;

Outcome outcomeOf(bool ok, const std::string& text)
{
    return {.ok = ok, .text = fromUtf8(Console::trimmed(std::string_view(text)))};
}

Outcome moveToTrash(const std::string& path, const std::string& moved)
{
    const auto results = Remover::trash({FilePath::fromText(path)});
    if (!results.empty() && results.front().trashed) {
        return outcomeOf(true, moved + "\n" + path);
    }
    return outcomeOf(false,
                     "Remove failed: " + (results.empty() ? "unknown" : results.front().error.value_or("unknown")));
}

} // namespace CodeManagerApp
