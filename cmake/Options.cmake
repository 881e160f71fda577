# How this project's own targets are compiled. Nothing here reaches a project that contains this one.
get_property(several_configurations GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT several_configurations)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

if(KELVORA_DEVELOPER)
  add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor
    -Woverloaded-virtual -Wold-style-cast -Werror)
  # GCC 12 sees overlapping copies in "text" + std::string that are not there, only at -O3.
  add_compile_options($<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-Wno-restrict>)
  # In a unity build the classes of an unnamed namespace are in an included file, where GCC warns of them.
  if(CMAKE_UNITY_BUILD)
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
  endif()

  find_program(KELVORA_MOLD mold)
  if(KELVORA_MOLD AND NOT APPLE)
    add_link_options(-fuse-ld=mold)
  endif()
  # Two build folders share what they compile alike: the cache leaves the folder's name out of its key.
  find_program(KELVORA_CCACHE ccache)
  if(KELVORA_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_NOHASHDIR=1 ${KELVORA_CCACHE})
  endif()
endif()

if(KELVORA_SANITIZE)
  add_compile_options(-fsanitize=${KELVORA_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  # The checks' data holds a million addresses. At a fixed address the loader relocates none of them, and a
  # program starts in half of the time.
  add_link_options(-fsanitize=${KELVORA_SANITIZE} -no-pie)
  # Two checks of GCC's that make a third of the compilation and nine tenths of that data. A null pointer
  # that is used ends the program anyway, and the fuzz runs, compiled by clang, look at both.
  if(KELVORA_SANITIZE MATCHES undefined AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-fno-sanitize=null,alignment)
  endif()
endif()

# kelvora_export_only_the_interface(<target>): hidden visibility does not reach templates of the standard
# library and the objects of static libraries; a list of names for the linker hides those too. The linker of
# the cross compiler knows no such list.
function(kelvora_export_only_the_interface target)
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    set(names ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    set(option LINKER:--version-script=${names})
  elseif(APPLE AND NOT KELVORA_MACOS_STUBS)
    set(names ${PROJECT_SOURCE_DIR}/cmake/macos/exports.txt)
    set(option LINKER:-exported_symbols_list,${names})
  endif()
  get_target_property(type ${target} TYPE)
  if(option AND type STREQUAL "SHARED_LIBRARY")
    target_link_options(${target} PRIVATE ${option})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${names})
  endif()
endfunction()
