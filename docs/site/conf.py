"""Sphinx's settings for the site; script/docs builds it."""

import os
import pathlib
import re
import sys

from docutils import nodes
from sphinx.domains.cpp import CPPDomain
from sphinx.util.nodes import make_refnode

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "python"))

project = "Tarvix SDK"
version = release = re.search(r'define TARVIXSDK_VERSION "(.*)"', (ROOT / "include/tarvixsdk/types.h").read_text())[1]
extensions = ["myst_parser", "sphinx.ext.autodoc"]
nitpicky = True
# The standard libraries' names have no page here.
nitpick_ignore_regex = [("cpp:identifier", r"(std(::\w+)?|u?int\d+_t|size_t|string|vector|function|optional)"),
                        ("py:.*", r"(?!tarvix).*"), ("py:.*", r"tarvix\.(_.*|\w+\.T)")]
myst_enable_extensions = ["colon_fence"]
myst_heading_anchors = 4
default_role = "literal"
highlight_language = "text"
toc_object_entries = True
toc_object_entries_show_parents = "hide"

autodoc_member_order = "bysource"
autodoc_typehints_format = "short"
autodoc_default_options = {"members": True, "undoc-members": True}
add_module_names = False

html_theme = "furo"
html_title = f"Tarvix SDK {version}"
html_static_path = ["static"]
html_css_files = ["style.css"]
html_show_sphinx = html_show_copyright = False
html_copy_source = False
pygments_style, pygments_dark_style = "tango", "monokai"


def link_names(app, document, page):
    """Names of the API in `code` lead to where they are described; in the reference, short ones do, too."""
    names = {}
    for domain in ("cpp", "py"):
        for full, _, kind, target, anchor, _ in app.env.get_domain(domain).get_objects():
            names.setdefault(full, (target, anchor))
            if full.count(".") == 2 and kind != "module":
                names.setdefault("tarvix." + full.rpartition(".")[2], (target, anchor))  # where users find most of it
            if kind in ("functionParam", "member", "attribute", "property") or not page.startswith("reference/"):
                continue  # too short a name to be told from a parameter
            separator = "::" if domain == "cpp" else "."
            parts = full.split(separator)
            if (domain == "py") == page.startswith("reference/python"):
                for first in range(1, len(parts)):
                    names.setdefault(separator.join(parts[first:]), (target, anchor))
    for node in list(document.findall(nodes.literal)):
        name = node.astext().removesuffix("()")
        if isinstance(node.parent, nodes.reference):
            continue
        if name in names:
            target, anchor = names[name]
            if (page, anchor) != (target, ""):
                node.replace_self(make_refnode(app.builder, page, target, anchor, node.deepcopy()))
        elif re.fullmatch(r"Tarvix(Async)?SDK(::|_)\w+", name) and not name.endswith("_"):
            raise ValueError(f"{page}: there is no {name}")


def without_parameters(self, get_objects=CPPDomain.get_objects):
    """Or else a search for a function finds it once for each of its parameters."""
    return (thing for thing in get_objects(self) if thing[2] != "functionParam")


CPPDomain.get_objects = without_parameters


def hide_internals(app, what, name, thing, options, signature, returns):
    """Nobody but the package makes the objects that hang from an adapter."""
    if what == "class" and re.search("Session|Dispatcher|_Worker", signature or ""):
        return "", returns
    return None


def mend_theme(app, error):
    """Debian's furo stays light on a dark desktop, and its script does not start from a file.

    That of Debian 12 also wants a style sheet from a web server.
    """
    static = pathlib.Path(app.outdir) / "_static"
    styles, script = static / "styles/furo.css", static / "scripts/furo.js"
    if error or not styles.exists():
        return
    css = re.sub(r"@import url\((/javascript/.*?)\);", lambda match: pathlib.Path("/usr/share" + match[1]).read_text(),
                 styles.read_text())
    dark = re.search(r'body\[data-theme="dark"\] \{(.*?)\}', css, re.DOTALL)[1]
    styles.write_text(css + f'@media (prefers-color-scheme: dark) {{ body[data-theme="auto"] {{ {dark} }} }}\n')
    module = (script.parent / "gumshoe-patched.js").read_text()
    script.write_text(re.sub(r"^import .*;$", lambda _: module, script.read_text(), count=1, flags=re.MULTILINE))
    for page in pathlib.Path(app.outdir).rglob("*.html"):
        page.write_text(page.read_text().replace('<script type="module" ', "<script "))


def setup(app):
    app.connect("build-finished", mend_theme)
    app.connect("autodoc-process-signature", hide_internals)
    app.connect("doctree-resolved", link_names)
