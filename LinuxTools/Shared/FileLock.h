#pragma once

#include <filesystem>

#include "ManagerCore/Platform/UniqueFd.h"

namespace LinuxTools
{

// An exclusive lock between processes on a file, which is created if missing. The constructor waits for the lock; the
// destructor or the end of the process releases it. `isHeld` is false when the file cannot be opened.
class FileLock
{
public:
    explicit FileLock(const std::filesystem::path& file);

    [[nodiscard]] bool isHeld() const { return held_; }

private:
    ManagerCore::Platform::UniqueFd file_;
    bool held_ = false;
};

} // namespace LinuxTools
