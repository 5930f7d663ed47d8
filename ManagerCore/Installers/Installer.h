#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "ManagerCore/Foundation/Proc.h"

// Builds and installs the product from its source project, by the project's own scripts. Each run blocks until its
// scripts have ended: not for the interface thread. What is found wrong before anything runs is code 1 with one
// sentence as standard error; everything else is the scripts' own. A `watcher`, when given, sees the lines of each
// script and can stop it; what would have run after it is then not started.
namespace ManagerCore::Installer
{

// The command-line product itself.
Proc::Out run(const std::string& projectDir, Proc::Watcher* watcher = nullptr);

// The program's own environment with the folders of developer tools in front of its search path: an application that
// was started from the desktop has hardly one.
Proc::Environment devToolEnv();

// How every project is built: build.command alone where there is one, else cargo and then install.command.
Proc::Out build(const std::string& dir, Proc::Watcher* watcher = nullptr);

// Whether `dir` holds something of that name. An empty `dir` holds nothing.
bool has(const std::string& dir, std::string_view name);

// The folders that hold `dir`: first as it is named, then, where it is a link, the one of its real folder. None for an
// empty `dir`.
std::vector<std::filesystem::path> holders(const std::string& dir);

// The path of `name` in the first of these folders that has it, else in the first; empty for an empty `dir`.
std::string beside(const std::string& dir, std::string_view name);

// Runs a script of `dir` by bash, there and in the environment above, whether it exists or not.
Proc::Out runScript(const std::string& dir,
                    std::string_view script,
                    const std::vector<std::string>& arguments = {},
                    Proc::Watcher* watcher = nullptr);

} // namespace ManagerCore::Installer
