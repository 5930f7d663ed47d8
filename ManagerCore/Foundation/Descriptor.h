#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The reader of descriptor files: flat `key = value` lines, "#" comments, arrays that may run over several lines.
// Never fails: lines that say nothing are passed over. Linear in the text's length. Any thread.
namespace ManagerCore::Descriptor
{

// The values of a text by key, raw as they were written. A value type that owns its text; copies share it.
class Map
{
public:
    Map() = default;

    // The last value given to `key`; absent when there is none. The view lives as long as the map or a copy of it.
    [[nodiscard]] std::optional<std::string_view> find(std::string_view key) const;
    [[nodiscard]] std::size_t size() const { return count_; }
    [[nodiscard]] bool empty() const { return count_ == 0; }
    // Each key once with its last value, in the order in which the keys first occurred.
    [[nodiscard]] std::vector<std::pair<std::string_view, std::string_view>> entries() const;

private:
    friend Map parse(std::string_view text);
    struct Contents;
    std::shared_ptr<const Contents> contents_;
    std::size_t count_ = 0;
};

Map parse(std::string_view text);

// Without one pair of matching quotes around it; no escapes are interpreted.
std::string_view unquote(std::string_view value);

// The unquoted, non-empty elements of a one-line array; empty when the key is absent or its value is no array.
std::vector<std::string> list(std::string_view key, const Map& map);

// The unquoted value of `key`, or `fallback` when the key is absent.
std::string text(std::string_view key, const Map& map, std::string_view fallback = {});

} // namespace ManagerCore::Descriptor
