#pragma once

#include <filesystem>
#include <string>

// The project folder that is remembered from run to run, one for each product: the only thing the program keeps.
// `name` is the product's. Failures of the disk are ignored. Reads and writes small files. Any thread.
namespace ManagerCore::ProjectDir
{

// The folder to begin with: CM_PROJECT_DIR, else the remembered one, else the guess, which is then remembered; empty
// when there is none.
std::string loadProjectDir(const std::string& name);

// The same answer without writing anything.
std::string peekProjectDir(const std::string& name);

// Where the folder is remembered; the folders above are made.
std::filesystem::path projectDirFile(const std::string& name);

// The folder NAME-v8 beside the folder that holds the program, when it is there; otherwise empty.
std::string siblingProjectDir(const std::string& name);

// Remembers `folder`, whole or not at all.
void remember(const std::string& name, const std::string& folder);

} // namespace ManagerCore::ProjectDir
