#pragma once

#include <string>

namespace Zyn
{

// The desktop app's preferences on a first start, as the bytes of a binary property list.
std::string defaultPreferences();

} // namespace Zyn
