#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the recipes of examples/archive under real batch systems, kills them half-way and lets them go on.

usage: cluster_test.py PROGRAM

Slurm runs on this machine alone, as root, with daemons that this test starts and stops. Packages that are
missing are installed by root. Where there is no way the test says why and ends with status 77.
"""

import os
import random
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

import cli_test

SOURCE = os.path.realpath(os.path.join(os.path.dirname(__file__), "..", ".."))
EXAMPLES = os.path.join(SOURCE, "examples", "archive")
DAEMONS = ("munged", "slurmctld", "slurmd", "sbatch", "parallel")
TASKS = 4
IMAGES = 400
os.environ["PATH"] += ":/usr/sbin:/sbin"


def skip(reason):
    print("skipped:", reason)
    sys.exit(77)


def check(condition, *facts):
    if not condition:
        raise AssertionError(facts)


def wait_for(condition, seconds=240):
    end = time.monotonic() + seconds
    while not condition():
        check(time.monotonic() < end, "waited in vain", condition)
        time.sleep(0.005)


def install():
    if all(shutil.which(name) for name in DAEMONS):
        return
    if os.geteuid() != 0:
        skip("slurm-wlm, munge and parallel are not installed, and only root can")
    done = subprocess.run([os.path.join(SOURCE, "scripts/install-packages"),
                           os.path.join(SOURCE, "scripts/packages-long.txt")], capture_output=True, text=True, check=False)
    if done.returncode != 0 or not all(shutil.which(name) for name in DAEMONS):
        skip("slurm-wlm, munge and parallel could not be installed: " + done.stderr.strip())


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


class Slurm:
    """One controller and one node on the loopback interface, with files in a folder of their own."""

    def __init__(self, folder):
        self.folder, self.daemons = folder, {}
        os.makedirs(folder + "/state")
        with open(folder + "/key", "wb", opener=lambda path, flags: os.open(path, flags, 0o400)) as file:
            file.write(os.urandom(1024))
        name = socket.gethostname().split(".")[0]
        with open(os.path.join(os.path.dirname(__file__), "slurm.conf.in"), encoding="ascii") as source, \
                open(folder + "/slurm.conf", "w", encoding="ascii") as file:
            file.write(source.read().format(name=name, folder=folder, tasks=TASKS, port1=free_port(), port2=free_port()))
        os.environ["SLURM_CONF"] = folder + "/slurm.conf"

    def start(self, name, *arguments):
        with open(f"{self.folder}/{name}.log", "ab") as log:
            self.daemons[name] = subprocess.Popen([name, *arguments], stdout=log, stderr=log, start_new_session=True)

    def start_all(self):
        self.start("munged", "--foreground", *(f"--{option}={self.folder}/{name}" for option, name in (
            ("socket", "munge.socket"), ("key-file", "key"), ("log-file", "munge.log"), ("pid-file", "munge.pid"),
            ("seed-file", "seed"))))
        wait_for(lambda: os.path.exists(self.folder + "/munge.socket") or self.ended(), 60)
        self.start("slurmctld", "-D", "-i")
        self.start("slurmd", "-D")
        wait_for(lambda: self.ended() or self.ask("sinfo", "-h", "-o", "%T") == "idle", 120)
        for name in self.ended():
            with open(f"{self.folder}/{name}.log", encoding="utf-8", errors="replace") as log:
                skip(f"{name} does not run here: {log.read()[-1000:]}")

    def ended(self):
        return [name for name, process in self.daemons.items() if process.poll() is not None]

    def ask(self, *command):
        return subprocess.run(command, capture_output=True, text=True, check=False, timeout=120).stdout.strip()

    def stop(self):
        if "slurmd" in self.daemons and not self.ended():
            self.ask("scancel", "--user=root")
            try:
                wait_for(lambda: not self.ask("squeue", "-h"), 60)
            except AssertionError:
                print("jobs would not end", file=sys.stderr)
        for process in reversed(self.daemons.values()):
            process.terminate()
            try:
                process.wait(30)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()

    def crash(self, pids):
        """What a node that loses its power does: everything ends at once and comes back later."""
        self.daemons["slurmd"].kill()
        self.daemons["slurmd"].wait()
        for pid in pids:
            os.kill(pid, signal.SIGKILL)
        time.sleep(20)  # a job this young is not yet missed: BatchStartTimeout and MessageTimeout
        self.start("slurmd", "-D")


class Archive:
    """Images, their list, and what a single process makes of them."""

    def __init__(self, folder):
        self.folder = folder
        self.program = folder + "/quorix-decompress"  # by this name our processes are known
        os.symlink(cli_test.PROGRAM, self.program)
        os.environ["QUORIX_DECOMPRESS"] = self.program
        numbers = random.Random(1)
        with open(folder + "/list", "wb") as names:
            for index in range(IMAGES):
                name = f"in/{index % 9}/{index}.dcm"
                os.makedirs(os.path.dirname(f"{folder}/{name}"), exist_ok=True)
                pixels = bytearray(512 * 512 * 2)
                for _ in range(2000):
                    pixels[numbers.randrange(len(pixels))] = numbers.randrange(256)
                with open(f"{folder}/{name}", "wb") as file:
                    file.write(cli_test.dicom(bytes(pixels), 512, 512))
                names.write(name.encode() + b"\0")
        subprocess.run([self.program, "--list", "list", "--output", "single"], cwd=folder, check=True)
        self.expected = self.files("single")
        check(len(self.expected) == IMAGES)

    def files(self, out):
        result = {}
        for top, _, names in os.walk(f"{self.folder}/{out}/in"):
            for name in names:
                with open(os.path.join(top, name), "rb") as file:
                    result[os.path.relpath(os.path.join(top, name), f"{self.folder}/{out}")] = file.read()
        return result

    def lines(self, out, task):
        try:
            with open(f"{self.folder}/{out}/report-{task}.jsonl", "rb") as file:
                return file.read().count(b"\n")
        except FileNotFoundError:
            return 0

    def processes(self, out):
        """Our processes by shard."""
        found = {}
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{pid}/cmdline", "rb") as file:
                    words = file.read().decode(errors="replace").split("\0")
                with open(f"/proc/{pid}/environ", "rb") as file:
                    variables = dict(one.split("=", 1) for one in file.read().decode(errors="replace").split("\0") if "=" in one)
            except OSError:
                continue
            if words[0] == self.program and f"{self.folder}/{out}" in words:
                shard = words[words.index("--shard") + 1].split("/")[0]
                found[int(variables["SLURM_ARRAY_TASK_ID"] if shard == "auto" else shard)] = int(pid)
        return found

    def freeze_half_way(self, out, tasks):
        """Stops every task between its third image and its last one. The processes by task."""
        frozen = {}
        while len(frozen) < len(tasks):
            for task, pid in self.processes(out).items():
                if task not in frozen and self.lines(out, task) > 2:
                    os.kill(pid, signal.SIGSTOP)
                    frozen[task] = pid
            check(all(self.lines(out, task) < IMAGES // TASKS for task in tasks), "too fast to be stopped half-way")
            time.sleep(0.002)
        return frozen

    def check_complete(self, out):
        got = self.files(out)
        check(got.keys() == self.expected.keys(), "missing or too many", got.keys() ^ self.expected.keys())
        check(got == self.expected, "different contents")
        check(os.listdir(f"{self.folder}/{out}/.quorix/tmp") == [], "unfinished files")
        check(sum(self.lines(out, task) for task in range(TASKS)) >= IMAGES, "missing lines")


def parent_of(pid):
    with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as file:
        return int(file.read().rpartition(")")[2].split()[1])


def has_pending_sigterm(pid):
    with open(f"/proc/{pid}/status", encoding="ascii", errors="replace") as file:
        return any(line.startswith(("SigPnd", "ShdPnd")) and int(line.split()[1], 16) >> (signal.SIGTERM - 1) & 1
                   for line in file)


def run_slurm(archive, slurm):
    out = archive.folder + "/slurm"

    def submit(tasks, **variables):
        return subprocess.run(["sbatch", "--parsable", f"--array={tasks}", "--output", archive.folder + "/slurm-%a.log",
                               EXAMPLES + "/slurm-array.sh", "list", out], cwd=archive.folder, check=True,
                              env={**os.environ, **variables}, capture_output=True, text=True).stdout.strip()

    def state(task):
        return slurm.ask("squeue", "-h", "-r", "-o", "%T", f"--jobs={job}_{task}")

    job = submit(f"0-{TASKS - 1}")
    frozen = archive.freeze_half_way("slurm", range(TASKS))
    check(len(archive.files("slurm")) < IMAGES)

    slurm.ask("scontrol", "requeue", f"{job}_1")  # as an administrator does, or a job of higher priority
    slurm.ask("scancel", "--batch", "--signal=USR1", f"{job}_2")  # the end of the time is near
    wait_for(lambda: has_pending_sigterm(frozen[2]))
    os.kill(frozen[2], signal.SIGCONT)
    slurm.ask("scancel", f"{job}_3")
    wait_for(lambda: all(archive.processes("slurm").get(task) != frozen[task] for task in (1, 2, 3)))
    wait_for(lambda: state(3) == "")
    check(archive.lines("slurm", 3) < IMAGES // TASKS)

    script = parent_of(frozen[0])
    slurm.crash([parent_of(script), script, frozen[0]])
    wait_for(lambda: state(0) not in ("RUNNING", "") or archive.processes("slurm").get(0, frozen[0]) != frozen[0])

    wait_for(lambda: not slurm.ask("squeue", "-h", f"--jobs={job}"), 600)
    missing = archive.expected.keys() - archive.files("slurm").keys()
    check(0 < len(missing) < IMAGES // TASKS, "only the cancelled task's are missing", len(missing))
    job = submit("3", SHARDS=str(TASKS))
    wait_for(lambda: not slurm.ask("squeue", "-h", f"--jobs={job}"))
    archive.check_complete("slurm")
    print("slurm: a task requeued, one stopped by its time, one cancelled and submitted again, one crashed")


def run_parallel(archive):
    out = archive.folder + "/parallel"

    def start():
        return subprocess.Popen([EXAMPLES + "/parallel.sh", "list", out, str(TASKS)], cwd=archive.folder,
                                start_new_session=True, env={**os.environ, "PARALLEL_OPTIONS": f"--jobs {TASKS} --will-cite"})

    process = start()
    frozen = archive.freeze_half_way("parallel", range(TASKS))
    os.kill(frozen[0], signal.SIGKILL)  # parallel starts it again by itself
    wait_for(lambda: archive.processes("parallel").get(0, frozen[0]) != frozen[0])
    os.killpg(process.pid, signal.SIGKILL)  # parallel and what it has started
    process.wait()
    wait_for(lambda: not archive.processes("parallel"))
    check(len(archive.files("parallel")) < IMAGES)
    check(start().wait(600) == 0)
    archive.check_complete("parallel")
    print("parallel: a task killed and started again, then all of them")


def main():
    cli_test.PROGRAM = os.path.abspath(sys.argv[1])
    install()
    folder = tempfile.mkdtemp(prefix="quorix-cluster-")
    os.chmod(folder, 0o755)  # munge wants its socket to be within everybody's reach
    try:
        archive = Archive(folder)
        run_parallel(archive)
        if os.geteuid() != 0:
            skip("only root can run slurmd")
        slurm = Slurm(folder + "/daemons")
        try:
            slurm.start_all()
            run_slurm(archive, slurm)
        except BaseException:
            for name in ("slurmctld", "slurmd"):
                print(subprocess.run(["tail", "-40", f"{folder}/daemons/{name}.log"], capture_output=True, text=True,
                                     check=False).stdout, file=sys.stderr)
            raise
        finally:
            slurm.stop()
    finally:
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
