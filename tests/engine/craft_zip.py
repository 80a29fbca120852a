#!/usr/bin/env python3
"""ZIP archives for the restore tests, written by Python's zipfile.

craft_zip.py entries OUT ENTRY... "path=content" file, "path->target" link, "path/" folder
"""
import stat
import sys
import zipfile


def link(name):
    info = zipfile.ZipInfo(name)
    info.create_system = 3
    info.external_attr = (stat.S_IFLNK | 0o777) << 16
    return info


mode, out, rest = sys.argv[1], sys.argv[2], sys.argv[3:]
if mode != "entries":
    sys.exit("unknown mode " + mode)
with zipfile.ZipFile(out, "w") as archive:
    for entry in rest:
        if "->" in entry:
            archive.writestr(link(entry.split("->")[0]), entry.split("->", 1)[1])
        elif entry.endswith("/"):
            archive.writestr(zipfile.ZipInfo(entry), b"")
        else:
            archive.writestr(*entry.split("=", 1))
