# Compiler options shared by every target: warnings are errors, sanitizers by KELVORA_SANITIZE.
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wold-style-cast -Werror)

# GCC 12 sees overlapping copies in "text" + std::string that are not there, only at -O3.
add_compile_options($<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-Wno-restrict>)

if(KELVORA_SANITIZE)
  add_compile_options(-fsanitize=${KELVORA_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KELVORA_SANITIZE})
endif()

# Faster links and repeated builds where the tools happen to be installed.
find_program(KELVORA_MOLD mold)
if(KELVORA_MOLD)
  add_link_options(-fuse-ld=mold)
endif()
find_program(KELVORA_CCACHE ccache)
if(KELVORA_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${KELVORA_CCACHE})
endif()

# kelvora_tidy(<target>): clang-tidy runs with each compilation where KELVORA_TIDY is on, so that
# only what changed is checked again.
option(KELVORA_TIDY "Run clang-tidy with each compilation" OFF)
function(kelvora_tidy target)
  if(KELVORA_TIDY)
    find_program(KELVORA_CLANG_TIDY NAMES clang-tidy-14 clang-tidy REQUIRED)
    set_target_properties(${target} PROPERTIES CXX_CLANG_TIDY "${KELVORA_CLANG_TIDY};--quiet")
  endif()
endfunction()
