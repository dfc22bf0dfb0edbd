#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""schema_test.py QUORIX_DECOMPRESS SCHEMA [FOLDER...]: an archive of what pydicom can make, its test files and the folders:
outcomes, counts, exits and reports, and every line as the schema says."""

import collections
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import warnings

import jsonschema
import pydicom
from pydicom import uid
from pydicom.dataset import Dataset, FileDataset, FileMetaDataset

import cli_test

FILES = os.path.dirname(pydicom.__file__) + "/data/test_files"


def item(**attributes):
    dataset = Dataset()
    for name, value in attributes.items():
        setattr(dataset, name, value)
    return [dataset]


WITHOUT_IMAGE = {
    uid.RTPlanStorage: {"BeamSequence": item(BeamName="1", ControlPointSequence=item(GantryAngle="0"))},
    uid.ComprehensiveSRStorage: {"ContentSequence": item(ValueType="TEXT", TextValue="no finding")},
    uid.GrayscaleSoftcopyPresentationStateStorage: {"GraphicAnnotationSequence": item(GraphicLayer="A")},
    uid.TwelveLeadECGWaveformStorage: {"WaveformSequence": item(WaveformBitsAllocated=16, WaveformData=b"\0\1" * 500)},
    uid.EncapsulatedPDFStorage: {"EncapsulatedDocument": b"%PDF-1.4\n%"},
    uid.MediaStorageDirectoryStorage: {"DirectoryRecordSequence": item(IconImageSequence=item(Rows=1, BitsAllocated=8, PixelData=b"\1\2"))},
}


def make_archive():
    """Below "tree"; the outcome of every file in it."""
    meta = FileMetaDataset()
    meta.TransferSyntaxUID, meta.MediaStorageSOPInstanceUID = uid.ExplicitVRLittleEndian, "1.2.3"
    table = {}
    for kind, attributes in WITHOUT_IMAGE.items():
        meta.MediaStorageSOPClassUID = kind
        file = FileDataset(kind, item(SOPClassUID=kind, SOPInstanceUID="1.2.3", **attributes)[0], file_meta=meta, preamble=bytes(128))
        file.is_little_endian, file.is_implicit_VR = True, False
        file.save_as("tree/" + kind)
        table["tree/" + kind] = "no-image"
    image = cli_test.IMAGES["grey12"][0]
    bare = pydicom.dcmread(FILES + "/CT_small.dcm")
    bare.preamble, bare.file_meta, bare.is_implicit_VR = None, FileMetaDataset(), True
    bare.save_as("tree/bare")
    spectra = cli_test.dicom(b"", 5, 6, extra=((0x56000020, "UN", bytes(8)),))
    for name, outcome, content in (
            ("image", "decoded", image), ("meta", "decoded", image[132:]), ("spectra", "no-image", cli_test.without_pixels(spectra)),
            ("text", "not-dicom", b"text\n" * 40), ("nothing", "not-dicom", b""), ("page.pdf", "not-dicom", b"%PDF-1.4\n" * 30),
            ("lost", "failed", cli_test.without_pixels(image)), ("cut", "failed", image[:-20]),
            ("torn", "failed", cli_test.without_image(image)[:-3]), ("wide", "failed", cli_test.dicom(bytes(120), 5, 6, allocated=32))):
        pathlib.Path("tree", name).write_bytes(content)
        table["tree/" + name] = outcome
    return {**table, "tree/bare": "decoded"}


class Runs:
    def __init__(self, program, schema):
        self.program = program
        self.validator = jsonschema.Draft202012Validator(schema)
        self.validator.check_schema(schema)
        self.kinds = collections.Counter()

    def run(self, *arguments, status=2):
        """The lines of --json, all valid; the summary comes last. What is said to people."""
        done = subprocess.run([self.program, "--json", *arguments], capture_output=True, check=False)
        assert done.returncode == status, (arguments, done)
        lines = [json.loads(line) for line in done.stdout.splitlines()]
        for line in lines:
            error = jsonschema.exceptions.best_match(self.validator.iter_errors(line))
            assert error is None, (error.message, line)
            self.kinds[line.get("outcome") or ("info" if "type" in line else next(iter(line)))] += 1
        return lines, done.stderr.decode()

    def check_archive(self, table):
        failed = {name: outcome for name, outcome in table.items() if outcome == "failed"}
        sound = {name: outcome for name, outcome in table.items() if outcome in ("decoded", "no-image")}
        for name, names in (("all", table), ("sound", sound)):
            pathlib.Path(name).write_text("\n".join(names), encoding="utf-8")
        objects = ["tree/" + kind for kind in WITHOUT_IMAGE]
        resume = ["--resume", "-o", "out", "--list"]
        for arguments, status, told, skipped in (
                (["tree", "-o", "flat", "--report", "report"], 2, table, 0), (["tree", "--strict", "-o", "flat"], 2, table, 0),
                (objects, 0, {name: "no-image" for name in objects}, 0), (["--strict", *objects], 4, {name: "no-image" for name in objects}, 0),
                (["tree/text", "--quiet"], 4, {"tree/text": "not-dicom"}, 0), (resume + ["all"], 2, table, 0),
                # Nothing but what failed is tried again; what was named and is no DICOM stays a failure.
                (resume + ["all"], 2, failed, len(table) - len(failed)), (resume + ["sound"], 0, {}, len(sound)),
                (resume + ["sound", "--strict"], 2, {}, len(sound))):
            lines, text = self.run(*arguments, status=status)
            counts = collections.Counter(told.values(), skipped=skipped)
            assert ("summary" in lines[-1], " inputs: " in text) == ("--quiet" not in arguments,) * 2, (arguments, text)
            assert "--quiet" in arguments or +collections.Counter(lines.pop()["summary"]["inputs"]) == +counts, arguments
            assert {line["file"]: line["outcome"] for line in lines} == told, (arguments, lines)
            assert arguments[-1] != objects[-1] or ("code 6" in text) == ("--strict" in arguments), text
        summary = json.loads(pathlib.Path("report").read_text(encoding="utf-8").splitlines()[-1])["summary"]
        assert summary["bytes_written"] == sum(os.path.getsize("flat/" + name) for name in os.listdir("flat")), summary
        counts = collections.Counter({**table, **dict.fromkeys(failed, "decoded"), "tree/torn": "failed"}.values())
        assert +collections.Counter(self.run("tree", "--info", "--strict")[0][-1]["summary"]["inputs"]) == counts

    def check_folders(self, folders):
        for line in self.run("--all-frames", "-o", "many/", "--jobs", "2", *folders)[0][:-1]:
            with warnings.catch_warnings():
                warnings.simplefilter("ignore")
                if line["outcome"] in ("decoded", "no-image") and "damaged" not in line["file"]:
                    assert ("PixelData" in pydicom.dcmread(line["file"], force=True)) == (line["outcome"] == "decoded"), line
        pathlib.Path("other").write_text('{"file":"gone","frame":0}\n', encoding="utf-8")
        for arguments in (["--format", "none", "--by-contract", "--region", "1,2,3,4"], ["--info"], ["--audit", "manifest", "--audit-against", "other"]):
            self.run(*arguments, *folders, self.program, "missing")


def main(program, path, *folders):
    runs = Runs(os.path.abspath(program), json.loads(pathlib.Path(path).read_text(encoding="utf-8")))
    folders = [FILES] + [os.path.abspath(folder) for folder in folders if os.path.isdir(folder)]
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        os.mkdir("tree")
        runs.check_archive(make_archive())
        runs.check_folders(folders)
        os.chdir("/")
    assert all(runs.kinds[kind] > 5 for kind in ("decoded", "no-image", "not-dicom", "failed", "info", "summary", "difference")), runs.kinds
    # What the schema is there for: a field that nobody described, or one that is gone.
    line = runs.run(FILES + "/CT_small.dcm", "--format", "none", status=0)[0][0]
    for wrong in ({**line, "more": 1}, {}, {"summary": {"frames": -1}}):
        assert not runs.validator.is_valid(wrong), wrong


if __name__ == "__main__":
    main(*sys.argv[1:])
