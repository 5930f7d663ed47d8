#include "CodeManagerApp/Desktop/Native.h"

#import <AppKit/AppKit.h>
#import <UserNotifications/UserNotifications.h>

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
    const auto [red, green, blue] = Native::components(colour);
    NSColor* const tint = [NSColor colorWithSRGBRed:red green:green blue:blue alpha:1];
    auto* const size = [NSImageSymbolConfiguration configurationWithPointSize:pixels * 0.8 weight:NSFontWeightRegular];
    auto* const colours = [NSImageSymbolConfiguration configurationWithPaletteColors:@[ tint ]];
    return [[NSImage imageWithSystemSymbolName:[NSString stringWithUTF8String:name.c_str()]
                      accessibilityDescription:nil]
        imageWithSymbolConfiguration:[size configurationByApplyingConfiguration:colours]];
}

} // namespace

std::optional<std::string> notify(const std::string& application, const std::string& message)
{
    // Only an application that was started from its bundle has a place in the notification centre.
    if (NSBundle.mainBundle.bundleIdentifier == nil) {
        return "The program was not started as an application.";
    }
    auto* const content = [[UNMutableNotificationContent alloc] init];
    content.title = [NSString stringWithUTF8String:application.c_str()];
    content.body = [NSString stringWithUTF8String:message.c_str()];
    auto* const request = [UNNotificationRequest requestWithIdentifier:@"operation" content:content trigger:nil];
    auto* const center = UNUserNotificationCenter.currentNotificationCenter;
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

std::optional<std::string> Native::open(const std::filesystem::path& file)
{
    const bool opened = [NSWorkspace.sharedWorkspace openURL:addressOf(file)];
    return opened ? std::nullopt : std::optional<std::string>("No application opened it.");
}

std::optional<std::string> Native::reveal(const std::filesystem::path& item)
{
    [[NSWorkspace sharedWorkspace] activateFileViewerSelectingURLs:@[ addressOf(item) ]];
    return std::nullopt;
}

bool Native::drawSymbol(const std::string& name, std::uint32_t colour, Picture& picture)
{
    NSImage* const image = symbolImage(name, picture.pixels, colour);
    CGColorSpaceRef const space = CGColorSpaceCreateWithName(kCGColorSpaceSRGB);
    CGContextRef const canvas = CGBitmapContextCreate(picture.argb.data(), picture.pixels, picture.pixels, 8,
        static_cast<std::size_t>(picture.pixels) * 4, space,
        kCGImageAlphaPremultipliedFirst | kCGBitmapByteOrder32Host);
    CGColorSpaceRelease(space);
    if (image == nil || canvas == nullptr) {
        CGContextRelease(canvas);
        return false;
    }
    const Native::Frame frame = Native::fitted(image.size.width, image.size.height, picture.pixels);
    [NSGraphicsContext saveGraphicsState];
    NSGraphicsContext.currentContext = [NSGraphicsContext graphicsContextWithCGContext:canvas flipped:NO];
    [image drawInRect:NSMakeRect(frame.x, frame.y, frame.width, frame.height)];
    [NSGraphicsContext restoreGraphicsState];
    CGContextRelease(canvas);
    return true;
}

} // namespace CodeManagerApp::Desktop
