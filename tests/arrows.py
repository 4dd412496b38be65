"""arrows.py ROOT: refuses an include that runs against the order of the folders. The linker would
let one of a header alone through.
"""
import pathlib
import re
import sys

# A folder, and those it stands on directly; it may include what they may, too. The sources of a
# folder belong to the nearest one above them that is named here; others are free.
STANDS_ON = {
    "lib/ulib": "",
    "lib/digest": "lib/ulib",
    "lib/frag/tree": "lib/ulib",
    "lib/frag/import": "lib/frag/tree",
    "lib/frag/objects": "lib/frag/import",
    "lib/frag/layout": "lib/frag/objects",
    "lib/frag/export": "lib/frag/layout",
    "lib/kdev": "lib/ulib",
    "lib/fwall/table": "lib/kdev lib/digest",
    "lib/fwall/log": "lib/fwall/table",
    "lib/fwall/match": "lib/fwall/log",
    "lib/fwall/access": "lib/fwall/match",
    "lib/fwall/serve": "lib/fwall/access",
    "lib/clib_names": "lib/fwall/serve",
    "lib/screen": "lib/ulib",
    "flatlink/records": "lib/frag/export lib/kdev",
    "flatlink/derive": "flatlink/records",
    "flatlink": "flatlink/derive",
    "flatctl/common": "flatlink",
    "flatctl/input": "flatctl/common lib/fwall/serve",
    "flatctl/account": "flatctl/input",
    "flatctl/forms": "flatctl/input",
    "flatctl/access": "flatctl/input",
    "flatctl/check": "flatctl/account flatctl/access lib/digest",
    "flatctl": "flatctl/check flatctl/forms",
}


def room(path):
    return next((str(p) for p in pathlib.Path(path).parents if str(p) in STANDS_ON), None)


def below(name):
    return {name}.union(*map(below, STANDS_ON[name].split()))


def includes(root):
    for path in (p for top in ("lib", "flat*") for p in root.glob(top + "/**/*.[ch]*")):
        for header in re.findall(r'^\s*#\s*include\s*["<]([^">]+)', path.read_text(), re.M):
            yield str(path.relative_to(root)), header


bad = [f"{path} includes {header}" for path, header in includes(pathlib.Path(sys.argv[1]))
       if room(path) and room(header) and room(header) not in below(room(path))]
sys.exit("\n".join(sorted(bad)) or 0)
