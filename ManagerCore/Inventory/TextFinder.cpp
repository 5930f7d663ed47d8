#include "ManagerCore/Inventory/TextFinder.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

namespace ManagerCore
{

namespace
{

// Bytes that a processor compares at once: every one that the program is built for these, newer ones twice as many.
using Lanes [[gnu::vector_size(16)]] = std::uint8_t;
#ifdef __x86_64__
using WideLanes [[gnu::vector_size(32)]] = std::uint8_t;
#endif
constexpr std::size_t blockSize = 128; // places looked at together

// How many near misses in one search are put up with before a search that nothing can slow down takes over.
constexpr unsigned patienceAtFirst = 64;

// How often a byte is met in programs, roughly: zeros and instructions, then the letters of texts, then the rest.
int commonness(char byte)
{
    constexpr std::string_view instructions("\x00\x01\x02\x04\x08\x0F\x10\x24\x48\x83\x89\x8B\xC0\xE8\xFF", 15);
    if (instructions.find(byte) != std::string_view::npos) {
        return 2;
    }
    return (byte >= 'a' && byte <= 'z') || byte == '_' || byte == ' ' ? 1 : 0;
}

// The place of the rarest byte that is not `other`; nothing when there is no such byte.
std::optional<std::size_t> rarestBut(std::optional<char> other, const std::string& text)
{
    std::optional<std::size_t> rarest;
    for (std::size_t place = 0; place < text.size(); place++) {
        if (text[place] != other && (!rarest || commonness(text[place]) < commonness(text[*rarest]))) {
            rarest = place;
        }
    }
    return rarest;
}

// Two bytes and where they stand behind the place where a text begins.
struct Pair {
    char first;
    char second;
    std::size_t firstAt;
    std::size_t secondAt;
};

template <class Matches> [[gnu::always_inline]] inline bool anyIn(const Matches& matches)
{
    std::array<std::uint64_t, sizeof(Matches) / sizeof(std::uint64_t)> words {};
    std::memcpy(words.data(), &matches, sizeof matches);
    std::uint64_t any = 0;
    for (const std::uint64_t word : words) {
        any |= word;
    }
    return any != 0;
}

// The first block at or behind `place` in which the pair stands where it would for at least one place; the last whole
// block's end when there is none. Inlined, so that it is compiled for the processor of its caller.
template <class Vector>
[[gnu::always_inline]] inline std::size_t
nextSuspectBy(std::string_view bytes, std::size_t place, std::size_t places, const Pair& pair)
{
    const Vector first = Vector {} + static_cast<std::uint8_t>(pair.first);
    const Vector second = Vector {} + static_cast<std::uint8_t>(pair.second);
    for (; place + blockSize <= places; place += blockSize) {
        const char* const firsts = bytes.data() + place + pair.firstAt;
        const char* const seconds = bytes.data() + place + pair.secondAt;
        decltype(first == second) matches {};
        for (std::size_t at = 0; at < blockSize; at += sizeof(Vector)) {
            Vector left {};
            Vector right {};
            std::memcpy(&left, firsts + at, sizeof left);
            std::memcpy(&right, seconds + at, sizeof right);
            matches |= (left == first) & (right == second);
        }
        if (anyIn(matches)) {
            break;
        }
    }
    return place;
}

using NextSuspect = std::size_t (*)(std::string_view bytes, std::size_t place, std::size_t places, const Pair& pair);

std::size_t nextSuspectAnywhere(std::string_view bytes, std::size_t place, std::size_t places, const Pair& pair)
{
    return nextSuspectBy<Lanes>(bytes, place, places, pair);
}

#ifdef __x86_64__
[[gnu::target("avx2")]] std::size_t
nextSuspectWithAvx2(std::string_view bytes, std::size_t place, std::size_t places, const Pair& pair)
{
    return nextSuspectBy<WideLanes>(bytes, place, places, pair);
}

NextSuspect nextSuspectHere() { return __builtin_cpu_supports("avx2") ? &nextSuspectWithAvx2 : &nextSuspectAnywhere; }
#else
NextSuspect nextSuspectHere() { return &nextSuspectAnywhere; }
#endif

} // namespace

TextFinder::TextFinder(std::string text)
    : text_(std::move(text))
    , first_(rarestBut(std::nullopt, text_).value_or(0))
    , second_(rarestBut(text_[first_], text_).value_or(text_.size() - 1))
{
}

bool TextFinder::occursIn(std::string_view bytes) const
{
    if (bytes.size() < text_.size()) {
        return false;
    }
    const std::size_t places = bytes.size() - text_.size() + 1; // where it could begin
    const Pair pair {.first = text_[first_], .second = text_[second_], .firstAt = first_, .secondAt = second_};
    static const NextSuspect nextSuspect = nextSuspectHere();
    unsigned patience = patienceAtFirst;
    std::size_t place = nextSuspect(bytes, 0, places, pair);
    while (place + blockSize <= places && patience > 0) {
        if (beginsIn(bytes.data() + place, patience)) {
            return true;
        }
        place = nextSuspect(bytes, place + blockSize, places, pair);
    }
    // The end, or the rest of bytes that are made of near misses.
    return ::memmem(bytes.data() + place, bytes.size() - place, text_.data(), text_.size()) != nullptr;
}

// Whether the text begins at one of the block's places. Every near miss costs patience.
bool TextFinder::beginsIn(const char* block, unsigned& patience) const
{
    for (std::size_t place = 0; place < blockSize; place++) {
        if (block[place + first_] != text_[first_] || block[place + second_] != text_[second_]) {
            continue;
        }
        if (std::memcmp(block + place, text_.data(), text_.size()) == 0) {
            return true;
        }
        patience = patience > 0 ? patience - 1 : 0;
    }
    return false;
}

} // namespace ManagerCore
