#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""schema_test.py QUORIX_DECOMPRESS SCHEMA: what --json prints of pydicom's files, good and bad, is as the schema says."""

import collections
import json
import os
import pathlib
import subprocess
import sys
import tempfile

import jsonschema
import pydicom


def main(program, path):
    schema = json.loads(pathlib.Path(path).read_text(encoding="utf-8"))
    validator = jsonschema.Draft202012Validator(schema)
    validator.check_schema(schema)
    inputs = [os.path.dirname(pydicom.__file__) + "/data/test_files", program, "missing"]
    kinds = collections.Counter()
    with tempfile.TemporaryDirectory() as folder:
        manifest = os.path.join(folder, "manifest")
        pathlib.Path(manifest).write_text('{"file":"gone","frame":0}\n', encoding="utf-8")
        for arguments in (["--all-frames", "-o", folder + "/"], ["--format", "none", "--by-contract", "--region", "1,2,3,4"], ["--info"],
                          ["--audit", manifest + "2", "--audit-against", manifest]):
            run = subprocess.run([program, "--json", *arguments, *inputs], capture_output=True, check=False)
            for line in map(json.loads, run.stdout.splitlines()):
                error = jsonschema.exceptions.best_match(validator.iter_errors(line))
                assert error is None, (error.message, line)
                kinds[line.get("outcome") or ("info" if "type" in line else next(iter(line)))] += 1
    assert kinds["summary"] == 4 and kinds["difference"] > 100, kinds
    assert all(kinds[kind] > 5 for kind in ("decoded", "no-image", "not-dicom", "failed", "info")), kinds
    # What it is there for: a field that nobody described, or one that is gone.
    for wrong in ({**line, "more": 1}, {}, {"summary": {**line["summary"], "frames": -1}}):
        assert not validator.is_valid(wrong), wrong


if __name__ == "__main__":
    main(*sys.argv[1:])
