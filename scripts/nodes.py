# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Whether the service may open the nodes of docs/nodes.json, by their owners.

A node with the accesses that tests/sepolicy/accesses.txt gives the service to its label must be open to the service's
user and groups: by a rule of the ueventd file or the init script that sets owner and mode, by a `file` line where init
opens the node for it, or by a group that the platform gives the node to. Every user may read attributes of sysfs.
The ueventd file has rules of owners and nothing else, which match as in Android 11, and of USB devices none but those
at the controller that the product names. The tests of this file check the project's own.

Run from the project's root, this program writes the table of nodes into docs/integration.md.
"""
import fnmatch
import json
import re
import typing

import policy

DEVICES = "service/ueventd.bivista.rc"
INIT = "service/vendor.qmx.hardware.bivista@1.1-service.rc"
ACCESSES = "tests/sepolicy/accesses.txt"
NODES = "docs/nodes.json"
PAGE = "docs/integration.md"
HEAD = "| node | the service | label |\n|---|---|---|\n"
TABLE = re.compile(re.escape(HEAD) + r"(?:\|.*\n)*")
# An interface of a USB device is what a tty or hidraw is the child of.
USB_DEVICE = re.compile(r"^/sys/class/(?:tty|hidraw)/\*/device/(?:\.\./)+")
# The name of the product's controller in the ueventd file, a controller, and USB devices at it and elsewhere.
VARIABLE = "@BIVISTA_USB_CONTROLLER@"
CONTROLLER = "/sys/devices/platform/soc/a600000.ssusb/xhci-hcd.*.auto"
COVERS = (f"{CONTROLLER.replace('*', '3')}/usb1/1-1/", f"{CONTROLLER.replace('*', '3')}/usb1/1-1/1-1.2/")
OTHERS = ("/sys/devices/platform/soc/a800000.ssusb/xhci-hcd.3.auto/usb1/1-1/", "/sys/bus/usb/devices/1-1/",
          "/sys/bus/usb/devices/1-1.2/")
# Nodes that the platform's own rules give to a group.
PLATFORM_GROUPS = {"/dev/bus/usb": "usb", "/sys/power/wake_lock": "wakelock"}
RULE = re.compile(r"\s*(?:(/dev/\S+)|(/sys/\S+)\s+(\S+))\s+([0-7]+)\s+(\S+)\s+(\S+)\s*")


class Rule(typing.NamedTuple):
    """Owner and mode of the nodes that match a pattern, or of an attribute of the devices that match it."""
    pattern: str
    attribute: str
    mode: str
    owner: str
    group: str

    def gives(self, path):
        return path.endswith(self.attribute) and matches(self.pattern, path.removesuffix(self.attribute))


def matches(pattern, path):
    """A `*` at the end stands for all that follows, one before it for a part between two slashes."""
    if pattern.find("*") == len(pattern) - 1:
        return path.startswith(pattern[:-1])
    if "*" not in pattern:
        return path == pattern
    parts, names = pattern.split("/"), path.split("/")
    return len(parts) == len(names) and all(map(fnmatch.fnmatchcase, names, parts))


class Service:
    """The user and the groups of the service, and what init does for it."""

    def __init__(self, text):
        def lines(pattern):
            return re.findall(rf"^\s*{pattern}\s*$", text, re.MULTILINE)

        self.users = set(" ".join(lines("user (.*)")).split())
        self.groups = set(" ".join(lines("group (.*)")).split())
        self.handed = {path: {{"r": "read", "w": "write"}[letter] for letter in use}
                       for path, use in lines(r"file (\S+) (rw?|w)")}
        modes = {path: mode for mode, path in lines(r"chmod (\S+) (\S+)")}
        self.rules = [Rule(path, "", modes[path], owner, group)
                      for owner, group, path in lines(r"chown (\S+) (\S+) (\S+)") if path in modes]

    def may(self, rule):
        """What the owners and the mode of a rule let the service do."""
        shift = 6 if rule.owner in self.users else 3 if rule.group in self.users | self.groups else 0
        return {name for name, bit in (("read", 4), ("write", 2)) if int(rule.mode, 8) >> shift & bit}


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
        # The last rule that matches is the one that counts.
        granted = [service.may(rule) for rule in rules if rule.gives(path)]
        if not granted:
            yield f"{path}: no rule gives it to the service"
        elif use - granted[-1]:
            yield f"{path}: its rule does not let the service {' and '.join(sorted(use - granted[-1]))}"


def check_usb_device(path, wanted, service, rules):
    """`path`: an attribute of the cover's USB device, by way of its tty or hidraw."""
    for place in COVERS:
        yield from check_node(USB_DEVICE.sub(place, path), wanted, service, rules)
    for place in OTHERS:
        if any(rule.gives(USB_DEVICE.sub(place, path)) for rule in rules):
            yield f"{path}: a rule reaches further than the cover's controller, to {place}"


def check(init, devices, nodes, accesses):
    """Takes the texts of init script, ueventd file, nodes and table of accesses."""
    service, rules = Service(init), []
    for number, line in enumerate(devices.replace(VARIABLE, CONTROLLER).splitlines(), 1):
        rule = RULE.fullmatch(line)
        if rule:
            rules.append(Rule(rule[1] or rule[2], f"/{rule[3]}" if rule[3] else "", *rule.groups()[3:]))
        elif line.strip() and not line.startswith("#"):
            yield f"{DEVICES}:{number}: no rule of owners: {line}"
    rules += service.rules
    wanted = {}
    for kind, label, of_class, permission in policy.needed(accesses):
        if kind == "allow" and (of_class == "chr_file" or (of_class == "file" and label.startswith("sysfs"))):
            wanted.setdefault(label, set()).add(permission)
    listed = json.loads(nodes)
    for row in listed:
        for path in row["nodes"]:
            permissions = set().union(*(wanted.get(label, ()) for label in row["labels"]))
            if permissions:
                yield from (check_usb_device if USB_DEVICE.match(path) else check_node)(path, permissions, service, rules)
    for label in sorted(set(wanted) - {label for row in listed for label in row["labels"]}):
        yield f"{NODES}: lists no node with the label {label}"


def table(nodes):
    def quoted(names):
        return ", ".join(f"`{name}`" for name in names)

    return HEAD + "".join(f"| {quoted(row['nodes'])} | {row['use']} | {quoted(row['labels'])} |\n" for row in json.loads(nodes))


def main():
    written = TABLE.sub(lambda _: table(policy.read(NODES)), policy.read(PAGE))
    with open(PAGE, "w", encoding="utf-8") as file:
        file.write(written)


if __name__ == "__main__":
    main()
