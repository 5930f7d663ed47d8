#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <QString>

namespace CodeManagerApp::Console
{

inline constexpr std::size_t cap = 20000; // characters as a reader sees them

// The last `cap` characters of the text, the whole of it when it has no more.
QString trimmed(const QString& text);

// The same for a child's output of any length: not for the interface thread, which gets what is left.
std::string trimmed(std::string_view text);

} // namespace CodeManagerApp::Console
