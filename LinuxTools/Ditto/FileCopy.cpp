#include "LinuxTools/Ditto/FileCopy.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <span>
#include <sys/ioctl.h>
#include <unistd.h>

#include <linux/fs.h>

#include "LinuxTools/Ditto/Interruption.h"

namespace LinuxTools::FileCopy
{

namespace
{

constexpr std::size_t pieceSize = std::size_t {1} << 20;
constexpr off_t writeBackStep = off_t {8} << 20;

struct Range {
    off_t begin = 0;
    off_t end = 0;
};

// The next stretch of data at or after `offset`; empty at the end when only a hole follows. Everything is data where
// the file system knows no holes.
Range nextData(int source, off_t offset, off_t size)
{
    const off_t begin = ::lseek(source, offset, SEEK_DATA);
    if (begin < 0) {
        return errno == ENXIO ? Range {.begin = size, .end = size} : Range {.begin = offset, .end = size};
    }
    const off_t end = ::lseek(source, begin, SEEK_HOLE);
    return {.begin = std::min(begin, size), .end = end < 0 ? size : std::min(end, size)};
}

Outcome writeAt(int destination, std::span<const char> bytes, off_t offset)
{
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(destination, bytes.data(), bytes.size(), offset);
        if (written < 0 && errno != EINTR) {
            return {.error = errno, .reading = false};
        }
        const auto count = static_cast<std::size_t>(std::max<ssize_t>(written, 0));
        bytes = bytes.subspan(count);
        offset += static_cast<off_t>(count);
    }
    return {};
}

class Copier
{
public:
    Copier(int source, int destination)
        : source_(source)
        , destination_(destination)
        , buffer_(std::make_unique_for_overwrite<char[]>(pieceSize)) // NOLINT(modernize-avoid-c-arrays)
    {
    }

    Outcome copy(const Range& range)
    {
        for (off_t offset = range.begin; offset < range.end;) {
            const Piece piece = copyPiece(offset, range.end - offset);
            if (piece.outcome.error != 0) {
                return piece.outcome;
            }
            if (piece.size == 0) {
                return {.error = ESTALE, .reading = true};
            }
            offset += piece.size;
        }
        return {};
    }

    Outcome copyToEnd()
    {
        for (off_t offset = 0;;) {
            const Piece piece = copyPiece(offset, pieceSize);
            if (piece.outcome.error != 0 || piece.size == 0) {
                return piece.outcome;
            }
            offset += piece.size;
        }
    }

private:
    struct Piece {
        Outcome outcome;
        off_t size = 0; // 0 at the source's end
    };

    Piece copyPiece(off_t offset, off_t limit)
    {
        if (Interruption::requested()) {
            return {.outcome = {.error = EINTR, .reading = false}, .size = 0};
        }
        const auto wanted = std::min(pieceSize, static_cast<std::size_t>(limit));
        ssize_t count = -1;
        do {
            count = ::pread(source_, buffer_.get(), wanted, offset);
        } while (count < 0 && errno == EINTR);
        if (count < 0) {
            return {.outcome = {.error = errno, .reading = true}, .size = 0};
        }
        const Outcome outcome = writeAt(destination_, {buffer_.get(), static_cast<std::size_t>(count)}, offset);
        startWriteBack(offset + count);
        return {.outcome = outcome, .size = count};
    }

    // Keeps the disk busy while the rest is read, so that the flush at the end is short.
    void startWriteBack(off_t reached)
    {
        if (reached - begun_ >= writeBackStep) {
            ::sync_file_range(destination_, begun_, reached - begun_, SYNC_FILE_RANGE_WRITE);
            begun_ = reached;
        }
    }

    int source_;
    int destination_;
    std::unique_ptr<char[]> buffer_; // NOLINT(modernize-avoid-c-arrays)
    off_t begun_ = 0;
};

} // namespace

Outcome copy(int source, int destination, std::uint64_t size)
{
    if (size == 0) {
        // Empty, or one of those files of the system that do not know their size.
        return Copier(source, destination).copyToEnd();
    }
    if (::ioctl(destination, FICLONE, source) == 0) {
        return {};
    }
    const auto length = static_cast<off_t>(size);
    if (::ftruncate(destination, length) != 0) {
        return {.error = errno, .reading = false};
    }
    Copier copier(source, destination);
    for (off_t offset = 0; offset < length;) {
        const Range data = nextData(source, offset, length);
        if (const Outcome outcome = copier.copy(data); outcome.error != 0) {
            return outcome;
        }
        offset = data.end;
    }
    return {};
}

} // namespace LinuxTools::FileCopy
