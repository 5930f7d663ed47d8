#pragma once

#include <objc/NSObjCRuntime.h>
#include <objc/NSObject.h>

// The part of Foundation that this program uses, declared for the check on systems without Apple's headers. Never used
// by a build on macOS. What is declared here is a claim about Apple's interface: keep it to the letter.

#pragma clang assume_nonnull begin

@interface NSString : NSObject
+ (nullable instancetype)stringWithUTF8String:(const char*)nullTerminatedCString;
@property (readonly, nullable) const char* UTF8String;
@end

@interface NSArray<ObjectType> : NSObject
+ (instancetype)arrayWithObjects:(const ObjectType _Nonnull[_Nonnull])objects count:(NSUInteger)cnt;
@end

@interface NSError : NSObject
@property (readonly, copy) NSString* domain;
@property (readonly) NSInteger code;
@property (readonly, copy) NSString* localizedDescription;
@end

@interface NSURL : NSObject
+ (NSURL*)fileURLWithFileSystemRepresentation:(const char*)path
                                  isDirectory:(BOOL)isDir
                                relativeToURL:(nullable NSURL*)baseURL;
@end

@interface NSBundle : NSObject
@property (class, readonly, strong) NSBundle* mainBundle;
@property (nullable, readonly, copy) NSString* bundleIdentifier;
@end

@interface NSFileManager : NSObject
@property (class, readonly, strong) NSFileManager* defaultManager;
- (BOOL)trashItemAtURL:(NSURL*)url
      resultingItemURL:(NSURL* _Nullable* _Nullable)outResultingURL
                 error:(NSError* _Nullable* _Nullable)error;
@end

#pragma clang assume_nonnull end
