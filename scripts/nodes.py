"""Whether the service may open the nodes that it uses, by their owners.

What docs/integration.md lists as nodes, with the labels that tests/sepolicy/accesses.txt gives the
service accesses to, must be open to the service's user and groups: by a rule of the ueventd file or
the init script that sets owner and mode, by a `file` line where init opens the node for it, or by a
group that the platform gives the node to. Attributes of sysfs are everyone's to read.
"""
import fnmatch
import re

import policy

PAGE = "docs/integration.md"
ACCESSES = "tests/sepolicy/accesses.txt"
ROW = re.compile(r"^\| `/(?:dev|sys)\b.*\|$", re.MULTILINE)
QUOTED = re.compile(r"`([^`]+)`")
# An interface of a USB device is what a tty or hidraw is the child of.
USB_DEVICE = re.compile(r"^/sys/class/(?:tty|hidraw)/\*/device/(?:\.\./)+")
# Nodes that the platform's own rules give to a group.
PLATFORM_GROUPS = {"/dev/bus/usb": "usb", "/sys/power/wake_lock": "wakelock"}
MODES = {"r": {"read"}, "w": {"write"}, "rw": {"read", "write"}}


class Service:
    """Who the service is, and what init does for it."""

    def __init__(self, text):
        self.users = set()
        self.groups = set()
        self.handed = {}
        self.rules = []
        owners = {}
        for words in map(str.split, text.splitlines()):
            if words[:1] == ["user"]:
                self.users.update(words[1:])
            elif words[:1] == ["group"]:
                self.groups.update(words[1:])
            elif words[:1] == ["file"] and len(words) == 3:
                self.handed[words[1]] = MODES.get(words[2], set())
            elif words[:1] == ["chown"] and len(words) == 4:
                owners[words[3]] = words[1:3]
            elif words[:1] == ["chmod"] and len(words) == 3 and words[2] in owners:
                self.rules.append((words[2], words[1], *owners[words[2]]))


def device_rules(text):
    """(path, mode, user, group) of each line of a ueventd file; that of sysfs names its attribute apart."""
    for words in map(str.split, text.splitlines()):
        if len(words) == 4 and words[0].startswith("/dev/"):
            yield tuple(words)
        elif len(words) == 5 and words[0].startswith("/sys/"):
            yield (f"{words[0]}/{words[1]}", *words[2:])


def opened_by(mode, owner, group, service):
    """What a file of this mode lets the service do."""
    bits = int(mode, 8)
    digit = bits & 7
    if owner in service.users:
        digit = bits >> 6 & 7
    elif group in service.users | service.groups:
        digit = bits >> 3 & 7
    return {name for name, bit in (("read", 4), ("write", 2)) if digit & bit}


def rows(page):
    """(paths, labels) of each row of the page's table of nodes."""
    for row in ROW.findall(page):
        cells = row.strip("| ").split(" | ")
        paths = [USB_DEVICE.sub("/sys/bus/usb/devices/*/", path) for path in QUOTED.findall(cells[0])]
        # `/dev/*` stands for the nodes beside it.
        named = [path for path in paths
                 if not any(other != path and fnmatch.fnmatch(other, path) for other in paths)]
        yield named, QUOTED.findall(cells[-1])


def accesses_of(facts, label):
    return {permission for target, of_class, permission in facts.allowed
            if target == label and of_class in ("file", "chr_file")}


def check_node(path, wanted, service, rules):
    """`wanted`: permissions that the policy gives the service on it."""
    use = wanted & {"read", "write"}
    if path in PLATFORM_GROUPS:
        if PLATFORM_GROUPS[path] not in service.groups:
            yield f"{path}: the service is not in the group {PLATFORM_GROUPS[path]}"
    elif "open" not in wanted:
        if use - service.handed.get(path, set()):
            yield f"{path}: is not opened by the service, and init does not hand it down"
    elif path in service.handed:
        yield f"{path}: is handed down by init, and may be opened"
    elif use != {"read"} or path.startswith("/dev/"):
        granted = [opened_by(*rule[1:], service) for rule in rules if fnmatch.fnmatchcase(path, rule[0])]
        if not granted:
            yield f"{path}: no rule gives it to the service"
        # The last rule that matches is the one that counts.
        elif use - granted[-1]:
            yield f"{path}: its rule does not let the service {' and '.join(sorted(use - granted[-1]))}"


def check(init, devices, page, accesses):
    """Takes the texts of init script, ueventd file, page and table of accesses."""
    service = Service(init)
    rules = [*device_rules(devices), *service.rules]
    facts = policy.Facts(accesses)
    listed = set()
    for paths, labels in rows(page):
        listed.update(labels)
        wanted = set().union(*(accesses_of(facts, label) for label in labels))
        for path in paths if wanted else []:
            yield from check_node(path, wanted, service, rules)
    nodes = {target for target, of_class, _ in facts.allowed
             if of_class == "chr_file" or (of_class == "file" and target.startswith("sysfs"))}
    for label in sorted(nodes - listed):
        yield f"{PAGE}: lists no node with the label {label}"
