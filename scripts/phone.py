# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Checks that the files of the phone's build fit the sources.

- Every file that an Android.bp names exists, and every source of the service and every source beside another
  Android.bp is named. Every module of an interface is as hidl-gen writes it: the linker takes no less.
- A module has the version of the project.
- VINTF manifest, compatibility matrix, init script and hwservice_contexts agree with the interfaces and with the
  program's name.
- current.txt holds the hashes of our released interfaces as they are, and no others: scripts/versions.py.
- docs/integration.md names every path and property that the service uses, and property_contexts every property of the
  vendor.

Prints one line per finding; exits 1 when there is one. --hashes prints the hashes of our interfaces instead. Run from the project's root.
"""
import functools
import json
import os
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree

import policy

ROOT = "vendor.qmx.hardware"
SERVED = f"{ROOT}.bivista"
SERVICE_FOLDERS = ("diagnostics/", "display/", "kernel/", "service/", "sub_display/")
HASHES = "interfaces/current.txt"
MATRIX = "service/framework_compatibility_matrix.xml"
# hidl-gen reads the files on disk.
HIDL_GEN = ["hidl-gen", "-R", "-r", f"{ROOT}:interfaces", "-r", "android.hidl:host/hidl/interfaces/android/hidl"]
# Modules of the tree that ours may need.
PLATFORM = {"VtsHalTargetTestDefaults"}

MODULE = re.compile(r"^(\w+) (\{.*?^\})", re.MULTILINE | re.DOTALL)
LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
PATH = re.compile(r"/(?:dev|sys|data|vendor|system_ext)(?:/.*)?")
PROPERTY = re.compile(r"(?:ro|persist|sys|vendor)(?:\.[a-z_]+)+")
VERSION_HEADER = "kernel/base/Version.h"
PROJECT_VERSION = re.compile(r'kVersion\[\] = "([\d.]+)"')
VERSION_FLAG = re.compile(r'-DBIVISTA_VERSION="(.*)"')
CONTEXT = re.compile(r"^(\S+)\s+u:object_r:(\w+):s0", re.MULTILINE)


class Tree:
    """The project's files; `changed` are texts in the place of those on disk, None for a file that is missing."""

    def __init__(self, changed=()):
        self.changed = dict(changed)
        listed = subprocess.run(["git", "ls-files"], capture_output=True, text=True, check=True).stdout.split()
        self.names = sorted(name for name in {*listed, *self.changed} if self.changed.get(name, "") is not None)

    def read(self, name):
        return self.changed[name] if name in self.changed else policy.read(name)

    def modules(self):
        """(file, type, properties) of every module."""
        for name in self.names:
            if os.path.basename(name) == "Android.bp":
                yield from ((name, *module) for module in read_blueprint(self.read(name)))

    def packages(self):
        """The package versions that have .hal files, such as ("bivista", "1.0")."""
        return sorted({tuple(name.split("/")[1:3]) for name in self.names if re.match(r"interfaces/.*\.hal$", name)})

    def versions(self):
        """Versions of the served package, oldest first."""
        return [version for package, version in self.packages() if SERVED == f"{ROOT}.{package}"]

    def program(self):
        """The service's module."""
        return next(properties for _, kind, properties in self.modules() if kind == "cc_binary")


def read_blueprint(text):
    """(type, properties) of each module, in a file that bpfmt has written and that has no variables: JSON, but for names
    without quotes and commas at the end of lists."""
    for kind, body in MODULE.findall(re.sub(r"//.*", "", text)):
        yield kind, json.loads(re.sub(r",(\s*[\]}])", r"\1", re.sub(r"^(\s*)(\w+):", r'\1"\2":', body, flags=re.MULTILINE)))


def check_files(tree):
    for file, _, properties in tree.modules():
        for key in ("srcs", "init_rc", "vintf_fragments"):
            for name in properties.get(key, []):
                if os.path.join(os.path.dirname(file), name) not in tree.names:
                    yield f"{file}: {properties['name']} names {name}, which does not exist"


def check_sources(tree):
    """Sources belong to the service by their folder, or else to the modules of the next Android.bp above."""
    named = tree.program()["srcs"]
    own = [name for name in tree.names if name.endswith(".cpp") and name.startswith(SERVICE_FOLDERS)]
    for name in sorted(set(own) ^ set(named)):
        yield f"Android.bp: the service {'does not name' if name in own else 'names, and it is not of its folders:'} {name}"
    if named != sorted(set(named)):
        yield "Android.bp: the sources of the service are not in order, or named twice"
    for file in tree.names:
        folder, name = os.path.split(file)
        if name != "Android.bp" or not folder:
            continue
        named = {f"{folder}/{source}" for of, _, properties in tree.modules() if of == file
                 for source in properties.get("srcs", [])}
        for source in tree.names:
            if source.startswith(folder + "/") and source.endswith(".cpp") and source not in named:
                yield f"{file}: does not name {source}"


def check_modules(tree):
    project = PROJECT_VERSION.search(tree.read(VERSION_HEADER))[1]
    names = [properties["name"] for _, _, properties in tree.modules()]
    for name in sorted({name for name in names if names.count(name) > 1}):
        yield f"two modules are called {name}"
    for file, _, properties in tree.modules():
        wanted = properties.get("defaults", []) + properties.get("required", [])
        wanted += [name for kind in ("shared_libs", "static_libs") for name in properties.get(kind, [])
                   if name.startswith(ROOT)]
        for name in wanted:
            if name not in names and name not in PLATFORM:
                yield f"{file}: {properties['name']} needs {name}, which is no module"
        for flag in properties.get("cflags", []):
            version = VERSION_FLAG.fullmatch(flag)
            if version and version[1] != project:
                yield f"{file}: {properties['name']} is version {version[1]}, the project {project}"


@functools.cache
def generated_blueprint(file, name):
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([*HIDL_GEN, "-L", "androidbp", "-o", folder, name], check=True)
        return next(read_blueprint(policy.read(f"{folder}/{file}")))[1]


def check_interfaces(tree):
    written = {(file, properties["name"]): properties for file, kind, properties in tree.modules() if kind == "hidl_interface"}
    for package, version in tree.packages():
        file, name = f"interfaces/{package}/{version}/Android.bp", f"{ROOT}.{package}@{version}"
        made = generated_blueprint(file, name)
        found = written.pop((file, name), None)
        if found is None:
            yield f"{file}: no hidl_interface {name}"
            continue
        for key in ("root", "srcs", "interfaces"):
            if found.get(key) != made.get(key):
                yield f"{file}: {key} of {name} are not {made.get(key)}"
    for file, name in written:
        yield f"{file}: hidl_interface {name} has no .hal file there"


def declared(tree, file):
    """What a VINTF file says."""
    try:
        root = ElementTree.fromstring(tree.read(file))
    except ElementTree.ParseError as problem:
        return str(problem)
    return [root.tag, root.get("version"), root.get("type")] + [
        [hal.get("format"), hal.findtext("name"), hal.findtext("version"), hal.findtext("interface/name"),
         *(instance.text for instance in hal.findall("interface/instance"))] for hal in root.findall("hal")]


def check_vintf(tree):
    newest = tree.versions()[-1]
    for file, kind, versions in (
            (tree.program()["vintf_fragments"][0], ["manifest", "1.0", "device"], newest),
            (MATRIX, ["compatibility-matrix", "1.0", "framework"],
             newest.replace(".", ".0-"))):
        expected = [*kind, ["hidl", SERVED, versions, "IBivista", "default"]]
        if file not in tree.names:
            yield f"{file}: does not exist"
        elif declared(tree, file) != expected:
            yield f"{file}: declares {declared(tree, file)}, and not {expected}"


def check_init(tree):
    program, [file] = tree.program()["name"], tree.program()["init_rc"]
    lines = [line.split() for line in tree.read(file).splitlines()]
    started = [words[2] for words in lines if words[:1] == ["service"]]
    expected = [f"/vendor/bin/{tree.program()['relative_install_path']}/{program}"]
    if started != expected:
        yield f"{file}: starts {started}, and not {expected}"
    served = [" ".join(words[1:]) for words in lines if words[:1] == ["interface"]]
    expected = [f"{SERVED}@{version}::IBivista default" for version in tree.versions()]
    if served != expected:
        yield f"{file}: serves {served}, and not {expected}"


def as_number(version):
    return tuple(map(int, version.split(".")))


def frozen(tree):
    """{line: interface} of current.txt."""
    return {line: line.split()[-1] for line in tree.read(HASHES).splitlines() if line and line[0] != "#"}


@functools.cache
def hash_lines(name):
    return subprocess.run([*HIDL_GEN, "-L", "hash", name], capture_output=True, text=True, check=True).stdout.splitlines()


def hashes(tree):
    """What hidl-gen makes of every version of the package that this project publishes."""
    return [line for version in tree.versions() for line in hash_lines(f"{SERVED}@{version}")]


def check_names(tree):
    """Names that the service's sources use."""
    page = tree.read("docs/integration.md")
    literals = {text for name in tree.names if name.startswith(SERVICE_FOLDERS) and name.endswith((".cpp", ".h"))
                for text in LITERAL.findall(tree.read(name))}
    properties = set(filter(PROPERTY.fullmatch, literals))
    # The name of a node is filled in.
    for name in sorted({f"`{path.replace('%s', '*')}" for path in filter(PATH.fullmatch, literals)}
                       | {f"`{name}`" for name in properties}):
        if name not in page:
            yield f"docs/integration.md: does not name {name}"
    for file, expected in (("property", {name for name in properties if "vendor" in name.split(".")}),
                           ("hwservice", {f"{SERVED}::IBivista"})):
        labelled = {name for name, _ in CONTEXT.findall(tree.read(f"service/sepolicy/{file}_contexts"))}
        if labelled != expected:
            yield f"service/sepolicy/{file}_contexts: labels {sorted(labelled)}, and not {sorted(expected)}"


def check(tree):
    for part in (check_files, check_sources, check_modules, check_interfaces, check_vintf, check_init, check_names):
        yield from part(tree)


def main():
    lines = list(hashes(Tree()) if sys.argv[1:] == ["--hashes"] else check(Tree()))
    print(*lines, sep="\n", end="\n" if lines else "")
    return 1 if lines and sys.argv[1:] != ["--hashes"] else 0


if __name__ == "__main__":
    sys.exit(main())
