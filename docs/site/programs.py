"""Pages of the programs, from their own --help: a page a command, with its sub-commands below it."""

import re
import subprocess


def help_of(program, command):
    result = subprocess.run([program, *command, "--help"], stdout=subprocess.PIPE, text=True, check=True)
    return result.stdout


def entries(body):
    """The rows of a table of the help: what is described, and the words."""
    for row in re.split(r"\n(?=  \S)", body):
        name, _, words = row.strip().partition("  ")
        if "\n" in name:  # a name too long for its column
            name, _, words = row.strip().partition("\n")
        yield name, " ".join(words.split())


def options(body):
    for names, words in entries(body):
        default = re.search(r" \[([^$\]]+)\]", names)
        names = re.sub(r" \[[^\]]+\]", "", names).replace(",-", ", -")
        variable = re.search(r"\[\$(\w+)\]", body)
        words += f". Default: {default[1]}" if default else ""
        words += f". Or in the environment: {variable[1]}" if variable and names.startswith("-a") else ""
        yield f".. option:: {names}"
        yield ""
        yield "   " + re.sub(r"([\\*`|])", r"\\\1", words)
        yield ""


def literal(body, language):
    return [f".. code-block:: {language}", "", *("   " + line for line in body.splitlines()), ""]


def names_of(body):
    return [name for name, _ in entries(body)]


def section(name, program, command, level):
    """Lines of a command and of all below it."""
    words = " ".join([name, *command])
    lines = [f".. _{words.replace(' ', '-')}:", "", words, "=-^~"[level] * len(words), "", f".. program:: {words}", ""]
    subcommands = []
    for part in help_of(program, command).strip("\n").split("\n\n"):
        head, _, body = part.partition("\n")
        if body.startswith("Usage:"):
            lines += [head + ("" if head.endswith(".") else "."), "", *literal(body.removeprefix("Usage: "), "text")]
        elif head == "Options:":
            lines += options(body)
        elif head == "Positionals:":
            for what, meaning in entries(body):
                lines += [f"``{what}``", "   " + re.sub(r"([\\*`|])", r"\\\1", meaning), ""]
        elif head == "Subcommands:":
            subcommands = names_of(body)
            for what, meaning in entries(body):
                target = "-".join([name, *command, what])
                lines += [f":ref:`{what} <{target}>`", "   " + re.sub(r"([\\*`|])", r"\\\1", meaning), ""]
        elif head.startswith("Examples"):
            rows = re.sub(r"^  ", "", body, flags=re.MULTILINE)
            lines += [head, "", *literal(rows, "text")]
        else:
            lines += literal(part, "text")
    return lines, subcommands


def tree(name, program, command, level):
    lines, subcommands = section(name, program, command, level)
    for subcommand in subcommands:
        lines += tree(name, program, (*command, subcommand), level + 1)
    return lines


def write_pages(programs, source):
    for program in programs:
        folder = source / "reference" / program.name
        folder.mkdir(parents=True)
        lines, commands = section(program.name, program, (), 0)
        lines += [".. toctree::", "   :hidden:", "", *(f"   {command}" for command in commands)]
        (folder / "index.rst").write_text("\n".join(lines) + "\n", encoding="utf-8")
        for command in commands:
            text = "\n".join(tree(program.name, program, (command,), 0)) + "\n"
            (folder / f"{command}.rst").write_text(text, encoding="utf-8")
