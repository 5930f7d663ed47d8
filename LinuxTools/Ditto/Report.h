#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "LinuxTools/Ditto/EntryCopy.h"

namespace LinuxTools
{

// What went wrong on the way, one sentence for each item up to a number that a person reads.
class Report
{
public:
    void add(const std::string& sentence);

    // Tells what became of one entry, if anything went wrong. False when nothing more can be copied: the volume is
    // full, cannot be written, or the user wants it to end.
    bool take(const EntryCopy::Outcome& outcome,
              const std::filesystem::path& source,
              const std::filesystem::path& destination);

    [[nodiscard]] bool isClean() const { return count_ == 0; }
    // All of it, a line each.
    [[nodiscard]] std::string text() const;

private:
    static constexpr std::size_t shown = 20;

    std::string lines_;
    std::size_t count_ = 0;
    bool toldOfAttributes_ = false;
};

} // namespace LinuxTools
