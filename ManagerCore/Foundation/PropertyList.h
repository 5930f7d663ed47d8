#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ManagerCore::PropertyList
{

struct Release {
    void operator()(void* root) const;
};

// A parsed property list, for libplist's functions; empty when there is none.
using Tree = std::unique_ptr<void, Release>;

// Reads an XML or a binary property list. Empty for anything malformed, and for what is larger or nested deeper than
// any property list of a launch agent is. Any thread.
Tree parse(std::string_view bytes);

// The text under `key` of a list that is a dictionary; absent for anything else.
std::optional<std::string> text(const Tree& tree, const char* key);

// The elements of the array under `key`, which holds texts alone; none for anything else.
std::vector<std::string> texts(const Tree& tree, const char* key);

// A value and everything in it. Data, dates and reals are std::monostate.
struct Value {
    struct Entry;
    using Array = std::vector<Value>;
    using Dictionary = std::vector<Entry>;

    std::variant<std::monostate, bool, std::int64_t, std::string, Array, Dictionary> content;
};

struct Value::Entry {
    std::string key;
    Value value;
};

// The whole property list as a value.
Value value(const Tree& tree);

} // namespace ManagerCore::PropertyList
