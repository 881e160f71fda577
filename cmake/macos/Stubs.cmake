# What a Mac's own folders would offer, where there is no Mac: the frameworks as text stubs made from
# the declarations, and the third-party libraries as text stubs with the headers of this system. The
# results link and can be checked; they are not meant to be shipped.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(stubs_py ${CMAKE_CURRENT_LIST_DIR}/stubs.py)
set(declarations ${PROJECT_SOURCE_DIR}/platforms/macos/declarations)
set(stubs ${PROJECT_BINARY_DIR}/stubs)
set(headers ${PROJECT_BINARY_DIR}/third-party)

# Exactly the folders that are needed: beside them are headers of Linux.
file(MAKE_DIRECTORY ${headers})
foreach(name unicode nlohmann SQLiteCpp sqlite3.h plist CLI curses.h ncurses_dll.h unctrl.h)
  if(NOT EXISTS /usr/include/${name})
    message(FATAL_ERROR "There is no /usr/include/${name}")
  endif()
  file(CREATE_LINK /usr/include/${name} ${headers}/${name} SYMBOLIC)
endforeach()

# kelvora_stub(<target> STUB ARGUMENTS...): a library whose stub the arguments of stubs.py write.
function(kelvora_stub target stub)
  set(file ${stubs}/lib${stub}.tbd)
  string(REPLACE "STUB" ${file} arguments "${ARGN}")
  execute_process(COMMAND ${Python3_EXECUTABLE} ${stubs_py} ${arguments} COMMAND_ERROR_IS_FATAL ANY)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${headers})
  target_link_libraries(${target} INTERFACE ${file})
endfunction()

file(GLOB_RECURSE declared CONFIGURE_DEPENDS ${declarations}/*.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${declared} ${stubs_py})
execute_process(COMMAND ${Python3_EXECUTABLE} ${stubs_py} frameworks ${declarations} ${stubs}
  COMMAND_ERROR_IS_FATAL ANY)
add_compile_options(-isystem ${declarations}
  "SHELL:-include ${CMAKE_CURRENT_LIST_DIR}/StandardLibraryOfMacOS11.h")
add_link_options(-F${stubs} -L${stubs})

set(libraries /usr/lib/x86_64-linux-gnu)
kelvora_stub(PkgConfig::KelvoraCore_ICU icu library @rpath/libicu.72.dylib STUB ${libraries}/libicui18n.so
  ${libraries}/libicuuc.so)
kelvora_stub(PkgConfig::KelvoraCore_PLIST plist library @rpath/libplist-2.0.3.dylib STUB
  ${libraries}/libplist-2.0.so)
kelvora_stub(PkgConfig::KelvoraCore_SQLITE sqlite3 library /usr/lib/libsqlite3.dylib STUB
  ${libraries}/libsqlite3.so)
kelvora_stub(KelvoraCore::Curses ncurses library /usr/lib/libncurses.5.4.dylib STUB
  ${libraries}/libncursesw.so.6 ${libraries}/libtinfo.so.6)
foreach(target PkgConfig::KelvoraCore_JSON CLI11::CLI11 Threads::Threads)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${headers})
endforeach()

# SQLiteCpp has an interface in C++, whose names the other compiler makes otherwise: its stub has what
# the library's objects lack.
add_library(KelvoraCore::SQLiteCpp INTERFACE IMPORTED GLOBAL)
target_include_directories(KelvoraCore::SQLiteCpp SYSTEM INTERFACE ${headers})
set(sqlitecpp ${stubs}/libSQLiteCpp.tbd)
target_link_libraries(KelvoraCore::SQLiteCpp INTERFACE ${sqlitecpp} PkgConfig::KelvoraCore_SQLITE)

# kelvora_stub_of_sqlitecpp(): once the library is a target.
function(kelvora_stub_of_sqlitecpp)
  add_custom_command(OUTPUT ${sqlitecpp}
    COMMAND ${Python3_EXECUTABLE} ${stubs_py} missing SQLite @rpath/libSQLiteCpp.dylib ${sqlitecpp}
      $<TARGET_FILE:KelvoraCore>
    DEPENDS KelvoraCore ${stubs_py} VERBATIM)
  add_custom_target(sqlitecpp_stub DEPENDS ${sqlitecpp})
  foreach(target ${ARGN})
    if(TARGET ${target})
      add_dependencies(${target} sqlitecpp_stub)
    endif()
  endforeach()
endfunction()
