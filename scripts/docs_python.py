#!/usr/bin/env python3
"""Writes the reference of the Python package, of its docstrings: a page for each class, one for all
functions. Fails, with their names, when something public has no docstring.

usage: docs_python.py PACKAGE_FOLDER PAGES_FOLDER
"""

import enum
import inspect
import pathlib
import re
import sys

sys.path.insert(0, sys.argv[1])
import limes  # noqa: E402

undocumented = []


def is_enum(made):
    return hasattr(made, "__members__")


def name_of(thing, names):
    """The English one of the names of a thing, and that of C++ where it is another one."""
    given = [name for name in names if name != getattr(thing, "__name__", name)] or names
    english, *_ = sorted(given, key=lambda name: (name[0].isupper() and name[1:2].isupper(), name))
    others = [name for name in names if name != english]
    return english, others[0] if others else ""


def by_thing(scope, names):
    """(thing, English name, name in C++) of what has these names."""
    found = {}
    for name in names:
        thing = scope[name]
        thing = thing.__func__ if isinstance(thing, (staticmethod, classmethod)) else thing
        found.setdefault(id(thing), (thing, []))[1].append(name)
    return sorted(
        ((thing, *name_of(thing, given)) for thing, given in found.values()), key=lambda m: m[1]
    )


def shown(signature):
    """Without what a reader does not need: modules, self, quotes of annotations."""
    signature = re.sub(r"\b(self|cls)(: [\w.]+)?(, )?", "", signature)
    signature = re.sub(r"(: |-> )'([^']*)'", r"\1\2", signature)
    return re.sub(r"\b(?:limes\.)?_limes\.", "", signature)


def told(thing, name):
    """Signatures and text of a thing."""
    is_property = isinstance(thing, property)
    own = "" if is_property else getattr(thing, "__name__", name)
    called = rf"(?:\d+\. )?{re.escape(own)}(\(.*\)(?: -> .*)?)"
    lines = (inspect.getdoc(thing) or "").splitlines()
    text = [x for x in lines if not re.fullmatch(called, x) and x != "Overloaded function."]
    source = (thing.fget.__doc__ or "").splitlines() if is_property else lines
    signatures = [m[1] for m in (re.fullmatch(called, line) for line in source) if m]
    if not signatures and (is_property or callable(thing) and not inspect.isclass(thing)):
        signatures = [str(inspect.signature(thing.fget if is_property else thing))]
    if is_property:
        signatures = [re.sub(r"^.* -> ", " -> ", signature) for signature in signatures]
    return [name + shown(signature) for signature in signatures], "\n".join(text).strip()


def as_markdown(text):
    for paragraph in re.split(r"\n\s*\n", text):
        if paragraph.startswith(">>> "):
            yield f"```py\n{paragraph}\n```\n"
        else:
            yield re.sub(r"([\\`*\[\]<>@#&$%\"])", r"\\\1", paragraph).replace("--", "\\--") + "\n"


def item(thing, full, name, cpp, anchor, level="##"):
    signatures, text = told(thing, name)
    yield f"{level} {full} {{#{anchor}}}\n"
    if signatures:
        yield "```py\n" + "\n".join(signatures) + "\n```\n"
    if not text:
        undocumented.append(f"{full} ({cpp})" if cpp else full)
    yield from as_markdown(text)
    if cpp:
        yield f"In C++: {cpp}.\n"


def members(made):
    """The public ones of a class or of a module, without those of what it is made of."""
    bases = [] if inspect.ismodule(made) else made.__mro__[:-1]
    scope = dict(vars(made))
    for base in bases:
        scope = {**vars(base), **scope}
    without = {"name", "value"} if is_enum(made) else set()
    fields = getattr(made, "__dataclass_fields__", {})
    names = [
        name for name, member in scope.items()
        if not name.startswith("_") and name not in without and name not in fields
        and (callable(member) or isinstance(member, (property, staticmethod, classmethod)))
        and not isinstance(member, enum.Enum)
    ]  # fmt: skip
    return by_thing(scope, names)


def class_page(made, name, cpp):
    yield from item(made, f"limes.{name}", name, cpp, f"python_{name}", "#")
    if is_enum(made):
        for value, member in made.__members__.items():
            yield f"- {value}" + (f": {member.text}" if hasattr(member, "text") else "")
        yield ""
    for thing, member, other in members(made):
        yield from item(thing, f"{name}.{member}", member, other, f"python_{name}_{member}")


def first(name, thing):
    """An entry of the index: the first sentence of a thing."""
    sentence, *_ = re.split(r"(?<=[.:]) |\n", told(thing, name)[1] + "\n")
    yield f"- \\subpage python_{name}"
    yield from ("  " + line for line in as_markdown(sentence))


def main(folder):
    folder.mkdir(parents=True, exist_ok=True)
    for old in folder.glob("*.md"):
        old.unlink()
    scope = {name: getattr(limes, name) for name in [*limes.__all__, "LimitEstimator"]}
    public = by_thing(scope, [name for name in scope if not name.startswith("__")])
    index = ["# Python reference {#python}\n", *as_markdown(inspect.getdoc(limes))]
    functions = ["# limes: functions {#python_functions}\n"]
    for thing, name, cpp in public:
        if inspect.isclass(thing) or inspect.ismodule(thing):
            (folder / f"{name}.md").write_text("\n".join(class_page(thing, name, cpp)))
            index += first(name, thing)
        else:
            functions += item(thing, f"limes.{name}", name, cpp, f"python_{name}")
    (folder / "functions.md").write_text("\n".join(functions))
    index.append("- \\subpage python_functions\n")
    (folder / "python.md").write_text("\n".join(index))
    if undocumented:
        sys.exit("no docstring: " + ", ".join(undocumented))


main(pathlib.Path(sys.argv[2]))
