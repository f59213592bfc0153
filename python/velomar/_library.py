"""libvelomar as ctypes sees it."""

from __future__ import annotations

import ctypes
import sys
from pathlib import Path
from typing import Optional, Union

_NAME = "libvelomar.1.dylib" if sys.platform == "darwin" else "libvelomar.so.1"
_LATE_INPUT = 1

_Pointer = ctypes.c_void_p
_Text = ctypes.c_char_p
_Size = ctypes.c_size_t
_SIGNATURES: dict[str, tuple[type, list[type]]] = {
    "open": (ctypes.c_void_p, [ctypes.c_uint]),
    "close": (ctypes.c_int, [_Pointer]),
    "poll": (ctypes.c_int, [_Pointer, ctypes.c_void_p]),
    "is_up": (ctypes.c_int, [_Pointer]),
    "is_anybody_there": (ctypes.c_int, [_Pointer]),
    "send": (ctypes.c_int, [_Pointer, _Text]),
    "image": (ctypes.c_int, [_Pointer, _Text, ctypes.c_uint32, _Text, _Size]),
    "frame": (ctypes.c_int, [_Pointer, _Text, _Text, _Size]),
    "layout": (ctypes.c_int, [_Pointer, _Text, _Text, _Text]),
    "last_error": (_Text, []),
    "version": (_Text, []),
}


class Error(RuntimeError):
    """A call was refused, for the reason that the text gives. Nothing was sent or lost."""


def _load(path: Optional[str]) -> ctypes.CDLL:
    beside = [folder / _NAME for folder in list(Path(__file__).resolve().parents)[:3]]
    found = next((str(file) for file in beside if file.exists()), _NAME)
    try:
        library = ctypes.CDLL(path if path is not None else found)
    except OSError as error:
        raise Error(f"can't load libvelomar: {error}") from error
    for name, (result, arguments) in _SIGNATURES.items():
        function = getattr(library, f"velomar_{name}")
        function.restype, function.argtypes = result, arguments
    return library


def _open(link: Optional[int]) -> int:
    if link is None:
        raise Error("the link is closed")
    return link


def _bytes(text: str) -> bytes:
    try:
        encoded = text.encode()
    except UnicodeEncodeError as error:
        raise Error(f"a text that isn't UTF-8: {error}") from error
    if b"\0" in encoded:
        raise Error("a text with a zero byte")
    return encoded


class Library:
    """The functions of one libvelomar, with Python's types and exceptions."""

    def __init__(self, path: Optional[str]) -> None:
        self._c = _load(path)

    def open(self, late_input: bool) -> int:
        link = self._c.velomar_open(_LATE_INPUT if late_input else 0)
        if link is None:
            raise self._error()
        return int(link)

    def close(self, link: Optional[int]) -> None:
        self._check(self._c.velomar_close(link))

    def poll(self, link: Optional[int]) -> Optional[bytes]:
        text = ctypes.c_char_p()
        self._check(self._c.velomar_poll(_open(link), ctypes.byref(text)))
        return text.value

    def flag(self, name: str, link: Optional[int]) -> bool:
        return self._check(getattr(self._c, f"velomar_{name}")(_open(link)))

    def call(self, name: str, link: Optional[int], *arguments: Union[str, bytes, int]) -> bool:
        given = [_bytes(value) if isinstance(value, str) else value for value in arguments]
        return self._check(getattr(self._c, f"velomar_{name}")(_open(link), *given))

    def _check(self, result: int) -> bool:
        if result < 0:
            raise self._error()
        return result > 0

    def _error(self) -> Error:
        return Error(self._c.velomar_last_error().decode(errors="replace"))


def version(library: Optional[str] = None) -> str:
    """The version of the library that is found, or of the one at this path, such as "1.5.1"."""
    return str(_load(library).velomar_version().decode())
