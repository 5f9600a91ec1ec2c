"""The tool's rooms: who includes whom, read from the sources."""

import graphlib
import pathlib
import re
import unittest

from tool import SOURCE

CLI = SOURCE / "cli"
ROOMS = ["console", "arguments", "adapter", "commands"]  # from the lowest; the program itself is above them


def rank(file):
    return ROOMS.index(file.parts[0]) if len(file.parts) > 1 else len(ROOMS)


class Rooms(unittest.TestCase):
    def test_includes(self):
        graph, parsers = {}, set()
        for file in (path.relative_to(CLI) for path in sorted(CLI.rglob("*.[ch]pp"))):
            included = re.findall(r'^#include (["<])(.*)[">]', (CLI / file).read_text(encoding="utf-8"), re.MULTILINE)
            own = [pathlib.Path(name) for quote, name in included if quote == '"' and not name.startswith(("tarvixsdk/", "common/"))]
            graph[file] = [other for other in own if other.suffix == ".hpp"]
            if any(name.startswith("CLI/") for _, name in included):
                parsers.add(str(file))
            for other in own:
                with self.subTest(file=str(file), includes=str(other)):
                    self.assertTrue((CLI / other).is_file(), "an include carries its folder")
                    self.assertLessEqual(rank(other), rank(file), "no room includes from a higher one")
        self.assertGreater(len(graph), 40)
        graphlib.TopologicalSorter(graph).prepare()  # raises CycleError
        # The parser's headers cost seconds in every unit.
        self.assertEqual(parsers, {"arguments/options.cpp", "command_line.cpp"})
