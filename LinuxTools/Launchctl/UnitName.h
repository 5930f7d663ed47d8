#pragma once

#include <string>
#include <string_view>

// Labels as parts of unit and file names.
namespace LinuxTools::UnitName
{

// The label with every byte that a unit's name cannot hold written as systemd-escape writes it. Different labels give
// different names; none gives a hidden file or one in another folder.
std::string escaped(std::string_view label);

// Whether the escaped label leaves room for what is put around it in file names.
bool isPossible(std::string_view label);

std::string service(std::string_view label);
std::string timer(std::string_view label);

} // namespace LinuxTools::UnitName
