"""Diagrams of every frame on the wire, from wire-protocol.json: a page a family."""

import html
import json

SIZES = {"u8": 1, "u16": 2, "u32": 4, "u16be": 2}
HEAD = [{"name": "id", "at": 0, "type": "u16"}, {"name": "code", "at": 2, "type": "u16"}]
STATUS = {"name": "status", "at": 4, "type": "u16"}


def size_of(field):
    """Bytes that a field occupies, or None when that varies."""
    if "size" in field and field["type"] != "records":
        return field["size"]
    return None if "count" in field else SIZES.get(field["type"])


def cells(fields):
    """What stands at each place of a frame: (first byte or None, size or None, fields), gaps included."""
    places, end = {}, 0
    for field in fields:
        at = field.get("at", end)
        places.setdefault(at, []).append(field)
        size = size_of(field)
        end = at + size if at is not None and size else None
    end = 0
    for at, here in sorted(places.items(), key=lambda item: (item[0] is None, item[0])):
        if at is not None and end is not None and at > end:
            yield end, at - end, []
        sizes = {size_of(field) for field in here}
        size = max(sizes) if None not in sizes else None
        yield at, size, here
        end = None if at is None or size is None else at + size


def place(at, size):
    if at is None:
        return "behind it"
    return f"{at}–" if size is None else str(at) if size == 1 else f"{at}–{at + size - 1}"


def bits(field):
    first, last = field["bits"]
    return f"bit {first}" if first == last else f"bits {first}–{last}"


def label(field, constants):
    name = field["name"].replace("_", " ")
    if field["name"] in constants:
        return f"<b>{name}</b><code>{constants[field['name']]}</code>"
    return f"<b>{name}</b>" + (f"<span>{bits(field)}</span>" if "bits" in field else "")


def diagram(fields, constants, gap):
    """The frame as boxes in a row, which wraps where the window is narrow. Between fields stands what `gap` says."""
    boxes = []
    for at, size, here in cells(fields):
        names = dict.fromkeys(label(field, constants) for field in here) or {f"<span>{gap}</span>": None}
        fixed = any(field["name"] in constants for field in here)
        kind = "varies" if size is None else "fixed" if fixed else "field" if here else "gap"
        boxes.append(f'<div class="{kind}" style="flex-grow: {size or 4}"><small>{place(at, size)}</small>'
                     f"{''.join(names)}</div>")
    return [".. raw:: html", "", f"   <div class=\"frame\">{''.join(boxes)}</div>", ""]


def words_of(name):
    return name.replace("_", " ").replace("request.", "the request's ")


def condition(when):
    def one_of(value):
        return " or ".join(map(str, value)) if isinstance(value, list) else value
    return ", ".join(f"{words_of(name)} is {one_of(value)}" for name, value in when.items())


def meaning(field):
    words = []
    if field.get("values"):
        words.append(f"``{field['values']}``")
    words += [{"flag": "0 or 1"}[field["format"]]] if field.get("format") == "flag" else []
    words += [field["unit"]] if "unit" in field else []
    if "count" in field:
        factor = f"{field['times']} × " if "times" in field else ""
        less = f" less {field['less']}" if "less" in field else ""
        words.append(f"as many as {factor}{words_of(field['count'])}{less} says")
    if "announced" in field:
        words.append(f"to the end; {words_of(field['announced'])} says how many")
    words += ["last byte first"] if field.get("reversed") else []
    words += [f"if {condition(field['when'])}"] if field.get("when") else []
    return ", ".join(words)


def kind(field):
    size = f", {field['size']} bytes" if "size" in field else ""
    each = " each" if field["type"] == "records" else ""
    return {"u16be": "u16, big-endian"}.get(field["type"], field["type"]) + size + each


def table(fields):
    rows = [(at, size, field) for at, size, here in cells(fields) for field in here]
    if not rows:
        return []
    lines = [".. list-table::", "   :header-rows: 1", "", "   * - Bytes", "     - Field", "     - Type", "     - Meaning"]
    for at, _, field in rows:
        where = place(at, size_of(field)) + (f", {bits(field)}" if "bits" in field else "")
        lines += [f"   * - {where}", f"     - {words_of(field['name'])}", f"     - {kind(field)}", f"     - {meaning(field)}"]
    return lines + [""]


def frame(title, head, fields, code):
    constants = {"code": " ".join(f"{byte:02X}" for byte in int(code, 16).to_bytes(2, "little"))}
    if head is NOTIFICATION:
        constants["id"] = "00 00"
    gap = "zero" if head is HEAD else "firmware's"
    lines = [f"**{title}**", "", *diagram([*head, *fields], constants, gap), *table(fields)]
    for field in fields:
        if "fields" in field:
            parts = field["fields"]
            lines += [f"Each of the {words_of(field['name'])}:", "", *diagram(parts, {}, gap), *table(parts)]
    return lines


NOTIFICATION = [*HEAD, STATUS]


def command(entry, form=None):
    merged = {**entry, **(form or {})}
    name, code = merged["name"], entry["code"]
    lines = [name, ("~" if form else "-") * len(name), ""]
    methods = ", ".join(f"``{'TarvixAsyncSDK' if method == 'getAnalogMeasurements' else 'TarvixSDK'}::{method}``"
                        for method in merged.get("methods", []))
    lines += [f"Code {code}" + (f", when {condition(form['when'])}" if form and form["when"] else "")
              + (f". Sent by {methods}." if methods else "."), ""]
    request = entry.get("request", []) + (form or {}).get("request", [])
    lines += frame("Request", HEAD, request, code)
    if merged.get("no_response"):
        return lines + ["There is no response.", ""]
    return lines + frame("Response", [*HEAD, STATUS], merged.get("response", []), code)


def write_pages(table_file, source):
    protocol = json.loads(table_file.read_text(encoding="utf-8"))
    folder = source / "reference" / "frames"
    folder.mkdir(parents=True)
    for family in protocol["families"]:
        title = {"adapter": "Adapter and rails"}.get(family, family.upper())
        lines = [title, "=" * len(title), ""]
        for entry in protocol["commands"]:
            if entry["family"] == family:
                lines += command(entry)
                for form in entry.get("forms", []):
                    lines += command(entry, form) if form["when"] else []
        for entry in protocol["notifications"]:
            if entry["family"] == family:
                name = "Notification: " + html.escape(entry["name"])
                lines += [name, "-" * len(name), "", *frame("Notification", NOTIFICATION, entry["fields"], entry["code"])]
        (folder / f"{family}.rst").write_text("\n".join(lines), encoding="utf-8")
    lines = ["Frames", "======", "", "Every request, response and notification, byte by byte, from the table that traces are decoded with. "
             ":doc:`/docs/wire-protocol` says how they travel. Multi-byte fields are little-endian unless they say otherwise; a dashed box varies in "
             "length, and a hatched one is no field: zero in a request, the firmware's in what comes back.", "", ".. toctree::", ""]
    lines += [f"   {family}" for family in protocol["families"]]
    (folder / "index.rst").write_text("\n".join(lines) + "\n", encoding="utf-8")
