"""Pages of the public headers, from Doxygen's XML: a page a header, in the header's order, for Sphinx's C++ domain.

Not breathe: it gives a class of a hundred methods no sections, and declares each record of C twice.
"""

import pathlib
import re
import subprocess
import xml.etree.ElementTree as ET

ROOT = pathlib.Path(__file__).resolve().parents[2]
TITLES = {
    "sdk.hpp": "Blocking commands: TarvixSDK",
    "async_sdk.hpp": "Commands without waiting: TarvixAsyncSDK",
    "flat.h": "C and other languages: flat functions",
    "adapters.hpp": "Finding and opening adapters",
    "types.h": "Enumerations and records",
}
SETTINGS = """
INPUT = include/tarvixsdk
STRIP_FROM_PATH = include
GENERATE_HTML = NO
GENERATE_LATEX = NO
GENERATE_XML = YES
XML_PROGRAMLISTING = NO
QUIET = YES
WARN_AS_ERROR = FAIL_ON_WARNINGS
# A parameter whose name and type say everything has no words of its own.
WARN_IF_INCOMPLETE_DOC = NO
MACRO_EXPANSION = YES
PREDEFINED = __cplusplus=201703L TARVIX_API= "TARVIX_ENUM(name,type)=enum class name : type" \
    "TARVIX_MEMBER(name,member)=member" TARVIX_SLOT=
"""


def escaped(text):
    return re.sub(r"([\\*`|_])", r"\\\1", re.sub(r"\s+", " ", text))


def inline(node):
    """Words with their markup, up to what is a block of its own."""
    parts = [escaped(node.text or "")]
    for child in node:
        if child.tag in ("computeroutput", "ref"):
            parts.append(f"\\ ``{''.join(child.itertext())}``\\ ")
        elif child.tag in ("bold", "emphasis"):
            mark = "**" if child.tag == "bold" else "*"
            parts.append(f"\\ {mark}{escaped(''.join(child.itertext()))}{mark}\\ ")
        elif child.tag == "ndash":
            parts.append("–")
        else:
            raise ValueError(f"a comment has <{child.tag}>, which api.py does not know")
        parts.append(escaped(child.tail or ""))
    return "".join(parts).strip()


BLOCKS = {"itemizedlist", "orderedlist", "parameterlist", "simplesect"}
FIELDS = {"param": "param", "exception": "throws", "return": "returns"}


def indented(lines, prefix):
    return [prefix + lines[0], *(" " * len(prefix) + line if line else "" for line in lines[1:])] if lines else []


def block(node):
    """Lines of a list or of the fields of a function."""
    lines = []
    if node.tag.endswith("list") and node.tag != "parameterlist":
        for item in node:
            lines += indented(text(item), "#. " if node.tag == "orderedlist" else "- ") + [""]
    elif node.tag == "parameterlist":
        for item in node:
            for name in item.iter("parametername"):
                field = f":{FIELDS[node.get('kind')]} {''.join(name.itertext())}: "
                lines += indented(text(item.find("parameterdescription")), field)
    else:
        lines += indented(text(node), f":{FIELDS[node.get('kind')]}: ")
    return lines


def text(node):
    """Lines of a comment: a description, an item of a list, what a field says."""
    lines = []
    for para in node.findall("para") if node is not None else ():
        run = ET.Element("para")  # what comes before the next block
        run.text = para.text
        fields = False
        for child in [*para, None]:
            if child is not None and child.tag not in BLOCKS:
                run.append(child)
                continue
            words = inline(run)
            if words:
                lines += [words, ""]
            if child is not None:
                fields = child.tag in ("parameterlist", "simplesect")
                lines += block(child)
                run = ET.Element("para")
                run.text = child.tail
        lines += [""] if fields else []
    while lines and not lines[-1]:
        lines.pop()
    return lines


def comment(node):
    # A short one behind a member counts as brief.
    return text(node.find("briefdescription")) + text(node.find("detaileddescription"))


def heading(title, mark):
    return [title, mark * len(title), ""]


def directive(name, signature, lines):
    # The list beside the page has the sections: with all names it would have no end.
    return [f".. cpp:{name}:: {signature}", "   :nocontentsentry:", "",
            *("   " + line if line else "" for line in lines), ""]


def line_of(node):
    return int(node.find("location").get("line"))


def public(node):
    deleted = "=delete" in node.findtext("argsstring", "")
    return node.get("prot") == "public" and node.get("kind") != "friend" and not deleted


def record(node):
    """A structure or union: its members below it."""
    name = node.findtext("compoundname")
    lines = comment(node) + [""]
    for member in sorted(filter(public, node.iter("memberdef")), key=line_of):
        lines += declaration(member)
    return directive("union" if node.get("kind") == "union" else "struct", name.rpartition("::")[2], lines)


def declaration(member):
    kind, name, lines = member.get("kind"), member.findtext("name"), comment(member)
    if kind == "enum":
        if name.startswith("@") or not name:  # numbers of C
            return [line for value in member.iter("enumvalue") for line in
                    directive("enumerator", value.findtext("name") + " " + value.findtext("initializer"), comment(value))]
        values = [value.findtext("name") for value in member.iter("enumvalue")]
        lines += ["", "In C: " + ", ".join(f"``{name}_{value}``" for value in values) + ".", ""]
        for value in member.iter("enumvalue"):
            lines += directive("enumerator", f"{value.findtext('name')} {value.findtext('initializer')}", comment(value))
        return directive("enum-class", f"{name} : {member.findtext('type')}", lines)
    if kind == "define":
        return directive("var", f"const char {name}[]", lines)
    # Doxygen says TarvixSDK::i2cRead; the section has said TarvixSDK before.
    arguments = member.findtext("argsstring")
    before = member.findtext("definition").removesuffix(arguments if kind == "variable" else "")
    before = before.removesuffix(member.findtext("qualifiedname") or name)
    if kind == "typedef":
        if "(*" in member.findtext("definition"):  # a pointer to a function
            return directive("type", member.findtext("definition").removeprefix("typedef "), lines)
        target = "".join(member.find("type").itertext())
        if target == f"struct {name}":
            return directive("struct", name, lines)
        return directive("type", f"{name} = {target}", lines)
    if kind == "variable":
        if "@" in before or "{" in before:  # a structure without a name
            return directive("member", f"struct bits {name}", lines)
        width = member.findtext("bitfield")
        return directive("member", before + name + arguments + (f" : {width}" if width else ""), lines)
    explicit = "explicit " if member.get("explicit") == "yes" else ""
    return directive("function", explicit + before + name + arguments, lines)


def scoped(node, sections, records):
    """What a header or a class declares, in its order. A section begins where its first member stands."""
    items = []
    for section in node.findall("sectiondef"):
        members = sorted(filter(public, section.findall("memberdef")), key=line_of)
        if section.findtext("header"):
            first = heading(section.findtext("header"), "-") + text(section.find("description")) + [""]
            items += [(line_of(members[0]), first)] if members else []
        items += [(line_of(member), declaration(member)) for member in members
                  if member.get("kind") != "typedef" or member.findtext("name") not in records]
    return sorted(items + sections, key=lambda item: item[0])


def page(header, compounds):
    root = compounds[header]
    inner = [compounds[child.text] for child in root.findall("innerclass")]
    nested = lambda name: [(line_of(node), record(node)) for node in inner
                           if node.findtext("compoundname").startswith(name + "::")]
    sections = []
    for node in inner:
        name = node.findtext("compoundname")
        if node.get("kind") == "class":
            body = directive("class", name, comment(node)) + [f".. cpp:namespace-push:: {name}", ""]
            for _, lines in scoped(node, nested(name), compounds):
                body += lines
            sections.append((line_of(node), body + [".. cpp:namespace-pop::", ""]))
        elif "::" not in name:
            sections.append((line_of(node), record(node)))
    # Parts of a header are marked so: /* ---- GPIO ---- */
    source = (ROOT / "include/tarvixsdk" / header).read_text(encoding="utf-8")
    for number, line in enumerate(source.splitlines()):
        part = re.fullmatch(r"/\* -+ (.*?) -+ \*/", line)
        sections += [(number, heading(part[1], "-"))] if part else []
    lines = heading(TITLES[header], "=") + [f"``#include <tarvixsdk/{header}>``", ""] + comment(root) + [""]
    for _, more in scoped(root, sections, compounds):
        lines += more
    return "\n".join(lines)


def write_pages(build, source):
    """Runs Doxygen over the headers, and writes the pages to reference/."""
    output = build / "doxygen"
    output.mkdir(parents=True, exist_ok=True)
    subprocess.run(["doxygen", "-"], input=f"{SETTINGS}\nOUTPUT_DIRECTORY = {output}\n", text=True, check=True)
    compounds = {}
    for file in (output / "xml").glob("*.xml"):
        for node in ET.parse(file).getroot().findall("compounddef"):
            compounds[node.findtext("compoundname")] = node
    for header in TITLES:
        (source / "reference" / f"{header.replace('.', '_')}.rst").write_text(page(header, compounds), encoding="utf-8")
