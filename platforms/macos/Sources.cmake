# Those that call C interfaces of the system, also run by tests against doubles.
set(KELVORA_MACOS_SOURCES
  CFValues.cpp
)
# Those that call classes of Cocoa, in Objective-C++: each as thin as possible, behind a header in C++.
set(KELVORA_MACOS_COCOA_SOURCES
)
list(TRANSFORM KELVORA_MACOS_SOURCES PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
list(TRANSFORM KELVORA_MACOS_COCOA_SOURCES PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
