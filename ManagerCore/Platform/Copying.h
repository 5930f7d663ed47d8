#pragma once

#include <array>
#include <cstddef>
#include <ctime>
#include <sys/stat.h>
#include <sys/types.h>

// What a platform owes the copier of trees beside the calls that all of them have. Nothing here follows a link. Any
// thread; never throws.
namespace ManagerCore::Platform::Copying
{

// A file that was not there before, open for writing; descriptor -1 with errno when it cannot be made. `cloned` tells
// that it shares the source's contents already, `dressed` that it has the source's extended attributes, too.
struct NewFile {
    int descriptor = -1;
    bool cloned = false;
    bool dressed = false;
};
// Makes `name` in the open folder, as a clone of the open file `source` when `clone` asks for it and the file system
// can; otherwise empty.
NewFile makeFile(int source, int folder, const char* name, bool clone);

// Whether files like the open `source` can be cloned into the open folder, which stays as it is.
bool canClone(int source, int folder);

// Copies the stretch to the same place without the bytes passing through this program, which halves the work of the
// processor. False when not all of it could be copied in that way; some of it may have been.
bool copyInside(int source, int destination, off_t offset, std::size_t size);

// Begins to write the stretch to the disk, so that the flush at the end is short. Not waited for.
void startWriteBack(int file, off_t begin, off_t length);

// Copies extended attributes and access lists between two open files or folders. 0, or the errno of what should be in
// the copy and is not; what the system keeps for itself may be missing.
int keepExtended(int source, int destination);

// The same for a link in each of the open folders.
int keepExtendedOfLink(int sourceFolder, const char* source, int folder, const char* name);

// Waits until the contents of a file of `length` bytes are on the disk, so that an error is known to be this file's;
// small files may be left to flushVolume. 0 or an errno.
int flushFile(int file, off_t length);

// To be called last: waits until everything that was written through flushFile to the volume of the open folder is on
// the disk and will be there after a loss of power. 0 or an errno.
int flushVolume(int folder);

// The fields of a struct stat that have other names on other systems.
struct FileTimes {
    timespec accessed {};
    timespec modified {};
    timespec changed {}; // of the attributes
};
FileTimes fileTimes(const struct stat& info);

// Of access and of modification, as futimens takes them.
std::array<timespec, 2> timesOf(const struct stat& facts);

// Whether contents and attributes are what they were: neither modified nor touched in between.
bool unchanged(const struct stat& before, const struct stat& now);

} // namespace ManagerCore::Platform::Copying
