#include "ManagerCore/Foundation/Descriptor.h"

#include <set>
#include <string>

#include "Fuzz/Target.h"
#include "Fuzz/Written.h"
#include "ManagerCore/Foundation/Text.h"

namespace
{

namespace Descriptor = ManagerCore::Descriptor;
namespace Text = ManagerCore::Text;
using Fuzz::require;

void checkUnquoting(std::string_view text)
{
    for (const char quote : {'"', '\''}) {
        const std::string quoted = quote + std::string(text) + quote;
        const bool enclosed = Text::isCharacterAt(quoted, 0) && Text::isCharacterAt(quoted, quoted.size() - 1);
        require(Descriptor::unquote(quoted) == (enclosed ? text : quoted), "Quotes around a text come off again.");
    }
    const std::size_t taken = text.size() - Descriptor::unquote(text).size();
    require(taken == 0 || taken == 2, "Quotes come off in pairs.");
}

void checkList(std::string_view key, const Descriptor::Map& map)
{
    const std::vector<std::string> elements = Descriptor::list(key, map);
    std::string written = "list = [";
    for (const std::string& element : elements) {
        require(!element.empty(), "No element is empty.");
        require(Text::find(element, ',') == std::string::npos, "Elements end at commas.");
        written += "\"" + element + "\", ";
    }
    require(!Fuzz::Written::isPlain(written + "]", 1)
                || Descriptor::list("list", Descriptor::parse(written + "]")) == elements,
            "A list that is written anew has the same elements.");
}

void checkEntry(std::string_view key, std::string_view value, const Descriptor::Map& map)
{
    require(!key.empty(), "Keys are not empty.");
    require(Text::find(key, '=') == std::string_view::npos, "A key ends at the first equals sign.");
    for (const std::string_view part : {key, value}) {
        require(Text::find(part, '#') == std::string_view::npos, "Comments are cut.");
        require(part == Text::trimWhiteSpace(part), "Keys and values are trimmed.");
    }
    require(map.find(key) == value, "What is listed is found.");
    require(Descriptor::text(key, map) == Descriptor::unquote(value), "A text is its value without quotes.");
    const std::string separated = " " + std::string(value);
    const Descriptor::Map alone = Descriptor::parse(std::string(key) + " =" + separated);
    require(!Text::isCharacterAt(separated, 0) || (alone.size() == 1 && alone.find(key) == value),
            "A line that is written anew says the same.");
}

void runDescriptor(std::string_view input)
{
    const Descriptor::Map map = Descriptor::parse(input);
    const auto entries = map.entries();
    require(entries.size() == map.size(), "All entries are counted.");
    std::set<std::string_view> keys;
    for (const auto& [key, value] : entries) {
        require(keys.insert(key).second, "Each key is listed once.");
        checkEntry(key, value, map);
        checkUnquoting(value);
        checkList(key, map);
    }
    checkUnquoting(input);
}

const Fuzz::Registration descriptorTarget("descriptor", &runDescriptor);

} // namespace
