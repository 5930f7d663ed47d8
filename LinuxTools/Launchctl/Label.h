#pragma once

#include <string>
#include <string_view>

// Labels as unit and file names.
namespace LinuxTools::Label
{

// The label as systemd-escape writes it. Different labels give different names, and none gives a hidden file or a path
// with a slash.
std::string escape(std::string_view label);

// Whether the label is not empty and the escaped label fits into a file name with a prefix or suffix.
bool isValid(std::string_view label);

} // namespace LinuxTools::Label
