#pragma once

#include <memory>
#include <string_view>

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

} // namespace ManagerCore::PropertyList
