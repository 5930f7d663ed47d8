#pragma once

#include <cstdint>
#include <string>
#include <sys/stat.h>

// Copies of single entries that are no folders. What stands at the destination is replaced in one step, never followed
// when it is a link, and never when it is a folder; on failure it stays as it was.
namespace LinuxTools::EntryCopy
{

// A name in an open folder.
struct Place {
    int folder = -1;
    std::string name;
};

enum class Trouble : std::uint8_t { none, reading, saving, shortened, unsuitable, interrupted, attributes };

struct Outcome {
    Trouble trouble = Trouble::none;
    int error = 0;
    bool attributesUnsupported = false; // copied, but the volume has no room for some attributes

    // With attributes that could not be kept it is still there.
    [[nodiscard]] bool isCopied() const { return trouble == Trouble::none || trouble == Trouble::attributes; }
};

// Copies a file, link or named pipe as such; anything else is unsuitable. `from` is what `source` was found to be.
Outcome copy(const Place& source, const Place& destination, const struct stat& from);

// Makes `destination` another name of the copy at `first`. Saving with EMLINK, EPERM, EXDEV or ENOTSUP means that the
// file system has no such names.
Outcome link(const Place& first, const Place& destination);

} // namespace LinuxTools::EntryCopy
