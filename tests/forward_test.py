"""limes/fwd.h names each class, record and enumeration that the headers of the library define, as
what it is. usage: forward_test.py SOURCE_DIR"""

import pathlib
import re
import sys

headers = pathlib.Path(sys.argv[1]) / "limes"
NAMES = r"^(class|struct|enum class) (?:LIMES_EXPORT )?(?!LIMES_EXPORT)(\w+)\b(?!::)(?: final)?"


def defined(header):
    """Outside of detail."""
    text = re.sub(r"^namespace (?:limes::)?\w+ {$.*?^}  // namespace (?:limes::)?(?!limes$)\w+$", "",
                  header.read_text().replace("namespace limes {", ""), flags=re.S | re.M)
    text = re.sub(r"^template <>\n.*", "", text, flags=re.M)
    return set(re.findall(NAMES + r"(?:[^;{]*|[^;{]*: [^;{]*){", text, re.M))


forward = headers / "fwd.h"
wanted = {name for header in headers.glob("*/*.h") if header.parent.name != "c"
          for name in defined(header)}
found = set(re.findall(NAMES + r"(?: : [\w:]+)?;", forward.read_text(), re.M))
for title, names in (("missing", wanted - found), ("not there any more", found - wanted)):
    if names:
        sys.exit(f"limes/fwd.h: {title}: " + ", ".join(" ".join(name) for name in sorted(names)))
