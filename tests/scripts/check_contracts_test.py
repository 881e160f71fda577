"""scripts/check-contracts finds each public declaration without a comment or an export mark, and no other."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-contracts"


def run_check(text, *options, name="include/KelvoraCore/A.h"):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / name
        path.parent.mkdir(parents=True)
        path.write_text(text)
        run = subprocess.run([sys.executable, str(CHECK), *options, folder], capture_output=True, text=True)
    return run.returncode, run.stdout.splitlines()


class CheckContracts(unittest.TestCase):
    def assert_missing(self, text, *expected):
        status, lines = run_check(text)
        self.assertEqual([line.split(": ")[1] for line in lines[:-1] if "no contract" in line],
                         [f"{name} has no contract" for name in expected])
        self.assertEqual(status, 1 if expected else 0, lines)

    def in_class(self, members):
        return "/// A.\nclass KELVORA_EXPORT A {\n public:\n" + members + "};\n"

    def test_a_comment_above_or_at_the_end_is_a_contract(self):
        self.assert_missing("/// One.\nKELVORA_EXPORT int one();\nKELVORA_EXPORT int two();  ///< Two.\n")

    def test_a_function_without_a_comment_is_found(self):
        self.assert_missing("namespace kelvora {\n\nKELVORA_EXPORT int one(int a,\n    int b);\n\n}\n", "one")
        self.assert_missing(self.in_class("  int one();\n\n  /// Two.\n  int two();\n\n  int three();\n"),
                            "A::one", "A::three")

    def test_a_comment_covers_the_declarations_up_to_the_next_empty_line(self):
        self.assert_missing(self.in_class("  /// Both.\n  int one() { return 1; }\n  int two();\n\n  int three();\n"),
                            "A::three")

    def test_a_comment_of_its_own_covers_the_declarations_below_it(self):
        self.assert_missing(self.in_class("  // Both.\n\n  int one();\n  int two();\n\n  int three();\n"),
                            "A::three")

    def test_the_comment_of_a_class_covers_none_of_its_functions(self):
        self.assert_missing(self.in_class("  int one();\n"), "A::one")

    def test_the_end_comment_of_one_function_does_not_cover_the_next(self):
        self.assert_missing(self.in_class("  int one();  ///< One.\n  int two();\n"), "A::two")

    def test_a_type_needs_a_contract(self):
        for text in ("class KELVORA_EXPORT A {\n};\n", "enum A : int { kOne };\n", "enum class A { kOne };\n"):
            self.assert_missing(text, "A")

    def test_a_nested_type_needs_a_contract_unless_it_is_private(self):
        self.assert_missing(self.in_class("  struct B {\n    int b();\n  };\n\n private:\n  struct C {\n    int c();\n  };\n"),
                            "A::B", "B::b")

    def test_private_functions_and_data_need_none(self):
        self.assert_missing(self.in_class("  int size = 0;\n  int size2 = twice(4);\n\n private:\n  int one();\n"))

    def test_defaults_destructors_and_overrides_need_none(self):
        self.assert_missing(self.in_class(
            "  ~A();\n  A(const A&) = delete;\n  A& operator=(const A&) = default;\n\n  int one() override;\n"))

    def test_templates_operators_and_default_arguments_are_functions(self):
        self.assert_missing(self.in_class(
            "  template <typename T>\n  requires(sizeof(T) == 4)\n  T one(T value) { return value; }\n\n"
            "  bool operator==(const A& other) const;\n\n  void two(int count = 2);\n"),
            "A::one", "A::operator==", "A::two")

    def test_statements_of_an_inline_body_are_not_declarations(self):
        self.assert_missing(self.in_class("  /// One.\n  int one() {\n    if (x()) {\n      y();\n    }\n    return z();\n  }\n"))

    def test_a_report_lists_without_failing(self):
        status, lines = run_check("KELVORA_EXPORT int one();\n", "--report")
        self.assertEqual(status, 0)
        self.assertEqual(lines[0], "include/KelvoraCore/A.h:1: one has no contract")

    def test_a_port_needs_contracts_but_no_export_mark(self):
        text = "/// A.\nclass A {\n public:\n  virtual int one() = 0;\n};\n"
        status, lines = run_check(text, name="ports/A.h")
        self.assertEqual((status, lines[0]), (1, "ports/A.h:4: A::one has no contract"))

    def test_a_public_class_or_function_that_is_hidden_is_a_failure_in_a_report_too(self):
        for text in ("/// A.\nclass A {\n};\n", "/// A.\nint A();\n"):
            status, lines = run_check(text, "--report")
            self.assertEqual((status, lines[0]),
                             (1, "include/KelvoraCore/A.h:2: A is not marked KELVORA_EXPORT"))

    def test_what_is_in_the_header_itself_needs_no_export_mark(self):
        for text in ("/// A.\ninline int a();\n", "/// A.\nconstexpr int a() { return 1; }\n",
                     "/// A.\ntemplate <typename T>\nT a(T value);\n", "/// A.\nenum A : int { kOne };\n"):
            self.assertEqual(run_check(text)[0], 0, text)


if __name__ == "__main__":
    unittest.main()
