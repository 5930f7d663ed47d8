#pragma once

#include <Foundation/Foundation.h>

// The part of UserNotifications that this program uses, declared for the check on systems without Apple's headers.
// Never used by a build on macOS. What is declared here is a claim about Apple's interface: keep it to the letter.

#pragma clang assume_nonnull begin

typedef enum UNAuthorizationOptions : NSUInteger {
    UNAuthorizationOptionAlert = (1 << 2),
} UNAuthorizationOptions;

@interface UNNotificationContent : NSObject
@end

@interface UNMutableNotificationContent : UNNotificationContent
@property (copy) NSString* title;
@property (copy) NSString* body;
@end

@interface UNNotificationTrigger : NSObject
@end

@interface UNNotificationRequest : NSObject
+ (instancetype)requestWithIdentifier:(NSString*)identifier
                              content:(UNNotificationContent*)content
                              trigger:(nullable UNNotificationTrigger*)trigger;
@end

@interface UNUserNotificationCenter : NSObject
+ (UNUserNotificationCenter*)currentNotificationCenter;
- (void)requestAuthorizationWithOptions:(UNAuthorizationOptions)options
                      completionHandler:(void (^)(BOOL granted, NSError* _Nullable error))completionHandler;
- (void)addNotificationRequest:(UNNotificationRequest*)request
         withCompletionHandler:(nullable void (^)(NSError* _Nullable error))completionHandler;
@end

#pragma clang assume_nonnull end
