#include "ManagerCore/Crucible/FileCopier.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>

#include "ManagerCore/Platform/Copying.h"

namespace ManagerCore
{

namespace
{

constexpr std::size_t pieceSize = std::size_t {1} << 20;
constexpr off_t writeBackStep = off_t {8} << 20;
constexpr std::int64_t bytesPerBlock = 512; // the unit of st_blocks

using Trouble = FileCopier::Trouble;

template <class Call> ssize_t patiently(Call call)
{
    ssize_t result = -1;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

} // namespace

FileCopier::FileCopier()
    : buffer_(std::make_unique_for_overwrite<char[]>(pieceSize)) // NOLINT(modernize-avoid-c-arrays)
{
}

FileCopier::Outcome FileCopier::copy(int source, int destination, const struct stat& facts, const OnBytes& onBytes)
{
    const off_t length = facts.st_size;
    const bool lengthIsSet = length > 0 && ::ftruncate(destination, length) == 0;
    if (length > 0 && !lengthIsSet && errno != EPERM && errno != EINVAL && errno != ENOTSUP) {
        return {.trouble = Trouble::writing, .error = errno};
    }
    // Volumes that cannot lengthen a file have no holes either.
    const bool holes = lengthIsSet && hasHoles(facts);
    for (off_t offset = 0; offset < length;) {
        const auto stretch = holes ? nextData(source, offset, length) : Stretch {.begin = 0, .end = length};
        if (!stretch) {
            return {.trouble = Trouble::reading, .error = errno};
        }
        if (const Outcome outcome = copyStretch(source, destination, *stretch, onBytes);
            outcome.trouble != Trouble::none) {
            return outcome;
        }
        offset = stretch->end;
    }
    return {};
}

bool FileCopier::hasHoles(const struct stat& facts)
{
    return static_cast<std::int64_t>(facts.st_blocks) * bytesPerBlock < facts.st_size;
}

std::optional<FileCopier::Stretch> FileCopier::nextData(int file, off_t offset, off_t length)
{
    const off_t begin = ::lseek(file, offset, SEEK_DATA);
    if (begin < 0) {
        if (errno == ENXIO) {
            return Stretch {.begin = length, .end = length};
        }
        return errno == EINVAL || errno == ENOTSUP ? std::optional(Stretch {.begin = offset, .end = length})
                                                   : std::nullopt;
    }
    const off_t end = ::lseek(file, begin, SEEK_HOLE);
    if (end < 0) {
        return std::nullopt;
    }
    return Stretch {.begin = std::min(begin, length), .end = std::min(end, length)};
}

FileCopier::Outcome FileCopier::copyStretch(int source, int destination, Stretch stretch, const OnBytes& onBytes)
{
    off_t begun = stretch.begin;
    for (off_t offset = stretch.begin; offset < stretch.end;) {
        const auto size = std::min(pieceSize, static_cast<std::size_t>(stretch.end - offset));
        if (const Outcome outcome = copyPiece(source, destination, offset, size); outcome.trouble != Trouble::none) {
            return outcome;
        }
        offset += static_cast<off_t>(size);
        if (offset - begun >= writeBackStep) {
            Platform::Copying::startWriteBack(destination, begun, offset - begun);
            begun = offset;
        }
        if (!onBytes(static_cast<std::int64_t>(size))) {
            return {.trouble = Trouble::stopped};
        }
    }
    return {};
}

FileCopier::Outcome FileCopier::copyPiece(int source, int destination, off_t offset, std::size_t size)
{
    if (Platform::Copying::copyInside(source, destination, offset, size)) {
        return {};
    }
    // What went wrong, if anything did, shows here and tells which side it was.
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t count = patiently([&] {
            return ::pread(source, buffer_.get() + filled, size - filled, offset + static_cast<off_t>(filled));
        });
        if (count <= 0) {
            return {.trouble = count < 0 ? Trouble::reading : Trouble::changed, .error = count < 0 ? errno : 0};
        }
        filled += static_cast<std::size_t>(count);
    }
    for (std::size_t written = 0; written < size;) {
        const ssize_t count = patiently([&] {
            return ::pwrite(destination, buffer_.get() + written, size - written, offset + static_cast<off_t>(written));
        });
        if (count <= 0) {
            return {.trouble = Trouble::writing, .error = count < 0 ? errno : EIO};
        }
        written += static_cast<std::size_t>(count);
    }
    return {};
}

} // namespace ManagerCore
