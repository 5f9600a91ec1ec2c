"""Gathers the pages of the site in a folder for Sphinx: the guides as they are, and what is made from the code.

generate.py BUILD TARVIX TARVIX-SIM writes BUILD/source.
"""

import pathlib
import re
import shutil
import sys

import api
import frames
import programs

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = ["README.md", "CHANGELOG.md", "CONTRIBUTING.md", "SECURITY.md", "script/README.md"]
LANGUAGES = {".c": "c", ".cpp": "cpp", ".hpp": "cpp", ".py": "python", ".sh": "bash", ".json": "json", ".yaml": "yaml", ".txt": "cmake"}


def header_page(path):
    """The page of a public header, if the path is one or their folder."""
    if path == ROOT / "include/tarvixsdk":
        return "reference/index.md"
    if path.parent == ROOT / "include/tarvixsdk":
        return f"reference/{path.name.replace('.', '_')}.rst"
    return None


def write_file_page(path, source, listed=False):
    """A page that shows a file of the repository, or lists those of a folder."""
    name = path.relative_to(ROOT).as_posix()
    page = source / "files" / f"{name}.rst"
    if page.exists():
        return
    page.parent.mkdir(parents=True, exist_ok=True)
    lines = [name, "=" * len(name), ""]
    if path.is_dir():
        members = sorted(member for member in path.iterdir()
                         if member.suffix in LANGUAGES and member.name != "CMakeLists.txt" or member.is_dir() and member.name[0] not in "._")
        lines += [".. toctree::", "   :maxdepth: 1", ""]
        lines += [f"   {path.name}/{member.name}" for member in members]
        page.write_text("\n".join(lines) + "\n", encoding="utf-8")
        for member in members:
            write_file_page(member, source, listed=True)
        return
    shutil.copy(path, page.parent)
    lines += [f":download:`Download <{path.name}>`", "",
              f".. literalinclude:: {path.name}", f"   :language: {LANGUAGES.get(path.suffix, 'text')}", ""]
    page.write_text(("" if listed else ":orphan:\n\n") + "\n".join(lines), encoding="utf-8")


def write_guide(name, source):
    """A Markdown page as it is. Links to files that are no pages lead to what the site has in their place."""
    def rewrite(match):
        target, _, anchor = match[2].partition("#")
        path = (ROOT / name).parent.joinpath(target).resolve()
        if match[1] == match[2] and target.endswith(".md"):
            return f"[]({target})"  # Sphinx puts the title there
        if not target or "://" in target or target.endswith(".md") or target.startswith("images/"):
            return match[0]
        if not path.exists():
            raise SystemExit(f"{name}: there is no {target}")
        up = "../" * name.count("/")
        page = header_page(path)
        if page:
            return f"[{match[1]}]({up}{page})"
        if path.is_dir() and not path.is_relative_to(ROOT / "examples"):
            return match[1]  # folders of the sources are not shown
        write_file_page(path, source)
        return f"[{match[1]}]({up}files/{path.relative_to(ROOT).as_posix()}.rst)"

    text = (ROOT / name).read_text(encoding="utf-8")
    parts = re.split(r"(^```.*?^```$)", text, flags=re.MULTILINE | re.DOTALL)
    parts[::2] = [re.sub(r"\[([^\]]+)\]\(([^)\s]+)\)", rewrite, part) for part in parts[::2]]
    (source / name).parent.mkdir(parents=True, exist_ok=True)
    (source / name).write_text("".join(parts), encoding="utf-8")


def main(build, tarvix, simulator):
    source = build / "source"
    shutil.rmtree(source, ignore_errors=True)
    shutil.copytree(ROOT / "docs/site/pages", source)
    shutil.copytree(ROOT / "docs/images", source / "docs/images")
    for name in ("examples", "python/examples"):
        write_file_page(ROOT / name, source)
    write_file_page(ROOT / "simulator/board/board.schema.json", source)
    for name in [*PAGES, *(f"docs/{path.name}" for path in sorted((ROOT / "docs").glob("*.md")))]:
        write_guide(name, source)
    api.write_pages(build, source)
    programs.write_pages([tarvix, simulator], source)
    frames.write_pages(ROOT / "docs/wire-protocol.json", source)


if __name__ == "__main__":
    main(*map(lambda argument: pathlib.Path(argument).absolute(), sys.argv[1:]))
