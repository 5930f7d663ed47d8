#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace ManagerCore::MarkerSearch
{

// For each of the files, in their order, whether it holds the bytes of `marker` (not an empty one), links followed. A
// file is read once however many paths lead to it, in pieces of bounded size, several files at a time; what the answer
// is does not depend on the threads. One that is cut short or grows meanwhile is searched as far as it was read.
// Anything but a regular file is passed over without being opened, and holds nothing; so does what cannot be read.
std::vector<bool> holds(const std::vector<std::filesystem::path>& files, const std::string& marker);

} // namespace ManagerCore::MarkerSearch
