#pragma once

#include <sys/stat.h>

// What a copy keeps of an entry besides its contents: owner, extended attributes (with the access lists), mode, times.
namespace LinuxTools::Attributes
{

struct Outcome {
    int error = 0; // of an attribute that the copy should hold and does not
    bool unsupported = false; // the destination's file system has no room for some of them
};

// Between two open files or folders. Owners are kept as far as permitted; set-user and set-group bits only with their
// owner. To be called when the contents are complete.
Outcome keep(int source, int destination, const struct stat& from);

// The same for entries that are not opened, links above all, each by its folder and name.
Outcome keepAt(int sourceFolder, const char* sourceName, int folder, const char* name, const struct stat& from);

} // namespace LinuxTools::Attributes
