# KelvoraCore.framework, which an application carries in Contents/Frameworks: the library with its
# headers, module map, information dictionary and resources. It consists of the same objects as the
# static library.
add_library(KelvoraCoreFramework SHARED $<TARGET_OBJECTS:KelvoraCore>)
get_target_property(libraries KelvoraCore LINK_LIBRARIES)
target_link_libraries(KelvoraCoreFramework PRIVATE ${libraries})

file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/KelvoraCore/*.h)
target_sources(KelvoraCoreFramework PRIVATE ${headers})
set_target_properties(KelvoraCoreFramework PROPERTIES
  OUTPUT_NAME KelvoraCore
  LINKER_LANGUAGE CXX
  FRAMEWORK TRUE
  FRAMEWORK_VERSION A
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
  INSTALL_NAME_DIR @rpath
  BUILD_WITH_INSTALL_NAME_DIR ON
  PUBLIC_HEADER "${headers}"
  MACOSX_FRAMEWORK_IDENTIFIER com.kelvora.KelvoraCore
  MACOSX_FRAMEWORK_BUNDLE_VERSION ${PROJECT_VERSION}
  MACOSX_FRAMEWORK_SHORT_VERSION_STRING ${PROJECT_VERSION})

# kelvora_framework_files(<folder> <root> FILES...): files of the framework, in their folders below the root.
function(kelvora_framework_files folder root)
  foreach(file IN LISTS ARGN)
    file(RELATIVE_PATH name ${root} ${file})
    cmake_path(GET name PARENT_PATH below)
    target_sources(KelvoraCoreFramework PRIVATE ${file})
    set_source_files_properties(${file} PROPERTIES HEADER_FILE_ONLY ON
      MACOSX_PACKAGE_LOCATION ${folder}/${below})
  endforeach()
endfunction()

set(root ${PROJECT_SOURCE_DIR})
kelvora_framework_files(Modules ${root}/cmake/macos/framework ${root}/cmake/macos/framework/module.modulemap)
kelvora_framework_files(Resources ${root}/store ${root}/store/Database.momd)
file(GLOB files CONFIGURE_DEPENDS ${root}/presentation/lproj/*.lproj/Localizable.strings)
kelvora_framework_files(Resources ${root}/presentation/lproj ${files})
file(GLOB files CONFIGURE_DEPENDS ${root}/machines/*.json)
kelvora_framework_files(Resources ${root} ${files})
