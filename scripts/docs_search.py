#!/usr/bin/env python3
"""Writes what the search of the site looks through, of the words that Doxygen has gathered and the
headings of the Python reference, with how it is looked through.

usage: docs_search.py SEARCHDATA_XML PYTHON_PAGES FIND_JS OUTPUT
"""

import html
import json
import pathlib
import re
import sys
import xml.etree.ElementTree as xml

searchdata, pages, find, output = map(pathlib.Path, sys.argv[1:])
entries = []


def name_of(field):
    """Of a page its title, as Doxygen names it by its file."""
    page = output.parent / field["url"].partition("#")[0]
    title = field["type"] == "page" and re.search("<title>limes: (.*?)</title>", page.read_text())
    return html.unescape(title[1]) if title else field["name"]


for doc in xml.parse(searchdata).getroot():
    field = {f.get("name"): " ".join((f.text or "").split()) for f in doc}
    if field["type"] not in ("source", "file") and not field["url"].startswith("python_"):
        entries.append([field["type"], name_of(field), field["url"], field["text"]])
for page in sorted(pages.glob("*.md")):
    head, *sections = re.split(r"^(?=#+ )", page.read_text(), flags=re.M)
    where = None
    for section in sections:
        title, anchor, text = re.match(r"#+ (.*) {#(\w+)}\n(.*)", section, re.S).groups()
        where = where or anchor + ".html"
        plain = re.sub(r"```\w*|\\subpage \w+|\\(?=[^\w\s])", "", text)
        entries.append(["python", title, f"{where}#{anchor}", " ".join(plain.split())])
output.write_text(
    f"const limesPages = {json.dumps(entries, ensure_ascii=False)};\n" + find.read_text()
)
