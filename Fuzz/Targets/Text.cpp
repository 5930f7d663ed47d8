#include "ManagerCore/Foundation/Text.h"

#include <algorithm>
#include <string>
#include <vector>

#include "Fuzz/Target.h"
#include "ManagerCore/Foundation/FilePath.h"

namespace
{

namespace FilePath = ManagerCore::FilePath;
namespace Text = ManagerCore::Text;
using Fuzz::require;

void checkRepair(std::string_view input)
{
    const std::string repaired = Text::repairedUtf8(std::string(input));
    require(Text::isUtf8(repaired), "What is repaired is text.");
    require((repaired == input) == Text::isUtf8(input), "Text alone is left as it is.");
    require(Text::isUtf8(Text::lowercased(input)), "Lower case is text.");
}

void checkLines(std::string_view input)
{
    std::string joined;
    for (const std::string_view line : Text::lines(input)) {
        joined += std::string(line) + '\n';
    }
    joined.pop_back();
    require(joined == input, "Lines make up the text.");
    std::string withoutCommas;
    for (const std::string_view piece : Text::pieces(input, ',')) {
        require(!piece.empty(), "No piece is empty.");
        withoutCommas += piece;
    }
    std::string expected;
    for (std::size_t at = 0; at < input.size(); at++) {
        if (input[at] != ',' || !Text::isCharacterAt(input, at)) {
            expected.push_back(input[at]);
        }
    }
    require(withoutCommas == expected, "Pieces and separators make up the text.");
}

void checkTrimming(std::string_view input)
{
    for (const auto trim : {&Text::trimSpacesAndTabs, &Text::trimWhiteSpace, &Text::trimWhiteSpaceAndLineBreaks}) {
        const std::string_view trimmed = trim(input);
        require(trim(trimmed) == trimmed, "What is trimmed is trimmed.");
        require(input.find(trimmed) != std::string_view::npos, "Trimming only takes away.");
    }
    require(Text::trimSpacesAndTabs(input).size() >= Text::trimWhiteSpace(input).size(), "Tabs are white space.");
}

void checkCharacters(std::string_view input)
{
    const std::string_view text = input.substr(0, 64);
    std::size_t count = 0;
    while (Text::firstCharacters(text, count).size() < text.size()) {
        count++;
    }
    for (std::size_t first = 0; first <= count; first++) {
        const std::string both
            = std::string(Text::firstCharacters(text, first)) + std::string(Text::lastCharacters(text, count - first));
        require(both == text, "The first and the last characters make up the text.");
    }
}

void checkPaths(std::string_view input)
{
    const auto path = FilePath::fromText(input);
    require(FilePath::fromText(path.string()) == path, "A path’s text names the path.");
    require(path.empty() || path.is_absolute(), "Paths are full ones, or none.");
    require(path.string().find("//") == std::string::npos, "Slashes are squeezed.");
    std::filesystem::path rebuilt;
    for (const std::string& name : FilePath::components(path)) {
        rebuilt /= name;
    }
    require(rebuilt == path, "The components make up the path.");
    require(path.empty() || path == "/"
                || FilePath::appending(FilePath::parent(path), FilePath::lastComponent(path)) == path,
            "The parent and the last component make up the path.");
    const auto expanded = FilePath::expandTilde(input);
    require(expanded.empty() || expanded.is_absolute(), "Expanded paths are full ones, or none.");
    require(input.starts_with('~') || expanded == FilePath::expandHome(input), "Without a tilde nothing is expanded.");
    FilePath::isPackageName(input);
}

void runText(std::string_view input)
{
    checkRepair(input);
    checkLines(input);
    checkTrimming(input);
    checkCharacters(input);
    checkPaths(input);
}

const Fuzz::Registration textTarget("text", &runText);

} // namespace
