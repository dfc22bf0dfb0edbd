#!/usr/bin/env python3
"""Zips what is in a folder, always to the same bytes: in the order of names, a jar's manifest first, with the date of
SOURCE_DATE_EPOCH.

    zip_folder.py FOLDER FILE
"""
import os
import pathlib
import sys
import time
import zipfile


def main(folder, target):
    moment = time.gmtime(int(os.environ["SOURCE_DATE_EPOCH"]))[:6]
    files = sorted(path for path in folder.rglob("*") if path.is_file())
    files.sort(key=lambda path: path.name != "MANIFEST.MF")
    with zipfile.ZipFile(target, "w") as archive:
        for file in files:
            entry = zipfile.ZipInfo(file.relative_to(folder).as_posix(), moment)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = 0o100644 << 16
            archive.writestr(entry, file.read_bytes())


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), sys.argv[2])
