#include "ManagerCore/Crucible/FileCopier.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>

#include "ManagerCore/Platform/Copying.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore
{

namespace
{

constexpr std::size_t chunkSize = std::size_t {1} << 20;
constexpr off_t writeBackStep = off_t {8} << 20;

using Error = FileCopier::Error;

template <class Call> ssize_t retrying(Call call)
{
    ssize_t result = -1;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

} // namespace

FileCopier::FileCopier()
    : buffer_(std::make_unique_for_overwrite<char[]>(chunkSize)) // NOLINT(modernize-avoid-c-arrays)
{
}

FileCopier::Outcome FileCopier::copy(int source, int destination, const struct stat& info, const OnBytes& onBytes)
{
    const off_t length = info.st_size;
    const bool lengthIsSet = length > 0 && ::ftruncate(destination, length) == 0;
    if (length > 0 && !lengthIsSet && errno != EPERM && errno != EINVAL && errno != ENOTSUP) {
        return {.error = Error::writing, .code = errno};
    }
    // Volumes that cannot lengthen a file have no holes either.
    const bool holes = lengthIsSet && hasHoles(info);
    for (off_t offset = 0; offset < length;) {
        const auto extent = holes ? nextData(source, offset, length) : Extent {.begin = 0, .end = length};
        if (!extent) {
            return {.error = Error::reading, .code = errno};
        }
        if (const Outcome outcome = copyExtent(source, destination, *extent, onBytes); outcome.error != Error::none) {
            return outcome;
        }
        offset = extent->end;
    }
    return {};
}

bool FileCopier::hasHoles(const struct stat& info) { return Platform::bytesInBlocks(info) < info.st_size; }

std::optional<FileCopier::Extent> FileCopier::nextData(int file, off_t offset, off_t length)
{
    const off_t begin = ::lseek(file, offset, SEEK_DATA);
    if (begin < 0) {
        if (errno == ENXIO) {
            return Extent {.begin = length, .end = length};
        }
        return errno == EINVAL || errno == ENOTSUP ? std::optional(Extent {.begin = offset, .end = length})
                                                   : std::nullopt;
    }
    const off_t end = ::lseek(file, begin, SEEK_HOLE);
    if (end < 0) {
        return std::nullopt;
    }
    return Extent {.begin = std::min(begin, length), .end = std::min(end, length)};
}

FileCopier::Outcome FileCopier::copyExtent(int source, int destination, Extent extent, const OnBytes& onBytes)
{
    off_t begun = extent.begin;
    for (off_t offset = extent.begin; offset < extent.end;) {
        const auto size = std::min(chunkSize, static_cast<std::size_t>(extent.end - offset));
        if (const Outcome outcome = copyChunk(source, destination, offset, size); outcome.error != Error::none) {
            return outcome;
        }
        offset += static_cast<off_t>(size);
        if (offset - begun >= writeBackStep) {
            Platform::Copying::startWriteBack(destination, begun, offset - begun);
            begun = offset;
        }
        if (!onBytes(static_cast<std::int64_t>(size))) {
            return {.error = Error::stopped};
        }
    }
    return {};
}

FileCopier::Outcome FileCopier::copyChunk(int source, int destination, off_t offset, std::size_t size)
{
    if (Platform::Copying::copyInside(source, destination, offset, size)) {
        return {};
    }
    // What went wrong, if anything did, shows here and tells which side it was.
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t count = retrying([&] {
            return ::pread(source, buffer_.get() + filled, size - filled, offset + static_cast<off_t>(filled));
        });
        if (count <= 0) {
            return {.error = count < 0 ? Error::reading : Error::changed, .code = count < 0 ? errno : 0};
        }
        filled += static_cast<std::size_t>(count);
    }
    for (std::size_t written = 0; written < size;) {
        const ssize_t count = retrying([&] {
            return ::pwrite(destination, buffer_.get() + written, size - written, offset + static_cast<off_t>(written));
        });
        if (count <= 0) {
            return {.error = Error::writing, .code = count < 0 ? errno : EIO};
        }
        written += static_cast<std::size_t>(count);
    }
    return {};
}

} // namespace ManagerCore
