#pragma once

#include <Foundation/Foundation.h>
#include <stddef.h>
#include <stdint.h>

// The part of AppKit, and of the drawing below it, that this program uses, declared for the check on systems without
// Apple's headers. Never used by a build on macOS. What is declared here is a claim about Apple's interface: keep it to
// the letter.

#pragma clang assume_nonnull begin

typedef double CGFloat;

typedef struct CGPoint {
    CGFloat x;
    CGFloat y;
} CGPoint;

typedef struct CGSize {
    CGFloat width;
    CGFloat height;
} CGSize;

typedef struct CGRect {
    CGPoint origin;
    CGSize size;
} CGRect;

typedef CGSize NSSize;
typedef CGRect NSRect;

static inline NSSize NSMakeSize(CGFloat width, CGFloat height) { return NSSize { width, height }; }

static inline NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat width, CGFloat height)
{
    return NSRect { { x, y }, { width, height } };
}

#ifdef __cplusplus
extern "C" {
#endif

typedef struct __attribute__((objc_bridge(id))) CGColorSpace* CGColorSpaceRef;
typedef struct __attribute__((objc_bridge(id))) CGContext* CGContextRef;
typedef const struct __attribute__((objc_bridge(NSString))) __CFString* CFStringRef;

enum { kCGImageAlphaPremultipliedFirst = 2, kCGBitmapByteOrder32Host = 2 << 12 };

extern const CFStringRef kCGColorSpaceSRGB;
CGColorSpaceRef _Nullable CGColorSpaceCreateWithName(CFStringRef _Nullable name);
void CGColorSpaceRelease(CGColorSpaceRef _Nullable space);
CGContextRef _Nullable CGBitmapContextCreate(void* _Nullable data, size_t width, size_t height, size_t bitsPerComponent,
    size_t bytesPerRow, CGColorSpaceRef _Nullable space, uint32_t bitmapInfo);
void CGContextRelease(CGContextRef _Nullable context);

typedef CGFloat NSFontWeight;
extern const NSFontWeight NSFontWeightRegular;

#ifdef __cplusplus
}
#endif

@interface NSColor : NSObject
+ (NSColor*)colorWithSRGBRed:(CGFloat)red green:(CGFloat)green blue:(CGFloat)blue alpha:(CGFloat)alpha;
@end

@interface NSImageSymbolConfiguration : NSObject
+ (instancetype)configurationWithPointSize:(CGFloat)pointSize weight:(NSFontWeight)weight;
+ (instancetype)configurationWithPaletteColors:(NSArray<NSColor*>*)paletteColors;
- (instancetype)configurationByApplyingConfiguration:(NSImageSymbolConfiguration*)configuration;
@end

@interface NSImage : NSObject
+ (nullable instancetype)imageWithSystemSymbolName:(NSString*)name
                          accessibilityDescription:(nullable NSString*)description;
- (nullable NSImage*)imageWithSymbolConfiguration:(NSImageSymbolConfiguration*)configuration;
@property NSSize size;
- (void)drawInRect:(NSRect)rect;
@end

@interface NSGraphicsContext : NSObject
+ (NSGraphicsContext*)graphicsContextWithCGContext:(CGContextRef)graphicsPort flipped:(BOOL)initialFlippedState;
@property (class, strong, nullable) NSGraphicsContext* currentContext;
+ (void)saveGraphicsState;
+ (void)restoreGraphicsState;
@end

@interface NSWorkspace : NSObject
@property (class, readonly, strong) NSWorkspace* sharedWorkspace;
- (BOOL)openURL:(NSURL*)url;
- (void)activateFileViewerSelectingURLs:(NSArray<NSURL*>*)fileURLs;
@property (readonly) BOOL accessibilityDisplayShouldReduceMotion;
@end

#pragma clang assume_nonnull end
