#pragma once

#include <array>
#include <cstddef>
#include <ctime>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

// What a platform owes the copier of trees beside the calls that all of them have. Nothing here follows a link. Any
// thread; never throws.
namespace ManagerCore::Platform::Copying
{

// A file that was not there before, open for writing; descriptor -1 with errno when it cannot be made. `cloned` tells
// that it shares the source's contents already, `hasAttributes` that it has all that copyAttributes copies, too.
struct NewFile {
    int descriptor = -1;
    bool cloned = false;
    bool hasAttributes = false;
};
// Makes `name` in the open folder, as a clone of the open file `source` when `clone` asks for it and the file system
// can; otherwise empty.
NewFile makeFile(int source, int folder, const char* name, bool clone);

// Whether files like the open `source` can be cloned into the open folder, which stays as it is.
bool canClone(int source, int folder);

// Copies the extent to the same place without the bytes passing through this program, which halves the work of the
// processor. False when not all of it could be copied in that way; some of it may have been.
bool copyInside(int source, int destination, off_t offset, std::size_t size);

// Begins to write the extent to the disk, so that the flush at the end is short. Not waited for.
void startWriteBack(int file, off_t begin, off_t length);

// Why attributes could not be copied. `name` is that of the attribute, empty where it is none's in particular.
struct AttributeError {
    int error = 0; // 0 when all is copied
    std::string name;
};

// Copies extended attributes between two open files or folders and gives the copy exactly the access lists of the
// source: one that its folder handed down is removed. What the system keeps for itself may be missing in the copy.
AttributeError copyAttributes(int source, int destination);

// The same for a link or a named pipe in each of the open folders; with its flags.
AttributeError copyAttributesAt(int sourceFolder, const char* source, int folder, const char* name);

// Gives the open copy the flags of the source's status that its owner may set, as far as the volume has them. To be
// called last: one of them forbids further changes.
void copyFlags(int copy, const struct stat& from);

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
