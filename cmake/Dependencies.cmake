# The libraries that KelvoraCore calls, all Debian 12 packages; docs/architecture.md says what each is
# for. The installed package includes this file too: a static library needs them where it is linked.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(nlohmann_json 3.11 REQUIRED)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-i18n icu-uc)
find_package(SQLiteCpp 3.2 REQUIRED)
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  pkg_check_modules(SDBUS REQUIRED IMPORTED_TARGET sdbus-c++)
endif()
