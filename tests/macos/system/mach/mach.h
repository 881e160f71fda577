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
