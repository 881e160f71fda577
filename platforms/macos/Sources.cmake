# Those that call C interfaces of the system, also run by tests against doubles.
set(KELVORA_MACOS_SOURCES
  CFValues.cpp
  FileURL.cpp
  Platform_Live.cpp
  hardware/HIDFunctions.cpp
  hardware/MacHIDEventSystem.cpp
  hardware/MacIORegistry.cpp
  hardware/MacSMC.cpp
  hardware/MatchingServices.cpp
  notices/MacNotificationCentre.cpp
  processes/MacAuthorization.cpp
  processes/MacWorkspace.cpp
  settings/MacUserDefaults.cpp
  system/Cryptor.cpp
  system/KVSerialQueue.cpp
  system/MacFiles.cpp
  system/MacHostStatistics.cpp
  system/MacMainBundle.cpp
  system/MacMainQueue.cpp
  system/MacSystemControls.cpp
  system/MacSystemFacts.cpp
  system/SystemLocale.cpp
  system/TrustedEnvironment.cpp
)
# Those that are only compiled for macOS: that call classes of Cocoa, in Objective-C++, each as thin as
# possible, behind a header in C++; and that start programs.
set(KELVORA_MACOS_COCOA_SOURCES
  cocoa/Applications.mm
  cocoa/HostFacts.mm
  cocoa/Log.mm
  cocoa/UserFolders.mm
  processes/ProcessExecutable.cpp
  processes/SpawnSystem.cpp
)
list(TRANSFORM KELVORA_MACOS_SOURCES PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
list(TRANSFORM KELVORA_MACOS_COCOA_SOURCES PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
