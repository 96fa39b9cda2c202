"""What the Debian package must be, which CPack, dpkg and lintian do not check.

- Files are root's, with the modes of programs and of what is read, in the folders meant for them; the
  programs, their man pages and completions, the unit, the rule, the settings and the documents are
  all there, and no folder is empty.
- What lies in /etc is kept over upgrades: it is a conffile, and each conffile is there.
- The unit and the conffiles name what the package has; links of the documents lead to what it has.
- Programs are stripped, may be loaded anywhere, and look for libraries in Android's folder alone;
  the package depends on what they are linked with.
- Its changelog begins with its version.

    scripts/package.py PACKAGE.deb     one line per finding; exits 1 when there is one
"""
import gzip
import os
import re
import subprocess
import sys
import tempfile

import links

PROGRAMS = (
    "/usr/bin/bivista-emulator", "/usr/bin/bivista-vts", "/usr/bin/bivistactl",
    "/usr/libexec/bivista/vendor.qmx.hardware.bivista@1.1-service",
)
CHANGELOG = "/usr/share/doc/bivista/changelog.gz"
UNIT = "/usr/lib/systemd/system/bivista.service"
COMMANDS = ("bivista-emulator", "bivistactl")
PAGES = (
    "/usr/share/man/man1/bivista-emulator.1.gz", "/usr/share/man/man1/bivista-vts.1.gz",
    "/usr/share/man/man1/bivistactl.1.gz", "/usr/share/man/man8/bivista-service.8.gz",
)
COMPLETIONS = tuple(f"/usr/share/bash-completion/completions/{name}" for name in COMMANDS) + \
    tuple(f"/usr/share/zsh/vendor-completions/_{name}" for name in COMMANDS)
REQUIRED = PROGRAMS + PAGES + COMPLETIONS + (
    UNIT, "/etc/bivista/host.prop", "/usr/lib/udev/rules.d/60-bivista.rules",
    "/usr/share/doc/bivista/copyright", CHANGELOG, "/usr/share/doc/bivista/README.md",
    "/usr/share/doc/bivista/docs/running.svg", "/usr/share/doc/bivista/docs/linux.md",
)
PLACES = ("/etc/bivista/", "/usr/bin/", "/usr/lib/systemd/system/", "/usr/lib/udev/rules.d/",
          "/usr/libexec/bivista/", "/usr/share/bash-completion/completions/",
          "/usr/share/doc/bivista/", "/usr/share/lintian/overrides/", "/usr/share/man/man1/", "/usr/share/man/man8/",
          "/usr/share/zsh/vendor-completions/")
DEPENDS = ("android-libcutils", "android-liblog", "android-libutils", "libc6", "libstdc++6")
ENTRY = re.compile(r"(\S{10}) (\S+) +\d+ \S+ \S+ \.(/.*)$")
RUNPATH = re.compile(r"\((?:RUNPATH|RPATH)\).*\[(.*)\]")


def parse_listing(text):
    """What `dpkg-deb -c` prints, as (mode, owner, path) each; folders end in a slash."""
    for line in text.splitlines():
        match = ENTRY.match(line)
        if not match:
            raise ValueError(f"not an entry: {line}")
        yield match.groups()


def check_entry(mode, owner, path):
    if owner != "root/root":
        yield f"{path}: belongs to {owner}"
    if path.endswith("/"):
        if mode != "drwxr-xr-x":
            yield f"{path}: mode {mode}"
        return
    if mode != ("-rwxr-xr-x" if path in PROGRAMS else "-rw-r--r--"):
        yield f"{path}: mode {mode}"
    if not path.startswith(PLACES):
        yield f"{path}: not a place for it"


def check_listing(entries, conffiles):
    paths = [path for _, _, path in entries]
    for entry in entries:
        yield from check_entry(*entry)
    for path in REQUIRED:
        if path not in paths:
            yield f"{path}: missing"
    for path in paths:
        if path.endswith("/") and not any(other != path and other.startswith(path) for other in paths):
            yield f"{path}: empty"
    settings = {path for path in paths if path.startswith("/etc/") and not path.endswith("/")}
    for path in settings ^ set(conffiles):
        yield f"{path}: in /etc and among the conffiles, or neither"


def check_unit(text, paths):
    started = re.findall(r"^ExecStart=(\S+)$", text, re.M)
    if len(started) != 1 or started[0] not in paths:
        yield f"{UNIT}: starts {started}"
    for path in re.findall(r"(/(?:etc|usr)/[\w./-]+)", text):
        if path not in paths and path not in started and not started[0].startswith(path):
            yield f"{UNIT}: names {path}"


def check_depends(text):
    names = {re.split(r"[ (|]", one.strip())[0] for one in text.split(",")}
    for name in DEPENDS:
        if name not in names:
            yield f"Depends: no {name}"


def check_changelog(text, version):
    if not text.startswith(f"bivista ({version}) "):
        yield f"{CHANGELOG}: does not begin with version {version}"


def check_links(folder):
    """`folder`: the unpacked package."""
    def read(path):
        file = os.path.join(folder, path)
        # A link may climb out of the package, to what this machine has.
        if path.startswith("../") or not os.path.isfile(file):
            return None
        with open(file, encoding="utf-8") as opened:
            return opened.read()

    for place, _, names in sorted(os.walk(folder)):
        for name in sorted(names):
            if name.endswith(".md"):
                path = os.path.relpath(os.path.join(place, name), folder)
                yield from links.check(path, read(path), read)


def check_program(path, readelf, triplet):
    """`readelf` is what `readelf -hSd --wide` prints of it."""
    if not re.search(r"Type: +DYN ", readelf):
        yield f"{path}: cannot be loaded anywhere"
    if re.search(r"\] \.(?:symtab|debug_info) ", readelf):
        yield f"{path}: not stripped"
    found = RUNPATH.findall(readelf)
    if found != [f"/usr/lib/{triplet}/android"]:
        yield f"{path}: looks for libraries in {found}"


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def check(package):
    entries = list(parse_listing(run("dpkg-deb", "-c", package)))
    entries = [entry for entry in entries if entry[2] != "/"]
    paths = [path for _, _, path in entries]
    yield from check_listing(entries, run("dpkg-deb", "-I", package, "conffiles").split())
    yield from check_depends(run("dpkg-deb", "-f", package, "Depends"))
    triplet = run("dpkg-architecture", "-qDEB_HOST_MULTIARCH").strip()
    with tempfile.TemporaryDirectory() as folder:
        run("dpkg-deb", "-x", package, folder)
        if UNIT in paths:
            with open(folder + UNIT, encoding="utf-8") as unit:
                yield from check_unit(unit.read(), paths)
        if CHANGELOG in paths:
            with gzip.open(folder + CHANGELOG, "rt", encoding="utf-8") as changelog:
                yield from check_changelog(changelog.read(), run("dpkg-deb", "-f", package, "Version").strip())
        yield from check_links(folder)
        for path in PROGRAMS:
            if os.path.exists(folder + path):
                yield from check_program(path, run("readelf", "-hSd", "--wide", folder + path), triplet)


def main():
    findings = list(check(sys.argv[1]))
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
