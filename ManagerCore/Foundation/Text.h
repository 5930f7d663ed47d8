#pragma once

#include <cstddef>
#include <expected>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

// The rules by which texts are read, split and trimmed, once for everything. Text is UTF-8; views returned point into
// the argument. Nothing here throws. Any thread.
namespace ManagerCore::Text
{

// Whether the ASCII character at `index` is a character by itself. It is not when a combining mark belongs to it, and a
// carriage return with its line feed is one character.
bool isCharacterAt(std::string_view text, std::size_t index);

// The usual case of it, decided without decoding: printable ASCII on both sides.
inline bool isBetweenAscii(std::string_view text, std::size_t index)
{
    const auto isPrintable = [](char letter) { return letter >= ' ' && letter <= '~'; };
    return index > 0 && isPrintable(text[index - 1]) && index + 1 < text.size() && isPrintable(text[index + 1]);
}

// The first place from `from` on where `character`, in ASCII, is a character by itself; npos when there is none.
inline std::size_t find(std::string_view text, char character, std::size_t from = 0)
{
    std::size_t at = text.find(character, from);
    while (at != std::string_view::npos && !isBetweenAscii(text, at) && !isCharacterAt(text, at)) {
        at = text.find(character, at + 1);
    }
    return at;
}

// Split at every line feed; empty lines are kept by `lines` and dropped by `nonEmptyLines`.
std::vector<std::string_view> lines(std::string_view text);
std::vector<std::string_view> nonEmptyLines(std::string_view text);

// Split at every `separator`, empty pieces dropped.
std::vector<std::string_view> pieces(std::string_view text, char separator);

// Without spaces and tabs at both ends.
std::string_view trimSpacesAndTabs(std::string_view text);
// Without white space at both ends: tab and the Unicode space separators, no line breaks.
std::string_view trimWhiteSpace(std::string_view text);
// Without white space and line breaks at both ends.
std::string_view trimWhiteSpaceAndLineBreaks(std::string_view text);

// The first or the last `count` characters as a reader sees them (grapheme clusters), the whole text when it has fewer.
std::string_view firstCharacters(std::string_view text, std::size_t count);
std::string_view lastCharacters(std::string_view text, std::size_t count);

// Comparisons by characters: composed and decomposed forms are equal. A text that is not UTF-8 compares by its bytes.
bool equals(std::string_view one, std::string_view other);
bool startsWith(std::string_view text, std::string_view prefix);
bool endsWith(std::string_view text, std::string_view suffix);
bool contains(std::string_view text, std::string_view part);

// Lower case by Unicode's rules and in composed form, so that equal texts compare equal.
std::string lowercased(std::string_view text);

// As messages name what they speak of.
std::string inQuotes(std::string_view text);

bool isAscii(std::string_view bytes);
bool isUtf8(std::string_view bytes);

// The bytes as UTF-8; each invalid sequence (the longest beginning of a valid one, else one byte) becomes U+FFFD.
std::string repairedUtf8(std::string bytes);

// The bytes of the regular file at `path` (links followed), or one sentence why not. Anything but a regular file is
// refused without blocking; so is a file of more than `readLimit` bytes.
inline constexpr std::size_t readLimit = std::size_t {1} << 30;
std::expected<std::string, std::string> readBytes(const std::filesystem::path& path);

// The same, as UTF-8 text without its byte order mark; a file that is not valid UTF-8 is refused.
std::expected<std::string, std::string> readFile(const std::filesystem::path& path);

} // namespace ManagerCore::Text
