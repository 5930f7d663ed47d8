#include "ManagerCore/Foundation/Descriptor.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "ManagerCore/Foundation/Text.h"

namespace ManagerCore::Descriptor
{

// The text with comments cut and arrays on one line, and an open-addressing table of views into it: a descriptor has
// few keys, but a reader that copies none of them is what keeps a large file cheap.
struct Map::Contents {
    struct Item {
        std::string_view key;
        std::string_view value;
    };
    // An index into items, plus one, below the key's hash, whose upper half tells most other keys apart without
    // looking at them. 0 is free.
    using Slot = std::uint64_t;
    static constexpr Slot indexMask = 0xFFFF'FFFFU;

    std::string text;
    std::vector<Item> items;
    std::vector<Slot> slots = std::vector<Slot>(16, 0);

    // The slot that holds the key, or the free one where it belongs.
    [[nodiscard]] std::size_t slotOf(std::string_view key, Slot hash) const
    {
        std::size_t slot = positionOf(hash);
        while (slots[slot] != 0) {
            const bool alike = ((slots[slot] ^ hash) & ~indexMask) == 0;
            if (alike && items[(slots[slot] & indexMask) - 1].key == key) {
                break;
            }
            slot = (slot + 1) & (slots.size() - 1);
        }
        return slot;
    }

    [[nodiscard]] const Item* itemOf(std::string_view key) const
    {
        const Slot found = slots[slotOf(key, hashOf(key))];
        return found == 0 ? nullptr : &items[(found & indexMask) - 1];
    }

    void store(std::string_view key, std::string_view value)
    {
        const Slot hash = hashOf(key);
        const std::size_t slot = slotOf(key, hash);
        if (slots[slot] != 0) {
            items[(slots[slot] & indexMask) - 1].value = value;
            return;
        }
        items.push_back({.key = key, .value = value});
        slots[slot] = (hash & ~indexMask) | items.size();
        if (items.size() * 2 > slots.size()) {
            grow();
        }
    }

    void storeLine(std::string_view line)
    {
        const std::size_t equals = Text::find(line, '=');
        if (equals == std::string_view::npos) {
            return;
        }
        const std::string_view key = Text::trimWhiteSpace(line.substr(0, equals));
        if (!key.empty()) {
            store(key, Text::trimWhiteSpace(line.substr(equals + 1)));
        }
    }

private:
    static Slot hashOf(std::string_view key) { return std::hash<std::string_view> {}(key); }

    // By the upper half, the one that a slot keeps.
    [[nodiscard]] std::size_t positionOf(Slot hash) const { return (hash >> 32U) & (slots.size() - 1); }

    void grow()
    {
        const std::vector<Slot> before = std::exchange(slots, std::vector<Slot>(slots.size() * 4, 0));
        for (const Slot taken : before) {
            if (taken == 0) {
                continue;
            }
            std::size_t slot = positionOf(taken);
            while (slots[slot] != 0) {
                slot = (slot + 1) & (slots.size() - 1);
            }
            slots[slot] = taken;
        }
    }
};

namespace
{

std::int64_t openedBrackets(std::string_view line, bool isAscii)
{
    std::int64_t depth = 0;
    for (const char letter : line) {
        depth += static_cast<std::int64_t>(letter == '[') - static_cast<std::int64_t>(letter == ']');
    }
    for (std::size_t at = isAscii ? line.size() : 0; at < line.size(); at++) {
        if ((line[at] == '[' || line[at] == ']') && !Text::isCharacterAt(line, at)) {
            depth -= line[at] == '[' ? 1 : -1;
        }
    }
    return depth;
}

bool isEnclosed(std::string_view value, char open, char close)
{
    return value.size() >= 2 && value.front() == open && value.back() == close && Text::isCharacterAt(value, 0)
        && Text::isCharacterAt(value, value.size() - 1);
}

} // namespace

Map parse(std::string_view text)
{
    auto contents = std::make_shared<Map::Contents>();
    std::string& joined = contents->text;
    joined.reserve(text.size() + 1);
    const bool isAscii = Text::isAscii(text);
    std::int64_t depth = 0;
    std::size_t lineStart = 0;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(Text::find(text, '\n', start), text.size());
        const std::string_view line = text.substr(start, end - start);
        const std::string_view kept = line.substr(0, Text::find(line, '#'));
        joined.append(kept);
        depth += openedBrackets(kept, isAscii);
        // A carriage return that a cut comment left at the end becomes one character with the line feed that joins.
        const bool splits = end == text.size() || joined.empty() || joined.back() != '\r';
        if (splits && (depth <= 0 || end == text.size())) {
            contents->storeLine(std::string_view(joined).substr(lineStart));
            joined.push_back('\n');
            lineStart = joined.size();
        } else {
            joined.push_back(splits ? ' ' : '\n');
        }
        start = end + 1;
    }
    Map map;
    map.count_ = contents->items.size();
    map.contents_ = std::move(contents);
    return map;
}

std::optional<std::string_view> Map::find(std::string_view key) const
{
    if (!contents_) {
        return std::nullopt;
    }
    const Contents::Item* item = contents_->itemOf(key);
    return item == nullptr ? std::nullopt : std::optional(item->value);
}

std::vector<std::pair<std::string_view, std::string_view>> Map::entries() const
{
    std::vector<std::pair<std::string_view, std::string_view>> all;
    if (contents_) {
        for (const Contents::Item& item : contents_->items) {
            all.emplace_back(item.key, item.value);
        }
    }
    return all;
}

std::string_view unquote(std::string_view value)
{
    const bool quoted = isEnclosed(value, '"', '"') || isEnclosed(value, '\'', '\'');
    return quoted ? value.substr(1, value.size() - 2) : value;
}

std::vector<std::string> list(std::string_view key, const Map& map)
{
    std::vector<std::string> elements;
    const std::string_view value = map.find(key).value_or(std::string_view {});
    if (!isEnclosed(value, '[', ']')) {
        return elements;
    }
    for (const std::string_view piece : Text::pieces(value.substr(1, value.size() - 2), ',')) {
        const std::string_view element = unquote(Text::trimWhiteSpace(piece));
        if (!element.empty()) {
            elements.emplace_back(element);
        }
    }
    return elements;
}

std::string text(std::string_view key, const Map& map, std::string_view fallback)
{
    const std::optional<std::string_view> value = map.find(key);
    return std::string(value ? unquote(*value) : fallback);
}

} // namespace ManagerCore::Descriptor
