#include "ManagerCore/Foundation/PropertyList.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <plist/plist.h>

namespace ManagerCore::PropertyList
{

namespace
{

// libplist recurses into what it reads and into what it frees, reads a part of a binary list once for each place that
// refers to it, and ends the program over a text with a zero byte: what would exhaust the stack, go on for ever or end
// the program is refused beforehand.
constexpr std::size_t sizeLimit = std::size_t {16} << 20U;
constexpr std::size_t depthLimit = 128;
constexpr std::size_t nodeLimit = std::size_t {1} << 16U;
constexpr std::size_t bytesPerNode = 1024; // a long text or piece of data counts for several

bool isNestedTooDeep(std::string_view xml)
{
    std::size_t depth = 0;
    for (std::size_t at = xml.find('<'); at != std::string_view::npos; at = xml.find('<', at + 1)) {
        const std::string_view tag = xml.substr(at + 1);
        if (tag.starts_with("array") || tag.starts_with("dict")) {
            depth++;
        } else if (tag.starts_with("/array") || tag.starts_with("/dict")) {
            depth -= std::min<std::size_t>(depth, 1);
        }
        if (depth > depthLimit) {
            return true;
        }
    }
    return false;
}

// How the parts of a binary list refer to each other, and whether its texts are such; nothing else of it is looked at.
// A table of offsets, told of in the last 32 bytes, leads to the parts; those that hold others hold their numbers in
// that table.
class References
{
public:
    explicit References(std::string_view bytes)
        : bytes_(bytes)
    {
    }

    // How many parts reading it would give, long ones counting for several; absent when there are too many, they nest
    // too deep or in a circle, they lie outside the list, or a text holds a zero.
    std::optional<std::size_t> count()
    {
        constexpr std::size_t trailer = 32;
        if (bytes_.size() < trailer) {
            return std::nullopt;
        }
        const std::size_t end = bytes_.size() - trailer;
        offsetSize_ = number(end + 6, 1).value_or(0);
        referenceSize_ = number(end + 7, 1).value_or(0);
        const std::size_t parts = number(end + 8, 8).value_or(0);
        table_ = number(end + 24, 8).value_or(0);
        if (parts > bytes_.size()) {
            return std::nullopt;
        }
        counts_.assign(parts, 0);
        return countBelow(number(end + 16, 8).value_or(parts), 0);
    }

private:
    static constexpr std::size_t entered = SIZE_MAX; // its count is being taken

    struct Part {
        std::size_t kind = 0;
        std::size_t first = 0; // where its contents begin
        std::size_t count = 0; // of bytes, units or references
    };

    std::optional<std::size_t> countBelow(std::size_t part, std::size_t depth)
    {
        if (part >= counts_.size() || counts_[part] == entered || depth > depthLimit) {
            return std::nullopt;
        }
        if (counts_[part] != 0) {
            return counts_[part];
        }
        const auto found = partAt(part);
        if (!found) {
            return std::nullopt;
        }
        std::size_t total = 1 + bytesOf(*found) / bytesPerNode;
        lookedAt_ += total;
        if (lookedAt_ > nodeLimit || holdsZero(*found)) {
            return std::nullopt;
        }
        const std::size_t references = referencesOf(*found);
        counts_[part] = entered;
        for (std::size_t index = 0; index < references; index++) {
            const auto reference = number(found->first + index * referenceSize_, referenceSize_);
            const auto below = reference ? countBelow(*reference, depth + 1) : std::nullopt;
            total += below.value_or(nodeLimit);
            if (total > nodeLimit) {
                return std::nullopt;
            }
        }
        counts_[part] = total;
        return total;
    }

    [[nodiscard]] std::optional<Part> partAt(std::size_t part) const
    {
        const auto offset = number(table_ + part * offsetSize_, offsetSize_);
        const auto marker = offset ? number(*offset, 1) : std::nullopt;
        if (!marker) {
            return std::nullopt;
        }
        Part found {.kind = *marker >> 4U, .first = *offset + 1, .count = *marker & 0xFU};
        if (found.count == 0xF && (bytesOf(found) > 0 || referencesOf(found) > 0)) {
            // A longer count is a number of its own: a byte that tells its length, then its bytes.
            const std::size_t length = std::size_t {1} << (number(found.first, 1).value_or(0) & 0x3U);
            const auto count = number(found.first + 1, length);
            if (!count || *count > bytes_.size()) {
                return std::nullopt;
            }
            found.first += 1 + length;
            found.count = *count;
        }
        return found;
    }

    // None but for arrays, sets and dictionaries, whose keys are parts as well.
    static std::size_t referencesOf(const Part& part)
    {
        const bool holds = part.kind == 0xA || part.kind == 0xC || part.kind == 0xD;
        return holds ? part.count * (part.kind == 0xD ? 2 : 1) : 0;
    }

    static bool isText(const Part& part) { return part.kind >= 0x5 && part.kind <= 0x7; }

    // A text's units are of two bytes in the kind 6.
    static std::size_t unitOf(const Part& part) { return part.kind == 0x6 ? 2 : 1; }

    // None but for texts and data.
    static std::size_t bytesOf(const Part& part)
    {
        return isText(part) || part.kind == 0x4 ? part.count * unitOf(part) : 0;
    }

    [[nodiscard]] bool holdsZero(const Part& part) const
    {
        const std::size_t unit = unitOf(part);
        for (std::size_t index = 0; isText(part) && index < part.count; index++) {
            if (number(part.first + index * unit, unit).value_or(0) == 0) {
                return true;
            }
        }
        return false;
    }

    // The number of `size` bytes, the highest first; absent when it lies outside.
    [[nodiscard]] std::optional<std::size_t> number(std::size_t at, std::size_t size) const
    {
        if (size == 0 || size > 8 || at > bytes_.size() || size > bytes_.size() - at) {
            return std::nullopt;
        }
        std::size_t value = 0;
        for (const char byte : bytes_.substr(at, size)) {
            value = value << 8U | static_cast<unsigned char>(byte);
        }
        return value;
    }

    std::string_view bytes_;
    std::size_t offsetSize_ = 0;
    std::size_t referenceSize_ = 0;
    std::size_t table_ = 0;
    std::size_t lookedAt_ = 0; // parts, whatever refers to them, counted as `count` does
    std::vector<std::size_t> counts_; // by part; 0 when not taken yet
};

// What stands under `key`; null for anything that is no dictionary.
plist_t under(const Tree& tree, const char* key)
{
    return tree && plist_get_node_type(tree.get()) == PLIST_DICT ? plist_dict_get_item(tree.get(), key) : nullptr;
}

std::string textOf(plist_t node)
{
    char* text = nullptr;
    plist_get_string_val(node, &text);
    const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
    return text == nullptr ? std::string() : std::string(text);
}

Value::Array arrayOf(plist_t node);
Value::Dictionary dictionaryOf(plist_t node);

Value valueOf(plist_t node)
{
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        std::uint8_t flag = 0;
        plist_get_bool_val(node, &flag);
        return {flag != 0};
    }
    case PLIST_UINT: {
        std::uint64_t number = 0;
        plist_get_uint_val(node, &number);
        return {static_cast<std::int64_t>(number)}; // negative numbers are in two's complement
    }
    case PLIST_STRING:
        return {textOf(node)};
    case PLIST_ARRAY:
        return {arrayOf(node)};
    case PLIST_DICT:
        return {dictionaryOf(node)};
    default:
        return {};
    }
}

Value::Array arrayOf(plist_t node)
{
    Value::Array values;
    for (std::uint32_t index = 0; index < plist_array_get_size(node); index++) {
        values.push_back(valueOf(plist_array_get_item(node, index)));
    }
    return values;
}

Value::Dictionary dictionaryOf(plist_t node)
{
    Value::Dictionary values;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    const std::unique_ptr<void, decltype(&std::free)> iteratorOwner(iterator, &std::free);
    for (plist_t item = nullptr; iterator != nullptr;) {
        char* key = nullptr;
        plist_dict_next_item(node, iterator, &key, &item);
        const std::unique_ptr<char, decltype(&std::free)> keyOwner(key, &std::free);
        if (item == nullptr || key == nullptr) {
            break;
        }
        values.push_back({.key = key, .value = valueOf(item)});
    }
    return values;
}

} // namespace

void Release::operator()(void* root) const { plist_free(root); }

Tree parse(std::string_view bytes)
{
    plist_t root = nullptr;
    if (bytes.empty() || bytes.size() > sizeLimit) {
        return Tree(root);
    }
    const auto size = static_cast<std::uint32_t>(bytes.size());
    if (plist_is_binary(bytes.data(), size) != 0) {
        if (References(bytes).count()) {
            plist_from_bin(bytes.data(), size, &root);
        }
    } else if (bytes.find('\0') == std::string_view::npos && !isNestedTooDeep(bytes)) {
        plist_from_xml(bytes.data(), size, &root);
    }
    return Tree(root);
}

std::optional<std::string> text(const Tree& tree, const char* key)
{
    plist_t node = under(tree, key);
    const bool isText = node != nullptr && plist_get_node_type(node) == PLIST_STRING;
    return isText ? std::optional(textOf(node)) : std::nullopt;
}

std::vector<std::string> texts(const Tree& tree, const char* key)
{
    std::vector<std::string> found;
    plist_t node = under(tree, key);
    if (node == nullptr || plist_get_node_type(node) != PLIST_ARRAY) {
        return found;
    }
    for (std::uint32_t index = 0; index < plist_array_get_size(node); index++) {
        plist_t element = plist_array_get_item(node, index);
        if (plist_get_node_type(element) != PLIST_STRING) {
            return {};
        }
        found.push_back(textOf(element));
    }
    return found;
}

Value value(const Tree& tree) { return tree ? valueOf(tree.get()) : Value {}; }

} // namespace ManagerCore::PropertyList
