#include "LinuxTools/Ditto/EntryCopy.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "LinuxTools/Ditto/Attributes.h"
#include "LinuxTools/Ditto/FileCopy.h"
#include "LinuxTools/Ditto/Replacement.h"
#include "LinuxTools/Shared/Descriptor.h"

namespace LinuxTools::EntryCopy
{

namespace
{

Outcome reading(int error) { return {.trouble = Trouble::reading, .error = error, .attributesUnsupported = false}; }

Outcome saving(int error) { return {.trouble = Trouble::saving, .error = error, .attributesUnsupported = false}; }

Outcome contentsTrouble(const FileCopy::Outcome& contents)
{
    if (contents.error == EINTR) {
        return {.trouble = Trouble::interrupted, .error = 0, .attributesUnsupported = false};
    }
    if (contents.error == ESTALE && contents.reading) {
        return {.trouble = Trouble::shortened, .error = 0, .attributesUnsupported = false};
    }
    return contents.reading ? reading(contents.error) : saving(contents.error);
}

// What is in place by now, with or without all its attributes.
Outcome copied(const Attributes::Outcome& attributes)
{
    return {.trouble = attributes.error != 0 ? Trouble::attributes : Trouble::none,
            .error = attributes.error,
            .attributesUnsupported = attributes.unsupported};
}

Outcome copyFile(const Place& source, const Place& destination)
{
    // Not to wait should a named pipe have taken the file's place.
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const Descriptor opened(::openat(source.folder, source.name.c_str(), flags));
    struct stat from {};
    if (!opened.isOpen() || ::fstat(opened.get(), &from) != 0) {
        return reading(errno);
    }
    if (!S_ISREG(from.st_mode)) {
        return {.trouble = Trouble::unsuitable, .error = 0, .attributesUnsupported = false};
    }
    NewFile made(destination.folder);
    if (made.descriptor() < 0) {
        return saving(made.error());
    }
    const auto contents = FileCopy::copy(opened.get(), made.descriptor(), static_cast<std::uint64_t>(from.st_size));
    if (contents.error != 0) {
        return contentsTrouble(contents);
    }
    const auto attributes = Attributes::keep(opened.get(), made.descriptor(), from);
    const int error = made.finish(destination.name);
    return error != 0 ? saving(error) : copied(attributes);
}

// Makes something that is no file under an unused name, dresses it and puts it in place.
template <class Make>
Outcome makeAndPut(const Place& source, const Place& destination, const struct stat& from, Make make)
{
    const std::string unfinished = unusedName();
    if (make(destination.folder, unfinished.c_str()) != 0) {
        return saving(errno);
    }
    const auto attributes
        = Attributes::keepAt(source.folder, source.name.c_str(), destination.folder, unfinished.c_str(), from);
    const int error = putInPlace(destination.folder, unfinished, destination.name);
    return error != 0 ? saving(error) : copied(attributes);
}

Outcome copyLink(const Place& source, const Place& destination, const struct stat& from)
{
    std::string target(static_cast<std::size_t>(from.st_size) + 256, '\0');
    const ssize_t size = ::readlinkat(source.folder, source.name.c_str(), target.data(), target.size());
    if (size < 0 || static_cast<std::size_t>(size) == target.size()) {
        return reading(size < 0 ? errno : ENAMETOOLONG);
    }
    target.resize(static_cast<std::size_t>(size));
    return makeAndPut(source, destination, from, [&target](int folder, const char* name) {
        return ::symlinkat(target.c_str(), folder, name);
    });
}

Outcome copyPipe(const Place& source, const Place& destination, const struct stat& from)
{
    return makeAndPut(source, destination, from, [](int folder, const char* name) {
        return ::mkfifoat(folder, name, S_IRUSR | S_IWUSR);
    });
}

} // namespace

Outcome copy(const Place& source, const Place& destination, const struct stat& from)
{
    switch (from.st_mode & S_IFMT) {
    case S_IFREG:
        return copyFile(source, destination);
    case S_IFLNK:
        return copyLink(source, destination, from);
    case S_IFIFO:
        return copyPipe(source, destination, from);
    default:
        return {.trouble = Trouble::unsuitable, .error = 0, .attributesUnsupported = false};
    }
}

Outcome link(const Place& first, const Place& destination)
{
    const std::string unfinished = unusedName();
    if (::linkat(first.folder, first.name.c_str(), destination.folder, unfinished.c_str(), 0) != 0) {
        return saving(errno);
    }
    const int error = putInPlace(destination.folder, unfinished, destination.name);
    return error != 0 ? saving(error) : Outcome {};
}

} // namespace LinuxTools::EntryCopy
