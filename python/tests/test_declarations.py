"""What the package declares again is what the headers declare."""

from __future__ import annotations

import ctypes
import enum
import pathlib
import re
from ctypes import POINTER
from typing import Any, Dict, List, Tuple

import tarvix
from conftest import ROOT
from tarvix import _flat, enums
from tarvix._flat import Bytes, Handle

INCLUDE = ROOT / "include/tarvixsdk"
SCALARS: Dict[str, Any] = {
    "void": None,
    "bool": ctypes.c_bool,
    "int": ctypes.c_int,
    "size_t": ctypes.c_size_t,
    "uint8_t": ctypes.c_uint8,
    "uint16_t": ctypes.c_uint16,
    "uint32_t": ctypes.c_uint32,
    "uint64_t": ctypes.c_uint64,
    "int64_t": ctypes.c_int64,
    "StatusCode": ctypes.c_uint16,
    "TarvixSDK_NotificationCallback": _flat.NotificationCallback,
    "TarvixSDK_FrameCallback": _flat.FrameCallback,
    "TarvixSDK_LossCallback": _flat.LossCallback,
}


def source(*paths: pathlib.Path) -> str:
    """The headers without comments, the preprocessor's lines and what only C++ sees."""
    text = "".join(path.read_text(encoding="utf-8") for path in paths)
    text = re.sub(r"#ifdef __cplusplus.*?#(?:else|endif)", "", text, flags=re.S)
    text = re.sub(r"/\*.*?\*/|//[^\n]*|^#.*?$", "", text, flags=re.S | re.M)
    return re.sub(r"TARVIX_SLOT ", "", text)


def ctype(text: str) -> Any:
    """The ctypes type of a C type, enumerations as the header says that they cross."""
    base, stars = text.replace("const", "").replace("*", "").strip(), text.count("*")
    if stars and base in ("char", "TarvixSDK_Handle", "void"):
        return ctypes.c_char_p if base == "char" else Handle
    record = getattr(_flat, base.replace("TarvixSDK_", ""), None) if base not in SCALARS else None
    kind = record if isinstance(record, type) else SCALARS.get(base, ctypes.c_uint32)
    if stars and kind is ctypes.c_uint8 and "const" in text:
        return Bytes
    for _ in range(stars):
        kind = POINTER(kind)
    return kind


def declared(argument: str) -> Tuple[str, str, int]:
    """Type, name and array size of a declaration."""
    found = re.fullmatch(r"(.+?[ *])(\w+)(?:\[(\d+)\])?", argument.strip())
    assert found, argument
    return found[1].strip(), found[2], int(found[3] or 0)


def test_functions() -> None:
    functions = {}
    for result, name, arguments in re.findall(
        r"TARVIX_API ([\w* ]+?[ *])TarvixSDK_(\w+)\((.*?)\);", source(INCLUDE / "flat.h"), re.S
    ):
        words = [] if arguments == "void" else re.sub(r"\s+", " ", arguments).split(",")
        functions[name] = (ctype(result), tuple(ctype(declared(word)[0]) for word in words))
    assert len(functions) > 100
    assert functions == _flat.FUNCTIONS


def test_records() -> None:
    names = []
    text = source(INCLUDE / "types.h", INCLUDE / "flat.h")
    for name, body in re.findall(r"typedef struct (\w+) \{(.*?)\} \w+;", text, re.S):
        ours = getattr(_flat, name.replace("TarvixSDK_", ""))
        fields: List[Any] = []
        for line in filter(str.strip, body.split(";")):
            type_, field, size = declared(line)
            kind = ctypes.c_char if type_ == "char" else ctype(type_)
            kind = ctypes.c_void_p if "uint8_t*" in type_ or type_ == "char*" else kind
            fields.append((field, kind * size if size else kind))
        assert [(field, kind) for field, kind in ours._fields_] == fields, name
        names.append(name)
    assert len(names) == 10


def test_enumerations() -> None:
    text = source(INCLUDE / "types.h")
    theirs = {
        name: {member: int(value, 0) for member, value in re.findall(r"TARVIX_MEMBER\(\w+, (\w+)\) = (\w+)", body)}
        for name, body in re.findall(r"TARVIX_ENUM\((\w+), \w+\)\{(.*?)\};", text, re.S)
    }
    status = (ROOT / "simulator/model/device_status.hpp").read_text(encoding="utf-8")
    named = re.findall(r"^    (?!SUCCESS)(\w+) = (\w+),", status, re.M)
    theirs["DeviceStatus"] = {name: int(value, 0) for name, value in named}
    ours: Dict[str, Dict[str, int]] = {
        name: {member: int(value) for member, value in kind.__members__.items()}
        for name in enums.__all__
        for kind in [getattr(enums, name)]
        if issubclass(kind, enum.Enum)
    }
    del ours["I3cEvents"]  # named here only
    assert ours == theirs


def test_flags_and_version() -> None:
    flat, types = ((INCLUDE / name).read_text(encoding="utf-8") for name in ("flat.h", "types.h"))
    assert f"TARVIXSDK_OPEN_SHARED = {_flat.OPEN_SHARED}," in flat
    assert f"TARVIXSDK_OPEN_PLAIN = {_flat.OPEN_PLAIN} " in flat
    assert f'#define TARVIXSDK_VERSION "{tarvix.__version__}"' in types
