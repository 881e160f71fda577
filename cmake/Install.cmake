# What `cmake --install` puts beside the programs: the library, its public headers, a package that
# find_package(KelvoraCore) finds and a module that pkg-config finds. The whole prefix may be moved.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/KelvoraCore)
set(package_files ${PROJECT_BINARY_DIR}/package)

install(TARGETS KelvoraCore EXPORT KelvoraCore
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/KelvoraCore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT KelvoraCore NAMESPACE Kelvora:: FILE KelvoraCoreTargets.cmake
  DESTINATION ${package_folder})

# What the library reads at run time; Resources.cmake copies it beside a program.
set(KELVORA_RESOURCES ${CMAKE_INSTALL_DATADIR}/KelvoraCore)
install(FILES ${PROJECT_SOURCE_DIR}/store/Database.momd DESTINATION ${KELVORA_RESOURCES})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/presentation/lproj/ DESTINATION ${KELVORA_RESOURCES}
  FILES_MATCHING PATTERN Localizable.strings)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/machines DESTINATION ${KELVORA_RESOURCES}
  FILES_MATCHING PATTERN "*.json")

# What a person reads: the README and what it leads to.
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CONTRIBUTING.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${PROJECT_SOURCE_DIR}/platforms/macos/README.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/platforms/macos)

# The programs that a host needs beside itself to hold fans.
set(KELVORA_PROGRAM_FOLDER ${CMAKE_INSTALL_BINDIR})

get_target_property(library_type KelvoraCore TYPE)
configure_package_config_file(cmake/KelvoraCoreConfig.cmake.in
  ${package_files}/KelvoraCoreConfig.cmake INSTALL_DESTINATION ${package_folder}
  PATH_VARS KELVORA_RESOURCES KELVORA_PROGRAM_FOLDER)
write_basic_package_version_file(${package_files}/KelvoraCoreConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${package_files}/KelvoraCoreConfig.cmake
  ${package_files}/KelvoraCoreConfigVersion.cmake ${PROJECT_SOURCE_DIR}/cmake/Dependencies.cmake
  ${PROJECT_SOURCE_DIR}/cmake/Resources.cmake
  DESTINATION ${package_folder})

# A static library is linked with everything that it calls, a shared one brings it along.
set(pc_requires)
set(pc_libraries)
if(library_type STREQUAL "STATIC_LIBRARY")
  set(pc_requires "icu-i18n icu-uc libplist-2.0 sqlite3")
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    string(APPEND pc_requires " libcrypto sdbus-c++")
  endif()
  set(pc_libraries "-lSQLiteCpp -pthread")
  if(APPLE)
    get_target_property(linked KelvoraCore LINK_LIBRARIES)
    list(FILTER linked INCLUDE REGEX "^-framework ")
    list(JOIN linked " " linked)
    string(APPEND pc_libraries " ${linked} -lobjc -lc++")
  endif()
endif()
file(RELATIVE_PATH pc_prefix
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/kelvoracore.pc.in ${package_files}/kelvoracore.pc @ONLY)
install(FILES ${package_files}/kelvoracore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Removes the debug data from what was installed, except from a Debug build. `cmake --install --strip` would
# leave the archive as it is.
if(CMAKE_STRIP)
  install(CODE "
    if(NOT CMAKE_INSTALL_CONFIG_NAME STREQUAL \"Debug\")
      file(GLOB built \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libKelvoraCore.*\"
        \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/kelvora\"
        \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/Kelvora Guardian\"
        \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/Kelvora SMC\")
      foreach(file IN LISTS built)
        if(NOT IS_SYMLINK \"\${file}\")
          execute_process(COMMAND \"${CMAKE_STRIP}\" -S \"\${file}\" COMMAND_ERROR_IS_FATAL ANY)
        endif()
      endforeach()
    endif()")
endif()
