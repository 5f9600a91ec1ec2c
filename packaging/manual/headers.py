"""Reads the public headers: functions, methods, types and what their comments say."""

import dataclasses
import re


class Trouble(Exception):
    """A message for whoever changed a header."""


@dataclasses.dataclass
class Comment:
    text: str = ""
    params: dict = dataclasses.field(default_factory=dict)
    returns: str = ""


@dataclasses.dataclass
class Function:
    name: str
    returns: str
    params: list  # (type, name)
    comment: Comment
    group: str = ""


@dataclasses.dataclass
class Type:
    name: str
    kind: str  # enumeration, flags, record or callback
    comment: str
    members: list  # (declaration or member, value, what it is)


def lines_of(comment):
    """A comment's text without its stars; the indentation that is left tells lists."""
    return "\n".join(re.sub(r"^ *\* ?", "", line).rstrip() for line in comment.strip().split("\n"))


def comment_of(raw):
    text, *tags = re.split(r"(?:^|(?<=\s))@(param|return|throws)\b", lines_of(raw))
    comment = Comment(text.strip())
    for tag, body in zip(tags[::2], tags[1::2]):
        words = " ".join(body.split())
        if tag == "return":
            comment.returns = words
        elif tag == "param":
            names, _, what = words.partition(" ")
            comment.params.update(dict.fromkeys(names.split(","), what))
    return comment


def signature_of(declaration):
    """("StatusCode", "TarvixSDK_X", [("uint8_t*", "data")])"""
    found = re.fullmatch(r"(.*?)(\w+)\((.*)\)", " ".join(declaration.split()))
    pairs = [re.fullmatch(r"(.*?) ?(\w+)", each).groups() for each in found[3].split(", ") if found[3] != "void"]
    return found[1].strip(), found[2], pairs


def functions_of(header):
    """The functions of flat.h in their order, and {group: what is said of it}."""
    functions, groups, group, comment = [], {}, "", ""
    for found in re.finditer(r"/\*\*(?!<)(?P<comment>.*?)\*/|^TARVIX_API (?P<declaration>[^;]*);", header, re.S | re.M):
        if found["declaration"] is not None:
            returns, name, params = signature_of(found["declaration"])
            functions.append(Function(name, returns, params, comment_of(comment), group))
            comment = ""
        elif "@name" in found["comment"]:
            group, _, text = lines_of(found["comment"]).strip().removeprefix("@name ").partition("\n")
            groups[group] = text.strip()
        elif found["comment"] == "@}":
            group = ""
        else:
            comment = found["comment"]
    return functions, groups


def methods_of(header):
    """{name: comment} of the methods and functions of a C++ header, and {group: what is said of it}."""
    declaration = r"/\*\*((?:(?!\*/).)*)\*/\s*(?:TARVIX_API |static |explicit )*[\w:&<>* ]*?\b(\w+)\([^;]*?\)(?: const)?;"
    methods = {name: comment_of(raw) for raw, name in re.findall(declaration, header, re.S)}
    groups = {}
    for raw in re.findall(r"/\*\*((?:(?!\*/).)*@name(?:(?!\*/).)*)\*/", header, re.S):
        name, _, text = lines_of(raw).strip().removeprefix("@name ").partition("\n")
        groups[name] = text.strip()
    return methods, groups


def words_of(raw):
    return " ".join(lines_of(raw or "").split())


def types_of(header):
    """What a header of C declares, in its order, as {name: Type}; a set of flags goes by its first one."""
    found = {}
    before = r"/\*\*((?:(?!\*/).)*)\*/\s*"
    behind = r"(?:[ \t]*/\*\*<(.*?)\*/)?"
    for raw, name, body in re.findall(before + r"TARVIX_ENUM\((\w+), \w+\)\{(.*?)\n\};", header, re.S):
        members = re.findall(r"(?:/\*\*(?!<)((?:(?!\*/).)*)\*/\s*)?TARVIX_MEMBER\(\w+, (\w+)\) = (\w+)," + behind, body, re.S)
        found[name] = Type(name, "enumeration", lines_of(raw), [(f"{name}_{member}", value, words_of(above or after))
                                                                for above, member, value, after in members])
    for raw, body in re.findall(before + r"enum \{\n(.*?)\n\};", header, re.S):
        members = [(name, value, words_of(what)) for name, value, what in re.findall(r"(\w+) = (\w+),?" + behind, body)]
        found[members[0][0]] = Type(members[0][0], "flags", lines_of(raw), members)
    for raw, name, body in re.findall(before + r"(?:typedef )?struct (\w+) \{(.*?)\n\}(?: \2)?;", header, re.S):
        fields = body.split("/* Where the accessors")[0]
        found[name] = Type(name, "record", lines_of(raw), [(words_of(field), "", words_of(what)) for field, what in
                                                           re.findall(r"^ {4}(\w[^;]*);" + behind, fields, re.M | re.S)])
    for raw, name, params in re.findall(before + r"typedef void \(\*(\w+)\)\((.*?)\);", header, re.S):
        found[name] = Type(name, "callback", lines_of(raw), [(f"void (*{name})({params})", "", "")])
    declared = re.findall(r"TARVIX_ENUM\((\w+)|^ {4}(\w+) = \d|^(?:typedef )?struct (\w+)|\(\*(\w+)\)", header, re.M)
    return {name: found[name] for name in map("".join, declared) if name in found}


def head_of(header):
    """What a header says at its beginning, from the first numbered convention on."""
    text = lines_of(re.search(r"/\*\*(.*?)\*/", header, re.S)[1])
    return text[re.search(r"^1\. ", text, re.M).start():]
