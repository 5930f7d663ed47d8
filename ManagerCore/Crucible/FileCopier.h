#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <sys/types.h>

namespace ManagerCore
{

// Copies the bytes of one open file after the other, each thread with a copier of its own.
class FileCopier
{
public:
    enum class Error : std::uint8_t { none, reading, writing, changed, stopped };
    struct Outcome {
        Error error = Error::none;
        int code = 0; // errno of reading and writing
    };
    // Called after every copied chunk; false stops the copy.
    using OnBytes = std::function<bool(std::int64_t count)>;

    struct Extent {
        off_t begin = 0;
        off_t end = 0;
    };

    FileCopier();

    // The next extent of data of an open file at or after `offset`, empty and at the end when only a hole follows. All
    // is data where the file system knows no holes. Absent with errno when it cannot be read.
    static std::optional<Extent> nextData(int file, off_t offset, off_t length);

    // Whether a file occupies less than its length. One that does not is copied whole: what the file system shows as a
    // hole there is space that was set aside for it.
    static bool hasHoles(const struct stat& info);

    // Fills the new, empty file `destination`: first its length, where the volume can set it, then every extent that
    // is data in the source. Holes of the source stay holes, data never becomes one. `info` are the source's.
    Outcome copy(int source, int destination, const struct stat& info, const OnBytes& onBytes);

private:
    Outcome copyExtent(int source, int destination, Extent extent, const OnBytes& onBytes);
    Outcome copyChunk(int source, int destination, off_t offset, std::size_t size);

    std::unique_ptr<char[]> buffer_; // NOLINT(modernize-avoid-c-arrays): its size is known only to the allocation
};

} // namespace ManagerCore
