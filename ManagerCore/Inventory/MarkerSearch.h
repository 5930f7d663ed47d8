#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace ManagerCore::MarkerSearch
{

// Whether each of the files, in their order, contains the bytes of `marker`, which must not be empty. Links are
// followed. A file is read once however many paths lead to it, in chunks of bounded size, several files at a time; the
// answers do not depend on the threads. A file that shrinks or grows meanwhile is searched as far as it was read. What
// is no regular file is not opened and contains nothing, nor does what cannot be read.
std::vector<bool> holds(const std::vector<std::filesystem::path>& files, const std::string& marker);

} // namespace ManagerCore::MarkerSearch
