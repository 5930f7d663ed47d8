#include "CodeManagerApp/Desktop/Desktop.h"

#import <AppKit/AppKit.h>
#import <UserNotifications/UserNotifications.h>

#include <algorithm>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Platform/ErrorText.h"

namespace CodeManagerApp::Desktop
{

namespace
{

NSURL* addressOf(const std::filesystem::path& file)
{
    return [NSURL fileURLWithFileSystemRepresentation:file.c_str() isDirectory:NO relativeToURL:nil];
}

NSImage* symbolImage(const std::string& name, int pixels, std::uint32_t colour)
{
    NSImage* const plain = [NSImage imageWithSystemSymbolName:[NSString stringWithUTF8String:name.c_str()]
                                     accessibilityDescription:nil];
    if (plain == nil) {
        return nil;
    }
    const auto part = [colour](unsigned shift) { return static_cast<double>((colour >> shift) & 0xFFU) / 255.0; };
    NSColor* const tint = [NSColor colorWithSRGBRed:part(16) green:part(8) blue:part(0) alpha:1];
    NSImageSymbolConfiguration* const size =
        [NSImageSymbolConfiguration configurationWithPointSize:pixels * 0.8 weight:NSFontWeightRegular];
    NSImageSymbolConfiguration* const colours = [NSImageSymbolConfiguration configurationWithPaletteColors:@[ tint ]];
    return [plain imageWithSymbolConfiguration:[size configurationByApplyingConfiguration:colours]];
}

} // namespace

std::optional<std::string> open(const std::filesystem::path& file)
{
    if (!ManagerCore::FilePath::exists(file)) {
        return ManagerCore::Platform::ErrorText::missing(file);
    }
    if ([[NSWorkspace sharedWorkspace] openURL:addressOf(file)]) {
        return std::nullopt;
    }
    return "No application opened it.";
}

std::optional<std::string> reveal(const std::filesystem::path& item)
{
    if (!ManagerCore::FilePath::exists(item) && !ManagerCore::FilePath::isLink(item)) {
        return ManagerCore::Platform::ErrorText::missing(item);
    }
    [[NSWorkspace sharedWorkspace] activateFileViewerSelectingURLs:@[ addressOf(item) ]];
    return std::nullopt;
}

std::optional<std::string> notify(const std::string& application, const std::string& message)
{
    // Only an application that was started from its bundle has a place in the notification centre.
    if (NSBundle.mainBundle.bundleIdentifier == nil) {
        return "The program was not started as an application.";
    }
    UNMutableNotificationContent* const content = [[UNMutableNotificationContent alloc] init];
    content.title = [NSString stringWithUTF8String:application.c_str()];
    content.body = [NSString stringWithUTF8String:message.c_str()];
    UNNotificationRequest* const request = [UNNotificationRequest requestWithIdentifier:@"operation"
                                                                                content:content
                                                                                trigger:nil];
    UNUserNotificationCenter* const center = UNUserNotificationCenter.currentNotificationCenter;
    [center requestAuthorizationWithOptions:UNAuthorizationOptionAlert
                          completionHandler:^(BOOL granted, NSError*) {
                              if (granted) {
                                  [center addNotificationRequest:request withCompletionHandler:nil];
                              }
                          }];
    return std::nullopt;
}

std::optional<std::string> displayTrouble() { return std::nullopt; }

bool hasGraphicsProcessor() { return true; }

bool wantsReducedMotion() { return [[NSWorkspace sharedWorkspace] accessibilityDisplayShouldReduceMotion]; }

std::string preferredFamily() { return {}; }

UsualText usualText() { return { .points = 13, .dotsPerInch = 72 }; }

std::optional<Picture> systemSymbol(const std::string& name, int pixels, std::uint32_t colour)
{
    NSImage* const image = symbolImage(name, pixels, colour);
    if (image == nil || pixels <= 0) {
        return std::nullopt;
    }
    Picture picture { .pixels = pixels, .argb = std::vector<std::uint32_t>(static_cast<std::size_t>(pixels) * pixels) };
    CGColorSpaceRef const space = CGColorSpaceCreateWithName(kCGColorSpaceSRGB);
    CGContextRef const canvas = CGBitmapContextCreate(picture.argb.data(), pixels, pixels, 8,
        static_cast<std::size_t>(pixels) * 4, space, kCGImageAlphaPremultipliedFirst | kCGBitmapByteOrder32Host);
    CGColorSpaceRelease(space);
    if (canvas == nullptr) {
        return std::nullopt;
    }
    [NSGraphicsContext saveGraphicsState];
    NSGraphicsContext.currentContext = [NSGraphicsContext graphicsContextWithCGContext:canvas flipped:NO];
    const NSSize size = image.size;
    const double scale = std::min(pixels / size.width, pixels / size.height);
    const NSSize shown = NSMakeSize(size.width * scale, size.height * scale);
    [image drawInRect:NSMakeRect((pixels - shown.width) / 2, (pixels - shown.height) / 2, shown.width, shown.height)];
    [NSGraphicsContext restoreGraphicsState];
    CGContextRelease(canvas);
    return picture;
}

} // namespace CodeManagerApp::Desktop
