#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Every line of JSON that quorix-decompress prints about real files, good and bad, is as its schema says.

usage: schema_test.py QUORIX_DECOMPRESS SCHEMA

The files are those of Debian's python3-pydicom: images, plans, reports, directories, and what is none of these.
"""

import collections
import json
import os
import subprocess
import sys
import tempfile

import jsonschema
import pydicom


def main(program, path):
    with open(path, encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    inputs = [os.path.join(os.path.dirname(pydicom.__file__), "data", "test_files"), program, "missing"]
    kinds = collections.Counter()
    with tempfile.TemporaryDirectory() as folder:
        manifest = os.path.join(folder, "manifest")
        with open(manifest, "w", encoding="utf-8") as file:
            file.write('{"file":"gone","frame":0}\n')
        for arguments in (["--all-frames", "-o", folder + "/"], ["--format", "none", "--by-contract"], ["--info"],
                          ["--audit", manifest + "2", "--audit-against", manifest]):
            run = subprocess.run([program, "--json", *arguments, *inputs], capture_output=True, check=False)
            for line in map(json.loads, run.stdout.splitlines()):
                error = jsonschema.exceptions.best_match(validator.iter_errors(line))
                assert error is None, (error.message, line)
                kinds[line.get("outcome") or ("info" if "type" in line else next(iter(line)))] += 1
    assert kinds["summary"] == 4 and kinds["difference"] > 100 and all(kinds[kind] > 5 for kind in ("decoded", "no-image", "not-dicom", "failed", "info")), kinds
    # What it is there for: a field that nobody described, or one that is gone.
    for wrong in ({**line, "more": 1}, {}, {"summary": {**line["summary"], "frames": -1}}):
        assert not validator.is_valid(wrong), wrong
    print(dict(kinds))


if __name__ == "__main__":
    main(*sys.argv[1:])
