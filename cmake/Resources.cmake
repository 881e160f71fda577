# The library's resources: the model of the store, the language tables and the recorded Macs. This file
# is part of the source tree and of the installed package; both offer the same function.
include_guard(GLOBAL)

# Where the files of each kind are: folder, and a pattern below it.
if(DEFINED KelvoraCore_RESOURCES)  # the installed package
  set_property(GLOBAL PROPERTY KELVORA_RESOURCES_MODEL "${KelvoraCore_RESOURCES}")
  set_property(GLOBAL PROPERTY KELVORA_RESOURCES_TABLES "${KelvoraCore_RESOURCES}")
  set_property(GLOBAL PROPERTY KELVORA_RESOURCES_MACHINES "${KelvoraCore_RESOURCES}/machines")
else()
  get_filename_component(sources "${CMAKE_CURRENT_LIST_DIR}" DIRECTORY)
  set_property(GLOBAL PROPERTY KELVORA_RESOURCES_MODEL "${sources}/store")
  set_property(GLOBAL PROPERTY KELVORA_RESOURCES_TABLES "${sources}/presentation/lproj")
  set_property(GLOBAL PROPERTY KELVORA_RESOURCES_MACHINES "${sources}/machines")
endif()
set_property(GLOBAL PROPERTY KELVORA_RESOURCE_PATTERN_MODEL "Database.momd")
set_property(GLOBAL PROPERTY KELVORA_RESOURCE_PATTERN_TABLES "*.lproj/Localizable.strings")
set_property(GLOBAL PROPERTY KELVORA_RESOURCE_PATTERN_MACHINES "*.json")
set_property(GLOBAL PROPERTY KELVORA_RESOURCE_PLACE_MACHINES "machines/")

# kelvora_add_resources(<target> [MODEL] [TABLES] [MACHINES]): puts resources of the library into the
# folder Resources beside an executable, where the library looks for them first. Without an option it
# puts all of them:
#   MODEL     Database.momd, the model of the object store; a program that uses KVCoreDataStore or
#             KVDataManager needs it
#   TABLES    <language>.lproj, the texts in eight languages
#   MACHINES  machines/, the recorded Macs that --machine and KELVORA_MACHINE know by name
# Call it in the folder that adds the target. A program installed into bin/ beside share/KelvoraCore
# needs no copies.
function(kelvora_add_resources target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "MODEL;TABLES;MACHINES" "" "")
  if(DEFINED arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "kelvora_add_resources: unknown: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  foreach(kind IN ITEMS MODEL TABLES MACHINES)
    if(arg_${kind} OR NOT (arg_MODEL OR arg_TABLES OR arg_MACHINES))
      kelvora_add_resources_of(${target} ${kind})
    endif()
  endforeach()
endfunction()

# Copies one kind of resources after each link of a target; a changed resource is a reason to link.
function(kelvora_add_resources_of target kind)
  get_property(root GLOBAL PROPERTY KELVORA_RESOURCES_${kind})
  get_property(pattern GLOBAL PROPERTY KELVORA_RESOURCE_PATTERN_${kind})
  get_property(place GLOBAL PROPERTY KELVORA_RESOURCE_PLACE_${kind})
  file(GLOB files CONFIGURE_DEPENDS "${root}/${pattern}")
  if(NOT files)
    message(FATAL_ERROR "kelvora_add_resources: no ${pattern} in ${root}")
  endif()
  set(commands)
  foreach(file IN LISTS files)
    file(RELATIVE_PATH name "${root}" "${file}")
    set(copy "$<TARGET_FILE_DIR:${target}>/Resources/${place}${name}")
    get_filename_component(folder "${copy}" DIRECTORY)
    list(APPEND commands
      COMMAND ${CMAKE_COMMAND} -E make_directory "${folder}"
      COMMAND ${CMAKE_COMMAND} -E copy_if_different "${file}" "${copy}")
  endforeach()
  add_custom_command(TARGET ${target} POST_BUILD ${commands} VERBATIM)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${files})
endfunction()
