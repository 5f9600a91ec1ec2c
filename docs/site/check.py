"""Checks the built site: links lead somewhere, nothing is loaded from elsewhere, and every public name has its place.

check.py HTML LIBRARY
"""

import html.parser
import pathlib
import re
import subprocess
import sys
import urllib.parse
import zlib

ROOT = pathlib.Path(__file__).resolve().parents[2]


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.ids, self.links, self.loaded = set(), set(), set()
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.ids.update(filter(None, (values.get("id"), values.get("name") if tag == "a" else None)))
        if tag == "a" and values.get("href"):
            self.links.add(values["href"])
        elif values.get("src") or tag == "link" and values.get("href"):
            self.loaded.add(values.get("src") or values["href"])


def broken_links(site):
    pages = {path: Page(path.read_text(encoding="utf-8")) for path in site.rglob("*.html")}
    for path, page in pages.items():
        for link in page.links | page.loaded:
            url = urllib.parse.urlsplit(link)
            if url.scheme or url.netloc:
                if link in page.loaded:
                    yield f"{path.relative_to(site)} loads {link}"
                continue
            target = (path.parent / urllib.parse.unquote(url.path)).resolve() if url.path else path
            anchor = urllib.parse.unquote(url.fragment)
            if not target.exists():
                yield f"{path.relative_to(site)}: there is no {link}"
            elif anchor and target in pages and anchor not in pages[target].ids:
                yield f"{path.relative_to(site)}: there is no place {link}"
    for path in site.rglob("*.css"):
        for url in re.findall(r"(?:@import\s+|url\()[\"']?((?:https?:)?//[^)\"';]+)", path.read_text(encoding="utf-8")):
            yield f"{path.relative_to(site)} loads {url}"


def documented(site):
    """The names in Sphinx's inventory."""
    data = (site / "objects.inv").read_bytes().split(b"\n", 4)[4]
    return {line.split(" ", 1)[0] for line in zlib.decompress(data).decode().splitlines()}


def public_names(library):
    """What the library exports, the enumerations of the headers, and what the modules of the package list."""
    exported = subprocess.run(["nm", "-DC", "--defined-only", library], stdout=subprocess.PIPE, text=True, check=True)
    for name in re.findall(r" [TW] ((?:\w+::)*~?\w+)(?:\(|@|$)", exported.stdout, re.MULTILINE):
        yield name
    types = (ROOT / "include/tarvixsdk/types.h").read_text(encoding="utf-8")
    yield from re.findall(r"^TARVIX_ENUM\((\w+), ", types, re.MULTILINE)
    yield from (f"{kind}::{member}" for kind, member in re.findall(r"TARVIX_MEMBER\((\w+), (\w+)\) =", types))
    for header in (ROOT / "include/tarvixsdk").iterdir():
        text = header.read_text(encoding="utf-8")
        yield from re.findall(r"^(?:typedef )?(?:struct|union|class TARVIX_API) (\w+) ", text, re.MULTILINE)
    sys.path.insert(0, str(ROOT / "python"))
    import tarvix.aio
    import tarvix.simulator
    import tarvix.smbus
    for module in (tarvix, tarvix.aio, tarvix.simulator, tarvix.smbus):
        for name in set(module.__all__) - {"Notification"}:  # a union of the others
            yield f"{getattr(module, name).__module__}.{name}"


def main(site, library):
    problems = sorted(set(broken_links(site)))
    names = documented(site)
    problems += [f"{name} is public and not in the reference" for name in sorted(set(public_names(library)) - names)]
    for problem in problems:
        print(f"check: {problem}", file=sys.stderr)
    sys.exit(bool(problems))


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]).resolve(), sys.argv[2])
