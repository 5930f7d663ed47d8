#include "ManagerCore/Platform/Platform.h"

#include <cerrno>
#include <sys/stat.h>

#import <Foundation/Foundation.h>

#include "ManagerCore/Platform/ErrorText.h"

namespace ManagerCore::Platform
{

std::optional<std::string> moveToTrash(const std::filesystem::path& path)
{
    @autoreleasepool {
        struct stat facts {};
        if (::lstat(path.c_str(), &facts) != 0) {
            return ErrorText::trashing(errno, path);
        }
        // A link is no folder here, whatever it leads to: the link itself is what is moved.
        NSURL* item = [NSURL fileURLWithFileSystemRepresentation:path.c_str()
                                                     isDirectory:S_ISDIR(facts.st_mode)
                                                   relativeToURL:nil];
        NSError* error = nil;
        if ([[NSFileManager defaultManager] trashItemAtURL:item resultingItemURL:nil error:&error]) {
            return std::nullopt;
        }
        const char* sentence = [[error localizedDescription] UTF8String];
        return sentence != nullptr ? std::string(sentence) : ErrorText::trashing(EIO, path);
    }
}

} // namespace ManagerCore::Platform
