"""Sample hosts outside the source tree use the library in every way that it offers, and run.

usage: hosts_test.py SETTINGS [TEST...]     (SETTINGS is a JSON file that CMake writes)
"""
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import unittest

SETTINGS = json.loads(pathlib.Path(sys.argv[1]).read_text())
SOURCE = pathlib.Path(SETTINGS["source"])
BUILD = pathlib.Path(SETTINGS["build"])
WORK = pathlib.Path(SETTINGS["work"])
HERE = pathlib.Path(__file__).resolve().parent
MACHINE = SOURCE / "machines" / "iMac19,1.json"
# The compiler options of this build, so that a compiler cache can help.
SAME_OPTIONS = ["-D", f"CMAKE_BUILD_TYPE={SETTINGS['type']}", "-D", f"CMAKE_CXX_FLAGS={SETTINGS['flags']}",
                "-D", f"CMAKE_CXX_FLAGS_RELWITHDEBINFO={SETTINGS['optimised']}"]
HOST_FLAGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]


def run(*command, env=None, check=True, **options):
    """The output of a command, errors included; a command that fails is a failed test."""
    done = subprocess.run([str(part) for part in command], text=True, stdout=subprocess.PIPE, stdin=subprocess.DEVNULL,
                          stderr=subprocess.STDOUT, env={**os.environ, **(env or {})}, **options)
    if check and done.returncode != 0:
        raise AssertionError(f"{command}: status {done.returncode}\n{done.stdout}")
    return done.stdout


def run_until_stopped(program, env):
    """The output of a program that ends with SIGINT, which it gets once it handles the signal."""
    child = subprocess.Popen([str(program)], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                             stdin=subprocess.DEVNULL, env={**os.environ, **env})
    interrupt = 1 << (signal.SIGINT - 1)
    while child.poll() is None:
        masks = re.findall(r"Sig(?:Blk|Cgt):\s*(\w+)", pathlib.Path(f"/proc/{child.pid}/status").read_text())
        if any(int(mask, 16) & interrupt for mask in masks):
            child.send_signal(signal.SIGINT)
            break
    output = child.communicate(timeout=60)[0]
    if child.returncode != 0:
        raise AssertionError(f"{program}: status {child.returncode}\n{output}")
    return output


def blocks(document):
    """The code blocks of a document: language and text."""
    return re.findall(r"^```(\w+)\n(.*?)^```$", (SOURCE / document).read_text(), re.MULTILINE | re.DOTALL)


def is_program(language, text):
    return language == "cpp" and "int main(" in text


def is_project(language, text):
    return language == "cmake" and "project(" in text


def fresh(name):
    folder = WORK / name
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    return folder


def readme_host():
    """The README's program, as a file."""
    path = WORK / "readme" / "main.cpp"
    path.parent.mkdir(parents=True, exist_ok=True)
    text = next(text for language, text in blocks("README.md") if is_program(language, text))
    if not path.exists() or path.read_text() != text:
        path.write_text(text)
    return path


def configure(source, folder, *options):
    return run("cmake", "-G", "Ninja", "-S", source, "-B", folder,
               "-D", f"CMAKE_CXX_COMPILER={SETTINGS['compiler']}", *options)


def shared_build():
    """A second build of the library, as a shared one."""
    folder = WORK / "shared-build"
    configure(SOURCE, folder, *SAME_OPTIONS, "-D", "BUILD_SHARED_LIBS=ON", "-D", "KELVORA_TESTS=OFF")
    run("cmake", "--build", folder)
    return folder


def moved_installation(build, name):
    """The prefix of an installation that was moved after it was made."""
    folder = fresh(name)
    run("cmake", "--install", build, "--prefix", folder / "first")
    (folder / "first").rename(folder / "moved to here")
    return folder / "moved to here"


def environment():
    """A user's folders of their own, and a recorded Mac."""
    home = fresh("home")
    return {"KELVORA_MACHINE": str(MACHINE), "HOME": str(home), "XDG_CONFIG_HOME": str(home / "config"),
            "XDG_DATA_HOME": str(home / "data"), "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"}


class Hosts(unittest.TestCase):
    def assert_prints_sensors(self, *program, **env):
        text = run(*program, env={**environment(), **env})
        self.assertRegex(text, r"(?m)^CPU Proximity: \d")
        self.assertRegex(text, r"\n[1-9]\d* sensors\n$")

    def assert_package_works(self, prefix):
        folder = fresh("package-host")
        configure(HERE / "package", folder, "-D", f"CMAKE_PREFIX_PATH={prefix}", "-D", f"HOST_SOURCE={readme_host()}",
                  "-D", f"CMAKE_CXX_FLAGS={' '.join(HOST_FLAGS)}")
        run("cmake", "--build", folder)
        self.assert_prints_sensors(folder / "sensors")

    def assert_pkg_config_works(self, prefix, *options):
        library = prefix / SETTINGS["libdir"]
        flags = run("pkg-config", *options, "--cflags", "--libs", "kelvoracore",
                    env={"PKG_CONFIG_PATH": str(library / "pkgconfig")})
        program = fresh("pkg-config-host") / "sensors"
        # As a shell would split them: a space in the prefix is escaped.
        run("sh", "-c", f'exec "$0" "$1" -o "$2" {flags.strip()}', SETTINGS["compiler"], readme_host(), program)
        self.assert_prints_sensors(program, LD_LIBRARY_PATH=str(library))

    def assert_has_no_debug_data(self, file):
        self.assertNotIn(".debug_info", run("readelf", "--sections", "--wide", file))


class Static(Hosts):
    @classmethod
    def setUpClass(cls):
        cls.prefix = moved_installation(BUILD, "static")

    def test_find_package(self):
        self.assert_package_works(self.prefix)

    def test_pkg_config(self):
        self.assert_pkg_config_works(self.prefix)
        self.assert_pkg_config_works(self.prefix, "--static")

    def test_a_package_without_its_dependencies_is_not_found_and_says_why(self):
        without = {"PKG_CONFIG_LIBDIR": "/nonexistent", "PKG_CONFIG_PATH": "/nonexistent"}
        command = ["cmake", "-G", "Ninja", "-S", HERE / "optional", "-D", f"CMAKE_PREFIX_PATH={self.prefix}", "-B"]
        quiet = run(*command, fresh("optional"), "-D", "HOW=QUIET", env=without)
        self.assertRegex(quiet, "found: (0|FALSE)")
        self.assertNotIn("CMake Warning", quiet)
        required = run(*command, fresh("optional"), "-D", "HOW=REQUIRED", env=without, check=False)
        self.assertIn("KelvoraCore needs what is not installed here: icu-i18n", " ".join(required.split()))
        self.assertIn("CMake Error", required)
        self.assertIn("found: 1", run(*command, fresh("optional"), "-D", "HOW=QUIET"))

    def test_the_installed_program_finds_its_recorded_macs_and_texts(self):
        program = self.prefix / SETTINGS["bindir"] / "kelvora"
        self.assertIn("MacBookPro15,1 ", run(program, "machines"))
        self.assertIn("CPU Proximity", run(program, "sensors", "--machine", "iMac19,1"))

    def test_nothing_installed_has_debug_data(self):
        archive = self.prefix / SETTINGS["libdir"] / "libKelvoraCore.a"
        print(f"{archive.name}: {archive.stat().st_size / 2**20:.1f} MiB", file=sys.stderr)
        self.assert_has_no_debug_data(archive)
        self.assert_has_no_debug_data(self.prefix / SETTINGS["bindir"] / "kelvora")
        self.assert_has_no_debug_data(self.prefix / SETTINGS["bindir"] / "Kelvora Guardian")
        tool = self.prefix / SETTINGS["bindir"] / "Kelvora SMC"
        self.assert_has_no_debug_data(tool)
        self.assertEqual(tool.stat().st_mode & 0o7777, 0o755)  # no rights of its own


class Shared(Hosts):
    @classmethod
    def setUpClass(cls):
        cls.prefix = moved_installation(shared_build(), "shared")
        cls.library = cls.prefix / SETTINGS["libdir"] / "libKelvoraCore.so"

    def test_find_package(self):
        self.assert_package_works(self.prefix)

    def test_find_package_needs_none_of_the_librarys_dependencies(self):
        text = run("cmake", "-G", "Ninja", "-S", HERE / "optional", "-B", fresh("optional"), "-D", "HOW=REQUIRED",
                   "-D", f"CMAKE_PREFIX_PATH={self.prefix}", env={"PKG_CONFIG_LIBDIR": "/nonexistent"})
        self.assertIn("found: 1", text)

    def test_pkg_config(self):
        self.assert_pkg_config_works(self.prefix)

    def test_the_installed_program_finds_its_library(self):
        program = self.prefix / SETTINGS["bindir"] / "kelvora"
        self.assertIn("CPU Proximity", run(program, "sensors", "--machine", "iMac19,1"))

    def test_its_name_has_the_version_that_breaks_hosts(self):
        major_minor = ".".join(SETTINGS["version"].split(".")[:2])
        self.assertIn(f"libKelvoraCore.so.{major_minor}]", run("readelf", "--dynamic", self.library))
        self.assertEqual(self.library.resolve().name, f"libKelvoraCore.so.{SETTINGS['version']}")

    def test_it_exports_the_public_interface_only(self):
        lines = run("nm", "--dynamic", "--defined-only", "--demangle", self.library).splitlines()
        names = [line.split(" ", 2)[2] for line in lines]
        self.assertIn("SMCOpen", names)
        self.assertIn("kelvora::SensorController::getAllSensors()", names)
        self.assertIn("typeinfo for kelvora::KVViewController", names)
        allowed = re.compile(r"(?:(?:typeinfo|typeinfo name|vtable|VTT|guard variable) for |.*thunk to )?"
                             r"kelvora::(?!platform::|engine::)|SMC\w+$|_strtof$")
        self.assertEqual([name for name in names if not allowed.match(name)], [])

    def test_it_has_no_debug_data(self):
        self.assert_has_no_debug_data(self.library)


# The library, and its sources for Linux; no programs, tests or examples.
TARGETS = ["KelvoraCore", "KelvoraCore_Linux"]


class Subproject(Hosts):
    @staticmethod
    def options():
        """Packages that only programs, tests and benchmarks need do not exist here."""
        options = ["-D", f"KELVORA_SOURCE={SOURCE}", "-D", f"HOST_SOURCE={readme_host()}"]
        for package in ("GTest", "CLI11", "benchmark", "Python3"):
            options += ["-D", f"CMAKE_DISABLE_FIND_PACKAGE_{package}=ON"]
        return options

    def test_fetch_content(self):
        folder = fresh("fetch-content")
        text = configure(HERE / "parent", folder, "-D", "HOW=FetchContent", *self.options())
        self.assertEqual(re.findall(r"targets: (.*)", text), TARGETS)
        commands = run("ninja", "-C", folder, "-t", "commands", "sensors")
        self.assertRegex(commands, r"-o sensors .*_deps/kelvoracore-build/libKelvoraCore\.a")

    def test_add_subdirectory(self):
        folder = WORK / "parent"
        shutil.rmtree(folder / "CMakeFiles", ignore_errors=True)
        (folder / "CMakeCache.txt").unlink(missing_ok=True)
        options = self.options()
        text = configure(HERE / "parent", folder, "-D", "CMAKE_EXPORT_COMPILE_COMMANDS=ON", *options)
        self.assertEqual(re.findall(r"targets: (.*)", text), TARGETS)
        for entry in json.loads((folder / "compile_commands.json").read_text()):
            self.assertNotRegex(entry["command"], r" -W|ccache| -O| -g")
        commands = run("ninja", "-C", folder, "-t", "commands", "sensors")
        self.assertNotIn("mold", commands)

        configure(HERE / "parent", folder, "-D", "KELVORA_DEVELOPER=ON", *SAME_OPTIONS, *options)
        run("cmake", "--build", folder)
        self.assert_prints_sensors(folder / "sensors")
        prefix = fresh("parent-prefix")
        run("cmake", "--install", folder, "--prefix", prefix)
        self.assertEqual(list(prefix.iterdir()), [])


class Documents(Hosts):
    """Each program that a document prints is built with its document's CMake lines, the README's by default."""

    def assert_programs_work(self, document, count):
        printed = blocks(document)
        programs = [index for index, block in enumerate(printed) if is_program(*block)]
        self.assertEqual(len(programs), count)
        lines = next(text for language, text in printed + blocks("README.md") if is_project(language, text))
        for index in programs:
            folder = fresh("document")
            (folder / "main.cpp").write_text(printed[index][1])
            (folder / "CMakeLists.txt").write_text(lines)
            configure(folder, folder / "build", "-D", f"CMAKE_PREFIX_PATH={self.prefix}",
                      "-D", f"CMAKE_CXX_FLAGS={' '.join(HOST_FLAGS)}")
            run("cmake", "--build", folder / "build")
            name = re.search(r"add_executable\((\w+)", lines).group(1)
            runs_on = "StopSignal" in printed[index][1]
            output = (run_until_stopped if runs_on else run)(folder / "build" / name, env=environment())
            following = printed[index + 1] if index + 1 < len(printed) else ("", "")
            if following[0] == "text":
                self.assertEqual(output, following[1])

    @classmethod
    def setUpClass(cls):
        cls.prefix = moved_installation(BUILD, "documents")

    def test_readme(self):
        self.assert_programs_work("README.md", 1)

    def test_hosting(self):
        self.assert_programs_work("docs/hosting.md", 3)

    def test_store(self):
        self.assert_programs_work("docs/store.md", 1)

    def test_links_lead_to_installed_files(self):
        folder = next(self.prefix.glob("**/README.md")).parent
        broken = [f"{path.relative_to(folder)}: {link}" for path in folder.rglob("*.md")
                  for link in re.findall(r"\]\(([^)#:\s]+)(?:#[^)\s]*)?\)", path.read_text())
                  if not (path.parent / link).exists()]
        self.assertEqual(broken, [])

    def test_no_other_document_has_programs(self):
        for path in [*SOURCE.glob("*.md"), *SOURCE.glob("docs/*.md")]:
            name = str(path.relative_to(SOURCE))
            if name not in {"README.md", "docs/hosting.md", "docs/store.md"}:
                self.assertEqual([block for block in blocks(name) if is_program(*block)], [], name)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
