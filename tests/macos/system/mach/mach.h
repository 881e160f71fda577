#pragma once

#include <cstddef>
#include <cstdint>

#include <mach/boolean.h>

using kern_return_t = int;
using natural_t = std::uint32_t;
using integer_t = int;
using mach_port_t = natural_t;
using task_port_t = mach_port_t;
using host_t = mach_port_t;

constexpr kern_return_t KERN_SUCCESS = 0;
constexpr mach_port_t MACH_PORT_NULL = 0;

/// The port of the running task.
extern "C" mach_port_t mach_task_self();

// The counters of the host.
using mach_msg_type_number_t = natural_t;
using vm_map_t = mach_port_t;
using vm_address_t = std::uintptr_t;
using vm_size_t = std::uintptr_t;
using processor_flavor_t = int;
using processor_info_array_t = integer_t*;
using host_flavor_t = int;
using host_info_t = integer_t*;

constexpr processor_flavor_t PROCESSOR_CPU_LOAD_INFO = 2;
constexpr int CPU_STATE_USER = 0;
constexpr int CPU_STATE_SYSTEM = 1;
constexpr int CPU_STATE_IDLE = 2;
constexpr int CPU_STATE_NICE = 3;
constexpr int CPU_STATE_MAX = 4;

constexpr host_flavor_t HOST_VM_INFO = 2;
struct vm_statistics_data_t {
  natural_t free_count;
  natural_t active_count;
  natural_t inactive_count;
  natural_t wire_count;
  natural_t others[11];
};
constexpr mach_msg_type_number_t HOST_VM_INFO_COUNT =
    sizeof(vm_statistics_data_t) / sizeof(integer_t);

/// The port of the host: one more right with each call.
extern "C" mach_port_t mach_host_self();
extern "C" kern_return_t mach_port_deallocate(mach_port_t task, mach_port_t port);
extern "C" kern_return_t host_processor_info(host_t host, processor_flavor_t flavor,
                                             natural_t* processors,
                                             processor_info_array_t* counters,
                                             mach_msg_type_number_t* count);
extern "C" kern_return_t vm_deallocate(vm_map_t task, vm_address_t address, vm_size_t size);
extern "C" kern_return_t host_statistics(host_t host, host_flavor_t flavor, host_info_t information,
                                         mach_msg_type_number_t* count);
