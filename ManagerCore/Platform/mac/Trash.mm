#include "ManagerCore/Platform/Platform.h"

#import <Foundation/Foundation.h>

#include "ManagerCore/Platform/ErrorText.h"

namespace ManagerCore::Platform
{

std::optional<std::string> moveToTrash(const std::filesystem::path& path)
{
    @autoreleasepool {
        NSURL* item = [NSURL fileURLWithFileSystemRepresentation:path.c_str() isDirectory:NO relativeToURL:nil];
        NSError* error = nil;
        if ([[NSFileManager defaultManager] trashItemAtURL:item resultingItemURL:nil error:&error]) {
            return std::nullopt;
        }
        const char* sentence = [[error localizedDescription] UTF8String];
        return sentence != nullptr ? std::string(sentence) : ErrorText::untrashable(path, "the system refused");
    }
}

} // namespace ManagerCore::Platform
