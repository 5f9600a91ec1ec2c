"""The scripts: each is in the table, and a mistaken argument changes nothing and names what would be right. The fault
matrix: each test that it names exists."""

import glob
import os
import re
import subprocess
import sys
import unittest

FOLDER = sys.argv.pop(1)


class Scripts(unittest.TestCase):
    def test_table_lists_every_script(self):
        with open(os.path.join(FOLDER, "README.md"), encoding="utf-8") as file:
            listed = re.findall(r"^\| `([\w-]+)` \|", file.read(), re.MULTILINE)
        self.assertEqual(sorted([*listed, "README.md"]), sorted(os.listdir(FOLDER)))

    def test_fault_matrix_names_tests_that_exist(self):
        project = os.path.dirname(FOLDER)

        def read(path):
            with open(os.path.join(project, path), encoding="utf-8") as file:
                return file.read()

        sources = " ".join(read(path) for path in glob.glob("tests/**/*.cpp", root_dir=project, recursive=True))
        known = {".".join(names) for names in re.findall(r"\bTEST(?:_[FP])?\((\w+),\s*(\w+)\)", sources)}
        known |= set(re.findall(r'\bScenario \w+\("([\w-]+)"', sources))
        known |= {"simulator.strict." + word for word in re.findall(r"\w+", read("tests/simulator/CMakeLists.txt"))}
        for tests in re.findall(r"^\| .* \| (.*) \|$", read("docs/reliability.md"), re.MULTILINE):
            names = set(re.findall(r"`([^`]+)`", tests))
            self.assertTrue(names or tests in ("Tests", "the same"), tests)
            self.assertFalse(names - known)

    def test_unknown_arguments_are_refused(self):
        for command in ("fresh woody", "fresh script/test", "arm64 woody", "e2e --release woody", "e2e --release",
                        "debian-sources ../trixie", "test ubsan", "format --fixx", "soak --preset ubsan",
                        "soak --lather"):
            with self.subTest(command=command):
                script, *arguments = command.split()
                result = subprocess.run([os.path.join(FOLDER, script), *arguments], capture_output=True, text=True,
                                        timeout=60, check=False)
                named = "" if command.endswith("--release") else arguments[-1]
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertRegex(result.stderr, f"^[a-z0-9-]+: unknown (release|preset|option) '{re.escape(named)}'; "
                                                "it must be [^\n]+ or [a-z-]+\n$")


if __name__ == "__main__":
    unittest.main()
