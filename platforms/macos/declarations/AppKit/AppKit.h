#pragma once

// AppKit: exactly what this project uses of it. Only for Objective-C++.
#include <Foundation/Foundation.h>

/// How an application is opened.
API_AVAILABLE(macos(10.15))
@interface NSWorkspaceOpenConfiguration : NSObject
+ (instancetype)configuration;
@end

/// An application of this user that runs. Its properties follow the run loop of the main thread.
API_AVAILABLE(macos(10.6))
@interface NSRunningApplication : NSObject
+ (instancetype)runningApplicationWithProcessIdentifier:(pid_t)pid;
@property(readonly) pid_t processIdentifier;
@property(readonly) NSString* bundleIdentifier;  ///< nil without a bundle
@property(readonly) NSString* localizedName;
/// Asks it to end; whether the request was sent.
- (BOOL)terminate;
/// Ends it; whether the request was sent.
- (BOOL)forceTerminate;
@end

API_AVAILABLE(macos(10.0))
@interface NSWorkspace : NSObject
@property(class, readonly) NSWorkspace* sharedWorkspace;
@property(readonly) NSArray<NSRunningApplication*>* runningApplications API_AVAILABLE(macos(10.6));
/// The address of the application with a bundle identifier, or nil.
- (NSURL*)URLForApplicationWithBundleIdentifier:(NSString*)identifier API_AVAILABLE(macos(10.6));
/// Opens an application, or activates it if it runs. The block, which may be nil, is called later
/// on a thread of the system.
- (void)openApplicationAtURL:(NSURL*)application
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(void (^)(NSRunningApplication* application, NSError* error))handler
    API_AVAILABLE(macos(10.15));
@end
