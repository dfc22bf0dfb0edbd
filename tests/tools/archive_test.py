#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs quorix-decompress over lists of files: shards, resuming, reports, signals and memory.

usage: archive_test.py PROGRAM [unittest arguments]
"""

import collections
import glob
import hashlib
import json
import os
import shutil
import signal
import subprocess
import sys
import time
import unittest

import cli_test
from cli_test import IMAGES, MULTI, dicom

TASK_VARIABLES = ("SLURM_ARRAY_TASK_ID", "SLURM_ARRAY_TASK_COUNT", "SLURM_ARRAY_TASK_MIN", "SLURM_ARRAY_TASK_MAX",
                  "SLURM_ARRAY_TASK_STEP", "JOB_COMPLETION_INDEX")
RECIPES = os.path.realpath(os.path.join(os.path.dirname(__file__), "..", "..", "examples", "archive"))
GREY = IMAGES["grey12"][0]


def is_sanitized():
    with open(cli_test.PROGRAM, "rb") as file:
        return b"__asan_init" in file.read()


class Archive(cli_test.Program):
    def be_task(self, variables):
        """What a batch system puts into the environment of a task, and nothing else of it."""
        for name in TASK_VARIABLES:
            os.environ.pop(name, None)
        os.environ.update({name: str(value) for name, value in variables.items()})

    def setUp(self):
        super().setUp()
        self.be_task({})

    def put_list(self, names, separator="\n"):
        with open(self.put("list", b""), "wb") as file:
            file.writelines(os.fsencode(name) + separator.encode() for name in names)

    def put_sparse(self, name, rows, columns, frames=1):
        """16-bit images whose pixels take no room on the disk."""
        length = rows * columns * frames * 2
        with open(self.put(name, dicom(b"", rows, columns, frames=frames)[:-4]), "ab") as file:
            file.write(length.to_bytes(4, "little"))
            file.truncate(file.tell() + length)
        return name

    def put_images(self, count, side=6):
        names = [f"in/{index % 7}/{index:04}.dcm" for index in range(count)]
        for index, name in enumerate(names):
            self.put(name, dicom(index.to_bytes(2, "little") * side * side, side, side))
        self.put_list(names)
        return names

    def files(self, folder="out"):
        """What is below a folder, as name: contents; the program's own files apart."""
        found = (os.path.relpath(os.path.join(top, name), self.path(folder))
                 for top, _, names in os.walk(self.path(folder)) for name in names)
        return {name: self.get(os.path.join(folder, name)) for name in found if not name.startswith(".quorix")}

    def report(self, name="report"):
        content = self.get(name)
        self.assertTrue(content.endswith(b"\n"))
        return [line for line in map(json.loads, content.splitlines()) if "summary" not in line]

    def start(self, *arguments, program=None, **keywords):
        process = subprocess.Popen([program or cli_test.PROGRAM, *arguments], cwd=self.folder, stderr=subprocess.PIPE,
                                   **keywords)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def wait_for(self, condition, seconds=60):
        end = time.monotonic() + seconds
        while not condition():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.005)

    def assert_nothing_unfinished(self):
        self.assertEqual(glob.glob(self.path("out/.quorix/tmp/*")) + glob.glob(self.path("out/**/*.tmp"), recursive=True), [])

    def edit(self, path, change):
        content = self.get(path)
        self.put(path, change(content))

    def test_shards_are_the_list_exactly(self):
        names = [f"no/{index % 40}" for index in range(61)]  # with names that come twice
        self.put_list(names)
        slurm = {"SLURM_ARRAY_TASK_COUNT": 7, "SLURM_ARRAY_TASK_MIN": 3, "SLURM_ARRAY_TASK_MAX": 15,
                 "SLURM_ARRAY_TASK_STEP": 2}
        for shard, variables in (
                ("{}/7", lambda index: {}),
                ("auto", lambda index: {"SLURM_ARRAY_TASK_ID": index, "SLURM_ARRAY_TASK_COUNT": 7}),
                ("auto", lambda index: {"SLURM_ARRAY_TASK_ID": 3 + 2 * index, **slurm}),
                ("auto/7", lambda index: {"SLURM_ARRAY_TASK_ID": index, "SLURM_ARRAY_TASK_COUNT": 2}),
                ("auto/7", lambda index: {"JOB_COMPLETION_INDEX": index})):
            with self.subTest((shard, variables(0))):
                got = []
                for index in range(7):
                    self.be_task(variables(index))
                    self.run_it("--list", "list", "--shard", shard.format(index), "--format", "none", "--report", f"r{index}",
                                status=4)
                    got.append([line["file"] for line in self.report(f"r{index}")])
                    os.unlink(self.path(f"r{index}"))
                self.assertEqual([got[index % 7][index // 7] for index in range(61)], names)
                self.assertEqual(sum(map(len, got)), 61)
        self.be_task({})
        self.put_list(names[:2])
        self.run_it("--list", "list", "--shard", "5/7", "--format", "none", status=0)  # nothing to do

    def test_wrong_use(self):
        self.put_list(["a"])
        gap = {"SLURM_ARRAY_TASK_ID": "7", "SLURM_ARRAY_TASK_COUNT": "3", "SLURM_ARRAY_TASK_MIN": "1",
               "SLURM_ARRAY_TASK_MAX": "7", "SLURM_ARRAY_TASK_STEP": "1"}
        run = ["--list", "list", "--format", "none"]
        for arguments, variables in [
                *((run + ["--shard", shard], {}) for shard in
                  ("7/7", "-1/3", "x/2", "1", "1/", "/2", "0/0", "1/2/3", "auto", "auto/4", "")),
                (run + ["--shard", "auto"], gap), (run + ["--shard", "auto"], {"SLURM_ARRAY_TASK_ID": "0"}),
                (run + ["--shard", "auto"], {"JOB_COMPLETION_INDEX": "0"}),
                (run + ["--shard", "auto/3"], {"JOB_COMPLETION_INDEX": "3"}),
                (run + ["a"], {}), (run + ["--resume"], {}), (["--list", "list"], {}), (["a", "--resume"], {}),
                (["a", "--shard", "0/2"], {}), *((["a", "--max-memory", value], {}) for value in
                                                 ("", "0", "1T", "1KK", "-1", "K", "9223372036854775808", "9007199254740992K")),
                (["a", "--max-pixels", "0"], {}), (["a", "--max-output", "1T"], {}), (["a", "--report", ""], {})]:
            with self.subTest((arguments, variables)):
                self.be_task(variables)
                self.run_it(*arguments, status=1)
        self.be_task(gap)
        self.assertIn(b"SLURM_ARRAY_TASK_ID is set", self.run_it(*run, status=4).stderr)

    def test_lists_of_every_kind(self):
        odd = ["in/a\nb.dcm", "in/\xe9 \\ *.dcm", os.fsdecode(b"in/\xff\xfe.dcm"), "-"]
        plain = ["in/x.dcm", "./in//x", "in/deep/x.dcm"]
        for name in odd + plain:
            self.put(name, GREY)
        self.put("in/fifo/multi", MULTI)
        outputs = {"-.png", "in/a\nb.dcm.png", "in/\xe9 \\ *.dcm.png", os.fsdecode(b"in/\xff\xfe.dcm.png")}
        for names, separator, more, expected in (
                (odd, "\0", [], outputs),
                (["", *odd[1:], "", ""], "\n", [], outputs - {"in/a\nb.dcm.png"}),
                (plain, "\n", [], {"in/x.dcm.png", "in/x.png", "in/deep/x.dcm.png"}),
                (["in/x", "in/fifo/multi"], "\n", ["--all-frames"],
                 {"in/x_f0000.png", *(f"in/fifo/multi_f000{frame}.png" for frame in range(3))}),
                ([self.path("in/x"), "in/../in/x.dcm"], "\n", [], {self.path("in/x.png")[1:], self.path("in/x.dcm.png")[1:]})):
            content = b"".join(os.fsencode(name) + separator.encode() for name in names)
            self.put("list", content.rstrip(separator.encode()))
            for arguments in (["list"], ["-"]):
                with self.subTest((names, arguments)):
                    self.run_it("--list", *arguments, "-o", "out", *more, stdin=content)
                    self.assertEqual(set(self.files()), expected)
                    subprocess.run(["rm", "-r", self.path("out")], check=True)

    def test_names_that_cannot_be(self):
        self.put("in/x.dcm", GREY)
        self.put("out/y", GREY)
        os.mkfifo(self.path("pipe"))
        head = b"in/x.dcm\n" * 2000
        for name, content, status, text in (
                ("both kinds", b"in/x.dcm\n/etc/hostname\n", 2, b"both absolute and relative"),
                ("input among outputs", b"in/x.dcm\nout/y\n", 2, b"in the output folder"),
                ("own files", b"in/x.dcm\n.quorix/x\n", 2, b"own files"),
                ("folder", b"in/x.dcm\nin\n", 2, b"code 67"),
                ("pipe", b"in/x.dcm\npipe\n", 2, b"code 67"),
                ("too long", b"in/x.dcm\n" + b"a/" * 500000 + b"\nin/x.dcm\n", 2, b"File name too long"),
                ("lines and NUL", head + b"in/x.dcm\0in\n", 2, b"NUL bytes"),
                ("no list", None, 4, b"No such file"),
                ("empty", b"\n\n", 0, b"")):
            with self.subTest(name):
                if content is None:
                    os.unlink(self.path("list"))
                else:
                    self.put("list", content)
                done = self.run_it("--list", "list", "-o", "out", status=status)
                self.assertIn(text, done.stderr)
        self.put("list", b"in")
        self.run_it("--list", "list", "-o", "list", status=3)
        self.assertEqual(self.get("out/y"), GREY)

    def test_resume_skips_what_is_current(self):
        names = self.put_images(12) + ["in/multi.dcm", "in/gone.dcm"]
        run = ["--all-frames", "--list", "list", "-o", "out", "--report", "report"]

        def edit_record(index, change):
            self.edit(f"out/.quorix/records/{names[index]}.png.json", change)

        first, second, frame = (self.path(f"out/{name}_f000{number}.png")
                                for name, number in ((names[1], 0), (names[4], 0), ("in/multi.dcm", 2)))
        for what, change, more, again in (
                ("nothing", lambda: None, [], []),
                ("touched input", lambda: os.utime(self.path(names[1])), [], [1]),
                ("longer input", lambda: self.edit(names[2], lambda c: c + b"\0\0"), [], [2]),
                ("other options", lambda: None, ["--window", "auto"], range(13)),
                ("other window", lambda: None, ["--window", "5,2"], range(13)),
                ("options as at first", lambda: None, [], range(13)),
                ("other version", lambda: edit_record(3, lambda c: c.replace(b'"version":"', b'"version":"9')), [], [3]),
                ("output cut", lambda: os.truncate(second, os.path.getsize(second) - 1), [], [4]),
                ("output gone", lambda: os.unlink(first), [], [1]),
                ("output changed in place", lambda: self.edit(first, lambda c: c[:-1] + b"\0"), [], [1]),
                ("folder instead of an output", lambda: (os.unlink(frame), os.mkdir(frame)), [], [12]),
                ("one frame gone", lambda: os.rmdir(frame) if os.path.isdir(frame) else os.unlink(frame), [], [12]),
                ("record gone", lambda: os.unlink(self.path(f"out/.quorix/records/{names[5]}.png.json")), [], [5]),
                ("record cut", lambda: edit_record(6, lambda c: c[:40]), [], [6]),
                ("record without outputs", lambda: edit_record(7, lambda c: c[:c.index(b"[")] + b"[]}"), [], [7]),
                ("record of another", lambda: edit_record(8, lambda c: self.get(f"out/.quorix/records/{names[9]}.png.json")), [], [8]),
                ("records deep as a well", lambda: edit_record(8, lambda c: b"[" * 1000000), [], [8])):
            with self.subTest(what):
                if what == "nothing":
                    self.put("in/multi.dcm", MULTI)
                    self.put_list(names)
                    self.run_it(*run, status=2)
                    expected = self.files()
                    self.assertEqual(len(expected), 15)
                change()
                self.put("report", b"")
                done = self.run_it(*run, "--resume", *more, status=2)
                self.assertEqual(list(dict.fromkeys(line["file"] for line in self.report())),
                                 [names[index] for index in again] + ["in/gone.dcm"])
                skipped = 13 - len(again)
                self.assertEqual(b", %d skipped" % skipped in done.stderr, skipped > 0)
                if not more and not what.startswith("folder"):
                    self.assertEqual(self.files(), expected)
        # What was made of an input that can no longer be decoded must not pass for it.
        self.put(names[0], GREY[:-20])
        self.run_it(*run, "--resume", status=2)
        self.assertEqual(set(expected) - set(self.files()), {f"{names[0]}_f0000.png"})
        self.assertEqual(b"skipped" in self.run_it(*run, status=2).stderr, False)
        self.assert_nothing_unfinished()

    def test_signals_leave_whole_files(self):
        names = self.put_images(60, side=256)
        self.run_it("--list", "list", "-o", "straight")
        expected = self.files("straight")
        run = ["--list", "list", "-o", "out", "--resume", "--report", "report", "--jobs", "2"]
        for number, status in ((signal.SIGTERM, 5), (signal.SIGINT, 5), (signal.SIGHUP, 5), (signal.SIGKILL, -9)):
            with self.subTest(number):
                process = self.start(*run)
                self.wait_for(lambda: len(self.files()) > 5)
                process.send_signal(number)
                self.assertEqual(process.wait(60), status)
                done = self.files()
                self.assertLess(len(done), 60)
                self.assertEqual(done, {name: expected[name] for name in done})
                if status == 5:
                    self.assertEqual(sorted(line["output"] for line in self.report()), sorted("out/" + name for name in done))
                    self.assert_nothing_unfinished()
                again = self.run_it(*run)
                # A killed process may have finished a file and not said so.
                skipped = int(again.stderr.split(b" skipped")[0].split()[-1])
                self.assertLessEqual(abs(skipped - len(done)), 0 if status == 5 else 2)
                self.assertEqual(self.files(), expected)
                self.assert_nothing_unfinished()
                times = collections.Counter(line["file"] for line in self.report())
                self.assertEqual(set(times), set(names))
                if status == 5:
                    self.assertEqual(set(times.values()), {1})
                subprocess.run(["rm", "-r", self.path("out"), self.path("report")], check=True)

    def test_signal_while_waiting_or_at_work_on_something_long(self):
        pipe = self.start("--list", "-", "-o", "out", stdin=subprocess.PIPE)
        self.addCleanup(pipe.stdin.close)
        frames = self.start(self.put_sparse("many.dcm", 200, 200, 20000), "--all-frames", "-o", "frames/")
        self.put_list([self.put_sparse("large.dcm", 11000, 11000)])
        large = self.start("--list", "list", "-o", "large")
        self.wait_for(lambda: len(self.files("frames")) > 3)
        self.wait_for(lambda: glob.glob(self.path("large/.quorix/tmp/*/.*.tmp")))
        for process in (pipe, frames, large):
            process.send_signal(signal.SIGINT)
        large.send_signal(signal.SIGINT)
        for process in (pipe, frames):
            self.assertEqual(process.wait(60), 5)
        # A fast machine may have finished the image just then; what there must not be is a part of it.
        self.assertIn(large.wait(60), (0, 5))
        self.assertIn(b"stopped before frame", frames.stderr.read())
        self.assertTrue(all(name.endswith(".png") for name in self.files("frames")))
        self.assertIn(sorted(name for _, _, names in os.walk(self.path("large")) for name in names),
                      ([], ["large.dcm.png", "large.dcm.png.json"]))

    def test_reports_of_several_processes(self):
        names = self.put_images(40)
        self.put("report", b'{"file": "earlier"}\n{"file": "ear')  # as a killed process leaves it
        parts = [self.start("--list", "list", "--shard", f"{index}/4", "--format", "none", "--jobs", "2", "--report",
                            "report") for index in range(4)]
        self.assertEqual([part.wait(60) for part in parts], [0] * 4)
        self.assertEqual(sorted(line["file"] for line in self.report()), sorted(["earlier", *names]))
        self.assertEqual([list(line) for line in self.report()[1:]], [cli_test.JSON_FIELDS] * 40)
        self.assertEqual({line["file"]: line["sha256"] for line in self.report()[1:]},
                         {name: hashlib.sha256(index.to_bytes(2, "little") * 36).hexdigest() for index, name in enumerate(names)})
        run = ["--list", "list", "--format", "none", "--report"]
        self.assertIn(b"is no report", self.run_it(*run, names[0], status=3).stderr)
        self.assertIn(b"No space left", self.run_it(*run, "/dev/full", status=3).stderr)
        self.assertEqual(self.run_it(*run, "/dev/stderr", "--quiet").stderr.count(b"\n"), 40)
        # What could not be reported is not taken for done.
        self.run_it("--list", "list", "-o", "out", "--report", "/dev/full", status=3)
        self.run_it("--list", "list", "-o", "out", "--report", "all", "--resume")
        self.assertEqual([line["file"] for line in self.report("all")], names)
        self.run_it(*run, "info", "--info")
        self.assertEqual({line["transfer_syntax"] for line in self.report("info")}, {cli_test.EXPLICIT})

    def recipe(self, name, *arguments, **variables):
        """Starts a script of examples/archive, which finds the programs of the test's folder first."""
        return self.start(*arguments, program=os.path.join(RECIPES, name),
                          env={**os.environ, "QUORIX_DECOMPRESS": cli_test.PROGRAM,
                               "PATH": f"{self.folder}:{os.environ['PATH']}", **variables})

    def put_program(self, name, text):
        os.chmod(self.put(name, text.encode()), 0o755)

    def assert_shards_complete(self, names, shards):
        self.assertEqual(set(self.files()) - {f"report-{index}.jsonl" for index in range(shards)},
                         {name + ".png" for name in names})
        for index in range(shards):
            self.assertEqual({line["file"] for line in self.report(f"out/report-{index}.jsonl")}, set(names[index::shards]))

    def test_a_slurm_task_ends_in_good_order_and_goes_on(self):
        names = self.put_images(700)
        self.put_program("scontrol", '#!/bin/sh\necho "$@" >> requeued\n')
        os.mkfifo(self.path("pipe"))
        task = {"SLURM_ARRAY_JOB_ID": "7", "SLURM_ARRAY_TASK_COUNT": "4"}
        # The one is from scancel, the other a minute before the end of the time.
        for number, requeued in ((signal.SIGTERM, False), (signal.SIGUSR1, True)):
            script = self.recipe("slurm-array.sh", "pipe", "out", SLURM_ARRAY_TASK_ID="2", **task)
            with open(self.path("pipe"), "wb") as pipe:
                pipe.write(self.get("list")[:5000])
                pipe.flush()
                self.wait_for(lambda: len(self.files()) > 5)
                script.send_signal(number)
                self.assertEqual(script.wait(60), 5)
            self.assertEqual(os.path.exists(self.path("requeued")), requeued)
        self.assertEqual(self.get("requeued"), b"requeue 7_2\n")
        for index in range(3):
            self.assertEqual(self.recipe("slurm-array.sh", "list", "out", SLURM_ARRAY_TASK_ID=str(index), **task).wait(60), 0)
        alone = {**task, "SLURM_ARRAY_TASK_COUNT": "1", "SHARDS": "4", "SLURM_ARRAY_TASK_ID": "3"}
        self.assertEqual(self.recipe("slurm-array.sh", "list", "out", **alone).wait(60), 0)
        self.assert_shards_complete(names, 4)

    @unittest.skipUnless(shutil.which("parallel"), "GNU parallel is not installed")
    def test_parallel_tries_shards_again_that_were_killed(self):
        names = self.put_images(40)
        os.rename(self.path("list"), self.path("my list"))
        self.put_program("killed", f'#!/bin/sh\nmkdir "tried-${{4%/*}}" && kill -9 $$\nexec {cli_test.PROGRAM} "$@"\n')
        process = self.recipe("parallel.sh", "my list", "out", "4", "--window", "5,2", PARALLEL_OPTIONS="--will-cite",
                              QUORIX_DECOMPRESS=self.path("killed"))
        self.assertEqual((process.wait(60), len(glob.glob(self.path("tried-*")))), (0, 4), process.stderr.read())
        self.assert_shards_complete(names, 4)

    def peak(self, *arguments, statuses):
        """The most memory that a run had, in KiB; at least what this process has."""
        with open(os.devnull, "wb") as nowhere:
            process = subprocess.Popen([cli_test.PROGRAM, *arguments], cwd=self.folder, stderr=nowhere)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertIn(process.returncode, statuses)
        return usage.ru_maxrss

    def assert_flat(self, prepare, few, many, kibibytes, *arguments):
        if is_sanitized():
            self.skipTest("a sanitizer keeps what was freed")
        peaks = [prepare(count) or self.peak(*arguments, statuses=(2,)) for count in (few, many)]
        self.assertLess(peaks[1], peaks[0] + kibibytes)

    def test_memory_does_not_grow_with_the_list(self):
        self.put("in/x.dcm", GREY)
        self.assert_flat(lambda count: self.put_list("in/x.dcm" if index % 10 == 0 else f"in/{index:0150}"
                                                     for index in range(count)),
                         300, 300000, 4096, "--list", "list", "-o", "out", "--resume", "--jobs", "2")

    def differences(self, *arguments, status):
        done = self.run_it("--json", "--quiet", *arguments, status=status)
        found = [line["difference"] for line in map(json.loads, done.stdout.splitlines()) if "difference" in line]
        self.assertIn(b"%d differences" % len(found), done.stderr)
        return {(one["kind"], one["file"], one["frame"]) for one in found}

    def test_an_audit_finds_every_difference(self):
        names = self.put_images(20) + ["in/multi.dcm", "in/plan"]
        self.put("in/multi.dcm", MULTI)
        self.put("in/plan", cli_test.without_image(GREY))
        self.put_list(names)
        self.run_it("--list", "list", "--audit", "old", "--jobs", "2")
        lines = {(line["file"], line["frame"]): line for line in self.report("old")}
        self.assertEqual(set(lines), {(name, 0) for name in names} | {("in/multi.dcm", 1), ("in/multi.dcm", 2)})
        self.assertEqual((lines["in/plan", 0]["outcome"], lines["in/plan", 0]["sha256"]), ("no-image", None))
        self.assertEqual(lines["in/multi.dcm", 2]["sha256"], hashlib.sha256(b"\x1e" * 6).hexdigest())
        # Parts of a list make up the whole, in any order.
        for index in (1, 0):
            self.run_it("--list", "list", "--shard", f"{index}/2", "--audit", f"part{index}")
        self.put("new", self.get("part1") + self.get("part0"))
        self.assertEqual(self.differences("--audit", "new", "--audit-against", "old", status=0), set())
        # A pixel, a frame more, a plan that became an image, an input that is gone, and a new one; what is current is not
        # decoded again.
        self.edit(names[3], lambda c: c[:-1] + b"\1")
        self.put("in/multi.dcm", MULTI.replace(b"IS\2\x003 ", b"IS\2\x002 "))
        self.put("in/plan", GREY)
        self.put("in/more", GREY)
        self.put_list(names[:4] + names[5:] + ["in/more"])
        found = self.differences("--list", "list", "--audit", "fresh", "--audit-against", "old", status=2)
        self.assertEqual(found, {("changed", names[3], 0), ("missing", "in/multi.dcm", 2), ("changed", "in/plan", 0),
                                 ("missing", names[4], 0), ("new", "in/more", 0)})
        run = ["--list", "list", "--audit", "old", "--resume", "--report", "again"]
        self.run_it(*run, "--audit-against", "fresh", status=2)  # what is gone stays in the manifest
        self.assertEqual({line["file"] for line in self.report("again") if "file" in line}, {names[3], "in/multi.dcm", "in/plan", "in/more"})
        for wrong in (["--audit-against", "old"], ["--audit", "x", "-o", "out"], ["--audit", "x", "--info"],
                      ["--audit", "x", "--audit-against", "old", "--shard", "0/2"]):
            self.run_it("--list", "list", *wrong, status=1)
        self.put("no", b"{}\n")
        self.run_it("--audit", "no", "--audit-against", "old", status=3)

    def test_memory_does_not_grow_with_the_manifest(self):
        def put_manifests(count):
            for name, change in (("old", -1), ("new", count // 2)):
                with open(self.path(name), "w", encoding="ascii") as file:
                    for index in range(count) if change < 0 else reversed(range(count)):
                        file.write(f'{{"file":"archive/{index:09}","frame":0,"outcome":"decoded","sha256":"{index != change}"}}\n')
        self.assert_flat(put_manifests, 3000, 1000000, 16384, "--audit", "new", "--audit-against", "old")

    def test_limits(self):
        self.put_sparse("in.dcm", 64, 80)
        for option, status, text in (("--max-pixels=5120", 0, b""), ("--max-memory=10K", 0, b""), ("--max-memory=3G", 0, b""),
                                     ("--max-pixels=5119", 4, b"code 11"), ("--max-memory=10239", 4, b"code 11")):
            with self.subTest(option):
                self.assertIn(text, self.run_it("in.dcm", option, status=status).stderr)
        if is_sanitized():
            return  # ends the process where memory runs out
        # Each image is allowed, all at once are not.
        for index in range(8):
            self.put_sparse(f"in/{index}", 4000, 4000)
        self.put_list([f"in/{index}" for index in range(8)])
        run = ["--list", "list", "-o", "out", "--format", "raw", "--jobs", "8"]
        self.assertGreater(self.peak(*run, statuses=(0,)), 100000)
        self.assertLess(self.peak(*run, "--max-memory", "64M", statuses=(0, 2, 3)), 100000)

    def test_what_a_run_writes_has_a_limit(self):
        self.put("small.dcm", GREY)
        self.put_sparse("many.dcm", 64, 64, 30)
        for kind in ("png", "pnm", "raw", "rend", "dicom"):
            with self.subTest(kind):
                run = ["small.dcm", "--format", kind, "-o"]
                self.run_it(*run, "free")
                size = os.path.getsize(self.path("free"))
                self.run_it(*run, "enough", f"--max-output={size}")
                self.assertEqual(len(self.get("enough")), size)
                done = self.run_it(*run, "scarce", f"--max-output={size - 1}", status=2)
                self.assertIn(b"small.dcm: " + (b"DICOM file" if kind == "dicom" else b"frame 0") +
                              b": output not written: "
                              b"--max-output: all files together would have more than %d bytes\n" % (size - 1), done.stderr)
                os.unlink(self.path("enough"))
        # What was refused does not count, and is not tried for ever.
        done = self.run_it("many.dcm", "small.dcm", "--all-frames", "--format", "raw", "-o", "out", "--max-output", "16K", status=2)
        self.assertEqual(set(self.files()), {"many_f0000.raw", "many_f0001.raw"})
        self.assertIn(b"given up after frame 9 of 30", done.stderr)
        self.run_it("many.dcm", "small.dcm", "--format", "raw", "-o", "some", "--max-output", "8191", status=2)
        self.assertEqual(self.files("some"), {"small.raw": cli_test.IMAGES["grey12"][3]})
        self.assertEqual([name for name in os.listdir(self.folder) if name.endswith("tmp") or name == "scarce"], [])


if __name__ == "__main__":
    cli_test.PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
