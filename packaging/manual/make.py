"""Makes the manual pages of the flat functions from the comments of the public headers: tarvixsdk(3), a page for each
family, and a link to it for each of its functions.

usage: make.py SOURCE OUTPUT     SOURCE is the project's folder; OUTPUT/man3 is made anew
"""

import pathlib
import re
import shutil
import sys
import textwrap

from headers import Trouble, functions_of, head_of, methods_of, types_of

# The families of flat.h: the page's name behind "tarvixsdk-", and what it is about.
FAMILIES = {
    "Finding adapters": ("adapters", "finding adapters, names of statuses"),
    "Session": ("session", "sessions with an adapter"),
    "Notifications": ("notifications", "what an adapter reports by itself"),
    "Adapter": ("adapter", "restarting an adapter, its USB strings"),
    "Supply rails": ("rails", "supply rails"),
    "GPIO": ("gpio", "pins"),
    "I2C": ("i2c", "I2C ports and transfers"),
    "SPI": ("spi", "SPI controller and transfers"),
    "UART": ("uart", "UART"),
    "I3C controller, bus and targets": ("i3c", "I3C controller, bus and targets"),
    "I3C private transfers": ("i3c-transfers", "I3C private transfers"),
    "I3C Common Command Codes": ("i3c-ccc", "I3C Common Command Codes"),
}
# Where a parameter has another name than that of the method, which its comment uses.
RENAMED = {
    "TarvixSDK_SpiTransfer": {"data": "txData", "readData": "rxBuffer", "transferLength": "length"},
    "TarvixSDK_UartSendMessage": {"message": "data"},
}
# Names in comments that are not the library's.
SYSTEM_NAMES = {"fork", "exec", "exit", "_exit", "free", "dlclose"}
COLUMNS = 71  # of a line that is not filled
MIRRORS = r"\s*\bMirrors `(\w+)`[.;]\s*"
# Complete programs of examples/.
EXAMPLES = {"tarvixsdk": "temperature.c", "tarvixsdk-i2c": "transfers.c"}


def escaped(text):
    for plain, roff in (("\\", "\\e"), ("^", "\\(ha"), ("~", "\\(ti"), ("\u00b5", "\\(mc")):
        text = text.replace(plain, roff)
    return text


def code(text, font="B"):
    """A word of a program, in bold or italics."""
    return f"\\f{font}" + escaped(text).replace("-", "\\-") + "\\fP"


def unbroken(text):
    return text.replace(" ", "\\~")


def sentence(text):
    return text[0].upper() + text[1:].rstrip(".") + "."


def filled(text):
    """Lines of text that the formatter fills."""
    lines = textwrap.wrap(text, 78, break_long_words=False, break_on_hyphens=False)
    return [f"\\&{line}" if line[0] in ".'" else line for line in lines]


def page_name(group):
    return f"tarvixsdk-{FAMILIES[group][0]}"


class Manual:
    """What the headers say, and how a page says it."""

    def __init__(self, source):
        def read(path):
            return (source / path).read_text(encoding="utf-8")

        flat, sdk, adapters, types = (read(f"include/tarvixsdk/{name}") for name in
                                      ("flat.h", "sdk.hpp", "adapters.hpp", "types.h"))
        self.source = source
        self.template = read("packaging/manual/tarvixsdk.3.in")
        self.title = re.search(r'"\d{4}-\d\d-\d\d".*', self.template)[0]
        self.functions, self.groups = functions_of(flat)
        self.methods, self.method_groups = methods_of(sdk)
        self.methods.update(methods_of(adapters)[0])
        self.types = {**types_of(types), **types_of(flat)}
        self.cpp_types = types_of(adapters)
        self.heads = {"FLAT": head_of(flat), "SDK": head_of(sdk)}
        declarations = re.sub(r"/\*.*?\*/", "", flat + sdk + adapters + types, flags=re.S)
        self.names = SYSTEM_NAMES | set(re.findall(r"\w+", declarations))
        self.mirrors = {}
        for function in self.functions:
            found = re.search(MIRRORS, function.comment.text)
            if found and found[1] not in self.methods:
                raise Trouble(f"flat.h: {function.name} mirrors '{found[1]}', which neither sdk.hpp nor adapters.hpp has")
            if found:
                self.mirrors[found[1]] = function.name
        self.check(flat)

    def check(self, flat):
        """Each function is on exactly one page, and its comment names its own parameters."""
        on_pages = [function.name for function in self.functions if function.group in FAMILIES]
        for name in re.findall(r"\b(TarvixSDK_\w+)\(", re.sub(r"/\*.*?\*/|\(\*\w+\)", "", flat, flags=re.S)):
            if on_pages.count(name) != 1:
                raise Trouble(f"flat.h: {name} is on {on_pages.count(name)} pages; it must be on one: give it a comment, "
                              f"in a group (@name) that packaging/manual/make.py lists under FAMILIES")
        for function in self.functions:
            strangers = set(function.comment.params) - {name for _, name in function.params}
            if strangers or not function.comment.text:
                raise Trouble(f"flat.h: {function.name} has no parameter '{strangers.pop()}'" if strangers else
                              f"flat.h: {function.name} has no comment")

    # ---- Text ---------------------------------------------------------------------------------------------

    def member(self, enumeration, name, near):
        """How C spells a member; a bare name may belong to several enumerations."""
        owners = [each.name for each in self.types.values() if each.kind == "enumeration" and
                  any(member == f"{each.name}_{name}" for member, _, _ in each.members)]
        for owner in owners:
            if owner == enumeration or not enumeration and (len(owners) == 1 or owner in near):
                return f"{owner}_{name}"
        return None

    def span(self, text, page, params, near, where):
        """What stands between backquotes, as C knows it."""
        qualified = re.fullmatch(r"(\w+)::(\w+)", text)
        scope, name = qualified.groups() if qualified else ("", text)
        name = self.mirrors.get(name, name) if scope in ("", "TarvixSDK") and name not in params else name
        if name in {function.name for function in self.functions}:
            return code(name) + ("" if name in page else "(3)")
        if text in params:
            return unbroken(code(text, "I"))
        member = self.member(scope, name, near) if re.fullmatch(r"[A-Z]\w*", name) else None
        if member:
            return code(member)
        for word, more in re.findall(r"(?<!std::)\b([A-Za-z_]\w{2,})(\.{3})?", text):
            if not any(known.startswith(word) if more or word[-1] == "_" else known == word for known in self.names):
                raise Trouble(f"{where}: '{word}' is neither a name of the public headers nor a parameter")
        return unbroken(code(f"TarvixSDK::{text}" if text in self.methods and text[0].islower() else text))

    def inline(self, text, page=(), params=(), near=(), where="a header"):
        text = re.sub(r"\bconventions? \d+(?: and \d+)?(?! of)", r"\g<0> in `tarvixsdk`(3)" if page else r"\g<0>", text)
        pieces = re.split(r"`([^`]+)`|\*\*([^*]+)\*\*", text)
        result = ""
        for plain, quoted, bold in zip(pieces[::3], [*pieces[1::3], None], [*pieces[2::3], None]):
            result += escaped(plain)
            if quoted == "tarvixsdk":
                result += code(quoted)
            elif quoted:
                result += self.span(quoted, page, params, near, where)
            elif bold:
                result += f"\\fB{escaped(bold)}\\fP"
        return result

    def blocks(self, text, first, **context):
        """Paragraphs and lists; `first` is the macro before the first paragraph, if any."""
        output, depth = [], 0
        items = re.split(r"\n(?=[ ]*(?:-|\d+\.) )|\n\s*\n", text)
        for number, item in enumerate(filter(str.strip, items)):
            found = re.match(r"(\s*)(?:(-)|(\d+\.)) +", item)
            inner = bool(found and found[2] and len(found[1]) > 2)
            if inner != bool(depth):
                depth = int(inner)
                output.append(".RS 4" if inner else ".RE")
            if found:
                output.append(f".IP {found[3]} 4" if found[3] else ".IP \\(bu 2")
            elif number or first:
                output.append(first if not number else ".PP")
            output += filled(self.inline(" ".join(item[found.end() if found else 0:].split()), **context))
        return output + [".RE"] * depth

    # ---- A function -----------------------------------------------------------------------------------------

    @staticmethod
    def prototype(function):
        """As in a synopsis, parameters in italics."""
        line = f"{function.returns} {function.name}(".replace("* ", " *")
        lines, width, pairs = [code(line)], len(line), function.params or [("void", "")]
        for number, (kind, name) in enumerate(pairs):
            kind = re.sub(r"(\*+)$", r" \1", kind) + ("" if kind.endswith("*") or not name else " ")
            end = ");" if number == len(pairs) - 1 else ","
            gap = "" if not number else " "
            if width + len(gap + kind + name + end) > COLUMNS:
                lines.append("")
                gap, width = "    ", 0
            width += len(gap + kind + name + end)
            lines[-1] += gap + code(kind) + (code(name, "I") if name else "") + code(end)
        return lines

    def merged(self, function):
        """The comment of the method with what flat.h adds: text, parameters and what is returned. What flat.h says of an
        output counts alone, for a method has other outputs."""
        own = function.comment
        found = re.search(MIRRORS, own.text)
        method = self.methods[found[1]] if found else None
        text = [method.text if method else "", re.sub(MIRRORS, " ", own.text).strip()]
        text = "\n\n".join(part[0].upper() + part[1:] for part in text if part)
        params, renamed = {}, RENAMED.get(function.name, {})
        for kind, name in function.params:
            output = kind.endswith("*") and not kind.startswith("const")
            said = [method.params.get(next((old for old, new in renamed.items() if new == name), name), "") if method
                    else "", own.params.get(name, "")]
            said = said[1:] if output and said[1] else said
            if any(said):
                params[name] = "; ".join(filter(None, said))
        returns = [method.returns if method else "", own.returns]
        returns = returns if re.match(r"(`\w+` )?also", returns[1]) else [own.returns or returns[0]]
        for old, new in renamed.items():
            text = text.replace(f"`{old}`", f"`{new}`")
        return text, params, "; ".join(part.rstrip(".") for part in returns if part)

    def described(self, function, page):
        text, params, returns = self.merged(function)
        context = {"page": page, "params": {name for _, name in function.params},
                   "near": {re.sub(r"const |\*", "", kind) for kind, _ in function.params},
                   "where": f"the comment of {function.name} or of what it mirrors"}
        output = [f".SS {function.name}", *self.blocks(text, "", **context)]
        for name, what in params.items():
            output += [".TP", code(name, "I"), *filled(self.inline(sentence(what), **context))]
        if returns:
            output += [".PP", *filled(self.inline(f"Returns {returns}.", **context))]
        return output

    # ---- Types ------------------------------------------------------------------------------------------------

    def types_for(self, functions):
        """What the functions take, and what that holds, in the order of the headers."""
        wanted, seen = [kind for function in functions for kind, _ in [(function.returns, ""), *function.params]], set()
        while wanted:
            for name in set(re.findall(r"\w+", wanted.pop())) & set(self.types) - seen - {"StatusCode"}:
                seen.add(name)
                wanted += [member for member, _, _ in self.types[name].members]
        seen |= {name for name, each in self.types.items() if each.kind == "flags" and
                 any(f"`{function.name}`" in each.comment for function in functions)}
        return [each for name, each in self.types.items() if name in seen]

    def described_type(self, each, page):
        context = {"page": page, "params": {name for member, _, _ in each.members for name in re.findall(r"\w+", member)},
                   "near": {each.name}, "where": f"the comment of {each.name}"}
        if each.kind == "callback":
            lines = textwrap.wrap(f"{each.members[0][0].replace('* ', ' *')};", COLUMNS, subsequent_indent="    ")
            output = [f".SS {each.name}", ".nf", *(code(line) for line in lines), ".fi"]
            return [*output, *self.blocks(each.comment, ".PP", **context)]
        flags = each.kind == "flags"
        output = [".SS Flags" if flags else f".SS {each.name}", *self.blocks(each.comment, "", **context)]
        if not any(what for _, _, what in each.members) and each.kind == "enumeration":
            members = [f"{code(member)}\\~({value})" for member, value, _ in each.members]
            return [*output, ".PP", *filled(", ".join(members) + ".")]
        same = self.cpp_types.get(each.name.removeprefix("TarvixSDK_"))
        above = {re.search(r"(\w+)(?: = .*|$)", field)[1]: what for field, _, what in same.members} if same else {}
        if not above and not any(what for _, _, what in each.members):
            lines = [code(member.replace("* ", " *")) for member, _, _ in each.members]
            return [*output, ".PP", ".nf", *lines, ".fi"]
        for member, value, what in each.members:
            what = what or above.get(re.search(r"(\w+)(?:\[\d+\])?$", member)[1], "")
            label = code(member.replace("* ", " *")) + (f" ({value})" if value else "")
            output += [".TP", label, *(filled(self.inline(sentence(what), **context)) if what else ["\\&"])]
        return output

    def statuses(self):
        output = []
        for member, value, what in self.types["StatusCode"].members:
            output += [".TP", f"{code(member)} ({value})", *filled(self.inline(what, page={"-"}))]
        return [*output, ".TP", "Any other value", "The adapter's own status, whose meaning is defined by the firmware."]

    # ---- Pages ------------------------------------------------------------------------------------------------

    def head(self, name, functions, about):
        names = ", ".join([name, *(function.name for function in functions)])
        return [f".TH {name.upper()} 3 {self.title}", ".SH NAME", *filled(names.replace("-", "\\-") + f" \\- {about}")]

    def example(self, name):
        if name not in EXAMPLES:
            return []
        text = (self.source / "examples" / EXAMPLES[name]).read_text(encoding="utf-8")
        if max(map(len, text.split("\n"))) > COLUMNS:
            raise Trouble(f"examples/{EXAMPLES[name]} is wider than a manual page's {COLUMNS} columns")
        lines = [escaped(line).replace("-", "\\-") for line in text.rstrip().split("\n")]
        return [".SH EXAMPLES", ".nf", *(f"\\&{line}" if line[:1] in (".", "'") else line for line in lines), ".fi"]

    def family(self, group):
        name, about = page_name(group), FAMILIES[group][1]
        functions = [function for function in self.functions if function.group == group]
        if not functions:
            raise Trouble(f"flat.h has no functions in the group '{group}', which packaging/manual/make.py lists")
        page = {function.name for function in functions}
        output = [*self.head(name, functions, about), ".SH SYNOPSIS", ".nf", code("#include <tarvixsdk/flat.h>")]
        for function in functions:
            output += [".PP", *self.prototype(function)]
        output += [".fi", ".SH DESCRIPTION"]
        texts = [text for text in (self.method_groups.get(group), self.groups[group]) if text]
        params = {parameter for function in functions for _, parameter in function.params}
        everywhere = "What holds for all functions (handles, threads, null pointers, the room of buffers) is in "
        everywhere += "`tarvixsdk`(3)."
        output += self.blocks("\n\n".join([*texts, everywhere]), "", page=page, params=params,
                              where=f"the comment of the group '{group}'")
        for function in functions:
            output += self.described(function, page)
        types = self.types_for(functions)
        output += [".SH TYPES"] if types else []
        if any("Firmware's numbers" in each.comment for each in types):
            output += filled("Where the numbers of an enumeration are called the firmware's, these are the members that a "
                             "user needs, and the adapter's firmware has the last word on them.")
        for each in types:
            output += self.described_type(each, page)
        if any(function.returns == "StatusCode" for function in functions):
            output += [".SH RETURN VALUES", "A", code("StatusCode"), "is one of the library's own statuses or the adapter's:",
                       *self.statuses()]
        others = sorted(page_name(other) for other in FAMILIES if other != group)
        output += [*self.example(name), ".SH SEE ALSO",
                   *filled(", ".join(f"{code(each)}(3)" for each in ["tarvixsdk", *others]))]
        return name, output

    def overview(self):
        parts = {"CONVENTIONS_OF_FLAT": self.blocks(self.heads["FLAT"], "", params={"length", "capacity"}),
                 "CONVENTIONS_OF_SDK": self.blocks(self.heads["SDK"], ""), "STATUSES": self.statuses(),
                 "EXAMPLES": self.example("tarvixsdk"), "PAGES": []}
        for group, (_, about) in FAMILIES.items():
            parts["PAGES"] += [".TP", f"{code(page_name(group))}(3)", sentence(about)]
        lines = []
        for line in self.template.rstrip().split("\n"):
            found = re.fullmatch(r"@(\w+)@", line)
            lines += parts[found[1]] if found else [line]
        return "tarvixsdk", lines


def main(source, output):
    manual = Manual(source)
    pages = [manual.overview(), *map(manual.family, FAMILIES)]
    folder = output / "man3"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    for name, lines in pages:
        (folder / f"{name}.3").write_text("\n".join(lines) + "\n", encoding="utf-8")
    for function in manual.functions:
        (folder / f"{function.name}.3").write_text(f".so man3/{page_name(function.group)}.3\n", encoding="utf-8")


if __name__ == "__main__":
    try:
        main(*map(pathlib.Path, sys.argv[1:]))
    except Trouble as trouble:
        sys.exit(f"manual: {trouble}")
