#pragma once

/// The name of an object of the kernel, with its NUL.
using io_name_t = char[128];
