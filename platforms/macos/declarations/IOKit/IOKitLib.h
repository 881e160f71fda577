#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOReturn.h>
#include <device/device_types.h>
#include <mach/mach.h>

#define IOKIT_EXPORT extern "C"

using IOOptionBits = UInt32;
/// Names an object of the kernel in this task; 0 is no object.
using io_object_t = mach_port_t;
using io_connect_t = io_object_t;
using io_iterator_t = io_object_t;
using io_registry_entry_t = io_object_t;
using io_service_t = io_object_t;

#define IO_OBJECT_NULL (io_object_t{0})
#define kNilOptions 0

/// A dictionary that matches services of a class. The function that looks for them takes it over.
IOKIT_EXPORT CFMutableDictionaryRef IOServiceMatching(const char* name)
    __attribute__((cf_returns_retained)) API_AVAILABLE(macos(10.0));
/// Looks for services on a main port, MACH_PORT_NULL for the default one, and releases `matching`
/// in every case. On success the iterator is the caller's, also if it is empty.
IOKIT_EXPORT kern_return_t IOServiceGetMatchingServices(mach_port_t mainPort,
                                                        CFDictionaryRef matching
                                                        __attribute__((cf_consumed)),
                                                        io_iterator_t* existing)
    API_AVAILABLE(macos(10.0));
/// The next object, which the caller releases; 0 at the end.
IOKIT_EXPORT io_object_t IOIteratorNext(io_iterator_t iterator) API_AVAILABLE(macos(10.0));
IOKIT_EXPORT kern_return_t IOObjectRelease(io_object_t object) API_AVAILABLE(macos(10.0));

/// Opens a user client of a service for a task.
IOKIT_EXPORT kern_return_t IOServiceOpen(io_service_t service, task_port_t task, uint32_t type,
                                         io_connect_t* connection) API_AVAILABLE(macos(10.0));
IOKIT_EXPORT kern_return_t IOServiceClose(io_connect_t connection) API_AVAILABLE(macos(10.0));
/// Calls a user client with a structure; `*outputSize` is the size of the answer's memory on entry,
/// and of the answer on return.
IOKIT_EXPORT kern_return_t IOConnectCallStructMethod(mach_port_t connection, uint32_t selector,
                                                     const void* input, size_t inputSize,
                                                     void* output, size_t* outputSize)
    API_AVAILABLE(macos(10.5));

/// Writes the name with its NUL; `name` has 128 bytes.
IOKIT_EXPORT kern_return_t IORegistryEntryGetName(io_registry_entry_t entry, io_name_t name)
    API_AVAILABLE(macos(10.0));
/// A copy of all properties, the caller's on success.
IOKIT_EXPORT kern_return_t IORegistryEntryCreateCFProperties(io_registry_entry_t entry,
                                                             CFMutableDictionaryRef* properties
                                                             __attribute__((cf_returns_retained)),
                                                             CFAllocatorRef allocator,
                                                             IOOptionBits options)
    API_AVAILABLE(macos(10.0));
/// A copy of one property, or null.
IOKIT_EXPORT CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                                       CFAllocatorRef allocator,
                                                       IOOptionBits options)
    __attribute__((cf_returns_retained)) API_AVAILABLE(macos(10.0));
/// An iterator over the children in a plane, the caller's on success.
IOKIT_EXPORT kern_return_t IORegistryEntryGetChildIterator(io_registry_entry_t entry,
                                                           const io_name_t plane,
                                                           io_iterator_t* iterator)
    API_AVAILABLE(macos(10.0));
