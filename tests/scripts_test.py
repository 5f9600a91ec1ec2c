"""The scripts: each is in the table, and a mistaken argument changes nothing and names what would be right. The fault
matrix: each test that it names exists."""

import glob
import os
import re
import subprocess
import sys
import unittest
from importlib import machinery, util

FOLDER = sys.argv.pop(1)


def run(script, *arguments):
    return subprocess.run([os.path.join(FOLDER, script), *arguments], capture_output=True, text=True, timeout=60,
                          check=False)


def module(script):
    loader = machinery.SourceFileLoader(script, os.path.join(FOLDER, script))
    loaded = util.module_from_spec(util.spec_from_loader(script, loader))
    loader.exec_module(loaded)
    return loaded


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

    def test_packages_have_the_version_of_the_library(self):
        with open(os.path.join(FOLDER, "../include/tarvixsdk/types.h"), encoding="utf-8") as header, \
                open(os.path.join(FOLDER, "../debian/changelog"), encoding="utf-8") as changelog:
            version = re.search(r'TARVIXSDK_VERSION "(.*)"', header.read())[1]
            self.assertIn(f"tarvixsdk ({version}) ", changelog.readline())

    def test_unknown_arguments_are_refused(self):
        for command in ("fresh woody", "fresh script/test", "arm64 woody", "e2e --release woody", "e2e --release",
                        "debian-sources ../trixie", "abi --updat", "test ubsan", "format --fixx", "soak --preset ubsan",
                        "soak --lather", "bench --briefly", "fuzz wires", "fuzz --tim", "coverage nowhere", "wheel nowhere",
                        "package --thrice"):
            with self.subTest(command=command):
                script, *arguments = command.split()
                result = run(script, *arguments)
                named = "" if command.endswith("--release") else arguments[-1]
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertRegex(result.stderr, "^[a-z0-9-]+: unknown (release|preset|option|target|folder) "
                                                f"'{re.escape(named)}'; it must be [^\n]+ or [a-z-]+\n$")

    def test_performance_page_shows_what_was_recorded_and_a_fall_is_named(self):
        bench = module("bench")
        self.assertIn(bench.page_of(bench.recorded()), bench.PAGE.read_text(encoding="utf-8"))
        figures = bench.recorded()["figures"]
        self.assertLessEqual(set(figures), set(bench.ROWS))
        self.assertEqual(bench.failures(figures), [])
        ours, floor = figures["cut/64"]
        figures.update({"cut/64": [2 * ours, floor], "join/fido": [2 * ours, floor]})
        self.assertEqual(bench.failures(figures),
                         [f"65,535 bytes cut into reports of 64: {2 * ours / floor:.2f} of loop by hand, "
                          f"recorded {ours / floor:.2f}"])

    def test_mutate_changes_code_and_nothing_else(self):
        mutate = module("mutate")
        source = """\
#include <array> // a < b
/* 1 + 1 */
static_assert(A ==
              1);
    use("a && 2", 'b', 0x0F);
    if (x.y(")") < 65'535U) {
    swap(a, b);
    std::vector<T> f(T&& t);
"""
        found = {(line, operator, after.strip()) for line, changes in mutate.faults_in(source)
                 for operator, after in changes}
        self.assertEqual(found, {
            (5, "constant", """use("a && 2", 'b', 0x10);"""), (5, "constant", """use("a && 2", 'b', 0x0E);"""),
            (5, "removal", ""),
            (6, "comparison", """if (x.y(")") <= 65'535U) {"""), (6, "comparison", """if (x.y(")") >= 65'535U) {"""),
            (6, "constant", """if (x.y(")") < 65536U) {"""), (6, "constant", """if (x.y(")") < 65534U) {"""),
            (6, "negation", """if (!(x.y(")") < 65'535U)) {"""),
            (7, "arguments", "swap(b, a);"), (7, "removal", "")})
        listed = run("mutate", "--only", "src/transport/frame_link.cpp", "--count", "2", "--list").stdout
        self.assertEqual(listed.count("src/transport/frame_link.cpp:"), 2, listed)
        refused = run("mutate", "--area", "docs")
        self.assertEqual((refused.returncode, refused.stderr),
                         (2, "mutate: unknown area 'docs'; it must be library, simulator or cli\n"))


if __name__ == "__main__":
    unittest.main()
