#!/usr/bin/env python3
"""Writes ZIP archives for the restore tests with Python's zipfile.

    craft_zip.py entries OUT SPEC...   one entry per SPEC, in order:
                                       "path=content" a file, "path->target" a
                                       symbolic link, "path/" a directory
    craft_zip.py tree OUT FOLDER       every item below FOLDER's parent that is
                                       in FOLDER, deflated, with data
                                       descriptors and one ZIP64 entry
"""
import os
import stat
import sys
import zipfile


def link_info(name, mode=0o777):
    info = zipfile.ZipInfo(name)
    info.create_system = 3
    info.external_attr = (stat.S_IFLNK | mode) << 16
    return info


class Unseekable:
    """A stream without tell/seek: zipfile then writes data descriptors."""

    def __init__(self, raw):
        self.raw = raw

    def write(self, data):
        return self.raw.write(data)

    def flush(self):
        self.raw.flush()


def entries(out, specs):
    with zipfile.ZipFile(out, "w") as archive:
        for spec in specs:
            if "->" in spec:
                name, target = spec.split("->", 1)
                archive.writestr(link_info(name), target)
            elif spec.endswith("/"):
                archive.writestr(zipfile.ZipInfo(spec), b"")
            else:
                name, content = spec.split("=", 1)
                archive.writestr(name, content)


def tree(out, folder):
    parent = os.path.dirname(os.path.abspath(folder))
    with open(out, "wb") as raw:
        with zipfile.ZipFile(Unseekable(raw), "w", compression=zipfile.ZIP_DEFLATED) as archive:
            for root, dirs, files in os.walk(folder):
                for name in sorted(dirs) + sorted(files):
                    path = os.path.join(root, name)
                    arcname = os.path.relpath(path, parent)
                    if os.path.islink(path):
                        archive.writestr(link_info(arcname), os.readlink(path))
                    else:
                        archive.write(path, arcname)
            with archive.open("Data/zip64.txt", "w", force_zip64=True) as entry:
                entry.write(b"ZIP64 extra field\n" * 100)


if __name__ == "__main__":
    mode, out = sys.argv[1], sys.argv[2]
    if mode == "entries":
        entries(out, sys.argv[3:])
    else:
        tree(out, sys.argv[3])
