# Installs the build, takes the example out of the README, builds it and runs both programs.
# cmake -D source= -D build= -D work= -D bindir= -D compiler= -D sanitize= -P example_test.cmake
cmake_minimum_required(VERSION 3.25)

# write_block(<file> <language>): writes the README's first code block of the language into the file.
function(write_block file language)
  file(READ ${source}/README.md text)
  string(FIND "${text}" "```${language}\n" start)
  if(start EQUAL -1)
    message(FATAL_ERROR "README.md has no ${language} block")
  endif()
  string(LENGTH "```${language}\n" fence)
  math(EXPR start "${start} + ${fence}")
  string(SUBSTRING "${text}" ${start} -1 text)
  string(FIND "${text}" "```" end)
  string(SUBSTRING "${text}" 0 ${end} text)
  file(WRITE ${work}/source/${file} "${text}")
endfunction()

# run(<output variable> COMMAND...): the test fails where the command does.
function(run output)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE errors)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN}: ${status}\n${text}\n${errors}")
  endif()
  set(${output} "${text}" PARENT_SCOPE)
endfunction()

function(expect text pattern)
  if(NOT text MATCHES "${pattern}")
    message(FATAL_ERROR "expected '${pattern}' in:\n${text}")
  endif()
endfunction()

file(REMOVE_RECURSE ${work})
write_block(main.cpp cpp)
write_block(CMakeLists.txt cmake)
set(flags -Wall -Wextra -Wpedantic -Werror)
if(sanitize)
  list(APPEND flags -fsanitize=${sanitize})
endif()
list(JOIN flags " " flags)

run(ignored ${CMAKE_COMMAND} --install ${build} --prefix ${work}/prefix)
run(ignored ${CMAKE_COMMAND} -G Ninja -S ${work}/source -B ${work}/build
  -D CMAKE_PREFIX_PATH=${work}/prefix -D CMAKE_CXX_COMPILER=${compiler} -D CMAKE_CXX_FLAGS=${flags})
run(ignored ${CMAKE_COMMAND} --build ${work}/build)
run(sensors ${work}/build/sensors)
expect("${sensors}" "(^|\n)[0-9]+ sensors\n$")

# The installed program finds its recorded Macs, its texts and nothing of the build.
file(RENAME ${work}/prefix ${work}/moved)
run(machines ${work}/moved/${bindir}/kelvora machines)
expect("${machines}" "MacBookPro15,1 ")
run(reading ${work}/moved/${bindir}/kelvora sensors --machine iMac19,1)
expect("${reading}" "CPU Proximity")
