"""The layer check finds every kind of break in a small house made for the purpose."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-layers"


class CheckLayers(unittest.TestCase):
    def faults(self, files):
        with tempfile.TemporaryDirectory() as folder:
            for name, text in files.items():
                path = pathlib.Path(folder) / name
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text)
            run = subprocess.run([sys.executable, str(CHECK), folder], capture_output=True, text=True)
        return run.returncode, run.stdout

    def assert_stands(self, files):
        status, text = self.faults(files)
        self.assertEqual((status, text), (0, "the house stands\n"))

    def assert_fault(self, files, expected):
        status, text = self.faults(files)
        self.assertEqual(status, 1)
        self.assertIn(expected, text)

    def test_downward_includes_and_the_standard_library_are_fine(self):
        self.assert_stands({
            "platform/Port.h": "#include <vector>\n",
            "hardware/Reader.cpp": '#include "platform/Port.h"\n#include <nlohmann/json.hpp>\n',
            "platform/linux/Live.cpp": '#include "platform/Port.h"\n#include <sys/stat.h>\n',
        })

    def test_an_include_up_a_layer_is_a_fault(self):
        self.assert_fault({
            "sensors/Controller.h": "", "hardware/Reader.cpp": '#include "sensors/Controller.h"\n',
        }, 'hardware/Reader.cpp:1: "sensors/Controller.h"')

    def test_a_public_header_stands_where_its_source_stands(self):
        self.assert_fault({
            "include/KelvoraCore/Controller.h": "", "sensors/Controller.cpp": "",
            "hardware/Reader.cpp": '\n#include "KelvoraCore/Controller.h"\n',
        }, "hardware/Reader.cpp:2:")

    def test_a_circle_through_a_third_file_is_a_fault(self):
        self.assert_fault({
            "hardware/A.h": '#include "hardware/B.h"\n', "hardware/B.h": "",
            "hardware/B.cpp": '#include "hardware/C.h"\n', "hardware/C.h": '#include "hardware/A.h"\n',
        }, "hardware/A -> hardware/B -> hardware/C -> hardware/A")

    def test_an_operating_system_header_above_the_platform_is_a_fault(self):
        for header in ("unistd.h", "sys/stat.h", "IOKit/IOKitLib.h"):
            self.assert_fault({"sensors/A.cpp": f"#include <{header}>\n"}, f"<{header}>")

    def test_an_implementation_of_the_platform_is_hidden_from_the_rooms(self):
        self.assert_fault({
            "platform/linux/Live.h": "", "store/A.cpp": '#include "platform/linux/Live.h"\n',
        }, "use its port")

    def test_the_platform_includes_nothing_above_it(self):
        self.assert_fault({
            "hardware/SMC.h": "", "platform/linux/Live.cpp": '#include "hardware/SMC.h"\n',
        }, "stands above the platform")

    def test_a_public_header_keeps_to_public_headers(self):
        for include in ("<nlohmann/json.hpp>", '"platform/Port.h"'):
            self.assert_fault({
                "platform/Port.h": "", "platform/A.cpp": "",
                "include/KelvoraCore/A.h": f"#include {include}\n",
            }, "a public header includes")

    def test_a_file_outside_the_table_is_a_fault(self):
        self.assert_fault({"include/KelvoraCore/Orphan.h": ""}, "stands in no layer")

    def test_the_header_of_all_headers_misses_none(self):
        self.assert_fault({
            "platform/A.cpp": "", "platform/B.cpp": "",
            "include/KelvoraCore/A.h": "", "include/KelvoraCore/B.h": "",
            "include/KelvoraCore/KelvoraCore.h": '#include "KelvoraCore/A.h"\n',
        }, "B.h is missing")

    def test_an_include_that_does_not_exist_is_a_fault(self):
        self.assert_fault({"sensors/A.cpp": '#include "sensors/Gone.h"\n'}, "is not in the project")


if __name__ == "__main__":
    unittest.main()
