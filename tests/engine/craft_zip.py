#!/usr/bin/env python3
"""ZIP archives for the restore tests, written by Python's zipfile.

craft_zip.py entries OUT ENTRY... "path=content" file, "path->target" link, "path/" folder
craft_zip.py tree OUT FOLDER      FOLDER with its name, deflated, streamed (data
                                  descriptors), plus one entry with a ZIP64 extra field
"""
import os
import stat
import sys
import zipfile


def link(name):
    info = zipfile.ZipInfo(name)
    info.create_system = 3
    info.external_attr = (stat.S_IFLNK | 0o777) << 16
    return info


class Unseekable:
    def __init__(self, raw):
        self.write, self.flush = raw.write, raw.flush


mode, out, rest = sys.argv[1], sys.argv[2], sys.argv[3:]
if mode == "entries":
    with zipfile.ZipFile(out, "w") as archive:
        for entry in rest:
            if "->" in entry:
                archive.writestr(link(entry.split("->")[0]), entry.split("->", 1)[1])
            elif entry.endswith("/"):
                archive.writestr(zipfile.ZipInfo(entry), b"")
            else:
                archive.writestr(*entry.split("=", 1))
else:
    parent = os.path.dirname(rest[0])
    with open(out, "wb") as raw, zipfile.ZipFile(Unseekable(raw), "w", zipfile.ZIP_DEFLATED) as archive:
        for root, dirs, files in os.walk(rest[0]):
            for path in (os.path.join(root, name) for name in dirs + files):
                name = os.path.relpath(path, parent)
                if os.path.islink(path):
                    archive.writestr(link(name), os.readlink(path))
                else:
                    archive.write(path, name)
        with archive.open("Data/zip64.txt", "w", force_zip64=True) as entry:
            entry.write(b"ZIP64 extra field\n" * 100)
