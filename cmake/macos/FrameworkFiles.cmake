# Puts into a framework what is not compiled: cmake -D framework=<folder> -D project=<folder> -P FrameworkFiles.cmake
set(version ${framework}/Versions/A)
file(REMOVE_RECURSE ${version}/Headers ${version}/Modules)
file(COPY ${project}/include/KelvoraCore/ DESTINATION ${version}/Headers FILES_MATCHING PATTERN *.h)
file(COPY ${project}/cmake/macos/framework/module.modulemap DESTINATION ${version}/Modules)
file(COPY ${project}/store/Database.momd DESTINATION ${version}/Resources)
file(COPY ${project}/presentation/lproj/ DESTINATION ${version}/Resources
  FILES_MATCHING PATTERN Localizable.strings)
file(COPY ${project}/machines DESTINATION ${version}/Resources FILES_MATCHING PATTERN *.json)
foreach(folder Headers Modules Resources)
  file(REMOVE ${framework}/${folder})
  file(CREATE_LINK Versions/Current/${folder} ${framework}/${folder} SYMBOLIC)
endforeach()
