"""scripts/check-words finds mannered words wherever a person reads them."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-words"


class CheckWords(unittest.TestCase):
    def run_check(self, name, text):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(text.encode() if isinstance(text, str) else text)
            run = subprocess.run([sys.executable, str(CHECK), folder], capture_output=True, text=True)
        return run.returncode, run.stdout

    def test_comments_messages_and_documents(self):
        for name, text, found in (
            ("base/Text.h", "int a;\n/// Tells the size.\n", 'base/Text.h:2: "Tells"\n'),
            ("tools/kelvora/main.cpp", 'fail("waited in vain");\n', 'tools/kelvora/main.cpp:1: "in vain"\n'),
            ("README.md", "It begins\nanew.\n", 'README.md:2: "anew"\n'),
            ("docs/store.md", "looked for in\nvain\n", 'docs/store.md:1: "in vain"\n'),
            ("base/Text.h", "/// It goes\n/// on.\n", 'base/Text.h:1: "goes on"\n'),
            ("base/Text.h", "// The disk is full, say, or gone.\n", 'base/Text.h:1: "say,"\n'),
        ):
            self.assertEqual(self.run_check(name, text), (1, found))

    def test_names_of_tests(self):
        for name, word in (("ThatStandsAlone", "Stands"), ("AFileIsNoStore", "Is No"), ("ReadIsNone", "Is None"),
                           ("OtherLinesAreNone", "Are None"), ("LaterOnesGoOn", "Go On"), ("BlocksNobody", "Nobody")):
            self.assertEqual(self.run_check("tests/base/Text_test.cpp", f"\nTEST_F(Text, {name}) {{\n"),
                             (1, f'tests/base/Text_test.cpp:2: "{word}"\n'))

    def test_other_words_and_files_pass(self):
        for name, text in (("base/Text.h", "// A new standard of retold stories; understands.\n"),
                           ("base/Text.h", "// What they say: more. auto nobody = 65534;\n"),
                           ("tests/base/Text_test.cpp", "TEST(Text, ANewWord) {\n"),
                           ("tests/base/Text_test.cpp", "TEST(Text, IsNotAStore) {\nTEST(Text, ReturnsNone) {\n"),
                           ("tests/base/Text_test.cpp", "TEST(Text, ThereIsNoStore) {\nTEST(Text, IsNoLongerRead) {\n"),
                           ("tests/base/bytes.txt", b"told \xff"), ("build/x.md", "told\n")):
            self.assertEqual(self.run_check(name, text), (0, ""))

    def test_usage(self):
        run = subprocess.run([sys.executable, str(CHECK), "--help"], capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stdout.startswith("Fails on")), (0, True))
        self.assertEqual(subprocess.run([sys.executable, str(CHECK), "a", "b"], capture_output=True).returncode, 2)


if __name__ == "__main__":
    unittest.main()
