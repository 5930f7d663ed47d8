#include "ManagerCore/Inventory/TextFinder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <utility>
#include <vector>

namespace ManagerCore
{

namespace
{

// Sixteen bytes: what every processor that the program is built for compares at once.
using Lanes [[gnu::vector_size(16)]] = std::uint8_t;
using Matches [[gnu::vector_size(16)]] = std::int8_t;
constexpr std::size_t blockSize = 4 * sizeof(Lanes); // places looked at together

// How many near misses in one search are put up with before a search that nothing can slow down takes over.
constexpr unsigned patienceAtFirst = 64;

Lanes lanesAt(const char* bytes)
{
    Lanes lanes {};
    std::memcpy(&lanes, bytes, sizeof lanes);
    return lanes;
}

Lanes allOf(char byte) { return Lanes {} + static_cast<std::uint8_t>(byte); }

bool anyIn(Matches matches)
{
    const auto halves = std::bit_cast<std::array<std::uint64_t, 2>>(matches);
    return (halves[0] | halves[1]) != 0;
}

// How often a byte is met in programs, roughly: zeros and instructions, then the letters of texts, then the rest.
int commonness(char byte)
{
    constexpr std::string_view instructions("\x00\x01\x02\x04\x08\x0F\x10\x24\x48\x83\x89\x8B\xC0\xE8\xFF", 15);
    if (instructions.find(byte) != std::string_view::npos) {
        return 2;
    }
    return (byte >= 'a' && byte <= 'z') || byte == '_' || byte == ' ' ? 1 : 0;
}

// The places of the two rarest bytes, different ones where there are any.
std::pair<std::size_t, std::size_t> rarestIn(const std::string& text)
{
    std::vector<std::size_t> places(text.size());
    std::ranges::generate(places, [next = std::size_t {0}]() mutable { return next++; });
    std::ranges::stable_sort(places, {}, [&text](std::size_t place) { return commonness(text[place]); });
    const auto other
        = std::ranges::find_if(places, [&](std::size_t place) { return text[place] != text[places.front()]; });
    return {places.front(), other == places.end() ? text.size() - 1 : *other};
}

// Two bytes and where they stand behind the place where a text begins.
struct Pair {
    char first;
    char second;
    std::size_t firstAt;
    std::size_t secondAt;
};

// The first block at or behind `place` in which the pair stands where it would for at least one place; the last whole
// block's end when there is none.
std::size_t nextSuspect(std::string_view bytes, std::size_t place, std::size_t places, const Pair& pair)
{
    const Lanes first = allOf(pair.first);
    const Lanes second = allOf(pair.second);
    for (; place + blockSize <= places; place += blockSize) {
        const char* const firsts = bytes.data() + place + pair.firstAt;
        const char* const seconds = bytes.data() + place + pair.secondAt;
        Matches matches {};
        for (std::size_t at = 0; at < blockSize; at += sizeof(Lanes)) {
            matches |= (lanesAt(firsts + at) == first) & (lanesAt(seconds + at) == second);
        }
        if (anyIn(matches)) {
            break;
        }
    }
    return place;
}

} // namespace

TextFinder::TextFinder(std::string text)
    : text_(std::move(text))
{
    std::tie(first_, second_) = rarestIn(text_);
}

bool TextFinder::occursIn(std::string_view bytes) const
{
    if (bytes.size() < text_.size()) {
        return false;
    }
    const std::size_t places = bytes.size() - text_.size() + 1; // where it could begin
    const Pair pair {.first = text_[first_], .second = text_[second_], .firstAt = first_, .secondAt = second_};
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
