"""With KELVORA_STATIC_LIBRARIES the libraries that KelvoraCore calls are archives, and bring what these need."""
import pathlib
import subprocess
import tempfile
import unittest

CMAKE = pathlib.Path(__file__).resolve().parents[2] / "cmake"
PROJECT = """cmake_minimum_required(VERSION 3.25)
project(Host LANGUAGES CXX)
include({cmake}/Dependencies.cmake)
kelvora_find_dependencies(missing)
""" + (SHOWN := """
message("missing: ${{missing}}")
foreach(name PkgConfig::KelvoraCore_ICU PkgConfig::KelvoraCore_SQLITE)
  get_target_property(libraries ${{name}} INTERFACE_LINK_LIBRARIES)
  message("${{name}}: ${{libraries}}")
endforeach()
""")
# The package of a library that was built with the option, and a host that finds it.
HOST = """cmake_minimum_required(VERSION 3.25)
project(Host LANGUAGES CXX)
include(CMakePackageConfigHelpers)
set(library_type STATIC_LIBRARY)
block()
  set(KELVORA_STATIC_LIBRARIES {built})
  set(KELVORA_RESOURCES package)
  set(KELVORA_PROGRAM_FOLDER package)
  set(CMAKE_INSTALL_PREFIX ${{CMAKE_BINARY_DIR}})
  configure_package_config_file({cmake}/KelvoraCoreConfig.cmake.in ${{CMAKE_BINARY_DIR}}/package/KelvoraCoreConfig.cmake
    INSTALL_DESTINATION package PATH_VARS KELVORA_RESOURCES KELVORA_PROGRAM_FOLDER)
endblock()
file(COPY {cmake}/Dependencies.cmake {cmake}/Resources.cmake DESTINATION package)
file(WRITE ${{CMAKE_BINARY_DIR}}/package/KelvoraCoreTargets.cmake "")
find_package(KelvoraCore REQUIRED PATHS ${{CMAKE_BINARY_DIR}}/package NO_DEFAULT_PATH)
""" + SHOWN


def found(option, project=PROJECT, **fields):
    """What the targets link, by the last part of their names."""
    with tempfile.TemporaryDirectory() as folder:
        (pathlib.Path(folder) / "CMakeLists.txt").write_text(project.format(cmake=CMAKE, **fields))
        options = ["-D", f"KELVORA_STATIC_LIBRARIES={option}"] if option else []
        run = subprocess.run(["cmake", "-G", "Ninja", "-B", f"{folder}/build", *options, folder],
                             capture_output=True, text=True, check=True)
    lines = dict(line.split(": ", 1) for line in run.stderr.splitlines() if ": " in line)
    return {name.rpartition("_")[2]: value.split(";") for name, value in lines.items()}


class StaticLibraries(unittest.TestCase):
    def test_by_default_libraries_are_shared(self):
        libraries = found("OFF")
        self.assertEqual(libraries["missing"], [""])
        for name in ("ICU", "SQLITE"):
            self.assertEqual({pathlib.Path(library).suffix for library in libraries[name]}, {".so"})

    def test_archives_come_with_what_they_need(self):
        libraries = found("ON")
        self.assertEqual(libraries["missing"], [""])
        files = {pathlib.Path(library).name for library in libraries["ICU"] + libraries["SQLITE"]}
        self.assertLessEqual({"libicui18n.a", "libicuuc.a", "libicudata.a", "libsqlite3.a"}, files)
        self.assertFalse([name for name in files if name.endswith(".so")])
        self.assertGreater(len(libraries["SQLITE"]), 1, "what only the archive needs, e.g. the library of mathematics")

    def test_a_host_links_as_the_installed_library_was_built(self):
        def kinds(built, option=None):
            libraries = found(option, HOST, built=built)
            return {pathlib.Path(library).suffix for library in libraries["SQLITE"]} & {".a", ".so"}

        self.assertEqual(kinds("ON"), {".a"})
        self.assertEqual(kinds("OFF"), {".so"})
        self.assertEqual(kinds("ON", "OFF"), {".so"})
        self.assertEqual(kinds("OFF", "ON"), {".a"})


if __name__ == "__main__":
    unittest.main()
