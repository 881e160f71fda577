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
message("missing: ${{missing}}")
foreach(name PkgConfig::KelvoraCore_ICU PkgConfig::KelvoraCore_SQLITE)
  get_target_property(libraries ${{name}} INTERFACE_LINK_LIBRARIES)
  message("${{name}}: ${{libraries}}")
endforeach()
"""


def found(option):
    """What the targets link, by the last part of their names."""
    with tempfile.TemporaryDirectory() as folder:
        (pathlib.Path(folder) / "CMakeLists.txt").write_text(PROJECT.format(cmake=CMAKE))
        run = subprocess.run(["cmake", "-G", "Ninja", "-B", f"{folder}/build", "-D", f"KELVORA_STATIC_LIBRARIES={option}",
                              folder], capture_output=True, text=True, check=True)
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


if __name__ == "__main__":
    unittest.main()
