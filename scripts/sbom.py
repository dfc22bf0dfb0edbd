#!/usr/bin/env python3
"""Writes the bill of materials, SPDX 2.3 as JSON: what is inside, in which version, under which licence.

    sbom.py VERSION pinned FOLDER...     for natives that have all inside: third-party/sources.txt, and the compilers of
                                         these folders of scripts/third-party
    sbom.py VERSION linked FILE...       for a distribution: the packages whose libraries these files want

It is printed. The date is SOURCE_DATE_EPOCH's, or now.
"""
import datetime
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import time

NAME = "quorix-decompression"
TOP = pathlib.Path(__file__).resolve().parent.parent


def package(name, version, licence, comment, **more):
    return {"name": name, "SPDXID": "SPDXRef-" + re.sub("[^A-Za-z0-9.-]", "-", name), "versionInfo": version,
            "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "licenseConcluded": licence,
            "licenseDeclared": licence, "copyrightText": "NOASSERTION", "comment": comment, **more}


def purl(kind, name, version):
    quoted = version.replace(":", "%3A").replace("+", "%2B").replace("~", "%7E")
    return {"externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                              "referenceLocator": f"pkg:deb/debian/{name}@{quoted}?arch={kind}"}]}


def pinned(*folders):
    """The packages of the pinned list, and the compilers' runtimes."""
    for block in (TOP / "third-party/sources.txt").read_text().split("\nsource ")[1:]:
        lines = [line.split(" ", 1) for line in block.splitlines() if line and not line.startswith("#")]
        name, version = lines[0]
        facts = dict(lines[1:])
        files = [line[1].split(" ", 1) for line in lines if line[0] == "sha256"]
        archive = next(file for file in files if ".orig." in file[1])
        yield package(name, version, facts["licence"], f"In the {facts['for']}: {facts['use']}",
                      packageFileName=archive[1], checksums=[{"algorithm": "SHA256", "checksumValue": archive[0]}],
                      sourceInfo="; ".join(f"{file} SHA-256 {digest}" for digest, file in files),
                      **purl("source", name, version)), "STATIC_LINK"
    for compiler in sorted({(pathlib.Path(folder) / "compiler.txt").read_text() for folder in folders}):
        name, version = compiler.split()
        yield package(name, version, "GPL-3.0-or-later WITH GCC-exception-3.1", "The C++ runtime: libstdc++ and libgcc",
                      **purl("source", name, version)), "STATIC_LINK"


def linked(*binaries):
    """The packages of the libraries that the files name as needed."""
    def run(*command):
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout
    found = {}
    for binary in binaries:
        names = set(re.findall(r"\(NEEDED\).*\[(.*)\]", run("readelf", "-d", binary)))
        paths = dict(re.findall(r"(\S+) => (/\S+)", run("ldd", binary)))
        for path in sorted(os.path.realpath(paths[name]) for name in names & paths.keys()):
            # Packages may still name a file by its place before /lib moved below /usr.
            for place in (path, path.removeprefix("/usr")):
                try:
                    owner = run("dpkg-query", "--search", place).split(": ")[0]
                    name, version = run("dpkg-query", "-Wf", "${Package} ${Version}", owner).split()
                except (OSError, subprocess.CalledProcessError):
                    continue # our own library, or a system without packages
                found.setdefault((name, version), set()).add(os.path.basename(path))
                break
    for (name, version), files in sorted(found.items()):
        yield package(name, version, "NOASSERTION", "Libraries: " + ", ".join(sorted(files)),
                      **purl("any", name, version)), "DYNAMIC_LINK"


def main(version, kind, *arguments):
    own = package(NAME, version, "Apache-2.0", "Decompression of medical images")
    packages, relations = [own], [{"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES",
                                   "relatedSpdxElement": own["SPDXID"]}]
    for other, relation in {"pinned": pinned, "linked": linked}[kind](*arguments):
        packages.append(other)
        relations.append({"spdxElementId": own["SPDXID"], "relationshipType": relation,
                          "relatedSpdxElement": other["SPDXID"]})
    moment = datetime.datetime.fromtimestamp(int(os.environ.get("SOURCE_DATE_EPOCH", time.time())), datetime.timezone.utc)
    content = hashlib.sha256(json.dumps(packages).encode()).hexdigest()
    print(json.dumps({
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"{NAME}-{version}", "documentNamespace": f"urn:{NAME}:{version}:{content}",
        "creationInfo": {"created": moment.strftime("%Y-%m-%dT%H:%M:%SZ"), "creators": ["Tool: scripts/sbom.py"]},
        "packages": packages, "relationships": relations}, indent=2))


if __name__ == "__main__":
    main(*sys.argv[1:])
