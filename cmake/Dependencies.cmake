# The libraries that KelvoraCore calls; docs/architecture.md says what each is for. The installed package
# of a static library includes this file too, because such a library needs them where it is linked.
# Every name begins with KelvoraCore, so that none is also a name of the project that uses the library.

# kelvora_find_dependencies(<missing> [BUILD]): finds the libraries; BUILD adds those that only the
# library's own build needs. Sets the variable <missing> to a list of what was not found. With
# KELVORA_STATIC_LIBRARIES it finds archives, and what these need; on macOS the system's own libraries are
# text stubs, which it still finds.
function(kelvora_find_dependencies result)
  set(missing)
  find_package(Threads QUIET)
  if(NOT Threads_FOUND)
    list(APPEND missing "a threads library")
  endif()
  find_package(PkgConfig QUIET)
  if(NOT PkgConfig_FOUND)
    list(APPEND missing "pkg-config")
    set(${result} "${missing}" PARENT_SCOPE)
    return()
  endif()
  if(KELVORA_STATIC_LIBRARIES)
    set(CMAKE_FIND_LIBRARY_SUFFIXES .a .tbd)
    set(PKG_CONFIG_ARGN --static)
  endif()

  kelvora_find_module(ICU icu-i18n icu-uc)
  kelvora_find_module(PLIST libplist-2.0)
  kelvora_find_module(SQLITE sqlite3)
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    kelvora_find_module(CRYPTO "libcrypto >= 3.0")
    kelvora_find_module(SDBUS sdbus-c++)
  endif()
  if("BUILD" IN_LIST ARGN)
    kelvora_find_module(JSON "nlohmann_json >= 3.11")
  endif()
  kelvora_find_sqlitecpp(3.2)
  set(${result} "${missing}" PARENT_SCOPE)
endfunction()

# kelvora_find_module(<name> MODULES...): the target PkgConfig::KelvoraCore_<name>.
macro(kelvora_find_module name)
  pkg_check_modules(KelvoraCore_${name} QUIET IMPORTED_TARGET GLOBAL ${ARGN})
  if(NOT KelvoraCore_${name}_FOUND)
    list(APPEND missing ${ARGN})
  endif()
endmacro()

# kelvora_find_sqlitecpp(<version>): the target KelvoraCore::SQLiteCpp. SQLiteCpp has no pkg-config module,
# and the target of its own package may be the parent project's copy.
macro(kelvora_find_sqlitecpp version)
  find_path(KelvoraCore_SQLiteCpp_INCLUDE SQLiteCpp/SQLiteCpp.h)
  find_library(KelvoraCore_SQLiteCpp_LIBRARY SQLiteCpp)
  mark_as_advanced(KelvoraCore_SQLiteCpp_INCLUDE KelvoraCore_SQLiteCpp_LIBRARY)
  set(found "0")
  if(KelvoraCore_SQLiteCpp_INCLUDE AND KelvoraCore_SQLiteCpp_LIBRARY)
    file(STRINGS "${KelvoraCore_SQLiteCpp_INCLUDE}/SQLiteCpp/SQLiteCpp.h" found
      REGEX "^#define SQLITECPP_VERSION +\"")
    string(REGEX REPLACE ".*\"([0-9.]+)\".*" "\\1" found "${found}")
  endif()
  if(found VERSION_LESS ${version})
    if(KELVORA_STATIC_LIBRARIES)
      list(APPEND missing "an archive of SQLiteCpp ${version} (or KELVORA_STATIC_LIBRARIES=OFF)")
    else()
      list(APPEND missing "SQLiteCpp ${version}")
    endif()
  elseif(NOT TARGET KelvoraCore::SQLiteCpp)
    add_library(KelvoraCore::SQLiteCpp UNKNOWN IMPORTED GLOBAL)
    set_target_properties(KelvoraCore::SQLiteCpp PROPERTIES
      IMPORTED_LOCATION "${KelvoraCore_SQLiteCpp_LIBRARY}"
      INTERFACE_INCLUDE_DIRECTORIES "${KelvoraCore_SQLiteCpp_INCLUDE}"
      INTERFACE_LINK_LIBRARIES PkgConfig::KelvoraCore_SQLITE)
  endif()
endmacro()
