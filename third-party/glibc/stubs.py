#!/usr/bin/env python3
"""Makes what a link takes for a C library of an older version, so that the result runs on that one and on newer ones.

    stubs.py COMPILER FOLDER

The C library of the compiler's machine keeps each symbol in every version it ever had. A stub offers, of each, the
newest version that the floor had, and no code: it is linked against, never run. What has come since then is in the .c
files beside this one, which are put into libc.so too. A program that needs a symbol without an older version does not link.
"""
import pathlib
import re
import subprocess
import sys

FLOOR = (2, 28)
# What moved into the C library after the floor, and the libraries of its own that it was in there.
MOVED = {"libpthread.so.0": re.compile(r"(__)?(pthread|sem)_"), "libdl.so.2": re.compile("dl(open|close|sym|error)$")}


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def versions(library):
    """The symbols of a library: name -> {version: (type, size)}."""
    symbols = {}
    for line in run("readelf", "--dyn-syms", "-W", str(library)).splitlines():
        match = re.match(r"\s*\d+: \S+\s+(\S+)\s+(\S+)\s+\S+\s+DEFAULT\s+(?!UND)\S+\s+(\w+)@@?GLIBC_([0-9.]+)$", line)
        if match:
            size, kind, name, version = match.groups()
            number = tuple(int(part) for part in version.split("."))
            symbols.setdefault(name, {})[number] = (kind, int(size, 0))
    return symbols


def write_stub(compiler, folder, soname, symbols):
    """Makes one library of symbols that are given as name -> (version, type, size)."""
    lines = [".data"]
    nodes = {}
    for name, (version, kind, size) in sorted(symbols.items()):
        is_code = kind in ("FUNC", "IFUNC")
        lines += [f".globl {name}", f".type {name}, {'%function' if is_code else '%object'}",
                  f".size {name}, {max(size, 1)}", f"{name}: .skip {max(size, 1)}"]
        nodes.setdefault(version, []).append(f"{name};")
    source = folder / f"{soname}.s"
    script = folder / f"{soname}.map"
    source.write_text("\n".join(lines + ['.section .note.GNU-stack, "", %progbits', ""]))
    script.write_text("".join(f"GLIBC_{'.'.join(map(str, version))} {{ {' '.join(names)} }};\n"
                              for version, names in sorted(nodes.items())))
    run(compiler, "-shared", "-nostdlib", f"-Wl,-soname,{soname},--version-script={script},--build-id=none",
        str(source), "-o", str(folder / soname))
    source.unlink()
    script.unlink()


def main(compiler, folder):
    folder.mkdir(parents=True, exist_ok=True)
    loader = "ld-linux-aarch64.so.1" if "aarch64" in run(compiler, "-dumpmachine") else "ld-linux-x86-64.so.2"
    stubs = {soname: {} for soname in MOVED}
    for soname in ("libc.so.6", "libm.so.6", loader):
        stubs[soname] = {}
        for name, known in versions(run(compiler, f"-print-file-name={soname}").strip()).items():
            old = [version for version in known if version <= FLOOR]
            if old:
                home = next((home for home, names in MOVED.items() if max(known) > FLOOR and names.match(name)), soname)
                stubs[home][name] = (max(old), *known[max(old)])
    for soname, symbols in stubs.items():
        write_stub(compiler, folder, soname, symbols)
    archive = folder / "libglibc_compat.a"
    archive.unlink(missing_ok=True)
    for source in sorted(pathlib.Path(__file__).parent.glob("*.c")):
        member = folder / f"{source.stem}.o"
        run(compiler, "-O2", "-fPIC", "-fvisibility=hidden", "-c", str(source), "-o", str(member))
        run(re.sub("gcc$", "ar", compiler), "rcsD", str(archive), str(member))
        member.unlink()
    (folder / "libc.so").write_text(
        f"GROUP ( libc.so.6 -lglibc_compat -lc_nonshared AS_NEEDED ( {' '.join(MOVED)} {loader} ) )\n")
    (folder / "libm.so").write_text("INPUT ( libm.so.6 )\n")


if __name__ == "__main__":
    main(sys.argv[1], pathlib.Path(sys.argv[2]))
