"""Writes the type stubs of a built module, of the signatures in its docstrings.

usage: stubs.py MODULE_FOLDER STUBS_FILE
"""

import re
import sys
import types

# What a docstring calls an object, by the name of its parameter or property.
OBJECTS = {
    "covered": "npt.NDArray[np.bool_] | None",
    "curves": "Iterable[CSigCurveExt]",
    "positions": "npt.ArrayLike | None",
    "samples": "npt.ArrayLike",
    "scores": "npt.ArrayLike",
    "values": "npt.ArrayLike",
    "x": "npt.ArrayLike",
    "y": "npt.ArrayLike",
}
RETURNS = {
    "CDefectReportOrdner.Ordered": "list[CDefectReport]",
    "CSigCurveExt.over": "CSigCurveExt",
    "CSigPairsTm.end": "np.datetime64",
    "CSigPairsTm.start": "np.datetime64",
    "CSigPairsTm.times": "npt.NDArray[np.datetime64]",
    "CSigPairsVM.specification": "tuple[str, ...]",
}
TYPES = [
    (r"\blimes\._limes\.|(?<![\w.])_limes\.", ""),
    (r"\bnumpy\.ndarray\[numpy\.(\w+)\]", r"npt.NDArray[np.\1]"),
    (r"\bnumpy\.ndarray\[bool\]", "npt.NDArray[np.bool_]"),
    (r"\bnumpy\.", "np."),
    (r"\b(?:Tuple|List|Dict)\b", lambda m: m[0].lower()),
    (r"\btuple\b(?!\[)", "tuple[Any, ...]"),
    (r"\bOptional\[((?:[^][]|\[[^]]*\])*)\]", r"\1 | None"),
    (r"\bdict\b(?!\[)", "dict[Any, Any]"),
    (r"\blist\b(?!\[)", "list[Any]"),
]
OVERRIDING = {"CSigPairsTm": ("NeuesPaar", "WertBei")}
HEAD = """from collections.abc import Iterable
from typing import Any, ClassVar, overload

import numpy as np
import numpy.typing as npt

"""


def plain(text):
    for pattern, replacement in TYPES:
        text = re.sub(pattern, replacement, text)
    return text


def parameter(text, special):
    if ":" not in text:
        return text
    name, kind = re.match(r"(\w+): (.*)", plain(text)).groups()
    kind, _, default = kind.partition(" = ")
    if name == "self":
        return name
    if special:
        name = "_" + name
        kind = "object" if special == "__eq__" else kind
    elif kind in ("object", "Iterable", "iterable") or "NDArray" in kind:
        kind = OBJECTS.get(name, "Any")
    if default == "None" and kind != "Any" and "None" not in kind:
        kind += " | None"
    return f"{name}: {kind}" + (" = ..." if default else "")


def split(parameters):
    """At the commas outside of brackets."""
    return [p.strip() for p in re.split(r",(?![^\[(]*[\])])", parameters) if p.strip()]


def signatures(function):
    name = function.__name__
    lines = re.findall(rf"^(?:\d+\. )?{name}\((.*)\) -> (.*)$", function.__doc__ or "", re.M)
    return lines


def functions(owner, name, function, static=False):
    function = getattr(function, "__func__", function)
    special = name if name.startswith("__") and name != "__init__" else ""
    found = signatures(function)
    for parameters, result in found[:1] if special == "__eq__" else found:
        if len(found) > 1 and special != "__eq__":
            yield "@overload"
        if static:
            yield "@staticmethod"
        takes = ", ".join(parameter(p, special) for p in split(parameters))
        kind = RETURNS.get(f"{owner}.{name}", plain(result))
        kind = "str" if name == "_repr_html_" else "Any" if kind == "object" else kind
        ignored = "  # type: ignore[override]" if name in OVERRIDING.get(owner, ()) else ""
        yield f"def {name}({takes}) -> {kind}: ...{ignored}"


def property_lines(owner, name, value):
    kind = re.search(r"-> (.*)", value.fget.__doc__ or "")
    kind = RETURNS.get(f"{owner}.{name}", plain(kind[1]) if kind else "Any")
    if value.fset is not None:
        yield f"{name}: {kind}"
    else:
        yield "@property"
        yield f"def {name}(self) -> {kind}: ..."


def class_lines(made):
    name = made.__name__
    members = getattr(made, "__members__", None)
    for member in members or ():
        yield f"{member}: ClassVar[{name}]"
    if members:
        yield f"__members__: ClassVar[dict[str, {name}]]"
    for key, value in made.__dict__.items():
        if isinstance(value, staticmethod):
            yield from functions(name, key, value, static=True)
        elif isinstance(value, property) and key not in ("__doc__", "__members__"):
            yield from property_lines(name, key, value)
        elif callable(value) and not isinstance(value, type):
            yield from functions(name, key, value)


def module_lines(module):
    for name, value in sorted(vars(module).items()):
        if isinstance(value, type) and value.__name__ != name:
            yield f"{name} = {value.__name__}"
        elif isinstance(value, type):
            bases = [base.__name__ for base in value.__bases__ if base.__module__ == value.__module__]
            yield f"class {name}" + (f"({bases[0]})" if bases else "") + ":"
            yield from ("    " + line for line in list(class_lines(value)) or ["pass"])
        elif isinstance(value, types.ModuleType):
            yield f"class {name}:"
            for key, function in sorted(vars(value).items()):
                if not key.startswith("__"):
                    yield from ("    " + line for line in functions(name, key, function, static=True))
        elif callable(value):
            yield from functions("", name, value)


def main(folder, target):
    sys.path.insert(0, folder)
    import _limes

    with open(target, "w", encoding="utf-8") as out:
        out.write(HEAD + "__version__: str\n\n" + "\n".join(module_lines(_limes)) + "\n")


main(*sys.argv[1:])
