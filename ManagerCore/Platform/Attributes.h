#pragma once

#include <cerrno>
#include <cstddef>
#include <expected>
#include <string>
#include <sys/types.h>
#include <vector>

#include "ManagerCore/Platform/Copying.h"

// How extended attributes are copied, for the platforms' own use. `Entry` is a file, folder or link and has the
// platform's calls: list as flistxattr, get as fgetxattr, set as fsetxattr; isOptional(name) is true for attributes
// that a volume or the system may refuse; noSuchAttribute is the errno for one that does not exist.
namespace ManagerCore::Platform::Attributes
{

// Asks for the size first, and again when it has grown meanwhile. False with errno.
template <class Ask> bool readAll(std::vector<char>& buffer, Ask ask)
{
    for (;;) {
        const ssize_t size = ask(nullptr, std::size_t {0});
        if (size < 0) {
            return false;
        }
        buffer.resize(static_cast<std::size_t>(size));
        const ssize_t got = size == 0 ? 0 : ask(buffer.data(), buffer.size());
        if (got >= 0) {
            buffer.resize(static_cast<std::size_t>(got));
            return true;
        }
        if (errno != ERANGE) {
            return false;
        }
    }
}

inline bool isRefusal(int error) { return error == EPERM || error == EACCES || error == EINVAL || error == ENOTSUP; }

// 0 or an errno.
template <class Entry> int copyOne(const Entry& source, const Entry& destination, const std::string& name)
{
    std::vector<char> value;
    if (!readAll(value, [&](char* buffer, std::size_t size) { return source.get(name, buffer, size); })) {
        const bool removedMeanwhile = errno == Entry::noSuchAttribute;
        return removedMeanwhile || (Entry::isOptional(name) && isRefusal(errno)) ? 0 : errno;
    }
    return destination.set(name, value) == 0 || (Entry::isOptional(name) && isRefusal(errno)) ? 0 : errno;
}

// The names of the source's attributes, all of which are copied, or the first that could not be.
template <class Entry>
std::expected<std::vector<std::string>, Copying::AttributeError> copyAll(const Entry& source, const Entry& destination)
{
    std::vector<std::string> names;
    std::vector<char> list;
    if (!readAll(list, [&source](char* buffer, std::size_t size) { return source.list(buffer, size); })) {
        if (errno == ENOTSUP) {
            return names;
        }
        return std::unexpected(Copying::AttributeError {.error = errno, .name = {}});
    }
    list.push_back('\0');
    for (std::size_t at = 0; at + 1 < list.size(); at += names.back().size() + 1) {
        names.emplace_back(list.data() + at);
        if (const int error = copyOne(source, destination, names.back()); error != 0) {
            return std::unexpected(Copying::AttributeError {.error = error, .name = names.back()});
        }
    }
    return names;
}

} // namespace ManagerCore::Platform::Attributes
