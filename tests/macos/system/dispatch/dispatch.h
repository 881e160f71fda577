#pragma once

// The part of libdispatch that the macOS sources use, for the tests.
#include <cstdint>

using dispatch_object_t = struct dispatch_object_s*;
using dispatch_queue_t = struct dispatch_object_s*;
using dispatch_source_t = struct dispatch_object_s*;
using dispatch_queue_attr_t = struct dispatch_queue_attr_s*;
using dispatch_source_type_t = const struct dispatch_source_type_s*;
using dispatch_function_t = void (*)(void*);

#define DISPATCH_QUEUE_SERIAL (static_cast<dispatch_queue_attr_t>(nullptr))
extern "C" const dispatch_source_type_t DISPATCH_SOURCE_TYPE_READ;

extern "C" dispatch_queue_t dispatch_get_main_queue();
extern "C" dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t);
extern "C" void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
extern "C" void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
extern "C" dispatch_source_t dispatch_source_create(dispatch_source_type_t type,
                                                    std::uintptr_t handle, std::uintptr_t mask,
                                                    dispatch_queue_t queue);
extern "C" void dispatch_source_set_event_handler_f(dispatch_source_t source,
                                                    dispatch_function_t handler);
extern "C" void dispatch_set_context(dispatch_object_t object, void* context);
extern "C" void dispatch_source_cancel(dispatch_source_t source);
extern "C" void dispatch_resume(dispatch_object_t object);
extern "C" void dispatch_release(dispatch_object_t object);
