"""scripts/check-layers finds every kind of violation in a small project made for the purpose."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-layers"


class CheckLayers(unittest.TestCase):
    def run_check(self, files):
        with tempfile.TemporaryDirectory() as folder:
            for name, text in files.items():
                path = pathlib.Path(folder) / name
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text)
            run = subprocess.run([sys.executable, str(CHECK), folder], capture_output=True, text=True)
        return run.returncode, run.stdout

    def assert_clean(self, files):
        status, text = self.run_check(files)
        self.assertEqual((status, text), (0, "no layering violations\n"))

    def assert_violation(self, files, expected):
        status, text = self.run_check(files)
        self.assertEqual(status, 1)
        self.assertIn(expected, text)

    def test_downward_includes_and_the_standard_library_are_allowed(self):
        self.assert_clean({
            "ports/Port.h": "#include <vector>\n",
            "hardware/Reader.cpp": '#include "ports/Port.h"\n#include <nlohmann/json.hpp>\n',
            "platforms/linux/Live.cpp": '#include "ports/Port.h"\n#include <sys/stat.h>\n',
        })

    def test_an_include_of_a_higher_layer_is_a_violation(self):
        self.assert_violation({
            "sensors/Controller.h": "", "hardware/Reader.cpp": '#include "sensors/Controller.h"\n',
        }, 'hardware/Reader.cpp:1: "sensors/Controller.h" is in sensors/, above hardware/')

    def test_the_privileged_tool_is_made_of_the_librarys_sources_and_the_system(self):
        files = {
            "hardware/SMC.h": "", "platforms/shared/Fan.h": "", "tools/smc/Rights.h": "",
            "tools/smc/main.cpp": '#include "hardware/SMC.h"\n#include "platforms/shared/Fan.h"\n#include <unistd.h>\n',
        }
        self.assert_clean(files)
        self.assert_violation(files | {"tools/smc/Other.cpp": "#include <nlohmann/json.hpp>\n"},
                              "tools/smc/Other.cpp:1: the privileged tool includes <nlohmann/json.hpp>")
        for name in ("tools/kelvora/main.cpp", "hardware/SMC.cpp"):
            self.assert_violation(files | {name: '#include "tools/smc/Rights.h"\n'},
                                  name + ':1: "tools/smc/Rights.h" is the privileged tool\'s own')

    def test_platforms_include_nothing_above_them(self):
        self.assert_violation({
            "hardware/SMC.h": "", "platforms/linux/Live.cpp": '#include "hardware/SMC.h"\n',
        }, "is in hardware/, above platforms/")

    def test_a_public_header_belongs_to_the_folder_of_its_source(self):
        self.assert_violation({
            "include/KelvoraCore/Controller.h": "", "sensors/Controller.cpp": "",
            "hardware/Reader.cpp": '\n#include "KelvoraCore/Controller.h"\n',
        }, "hardware/Reader.cpp:2:")

    def test_a_public_header_without_a_source_belongs_to_the_layer_of_its_includes(self):
        files = {
            "include/KelvoraCore/Controller.h": "", "sensors/Controller.cpp": "",
            "include/KelvoraCore/Record.h": '#include "KelvoraCore/Controller.h"\n',
            "include/KelvoraCore/Plain.h": "",
            "hardware/Reader.cpp": '#include "KelvoraCore/Plain.h"\n',
        }
        self.assert_clean(files)
        files["hardware/Reader.cpp"] = '#include "KelvoraCore/Record.h"\n'
        self.assert_violation(files, '"KelvoraCore/Record.h" is in sensors/, above hardware/')

    def test_a_forward_declaration_of_a_higher_class_is_a_violation(self):
        files = {
            "sensors/Controller.h": "class KELVORA_EXPORT Controller final : public Reader {\n};\n",
            "hardware/Reader.h": "// class Controller;\nclass Controller;\n",
        }
        self.assert_violation(files, "hardware/Reader.h:2: declares Controller, which is in sensors/")
        for text in ("namespace kelvora { class Controller; }", "class KELVORA_EXPORT Controller;",
                     "class ::kelvora::Controller;", "struct Other; class Controller ;"):
            self.assert_violation(files | {"hardware/Reader.h": text + "\n"},
                                  "hardware/Reader.h:1: declares Controller, which is in sensors/")
        files["hardware/Controller.h"] = "struct KELVORA_EXPORT Controller {};\n"
        self.assert_clean(files)

    def test_a_program_declares_public_classes_and_its_own_only(self):
        files = {
            "hardware/Wrapper.h": "class Wrapper {\n};\n", "include/KelvoraCore/Reader.h": "class Reader {\n};\n",
            "include/KelvoraCore/KelvoraCore.h": '#include "KelvoraCore/Reader.h"\n',
            "tools/kelvora/Text.h": "class Text {\n};\n", "tools/smc/main.cpp": "class Wrapper;\n",
            "tools/kelvora/Report.h": "class Reader;\nclass Text;\nclass OfALibrary;\n",
        }
        self.assert_clean(files)
        self.assert_violation(files | {"tools/kelvora/Report.h": "namespace kelvora {\nclass Wrapper;\n}\n"},
                              "tools/kelvora/Report.h:2: declares Wrapper, which is not public")

    def test_an_include_in_angle_brackets_is_one_of_the_project_too(self):
        for target, header in (("store/File.h", "store/File.h"),
                               ("KelvoraCore/Manager.h", "include/KelvoraCore/Manager.h")):
            self.assert_violation({
                "store/File.h": "", "manager/Manager.cpp": "", header: "",
                "include/KelvoraCore/KelvoraCore.h": '#include "KelvoraCore/Manager.h"\n',
                "platforms/linux/Live.cpp": f"#include <{target}>\n",
            }, f'platforms/linux/Live.cpp:1: "{target}" is in ')

    def test_a_friend_in_a_higher_layer_is_a_violation(self):
        for friend in ("friend Controller;", "friend class kelvora::Controller;", "friend class ::kelvora::Controller;",
                       "int x; friend struct Controller ;"):
            self.assert_violation({
                "sensors/Controller.h": "class Controller {\n};\n",
                "hardware/Reader.h": "class Reader {\n  " + friend + "\n};\n",
            }, "hardware/Reader.h:2: befriends Controller, which is in sensors/")

    def test_a_circle_of_includes_through_a_third_file_is_a_violation(self):
        self.assert_violation({
            "hardware/A.h": '#include "hardware/B.h"\n',
            "hardware/B.h": '#include "hardware/C.h"\n', "hardware/C.h": '#include "hardware/A.h"\n',
        }, "hardware/A.h -> hardware/B.h -> hardware/C.h -> hardware/A.h")

    def test_an_operating_system_header_outside_platforms_is_a_violation(self):
        for header in ("unistd.h", "sys/stat.h", "IOKit/IOKitLib.h"):
            self.assert_violation({"sensors/A.cpp": f"#include <{header}>\n"}, f"<{header}>")

    def test_an_implementation_of_a_port_is_hidden_from_the_other_folders(self):
        self.assert_violation({
            "platforms/linux/Live.h": "", "store/A.cpp": '#include "platforms/linux/Live.h"\n',
        }, "use its port")

    def test_a_public_header_includes_public_headers_only(self):
        for include in ("<nlohmann/json.hpp>", '"ports/Port.h"'):
            self.assert_violation({
                "ports/Port.h": "", "ports/A.cpp": "",
                "include/KelvoraCore/A.h": f"#include {include}\n",
            }, "a public header includes")

    def test_a_program_includes_public_headers_and_its_own_libraries_only(self):
        files = {
            "include/KelvoraCore/A.h": "", "ports/A.cpp": "", "ports/Port.h": "",
            "tools/kelvora/Text.h": "",
            "tools/kelvora/main.cpp": '#include "KelvoraCore/A.h"\n#include "tools/kelvora/Text.h"\n'
                                      "#include <CLI/CLI.hpp>\n#include <string>\n",
        }
        self.assert_clean(files)
        for folder in ("tools/kelvora", "examples"):
            for include in ('"ports/Port.h"', "<unistd.h>", "<sqlite3.h>"):
                files[f"{folder}/bad.cpp"] = f"#include {include}\n"
                self.assert_violation(files, f"{folder}/bad.cpp:1: a program includes")
                del files[f"{folder}/bad.cpp"]

    def test_the_header_of_all_headers_misses_none(self):
        self.assert_violation({
            "ports/A.cpp": "", "ports/B.cpp": "",
            "include/KelvoraCore/A.h": "", "include/KelvoraCore/B.h": "",
            "include/KelvoraCore/KelvoraCore.h": '#include "KelvoraCore/A.h"\n',
        }, "B.h is missing")

    def test_an_include_that_does_not_exist_is_a_violation(self):
        self.assert_violation({"sensors/A.cpp": '#include "sensors/Gone.h"\n'}, "is not in the project")


if __name__ == "__main__":
    unittest.main()
