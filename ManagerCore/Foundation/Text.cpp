#include "ManagerCore/Foundation/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include <utf8proc.h>

#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/UniqueFd.h"

namespace ManagerCore::Text
{

namespace ErrorText = Platform::ErrorText;

namespace
{

struct Decoded {
    utf8proc_int32_t codePoint = -1; // -1 for an invalid sequence
    std::size_t length = 1; // of the invalid sequence, when it is one
};

// How many continuation bytes a leading byte asks for, and what the first of them may be (Unicode, table 3-7).
struct Lead {
    std::size_t continuations = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
};

Lead leadOf(unsigned char byte)
{
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {.continuations = 1};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        return {.continuations = 2,
                .low = static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
                .high = static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        return {.continuations = 3,
                .low = static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
                .high = static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
    }
    return {};
}

Decoded decode(std::string_view text)
{
    const auto byteAt = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char first = byteAt(0);
    if (first < 0x80) {
        return {.codePoint = first, .length = 1};
    }
    Lead lead = leadOf(first);
    if (lead.continuations == 0) {
        return {};
    }
    utf8proc_int32_t codePoint = first & (0x3F >> lead.continuations);
    for (std::size_t index = 1; index <= lead.continuations; index++) {
        if (index >= text.size() || byteAt(index) < lead.low || byteAt(index) > lead.high) {
            return {.codePoint = -1, .length = index};
        }
        codePoint = (codePoint << 6) | (byteAt(index) & 0x3F);
        lead.low = 0x80;
        lead.high = 0xBF;
    }
    return {.codePoint = codePoint, .length = lead.continuations + 1};
}

// Length of the plain ASCII that the text begins with.
std::size_t asciiLength(std::string_view text)
{
    std::size_t index = 0;
    std::uint64_t word = 0;
    while (index + sizeof word <= text.size()) {
        std::memcpy(&word, text.data() + index, sizeof word);
        if ((word & 0x8080808080808080U) != 0) {
            break;
        }
        index += sizeof word;
    }
    while (index < text.size() && static_cast<unsigned char>(text[index]) < 0x80) {
        index++;
    }
    return index;
}

// Where the first invalid sequence begins; the text's length when there is none.
std::size_t validLength(std::string_view bytes)
{
    std::size_t index = 0;
    while (index < bytes.size()) {
        index += asciiLength(bytes.substr(index));
        if (index == bytes.size()) {
            break;
        }
        const Decoded next = decode(bytes.substr(index));
        if (next.codePoint < 0) {
            return index;
        }
        index += next.length;
    }
    return index;
}

bool isSpaceOrTab(utf8proc_int32_t codePoint) { return codePoint == ' ' || codePoint == '\t'; }

bool isWhiteSpace(utf8proc_int32_t codePoint)
{
    return isSpaceOrTab(codePoint) || codePoint == 0x00A0 || codePoint == 0x1680
        || (codePoint >= 0x2000 && codePoint <= 0x200B) || codePoint == 0x202F || codePoint == 0x205F
        || codePoint == 0x3000;
}

bool isWhiteSpaceOrLineBreak(utf8proc_int32_t codePoint)
{
    return isWhiteSpace(codePoint) || (codePoint >= 0x0A && codePoint <= 0x0D) || codePoint == 0x85
        || codePoint == 0x2028 || codePoint == 0x2029;
}

// Where the last character's bytes begin.
std::size_t lastStart(std::string_view text)
{
    std::size_t start = text.size() - 1;
    while (start > 0 && text.size() - start < 4 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) {
        start--;
    }
    return start;
}

// The usual case, decided without decoding: no white space, no line break.
bool isPrintableAscii(char letter) { return letter > ' ' && static_cast<unsigned char>(letter) < 0x7F; }

template <bool matches(utf8proc_int32_t)> std::string_view trim(std::string_view text)
{
    while (!text.empty() && !isPrintableAscii(text.front())) {
        const Decoded first = decode(text);
        if (first.codePoint < 0 || !matches(first.codePoint)) {
            break;
        }
        text.remove_prefix(first.length);
    }
    while (!text.empty() && !isPrintableAscii(text.back())) {
        const std::size_t start = lastStart(text);
        const Decoded last = decode(text.substr(start));
        if (last.codePoint < 0 || start + last.length != text.size() || !matches(last.codePoint)) {
            break;
        }
        text.remove_suffix(last.length);
    }
    return text;
}

// Hands the byte offset of every character's beginning but the first to `boundary` until it returns false.
template <class Boundary> void eachBoundary(std::string_view text, Boundary boundary)
{
    const auto isPlain = [](utf8proc_int32_t codePoint) { return codePoint >= ' ' && codePoint < 0x7F; };
    utf8proc_int32_t state = 0;
    utf8proc_int32_t previous = -1;
    for (std::size_t index = 0; index < text.size();) {
        const Decoded next = decode(text.substr(index));
        const utf8proc_int32_t codePoint = next.codePoint < 0 ? 0xFFFD : next.codePoint;
        const bool plain = isPlain(previous) && isPlain(codePoint); // always apart
        if (plain) {
            state = 0;
        }
        if (index > 0 && (plain || utf8proc_grapheme_break_stateful(previous, codePoint, &state)) && !boundary(index)) {
            return;
        }
        previous = codePoint;
        index += next.length;
    }
}

// Whether the characters on both sides of `index` are one.
bool joinsAt(std::string_view text, std::size_t index)
{
    if (index == 0 || index >= text.size()) {
        return false;
    }
    const auto before = static_cast<unsigned char>(text[index - 1]);
    const auto after = static_cast<unsigned char>(text[index]);
    if (before < 0x80 && after < 0x80) {
        return before == '\r' && after == '\n';
    }
    const std::string_view head = text.substr(0, index);
    const utf8proc_int32_t last = decode(head.substr(lastStart(head))).codePoint;
    const utf8proc_int32_t next = decode(text.substr(index)).codePoint;
    return last >= 0 && next >= 0 && !utf8proc_grapheme_break(last, next);
}

bool comparesByBytes(std::string_view one, std::string_view other)
{
    return (isAscii(one) && isAscii(other)) || !isUtf8(one) || !isUtf8(other);
}

// In composed form, in which equal texts have equal bytes.
std::string composed(std::string_view text)
{
    utf8proc_uint8_t* bytes = nullptr;
    const auto size = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                   static_cast<utf8proc_ssize_t>(text.size()),
                                   &bytes,
                                   static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(bytes, &std::free);
    return size < 0 ? std::string(text) : std::string(bytes, bytes + size);
}

// Whether a character begins or the text ends there.
bool isBoundary(std::string_view text, std::size_t index)
{
    bool found = index == 0 || index == text.size();
    eachBoundary(text, [&](std::size_t at) {
        found = found || at == index;
        return at < index;
    });
    return found;
}

} // namespace

bool isCharacterAt(std::string_view text, std::size_t index)
{
    return !joinsAt(text, index) && !joinsAt(text, index + 1);
}

std::vector<std::string_view> lines(std::string_view text)
{
    std::vector<std::string_view> found;
    std::size_t start = 0;
    for (std::size_t at = find(text, '\n'); at != std::string_view::npos; at = find(text, '\n', start)) {
        found.push_back(text.substr(start, at - start));
        start = at + 1;
    }
    found.push_back(text.substr(start));
    return found;
}

std::vector<std::string_view> nonEmptyLines(std::string_view text)
{
    std::vector<std::string_view> found = lines(text);
    std::erase_if(found, [](std::string_view line) { return line.empty(); });
    return found;
}

std::vector<std::string_view> pieces(std::string_view text, char separator)
{
    std::vector<std::string_view> found;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(find(text, separator, start), text.size());
        if (end > start) {
            found.push_back(text.substr(start, end - start));
        }
        start = end + 1;
    }
    return found;
}

std::string_view trimSpacesAndTabs(std::string_view text) { return trim<isSpaceOrTab>(text); }

std::string_view trimWhiteSpace(std::string_view text) { return trim<isWhiteSpace>(text); }

std::string_view trimWhiteSpaceAndLineBreaks(std::string_view text) { return trim<isWhiteSpaceOrLineBreak>(text); }

std::string_view firstCharacters(std::string_view text, std::size_t count)
{
    if (count == 0) {
        return {};
    }
    std::size_t seen = 0;
    std::size_t end = text.size();
    eachBoundary(text, [&](std::size_t index) {
        if (++seen < count) {
            return true;
        }
        end = index;
        return false;
    });
    return text.substr(0, end);
}

std::string_view lastCharacters(std::string_view text, std::size_t count)
{
    if (count == 0) {
        return {};
    }
    // A line feed ends a character: where enough of them follow one, the text before it need not be read.
    if (text.size() / 4 > count) {
        const std::size_t lineFeed = text.find('\n', text.size() - 4 * count);
        const std::string_view rest = lineFeed == std::string_view::npos ? "" : text.substr(lineFeed + 1);
        const std::string_view last = lastCharacters(rest, count);
        if (last.size() < rest.size()) {
            return last;
        }
    }
    std::vector<std::size_t> starts(count, 0); // of the last `count` characters, as a ring
    std::size_t seen = 1;
    eachBoundary(text, [&](std::size_t index) {
        starts[seen++ % count] = index;
        return true;
    });
    return seen <= count ? text : text.substr(starts[seen % count]);
}

bool equals(std::string_view one, std::string_view other)
{
    return comparesByBytes(one, other) ? one == other : composed(one) == composed(other);
}

bool startsWith(std::string_view text, std::string_view prefix)
{
    if (comparesByBytes(text, prefix)) {
        return text.starts_with(prefix);
    }
    const std::string whole = composed(text);
    const std::string part = composed(prefix);
    return whole.starts_with(part) && isBoundary(whole, part.size());
}

bool endsWith(std::string_view text, std::string_view suffix)
{
    if (comparesByBytes(text, suffix)) {
        return text.ends_with(suffix);
    }
    const std::string whole = composed(text);
    const std::string part = composed(suffix);
    return whole.ends_with(part) && isBoundary(whole, whole.size() - part.size());
}

bool contains(std::string_view text, std::string_view part)
{
    if (comparesByBytes(text, part)) {
        return text.find(part) != std::string_view::npos;
    }
    const std::string whole = composed(text);
    const std::string wanted = composed(part);
    for (std::size_t at = whole.find(wanted); at != std::string::npos; at = whole.find(wanted, at + 1)) {
        if (isBoundary(whole, at) && isBoundary(whole, at + wanted.size())) {
            return true;
        }
    }
    return false;
}

std::string lowercased(std::string_view text)
{
    const std::string valid = repairedUtf8(std::string(text));
    std::string lowered;
    for (std::size_t index = 0; index < valid.size();) {
        const Decoded next = decode(std::string_view(valid).substr(index));
        std::array<utf8proc_uint8_t, 4> encoded {};
        const auto size = utf8proc_encode_char(utf8proc_tolower(next.codePoint), encoded.data());
        lowered.append(encoded.begin(), encoded.begin() + size);
        index += next.length;
    }
    return composed(lowered);
}

std::string inQuotes(std::string_view text) { return "“" + std::string(text) + "”"; }

bool isAscii(std::string_view bytes) { return asciiLength(bytes) == bytes.size(); }

bool isUtf8(std::string_view bytes) { return validLength(bytes) == bytes.size(); }

std::string repairedUtf8(std::string bytes)
{
    std::size_t valid = validLength(bytes);
    if (valid == bytes.size()) {
        return bytes;
    }
    std::string repaired;
    repaired.reserve(bytes.size() + bytes.size() / 8);
    std::string_view rest = bytes;
    while (!rest.empty()) {
        repaired.append(rest.substr(0, valid));
        rest.remove_prefix(valid);
        if (!rest.empty()) {
            repaired.append("\xEF\xBF\xBD");
            rest.remove_prefix(decode(rest).length);
            valid = validLength(rest);
        }
    }
    return repaired;
}

namespace
{

// Reads to the end of the file, which may grow or shrink meanwhile. An errno, or 0.
int readAll(int descriptor, std::size_t expected, std::string& bytes)
{
    constexpr std::size_t piece = 65536;
    bytes.resize(std::min(expected, readLimit) + 1);
    std::size_t filled = 0;
    while (true) {
        if (filled == bytes.size()) {
            bytes.resize(bytes.size() + std::max(piece, bytes.size() / 2));
        }
        const ssize_t count = ::read(descriptor, bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        if (count == 0) {
            bytes.resize(filled);
            return 0;
        }
        filled += count > 0 ? static_cast<std::size_t>(count) : 0;
        if (filled > readLimit) {
            return EFBIG;
        }
    }
}

} // namespace

std::expected<std::string, std::string> readBytes(const std::filesystem::path& path)
{
    // O_NONBLOCK: the path may name a FIFO without a writer.
    const Platform::UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0) {
        return std::unexpected(ErrorText::reading(errno, path));
    }
    if (!S_ISREG(status.st_mode)) {
        return std::unexpected(ErrorText::unsuitable(path, "it isn’t a regular file"));
    }
    if (static_cast<std::size_t>(status.st_size) > readLimit) {
        return std::unexpected(ErrorText::reading(EFBIG, path));
    }
    std::string bytes;
    if (const int error = readAll(file.get(), static_cast<std::size_t>(status.st_size), bytes); error != 0) {
        return std::unexpected(ErrorText::reading(error, path));
    }
    return bytes;
}

std::expected<std::string, std::string> readFile(const std::filesystem::path& path)
{
    std::expected<std::string, std::string> bytes = readBytes(path);
    if (bytes && !isUtf8(*bytes)) {
        return std::unexpected(ErrorText::unsuitable(path, "it isn’t UTF-8 text"));
    }
    if (bytes && bytes->starts_with("\xEF\xBB\xBF")) {
        bytes->erase(0, 3);
    }
    return bytes;
}

} // namespace ManagerCore::Text
