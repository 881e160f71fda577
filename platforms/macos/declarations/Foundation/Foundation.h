#pragma once

// Foundation: exactly what this project uses of it. Only for Objective-C++.
#include <CoreFoundation/CoreFoundation.h>
#include <objc/NSObject.h>
#include <os/availability.h>

/// What `for ... in` calls to walk a collection.
typedef struct {
  unsigned long state;
  id __unsafe_unretained* itemsPtr;
  unsigned long* mutationsPtr;
  unsigned long extra[5];
} NSFastEnumerationState;

enum : NSUInteger { NSUTF8StringEncoding = 4 };
using NSStringEncoding = NSUInteger;

API_AVAILABLE(macos(10.0))
@interface NSString : NSObject
/// Nil if the bytes are not valid in the encoding.
- (instancetype)initWithBytes:(const void*)bytes
                       length:(NSUInteger)length
                     encoding:(NSStringEncoding)encoding;
@property(readonly) NSUInteger length;  ///< in UTF-16 units
/// Lives as long as the text, or the pool.
@property(readonly) const char* UTF8String;
@end

API_AVAILABLE(macos(10.0))
@interface NSArray<ObjectType> : NSObject
/// What a literal @[ ... ] calls.
+ (instancetype)arrayWithObjects:(const ObjectType[])objects count:(NSUInteger)count;
@property(readonly) ObjectType firstObject;  ///< nil if the array is empty
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained[])buffer
                                    count:(NSUInteger)count;
@end

API_AVAILABLE(macos(10.0))
@interface NSURL : NSObject
+ (NSURL*)fileURLWithPath:(NSString*)path;
@property(readonly) NSString* path;
@end

API_AVAILABLE(macos(10.0))
@interface NSError : NSObject
/// What went wrong, in the user's language.
@property(readonly) NSString* localizedDescription;
@end

typedef struct {
  NSInteger majorVersion;
  NSInteger minorVersion;
  NSInteger patchVersion;
} NSOperatingSystemVersion;

API_AVAILABLE(macos(10.0))
@interface NSProcessInfo : NSObject
@property(class, readonly) NSProcessInfo* processInfo;
@property(readonly) NSOperatingSystemVersion operatingSystemVersion API_AVAILABLE(macos(10.10));
/// E.g. "Version 13.4 (Build 22F66)".
@property(readonly) NSString* operatingSystemVersionString;
@end

/// Writes a line to the unified log; a program in a terminal also writes it to standard error.
extern "C" void NSLog(NSString* format, ...) API_AVAILABLE(macos(10.0));

/// Language, region and formats.
API_AVAILABLE(macos(10.0))
@interface NSLocale : NSObject
@property(class, readonly) NSLocale* currentLocale;  ///< the user's, whatever the environment
@property(readonly) NSString* localeIdentifier;      ///< e.g. "de_DE" or "en_US@calendar=buddhist"
@end

/// A computer of the network.
API_AVAILABLE(macos(10.0))
@interface NSHost : NSObject
+ (instancetype)currentHost;
@property(readonly) NSString* name;           ///< the first of its names
@property(readonly) NSString* localizedName;  ///< as the user named it
@property(readonly) NSString* address;        ///< the first of its addresses
@property(readonly) NSArray<NSString*>* addresses;
@end

enum NSSearchPathDirectory : NSUInteger {
  NSDocumentDirectory = 9,
  NSApplicationSupportDirectory = 14
};
using NSSearchPathDomainMask = NSUInteger;
enum : NSUInteger { NSUserDomainMask = 1 };
/// Folders of a kind, best first; they need not exist. `expandTilde`: as absolute paths.
extern "C" NSArray<NSString*>* NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory kind,
                                                                   NSSearchPathDomainMask domains,
                                                                   BOOL expandTilde)
    API_AVAILABLE(macos(10.0));

using NSURLResourceKey = NSString*;
/// A volume's name.
extern "C" const NSURLResourceKey NSURLVolumeNameKey API_AVAILABLE(macos(10.6));
using NSVolumeEnumerationOptions = NSUInteger;

API_AVAILABLE(macos(10.0))
@interface NSFileManager : NSObject
@property(class, readonly) NSFileManager* defaultManager;
/// The mounted volumes, whose values of the keys are fetched too.
- (NSArray<NSURL*>*)mountedVolumeURLsIncludingResourceValuesForKeys:(NSArray<NSURLResourceKey>*)keys
                                                            options:
                                                                (NSVolumeEnumerationOptions)options
    API_AVAILABLE(macos(10.6));
/// The folder that an application group shares, or nil.
- (NSURL*)containerURLForSecurityApplicationGroupIdentifier:(NSString*)group
    API_AVAILABLE(macos(10.8));
@end
