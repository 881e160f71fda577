# Compiles for macOS on Linux; the compiler is fetched by scripts/cross-compiler. The presets set
# CMAKE_SYSTEM_PROCESSOR to arm64 or x86_64. Nothing of this is used on a Mac.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 20)  # macOS 11
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES CMAKE_SYSTEM_PROCESSOR)

set(zig ${CMAKE_CURRENT_LIST_DIR}/../../build/zig/zig)
if(NOT EXISTS ${zig})
  message(FATAL_ERROR "There is no compiler for macOS here yet: scripts/cross-compiler fetches it")
endif()
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "arm64")
  set(target aarch64-macos.11.0)
else()
  set(target ${CMAKE_SYSTEM_PROCESSOR}-macos.11.0)
endif()
foreach(language CXX OBJCXX)
  set(CMAKE_${language}_COMPILER ${zig} c++ -target ${target})
endforeach()
set(CMAKE_AR ${CMAKE_CURRENT_LIST_DIR}/zig-ar)
set(CMAKE_RANLIB ${CMAKE_CURRENT_LIST_DIR}/zig-ranlib)
find_program(CMAKE_INSTALL_NAME_TOOL NAMES llvm-install-name-tool-14 llvm-install-name-tool)

# Nothing of this system is meant for a Mac.
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_FIND_ROOT_PATH /nonexistent)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
