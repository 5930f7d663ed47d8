#pragma once

#include <filesystem>

#include "LinuxTools/Shared/Descriptor.h"

namespace LinuxTools
{

// An exclusive lock among the processes that name the same file. Waits until it is free; given back at the end of its
// life and when the process ends. Where the file cannot be made nothing is locked and `isHeld` is false.
class FileLock
{
public:
    explicit FileLock(const std::filesystem::path& file);

    [[nodiscard]] bool isHeld() const { return held_; }

private:
    Descriptor file_;
    bool held_ = false;
};

} // namespace LinuxTools
