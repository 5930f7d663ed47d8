#include "CodeManagerApp/Model/Console.h"

#include "CodeManagerApp/Model/QtText.h"
#include "ManagerCore/Foundation/Text.h"

namespace CodeManagerApp::Console
{

QString trimmed(const QString& text)
{
    // A character takes at least one unit.
    if (static_cast<std::size_t>(text.size()) <= cap) {
        return text;
    }
    const std::string utf8 = toUtf8(text);
    const std::string_view kept = ManagerCore::Text::lastCharacters(utf8, cap);
    return kept.size() == utf8.size() ? text : fromUtf8(kept);
}

std::string trimmed(std::string_view text) { return std::string(ManagerCore::Text::lastCharacters(text, cap)); }

} // namespace CodeManagerApp::Console
