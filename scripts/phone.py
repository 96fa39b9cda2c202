"""What the phone's build says must be true of the sources.

- Every file that an Android.bp names exists, and every source of the service, every source beside
  another Android.bp and every .hal file is named. Modules of interfaces carry the names of their
  packages, and those of all packages that these come from: the linker takes no less.
- A module has the version of the project.
- VINTF manifest, compatibility matrix, init script and hwservice_contexts agree with the interfaces
  and with the program's name.
- current.txt holds the hashes of the interfaces as they are.
- The makefiles name what exists, and a product takes the modules.
- docs/integration.md names every path and property that the service uses, and property_contexts
  every property of the vendor.
- The nodes of that page are the service's to open, by the ueventd file or the init script, and no
  others are.

Prints one line per finding; exits 1 when there is one. Run from the project's root.
"""
import os
import re
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

import blueprint
import nodes

ROOT = "vendor.qmx.hardware"
SERVED = f"{ROOT}.bivista"
BASE = "android.hidl.base@1.0"
SERVICE_FOLDERS = ("service/", "kernel/", "diagnostics/", "display/", "sub_display/")
# Modules of the tree that ours may need.
PLATFORM = {"VtsHalTargetTestDefaults"}
LIBRARIES = ("shared_libs", "static_libs")
FILE_PROPERTIES = ("srcs", "init_rc", "vintf_fragments", "src")

IMPORT = re.compile(r"^import ([\w.]*)@(\d+\.\d+)::", re.MULTILINE)
LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
PATH = re.compile(r"/(?:dev|sys|data|vendor|system_ext)(?:/.*)?")
PROPERTY = re.compile(r"(?:ro|persist|sys|vendor)(?:\.[a-z_]+)+")
PROJECT_VERSION = re.compile(r"^project\(bivista VERSION ([\d.]+)", re.MULTILINE)
VERSION_FLAG = re.compile(r'-DBIVISTA_VERSION="(.*)"')
CONTEXT = re.compile(r"^(\S+)\s+u:object_r:(\w+):s0", re.MULTILINE)


class Tree:
    """The files of the project: their names, and what they hold."""

    def __init__(self, names, read):
        self.names = names
        self.read = read

    def ending(self, suffix):
        return [name for name in self.names if name.endswith(suffix)]

    def modules(self):
        """(file, type, properties) of every module."""
        for name in self.names:
            if os.path.basename(name) == "Android.bp":
                for kind, properties in blueprint.read(self.read(name)):
                    yield name, kind, properties

    def packages(self):
        """Package versions that have .hal files: (package, version) to their file names."""
        found = {}
        for name in self.ending(".hal"):
            match = re.fullmatch(r"interfaces/(\w+)/(\d+\.\d+)/(\w+\.hal)", name)
            if match:
                package, version, file = match.groups()
                found.setdefault((f"{ROOT}.{package}", version), []).append(file)
        return found

    def versions(self):
        """Versions of the served package, oldest first."""
        versions = [version for package, version in self.packages() if package == SERVED]
        return sorted(versions, key=lambda version: [int(part) for part in version.split(".")])

    def program(self):
        """The service's module."""
        programs = [properties for _, kind, properties in self.modules() if kind == "cc_binary"]
        return programs[0] if len(programs) == 1 else {}


def named_files(properties):
    for key in FILE_PROPERTIES:
        value = properties.get(key, [])
        yield from [value] if isinstance(value, str) else value


def check_files(tree):
    for file, _, properties in tree.modules():
        folder = os.path.dirname(file)
        for name in named_files(properties):
            path = os.path.normpath(os.path.join(folder, name))
            if path not in tree.names:
                yield f"{file}: {properties.get('name')} names {name}, which does not exist"


def check_service_sources(tree):
    named = tree.program().get("srcs", [])
    own = [name for name in tree.ending(".cpp") if name.startswith(SERVICE_FOLDERS)]
    for name in own:
        if name not in named:
            yield f"Android.bp: the service does not name {name}"
    for name in named:
        if name in tree.names and name not in own:
            yield f"Android.bp: the service names {name}, which is not of its folders"
    if named != sorted(set(named)):
        yield "Android.bp: the sources of the service are not in order, or named twice"


def check_other_sources(tree):
    """Below a folder with an Android.bp of its own, all sources belong to its modules."""
    for file in tree.names:
        folder, name = os.path.split(file)
        if name != "Android.bp" or not folder:
            continue
        named = {os.path.normpath(os.path.join(folder, source))
                 for own, _, properties in tree.modules() if own == file
                 for source in properties.get("srcs", [])}
        for source in tree.ending(".cpp"):
            if source.startswith(folder + "/") and source not in named:
                yield f"{file}: does not name {source}"


def check_version(tree):
    """What a module says of its version is the project's, which the root's CMakeLists.txt has."""
    project = PROJECT_VERSION.search(tree.read("CMakeLists.txt"))[1]
    for file, _, properties in tree.modules():
        for flag in properties.get("cflags", []):
            told = VERSION_FLAG.fullmatch(flag)
            if told and told[1] != project:
                yield f"{file}: {properties['name']} is version {told[1]}, the project {project}"


def check_modules(tree):
    names = [properties.get("name") for _, _, properties in tree.modules()]
    for name in sorted({name for name in names if names.count(name) > 1}):
        yield f"two modules are called {name}"
    for file, _, properties in tree.modules():
        wanted = properties.get("defaults", []) + properties.get("required", [])
        for kind in LIBRARIES:
            wanted += [name for name in properties.get(kind, []) if name.startswith(ROOT)]
        for name in wanted:
            if name not in names and name not in PLATFORM:
                yield f"{file}: {properties['name']} needs {name}, which is no module"


def ancestors(tree, packages, package, version):
    """Package versions that the files of one import from others, and what those import in turn."""
    found = {BASE}
    for file in packages.get((package, version), ()):
        folder = package[len(ROOT) + 1:]
        for imported, of_version in IMPORT.findall(
                tree.read(f"interfaces/{folder}/{version}/{file}")):
            parent = imported or package
            found |= {f"{parent}@{of_version}", *ancestors(tree, packages, parent, of_version)}
    return found


def check_interfaces(tree):
    modules = {properties.get("name"): (file, properties)
               for file, kind, properties in tree.modules() if kind == "hidl_interface"}
    packages = tree.packages()
    for (package, version), files in sorted(packages.items()):
        name = f"{package}@{version}"
        if name not in modules:
            yield f"no hidl_interface {name}"
            continue
        file, properties = modules.pop(name)
        if os.path.dirname(file) != f"interfaces/{package[len(ROOT) + 1:]}/{version}":
            yield f"{file}: {name} stands in the wrong folder"
        if properties.get("root") != ROOT:
            yield f"{file}: the root of {name} is not {ROOT}"
        if sorted(properties.get("srcs", [])) != sorted(files):
            yield f"{file}: {name} does not name its files, {' '.join(sorted(files))}"
        expected = ancestors(tree, packages, package, version)
        if set(properties.get("interfaces", [])) != expected:
            yield f"{file}: {name} does not name what it comes from, {' '.join(sorted(expected))}"
    for name in modules:
        yield f"hidl_interface {name} has no .hal file"


def declared(tree, file, kind):
    """The one hal of a VINTF file: (name, version, interface, instances), or what is wrong."""
    try:
        root = ElementTree.fromstring(tree.read(file))
    except ElementTree.ParseError as problem:
        return f"{file}: {problem}"
    hals = root.findall("hal")
    if (root.tag, root.get("version"), root.get("type")) != (*kind, ) or len(hals) != 1:
        return f"{file}: not a {kind[2]} {kind[0]} of one hal"
    hal = hals[0]
    if hal.get("format") != "hidl":
        return f"{file}: the format is not hidl"
    return (hal.findtext("name"), hal.findtext("version"), hal.findtext("interface/name"),
            [instance.text for instance in hal.findall("interface/instance")])


def check_vintf(tree):
    versions = tree.versions()
    major, minor = versions[-1].split(".")
    manifest = tree.program().get("vintf_fragments", ["?"])[0]
    expected = {
        manifest: (("manifest", "1.0", "device"), versions[-1]),
        "service/framework_compatibility_matrix.xml":
            (("compatibility-matrix", "1.0", "framework"), f"{major}.0-{minor}"),
    }
    for file, (kind, version) in expected.items():
        if file not in tree.names:
            yield f"{file}: does not exist"
            continue
        found = declared(tree, file, kind)
        if isinstance(found, str):
            yield found
        elif found != (SERVED, version, "IBivista", ["default"]):
            yield f"{file}: declares {found}, and not {SERVED} {version} IBivista default"


def check_init(tree):
    program = tree.program()
    file = program.get("init_rc", ["?"])[0]
    if file not in tree.names:
        return
    lines = [line.split() for line in tree.read(file).splitlines()]
    folder = f"/vendor/bin/{program.get('relative_install_path')}/"
    started = [words[2] for words in lines if words[:1] == ["service"]]
    if started != [folder + program.get("name", "")]:
        yield f"{file}: starts {' '.join(started)}, and not {folder}{program.get('name')}"
    served = [" ".join(words[1:]) for words in lines if words[:1] == ["interface"]]
    expected = [f"{SERVED}@{version}::IBivista default" for version in tree.versions()]
    if served != expected:
        yield f"{file}: serves {served}, and not {expected}"
    contexts = "service/sepolicy/hwservice_contexts"
    if [name for name, _ in CONTEXT.findall(tree.read(contexts))] != [f"{SERVED}::IBivista"]:
        yield f"{contexts}: does not label {SERVED}::IBivista, and nothing else"


def frozen(text):
    """The lines of a current.txt that count."""
    return sorted(line for line in text.splitlines() if line and not line.startswith("#"))


def check_hashes(tree, hashes):
    recorded = frozen(tree.read("interfaces/current.txt"))
    for line in sorted(set(hashes) - set(recorded)):
        yield f"interfaces/current.txt: lacks {line}"
    for line in sorted(set(recorded) - set(hashes)):
        yield f"interfaces/current.txt: has {line}, which is no interface as it is"


def check_makefiles(tree):
    folders = {os.path.dirname(name) for name in tree.names}
    for file in ("bivista.mk", "Android.mk"):
        for path in re.findall(r"\$\((?:bivista_folder|LOCAL_PATH)\)/(\S+)", tree.read(file)):
            if path not in tree.names and path not in folders:
                yield f"{file}: names {path}, which does not exist"
    packages = re.findall(r"^PRODUCT_PACKAGES \+= (\S+)$", tree.read("bivista.mk"), re.MULTILINE)
    made = re.findall(r"^LOCAL_MODULE := (\S+)$", tree.read("Android.mk"), re.MULTILINE)
    expected = [tree.program().get("name"), *made]
    if packages != expected:
        yield f"bivista.mk: PRODUCT_PACKAGES is not {' '.join(expected)}"


def literals(tree, pattern):
    """Texts in the service's sources that match, each once."""
    found = set()
    for name in tree.names:
        if name.startswith(SERVICE_FOLDERS) and name.endswith((".cpp", ".h")):
            found |= {text for text in LITERAL.findall(tree.read(name))
                      if pattern.fullmatch(text)}
    return sorted(found)


def check_documents(tree):
    page = tree.read("docs/integration.md")
    for path in literals(tree, PATH):
        # The name of a node is filled in.
        if f"`{path.replace('%s', '*')}" not in page:
            yield f"docs/integration.md: does not name {path}"
    properties = literals(tree, PROPERTY)
    for name in properties:
        if f"`{name}`" not in page:
            yield f"docs/integration.md: does not name {name}"
    contexts = "service/sepolicy/property_contexts"
    own = [name for name in properties if "vendor" in name.split(".")]
    if sorted(name for name, _ in CONTEXT.findall(tree.read(contexts))) != own:
        yield f"{contexts}: does not label {' '.join(own)}, and nothing else"


def check_nodes(tree):
    files = [*tree.program().get("init_rc", []), nodes.DEVICES, nodes.PAGE, nodes.ACCESSES]
    if len(files) == 4 and set(files) <= set(tree.names):
        yield from nodes.check(*map(tree.read, files))
    else:
        yield "not one init script and the file of owners, with the page and the accesses"


def check(tree):
    for part in (check_files, check_service_sources, check_other_sources, check_version,
                 check_modules, check_interfaces, check_vintf, check_init, check_makefiles, check_documents,
                 check_nodes):
        yield from part(tree)


def current_hashes(tree):
    """What hidl-gen makes of every package version."""
    found = []
    for package, version in sorted(tree.packages()):
        found += subprocess.run(
            ["hidl-gen", "-L", "hash", "-R", "-r", f"{ROOT}:interfaces",
             "-r", "android.hidl:host/hidl/interfaces/android/hidl", f"{package}@{version}"],
            capture_output=True, text=True, check=True).stdout.splitlines()
    return found


def read_file(name):
    with open(name, encoding="utf-8") as file:
        return file.read()


def main():
    names = subprocess.run(["git", "ls-files"], capture_output=True, text=True,
                           check=True).stdout.splitlines()
    tree = Tree(names, read_file)
    hashes = current_hashes(tree)
    if sys.argv[1:] == ["--hashes"]:
        print("\n".join(hashes))
        return 0
    findings = [*check(tree), *check_hashes(tree, hashes)]
    for finding in findings:
        print(finding)
    return 1 if findings or not names else 0


if __name__ == "__main__":
    sys.exit(main())
