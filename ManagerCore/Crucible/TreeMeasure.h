#pragma once

#include <cstdint>
#include <filesystem>

// How much data two trees hold, independent of what their file systems keep beside it: Size::of counts blocks, among
// them those of extent trees and extended attributes, which can hide that a block of data is missing, and are other
// ones on another file system.
namespace ManagerCore::TreeMeasure
{

// Whether `copy` has every file of `original` and no other, each of the same length, with data in at least as much of
// it: a hole may have been filled, as on volumes that know none, and no data may have become one. What cannot be read
// does not count as complete. Flush the copy first. Walks both trees: not for the interface thread.
bool isComplete(const std::filesystem::path& copy, const std::filesystem::path& original);

} // namespace ManagerCore::TreeMeasure
