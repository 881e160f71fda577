#pragma once

/// Marks the classes and functions that the shared library exports. Everything else is hidden, so
/// that a host can neither call it nor collide with it. Every class and function declared in a
/// public header has this mark.
#define KELVORA_EXPORT __attribute__((visibility("default")))
