#include "LinuxTools/Ditto/Command.h"

#include <cerrno>
#include <expected>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "LinuxTools/Ditto/EntryCopy.h"
#include "LinuxTools/Ditto/Interruption.h"
#include "LinuxTools/Ditto/Report.h"
#include "LinuxTools/Ditto/TreeCopy.h"
#include "LinuxTools/Shared/Descriptor.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Platform/ErrorText.h"

namespace LinuxTools::Ditto
{

namespace
{

using std::filesystem::path;
namespace ErrorText = ManagerCore::Platform::ErrorText;

constexpr mode_t newFolderMode = 0777;

constexpr std::string_view help = R"(Copies a file or a folder, and keeps everything about it.

  ditto SOURCE DESTINATION
  ditto --help                this text

What a source folder holds is merged into the destination folder, which is made if it is missing. A file is copied to
the destination path, into it where that is a folder. A link given as the source is followed, links inside are copied as
links. Modes, times, owners, hard links and extended attributes are kept; folders that are there already keep their own.
A destination file is replaced in one step, once its copy is complete; a link there is replaced, never followed; a
folder is never replaced by anything else. Sockets and devices are not copied. After an item that cannot be copied the
others are; a full or unwritable volume ends the copy. Exit status: 0 everything is copied, 1 not everything.
)";

Result failed(const std::string& sentence) { return {.code = 1, .output = {}, .error = "ditto: " + sentence + "\n"}; }

Result resultOf(const Report& report)
{
    return {.code = report.isClean() ? 0 : 1, .output = {}, .error = report.text()};
}

std::string quoted(const path& path) { return "“" + ManagerCore::FilePath::lastComponent(path) + "”"; }

bool isSame(const struct stat& left, const struct stat& right)
{
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

Descriptor openFolder(const path& folder)
{
    return Descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

// Each level of folders takes two descriptors.
void allowManyDescriptors()
{
    rlimit limit {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// Whether the place, which need not exist yet, lies in the folder, by whatever names either is called.
bool liesIn(const path& place, const struct stat& folder)
{
    path existing = place;
    struct stat found {};
    while ((::stat(existing.c_str(), &found) != 0 || !S_ISDIR(found.st_mode)) && existing != existing.parent_path()) {
        existing = existing.parent_path();
    }
    Descriptor at = openFolder(existing);
    while (at.isOpen() && ::fstat(at.get(), &found) == 0) {
        if (isSame(found, folder)) {
            return true;
        }
        Descriptor above(::openat(at.get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        struct stat ofAbove {};
        if (!above.isOpen() || ::fstat(above.get(), &ofAbove) != 0 || isSame(found, ofAbove)) {
            break;
        }
        at = std::move(above);
    }
    return false;
}

struct Destination {
    Descriptor folder;
    bool made = false;
};

// A link that leads to a folder is followed here: it is the user who named it.
std::expected<Destination, std::string> destinationFolder(const path& place)
{
    if (auto failure = ManagerCore::WholeFile::makeFolders(place.parent_path(), newFolderMode)) {
        return std::unexpected(std::move(*failure));
    }
    Destination destination;
    destination.made = ::mkdir(place.c_str(), S_IRWXU) == 0;
    if (!destination.made && errno != EEXIST) {
        return std::unexpected(ErrorText::saving(errno, place));
    }
    destination.folder = openFolder(place);
    if (!destination.folder.isOpen()) {
        const bool inTheWay = errno == ENOTDIR || errno == ENOENT || errno == ELOOP;
        return std::unexpected(ErrorText::saving(inTheWay ? EEXIST : errno, place));
    }
    return destination;
}

Result copyFolder(const path& source, const path& place, const struct stat& from)
{
    struct stat there {};
    if (::stat(place.c_str(), &there) == 0 && isSame(there, from)) {
        return failed("The folder " + quoted(source) + " couldn’t be copied because it is its own destination.");
    }
    if (liesIn(place, from)) {
        return failed("The folder " + quoted(source) + " couldn’t be copied into itself.");
    }
    Descriptor opened = openFolder(source);
    if (!opened.isOpen()) {
        return failed(ErrorText::reading(errno, source));
    }
    auto destination = destinationFolder(place);
    if (!destination) {
        return failed(destination.error());
    }
    Report report;
    TreeCopy(source, place, report).copy(std::move(opened), std::move(destination->folder), destination->made);
    return resultOf(report);
}

// Where a file goes: into a folder that is there or is meant, else to the path itself.
path placeOfFile(const path& source, const path& place, bool meansFolder)
{
    return meansFolder || ManagerCore::FilePath::isFolder(place) ? place / ManagerCore::FilePath::lastComponent(source)
                                                                 : place;
}

Result copyFile(const path& source, const path& place, const struct stat& from)
{
    std::error_code error;
    const path real = std::filesystem::canonical(source, error);
    const Descriptor folder = error ? Descriptor() : openFolder(real.parent_path());
    if (!folder.isOpen()) {
        return failed(ErrorText::reading(error ? error.value() : errno, source));
    }
    if (auto failure = ManagerCore::WholeFile::makeFolders(place.parent_path(), newFolderMode)) {
        return failed(*failure);
    }
    const Descriptor destination = openFolder(place.parent_path());
    const std::string name = ManagerCore::FilePath::lastComponent(place);
    struct stat there {};
    if (!destination.isOpen()) {
        return failed(ErrorText::saving(errno, place));
    }
    if (::fstatat(destination.get(), name.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0 && isSame(there, from)) {
        return failed("The file " + quoted(source) + " couldn’t be copied because it is its own destination.");
    }
    Report report;
    report.take(EntryCopy::copy({.folder = folder.get(), .name = real.filename().string()},
                                {.folder = destination.get(), .name = name},
                                from),
                source,
                place);
    return resultOf(report);
}

Result copy(const std::string& sourceText, const std::string& destinationText)
{
    const path source = ManagerCore::FilePath::fromText(sourceText);
    const path place = ManagerCore::FilePath::fromText(destinationText);
    struct stat from {};
    if (source.empty() || ::stat(source.c_str(), &from) != 0) {
        return failed(ErrorText::reading(source.empty() ? ENOENT : errno, source));
    }
    if (place.empty()) {
        return failed("The destination is empty.");
    }
    Interruption::heed();
    allowManyDescriptors();
    return S_ISDIR(from.st_mode) ? copyFolder(source, place, from)
                                 : copyFile(source, placeOfFile(source, place, destinationText.ends_with('/')), from);
}

} // namespace

Result run(const std::vector<std::string>& arguments)
{
    if (arguments.size() == 1 && (arguments[0] == "--help" || arguments[0] == "-h")) {
        return {.code = 0, .output = std::string(help), .error = {}};
    }
    if (arguments.size() != 2) {
        return failed("It takes a source and a destination. See ditto --help.");
    }
    return copy(arguments[0], arguments[1]);
}

} // namespace LinuxTools::Ditto
