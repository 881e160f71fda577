# KelvoraCore.framework, which an application carries in Contents/Frameworks: the library with its
# headers, module map, information dictionary and resources. It consists of the same objects as the
# static library.
add_library(KelvoraCoreFramework SHARED $<TARGET_OBJECTS:KelvoraCore>)
get_target_property(libraries KelvoraCore LINK_LIBRARIES)
target_link_libraries(KelvoraCoreFramework PRIVATE ${libraries})
file(GLOB files CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/KelvoraCore/*.h
  ${PROJECT_SOURCE_DIR}/presentation/lproj/*.lproj/Localizable.strings ${PROJECT_SOURCE_DIR}/machines/*.json)
set_target_properties(KelvoraCoreFramework PROPERTIES
  OUTPUT_NAME KelvoraCore
  LINKER_LANGUAGE CXX
  LINK_DEPENDS "${files};${PROJECT_SOURCE_DIR}/store/Database.momd;${CMAKE_CURRENT_LIST_DIR}/FrameworkFiles.cmake"
  FRAMEWORK TRUE
  FRAMEWORK_VERSION A
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
  INSTALL_NAME_DIR @rpath
  BUILD_WITH_INSTALL_NAME_DIR ON
  MACOSX_FRAMEWORK_IDENTIFIER com.kelvora.KelvoraCore
  MACOSX_FRAMEWORK_BUNDLE_VERSION ${PROJECT_VERSION}
  MACOSX_FRAMEWORK_SHORT_VERSION_STRING ${PROJECT_VERSION})
kelvora_export_only_the_interface(KelvoraCoreFramework)
add_custom_command(TARGET KelvoraCoreFramework POST_BUILD
  COMMAND ${CMAKE_COMMAND} -D framework=$<TARGET_BUNDLE_DIR:KelvoraCoreFramework>
    -D project=${PROJECT_SOURCE_DIR} -P ${CMAKE_CURRENT_LIST_DIR}/FrameworkFiles.cmake VERBATIM)
