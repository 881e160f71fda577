# kelvora_resources(<target> FILES... DESTINATION <folder>): puts files into the resource folder of an
# executable, where the main bundle finds them: Resources/ beside it in the build tree. Executables
# that name one folder name the same files.
function(kelvora_resources target)
  cmake_parse_arguments(arg "" "DESTINATION" "FILES" ${ARGN})
  set(folder "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/Resources/${arg_DESTINATION}")
  set(copies)
  foreach(file IN LISTS arg_FILES)
    get_filename_component(name "${file}" NAME)
    add_custom_command(OUTPUT "${folder}/${name}"
      COMMAND ${CMAKE_COMMAND} -E make_directory "${folder}"
      COMMAND ${CMAKE_COMMAND} -E copy "${file}" "${folder}/${name}"
      DEPENDS "${file}" VERBATIM)
    list(APPEND copies "${folder}/${name}")
  endforeach()
  string(MAKE_C_IDENTIFIER "resources_${arg_DESTINATION}" name)
  if(NOT TARGET ${name})
    add_custom_target(${name} DEPENDS ${copies})
    set_target_properties(${name} PROPERTIES KELVORA_COPIES "${copies}")
  endif()
  get_target_property(made ${name} KELVORA_COPIES)
  if(NOT made STREQUAL copies)
    message(FATAL_ERROR "${target}: other files are put into Resources/${arg_DESTINATION} already; "
                        "executables that share a folder share its list")
  endif()
  add_dependencies(${target} ${name})
endfunction()
