"""The shared libraries: where they are found, what their functions take, strings in and out.

The calls keep the interpreter's lock. A finalizer, which may run in any thread, can therefore never
meet another thread inside the library.
"""
from __future__ import annotations

import ctypes
import ctypes.util
import os
import sys
import weakref
from ctypes import POINTER, byref, c_char_p, c_int32, c_long, c_ubyte, c_uint8, c_uint32, c_void_p
from typing import Any, Optional, Tuple

_UTF8 = 0x08000100
_STRINGS_ON_MACOS = "/System/Library/Frameworks/CoreFoundation.framework/CoreFoundation"
_STRINGS = "libvamelcf.so.1"


class FieldInfo(ctypes.Structure):
    """One field, as an environment takes it."""

    _fields_ = [("name", POINTER(c_void_p)), ("type", c_uint8), ("flags", c_uint8)]


def _library_path() -> str:
    """The path that VAMEL_LIBRARY names, a file or its folder; or a name for the loader."""
    name = "VAMEL" if sys.platform == "darwin" else "libvamel.so.1"
    chosen = os.environ.get("VAMEL_LIBRARY", "")
    if chosen:
        return os.path.join(chosen, name) if os.path.isdir(chosen) else chosen
    if sys.platform == "darwin":
        return ctypes.util.find_library(name) or f"{name}.framework/{name}"
    return name


def _load() -> Tuple[ctypes.PyDLL, ctypes.PyDLL]:
    """The library and the one that makes its strings; the latter's neighbour copy goes first."""
    path = _library_path()
    beside = os.path.join(os.path.dirname(path), _STRINGS)
    try:
        if sys.platform == "darwin":
            return ctypes.PyDLL(path), ctypes.PyDLL(_STRINGS_ON_MACOS)
        if os.path.dirname(path) and os.path.exists(beside):
            strings = ctypes.PyDLL(beside)
            return ctypes.PyDLL(path), strings
        return ctypes.PyDLL(path), ctypes.PyDLL(_STRINGS)
    except OSError as error:
        raise ImportError(
            f"the vamel library cannot be loaded ({error}); set VAMEL_LIBRARY to its path"
        ) from error


_OUT = POINTER(c_void_p)  # a handle or string that the call stores, or a string that it reads
_CALLS: Tuple[Tuple[str, Tuple[Any, ...]], ...] = (
    ("vamel_alloc_env", (_OUT,)),
    ("vamel_free_env", (_OUT,)),
    ("vamel_set_env", (c_void_p, c_uint32, c_void_p)),
    ("vamel_open", (_OUT, c_void_p, _OUT)),
    ("vamel_close", (_OUT,)),
    ("vamel_commit", (c_void_p,)),
    ("vamel_rollback", (c_void_p,)),
    ("vamel_prepare", (c_void_p, _OUT)),
    ("vamel_finalize", (_OUT,)),
    ("vamel_step", (c_void_p,)),
    ("vamel_bind_int", (c_void_p, _OUT, c_int32, c_int32)),
    ("vamel_bind_text", (c_void_p, _OUT, _OUT, c_int32)),
    ("vamel_bind_binary", (c_void_p, _OUT, c_char_p, c_uint32, c_int32)),
    ("vamel_clear_bind", (c_void_p,)),
    ("vamel_fetch_int", (c_void_p, _OUT, POINTER(c_int32))),
    ("vamel_fetch_text", (c_void_p, _OUT, _OUT)),
    ("vamel_fetch_binary", (c_void_p, _OUT, _OUT, POINTER(c_uint32))),
    ("vamel_insert", (c_void_p, c_void_p)),
    ("vamel_update", (c_void_p, c_void_p)),
    ("vamel_delete", (c_void_p, c_void_p)),
    ("vamel_select", (c_void_p, c_void_p, POINTER(c_uint32))),
)


def _declare(library: ctypes.PyDLL, strings: ctypes.PyDLL) -> None:
    for name, arguments in _CALLS:
        function = getattr(library, name)
        function.argtypes, function.restype = arguments, c_int32
    strings.CFStringCreateWithCString.argtypes = (c_void_p, c_char_p, c_uint32)
    strings.CFStringCreateWithCString.restype = c_void_p
    strings.CFStringGetLength.argtypes, strings.CFStringGetLength.restype = (c_void_p,), c_long
    strings.CFStringGetCString.argtypes = (c_void_p, c_char_p, c_long, c_uint32)
    strings.CFStringGetCString.restype = c_ubyte
    strings.CFRelease.argtypes, strings.CFRelease.restype = (c_void_p,), None


lib, _strings = _load()
_declare(lib, _strings)


def make_string(text: str, what: str) -> c_void_p:
    """A new platform string, for release_string. Refuses text that would not come back whole."""
    if not isinstance(text, str):
        raise TypeError(f"{what} must be str, not {type(text).__name__}")
    if "\0" in text:
        raise ValueError(f"{what} holds U+0000, where the library would cut it off")
    utf8 = text.encode("utf-8")  # raises UnicodeEncodeError, a ValueError, for a lone surrogate
    string = c_void_p(_strings.CFStringCreateWithCString(None, utf8, _UTF8))
    if not string:
        raise MemoryError(f"no room for {what}")
    return string


def release_string(string: c_void_p) -> None:
    """Gives back what make_string made."""
    _strings.CFRelease(string)


class OwnedString:
    """A platform string that lives as long as this object."""

    def __init__(self, text: str, what: str) -> None:
        self._string = make_string(text, what)
        self.ref = byref(self._string)
        # At exit other objects may still use the string: then it is left to the system.
        weakref.finalize(self, release_string, self._string).atexit = False

    def pointer(self) -> Any:
        """The string as a member of a structure takes it."""
        return ctypes.pointer(self._string)


def read_string(string: c_void_p) -> Optional[str]:
    """The text of a platform string that stays its owner's; None if it has no UTF-8 form."""
    size = 3 * _strings.CFStringGetLength(string) + 1
    buffer = ctypes.create_string_buffer(size)
    if not _strings.CFStringGetCString(string, buffer, size, _UTF8):
        return None
    return buffer.value.decode("utf-8")


def read_bytes(address: c_void_p, count: int) -> bytes:
    """A copy of bytes of the library, of any number."""
    if count < 1 << 31:
        return ctypes.string_at(address, count)
    return (ctypes.c_char * count).from_address(address.value or 0).raw
