"""Writes the type stubs of the lumox package (lumox/__init__.pyi) from the built module:
the classes and their properties from the library's property table (lumox.properties),
the hand-written methods from their signatures, enumerations with their members.

    PYTHONPATH=build/python python3 python/tools/genstubs.py build/python/lumox/__init__.pyi
"""

import enum
import inspect
import re
import sys
import types

import lumox

HEADER = '''# The stubs of the lumox package, made from the built module (and so from the library's
# property table) by python/tools/genstubs.py; editors complete names from them.
import enum
from typing import Any, Callable, Dict, Iterable, Iterator, List, Optional, Sequence, Tuple, Union, overload

import numpy

__version__: str

class Error(Exception): ...
class ConvertError(Error, TypeError, ValueError): ...
class FormError(Error):
    file_name: str
    line: int
    property: str
    reason: str
class LoadError(Error):
    file_name: str
    line: int
    element: str
    warnings: List[SceneWarning]
class LoadWarning(UserWarning): ...

class Pick(Tuple[Optional[Persistent], Optional[Tuple[float, float, float]]]):
    object: Optional[Persistent]
    point: Optional[Tuple[float, float, float]]
    num: int

class SceneWarning(Tuple[Any, ...]):
    kind: LoadWarningKind
    file_name: str
    line: int
    element: str
    text: str
    message: str
'''

# What a property of each kind takes and gives.
SCALAR = {"Integer": "int", "Cardinal": "int", "Color": "int", "Single": "float",
          "Double": "float", "Boolean": "bool", "String": "str"}
INDENT = "    "
SPECIAL = {"__init__", "__len__", "__iter__", "__getitem__", "__contains__", "__bool__",
           "__enter__", "__exit__", "_repr_png_"}


def short(library_name):
    """The module's name of a library class or enumeration."""
    obj = getattr(lumox, library_name, None)
    return obj.__name__ if obj is not None else "Any"


def doc_lines(text, indent):
    if not text:
        return []
    text = text.replace('"""', "'''").replace("\\", "\\\\")
    return [indent + '"""' + text.strip() + '"""']


def property_types(info):
    """(getter type, setter type) of a table property."""
    if info.kind in SCALAR:
        t = SCALAR[info.kind]
        if info.kind == "Color":
            return t, "Union[int, Sequence[float]]"
        if info.kind in ("Single", "Double"):
            return t, "float"
        return t, t
    if info.kind == "Enumeration":
        e = short(info.type_name)
        return e, "Union[%s, str, int]" % e
    if info.kind == "Set":
        e = short(info.type_name)
        return "frozenset[%s]" % e, "Iterable[Union[%s, str, int]]" % e
    if info.kind == "Object":
        c = short(info.class_name)
        taken = "Union[%s, Sequence[float]]" % c
        if issubclass(getattr(lumox, c), lumox.Color):
            taken = "Union[%s, int, Sequence[float]]" % c
        elif not issubclass(getattr(lumox, c), lumox.Vector):
            taken = c
        return "Optional[%s]" % c if info.read_only else c, taken
    if info.kind == "Component":
        c = "Optional[%s]" % short(info.class_name)
        return c, c
    return "Optional[Callable[..., Any]]", "Optional[Callable[..., Any]]"


def emit_property(out, name, getter, setter, doc, writable):
    out.append(INDENT + "@property")
    out.append(INDENT + "def %s(self) -> %s:" % (name, getter))
    out.extend(doc_lines(doc, INDENT * 2) or [INDENT * 2 + "..."])
    if writable:
        out.append(INDENT + "@%s.setter" % name)
        out.append(INDENT + "def %s(self, value: %s) -> None: ..." % (name, setter))


SIGNATURE = re.compile(r"^(?:\d+\. )?(\w+)\((.*)\) -> (.+)$")


def clean_type(text):
    text = re.sub(r"numpy\.ndarray\[[^\]]*\]", "numpy.ndarray", text)
    text = text.replace("lumox.", "")
    text = re.sub(r"\bhandle\b", "Any", text)
    text = re.sub(r"\bobject\b", "Any", text)
    text = text.replace("tuple[", "Tuple[").replace("list[", "List[")
    return text


def split_params(text):
    """Parameters of a pybind11 signature, split at top-level commas."""
    params, depth, current = [], 0, ""
    for ch in text:
        if ch in "[(":
            depth += 1
        elif ch in "])":
            depth -= 1
        if ch == "," and depth == 0:
            params.append(current.strip())
            current = ""
        else:
            current += ch
    if current.strip():
        params.append(current.strip())
    return params


def pybind_signatures(fn):
    """(name, params, result) of each overload in a pybind11 function's docstring, and the
    rest of the text."""
    doc = fn.__doc__ or ""
    sigs, rest = [], []
    for line in doc.splitlines():
        m = SIGNATURE.match(line.strip())
        if m:
            sigs.append((m.group(1), m.group(2), m.group(3)))
        elif line.strip() and line.strip() != "Overloaded function.":
            rest.append(line.strip())
    return sigs, " ".join(rest)


def stub_params(params, method):
    out = []
    for i, p in enumerate(split_params(params)):
        if method and i == 0:
            out.append("self")
            continue
        if p.startswith("*"):
            out.append(p.split(":")[0])
            continue
        name, _, rest = p.partition(": ")
        typ, eq, default = rest.partition(" = ")
        text = "%s: %s" % (name, clean_type(typ))
        if eq:
            text += " = ..."
        out.append(text)
    return ", ".join(out)


def emit_builtin(out, name, fn, indent, method):
    sigs, text = pybind_signatures(fn)
    if not sigs:
        out.append(indent + "def %s(%s*args: Any, **kwargs: Any) -> Any: ..." %
                   (name, "self, " if method else ""))
        return
    for _, params, result in sigs:
        if len(sigs) > 1:
            out.append(indent + "@overload")
        out.append(indent + "def %s(%s) -> %s:" % (name, stub_params(params, method),
                                                    clean_type(result)))
        out.extend(doc_lines(text, indent + INDENT) or [indent + INDENT + "..."])


def emit_python_function(out, name, fn, indent):
    try:
        sig = str(inspect.signature(fn))
    except (TypeError, ValueError):
        sig = "(*args, **kwargs)"
    sig = re.sub(r"=[^,)]+", "=...", sig)
    out.append(indent + "def %s%s -> Any:" % (name, sig))
    out.extend(doc_lines(inspect.getdoc(fn), indent + INDENT) or [indent + INDENT + "..."])


def emit_enum(out, e):
    out.append("class %s(enum.IntEnum):" % e.__name__)
    out.extend(doc_lines(e.__doc__, INDENT))
    for member in e:
        out.append(INDENT + "%s = %d" % (member.name, member.value))
    out.append("")


def emit_class(out, cls, table_names):
    base = cls.__bases__[0]
    out.append("class %s(%s):" % (cls.__name__, base.__name__ if base is not object else "object"))
    out.extend(doc_lines(cls.__doc__, INDENT))
    try:
        infos = {i.python_name: i for i in lumox.properties(cls)}
        infos.update({i.name: i for i in lumox.properties(cls)})
    except TypeError:
        infos = {}
    if issubclass(cls, lumox.Component):
        out.append(INDENT + "def __init__(self, owner: Optional[Component] = None, "
                   "**properties: Any) -> None: ...")
    elif cls in table_names:
        out.append(INDENT + "def __init__(self, **properties: Any) -> None: ...")
    for name, value in cls.__dict__.items():
        if name.startswith("__") and name not in SPECIAL:
            continue
        if type(value).__name__ == "getset_descriptor" and name in infos:
            info = infos[name]
            getter, setter = property_types(info)
            writable = info.kind == "Event" or not info.read_only
            emit_property(out, name, getter, setter, value.__doc__, writable)
        elif isinstance(value, property):
            sigs, _ = pybind_signatures(value.fget) if value.fget else ([], "")
            getter = clean_type(sigs[0][2]) if sigs else "Any"
            setter = "Any"
            if value.fset is not None:
                ssigs, _ = pybind_signatures(value.fset)
                if ssigs:
                    params = split_params(ssigs[0][1])
                    setter = clean_type(params[1].partition(": ")[2]) if len(params) > 1 else "Any"
            emit_property(out, name, getter, setter, value.__doc__, value.fset is not None)
        elif isinstance(value, types.FunctionType):
            emit_python_function(out, name, value, INDENT)
        elif hasattr(value, "__func__") or type(value).__name__ == "instancemethod":
            emit_builtin(out, name, getattr(value, "__func__", value), INDENT, True)
        elif callable(value):
            emit_builtin(out, name, value, INDENT, True)
    out.append("")


def main(target):
    out = [HEADER]
    classes = lumox.classes()
    extra = [lumox.Owner, lumox.Application]
    enums = sorted({v for v in vars(lumox).values()
                    if isinstance(v, type) and issubclass(v, enum.IntEnum) and v.__module__ == "lumox"},
                   key=lambda e: e.__name__)
    for e in enums:
        emit_enum(out, e)
    creatable = {}
    for cls in classes:
        creatable[cls] = cls
    for cls in classes + extra:
        emit_class(out, cls, creatable)
    # Library names of classes and enumerations, and the module's functions.
    for name, value in sorted(vars(lumox).items()):
        if name.startswith("_"):
            continue
        if isinstance(value, type) and value.__name__ != name and value.__module__ == "lumox":
            out.append("%s = %s" % (name, value.__name__))
        elif isinstance(value, int) and not isinstance(value, bool):
            out.append("%s: int" % name)
    out.append("")
    for name, value in sorted(vars(lumox).items()):
        if name.startswith("_"):
            continue
        if type(value).__name__ == "builtin_function_or_method":
            emit_builtin(out, name, value, "", False)
    with open(target, "w") as f:
        f.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main(sys.argv[1])
