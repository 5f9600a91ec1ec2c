"""Choosing an adapter: every selector that is printed is accepted and opens exactly that adapter."""

from tool import TARVIX, Case, attached, objects, run, shell, tarvix


class Adapters(Case):
    def test_printed_selectors(self):
        for path, serials, expected in (
            ("/p", ["A"], ["A"]),
            ("/p", ["A", "B", "A"], ["path:/p0", "B", "path:/p2"]),
            ("/p", ["", "az.AZ_09:-"], ["path:/p0", "az.AZ_09:-"]),
            ("/p", ["index:1", "path:p0", "-a", "two words", "tab\x07"], [f"path:/p{i}" for i in range(5)]),
            # What a shell would split, change or run.
            ("/p", list("$`;&|<>(){}[]*?!~#'\"\\/="), [f"path:/p{i}" for i in range(23)]),
            ("/my $(p)", ["A", "B", "A"], ["index:0", "B", "index:2"]),
        ):
            with self.subTest(serials=serials):
                environment = attached(*((f"{path}{i}", serial) for i, serial in enumerate(serials)))
                rows = objects(run([TARVIX, "list", "--json"], env=environment).stdout)[0]["adapters"]
                self.assertEqual([row["selector"] for row in rows], expected)
                self.assertEqual([row["serial"] for row in rows], serials)
                for row in rows:
                    # The message tells which one was tried.
                    opened = run([TARVIX, "-a", row["selector"], "info"], env=environment).stderr
                    self.assertEqual(opened.split(":")[1].split(";")[0], f" cannot open {row['path']}")

    def test_choice(self):
        for serials, selector, status, text in (
            *(("AB", selector, 1, "cannot open /p1") for selector in ("B", "index:1", "path:/p1")),
            ("AA", "A", 4, "2 adapters have the serial number 'A'; choose one with --adapter: path:/p0, path:/p1"),
            ("AB", "C", 3, "no adapter matches 'C'; choose one of: A, B"),
            ("AB", "index:2", 3, "no adapter matches 'index:2'"),
            ("AB", "path:/p", 3, "no adapter matches 'path:/p'"),
        ):
            environment = attached(*((f"/p{i}", serial) for i, serial in enumerate(serials)))
            for arguments, variables in ((["-a", selector], {}), ([], {"TARVIX_ADAPTER": selector})):
                with self.subTest(selector=selector, arguments=arguments):
                    result = run([TARVIX, "info", *arguments], env={**environment, **variables})
                    self.assertEqual(result.returncode, status)
                    self.assertIn(text, result.stderr)

    def test_list_prints_nothing_that_controls_a_terminal(self):
        table = [("/p\x1b[2J", "S\x1b]0;x\x07\x7f"), ("/q", "\u009b\u202e\u2066\u0416")]
        listed = run([TARVIX, "list"], env=attached(*table)).stdout
        self.assertIn("index:0   S.]0;x..", listed)
        self.assertIn("path:/q   ...\u0416", listed)
        self.assertNotRegex(listed, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u202e\u2066]")
        escaped = run([TARVIX, "list", "--json"], env=attached(*table)).stdout
        self.assertTrue(escaped.isascii())
        self.assertEqual([row["serial"] for row in objects(escaped)[0]["adapters"]], [serial for _, serial in table])

    def test_list(self):
        self.assertRegex(tarvix("list", sim=["--report-size", "1024"]).stdout,
                         r"^SELECTOR    SERIAL      PRODUCT                 REPORT  PORT  ACCESS  USED BY  PATH\n"
                         r"TVX0000001  TVX0000001  Tarvix Virtual Adapter    1024  -     yes     -        \S+\n$")
        self.assertEqual(run([TARVIX, "list"], env=attached(("/p", "A"))).stdout,
                         "SELECTOR  SERIAL  PRODUCT  REPORT  PORT  ACCESS  USED BY  PATH\n"
                         "A         A                    64  -     no      -        /p\n")
        nothing = shell("tarvix-sim trigger unplug; tarvix list; tarvix list --json")
        self.assertEqual(nothing.stderr, "tarvix list: no adapter is attached; run 'tarvix doctor'\n")
        self.assertEqual(objects(nothing.stdout), [{"adapters": []}])

    def test_list_names_who_uses_an_adapter(self):
        used = shell("tarvix monitor --banner 2>&1 | { read; tarvix list; tarvix list --json; }").stdout.splitlines()
        self.assertRegex(used[1], r"  yes     tarvix \(process \d+\)  /")
        ((adapter,),) = [fields["adapters"] for fields in objects(used[2])]
        self.assertEqual([user["program"] for user in adapter["used_by"]], ["tarvix"])
        self.assertIn(f"process {adapter['used_by'][0]['process']})", used[1])

    def test_watching_the_list(self):
        result = shell("coproc tarvix list --watch -n 3; from=${COPROC[0]}; read -ru $from line; echo $line;"
                       "for event in unplug replug; do tarvix-sim trigger $event; read -ru $from line; echo $line; done;"
                       "tarvix list --watch --json --idle-timeout 1")
        *lines, last = result.stdout.splitlines()
        self.assertEqual([line.split()[1:4] for line in lines],
                         [[event, "TVX0000001", "at"] for event in ("attached", "detached", "attached")], result.stderr)
        self.assertEqual((objects(last)[0]["event"], objects(last)[0]["serial"]), ("attached", "TVX0000001"))
        self.fails(shell("tarvix-sim trigger unplug; tarvix list -w -n 1 --idle-timeout 1"), 6, "0 of 1 events came")
