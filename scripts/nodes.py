"""Whether the service may open the nodes that it uses, by their owners.

What docs/integration.md lists as nodes, with the labels that tests/sepolicy/accesses.txt gives the
service accesses to, must be open to the service's user and groups: by a rule of the ueventd file or
the init script that sets owner and mode, by a `file` line where init opens the node for it, or by a
group that the platform gives the node to. Attributes of sysfs are everyone's to read. The ueventd file
has rules of owners and nothing else, which match as in Android 11, and of USB devices none but those at
the controller that the product names.
"""
import dataclasses
import fnmatch
import re

import policy

DEVICES = "service/ueventd.bivista.rc"
PAGE = "docs/integration.md"
ACCESSES = "tests/sepolicy/accesses.txt"
ROW = re.compile(r"^\| `/(?:dev|sys)\b.*\|$", re.MULTILINE)
QUOTED = re.compile(r"`([^`]+)`")
# An interface of a USB device is what a tty or hidraw is the child of.
USB_DEVICE = re.compile(r"^/sys/class/(?:tty|hidraw)/\*/device/(?:\.\./)+")
# What stands for the product's controller in the ueventd file, and USB devices at one, and elsewhere.
VARIABLE = "@BIVISTA_USB_CONTROLLER@"
CONTROLLER = "/sys/devices/platform/soc/a600000.ssusb/xhci-hcd.*.auto"
COVERS = (f"{CONTROLLER.replace('*', '3')}/usb1/1-1/", f"{CONTROLLER.replace('*', '3')}/usb1/1-1/1-1.2/")
OTHERS = ("/sys/devices/platform/soc/a800000.ssusb/xhci-hcd.3.auto/usb1/1-1/", "/sys/bus/usb/devices/1-1/",
          "/sys/bus/usb/devices/1-1.2/")
# Nodes that the platform's own rules give to a group.
PLATFORM_GROUPS = {"/dev/bus/usb": "usb", "/sys/power/wake_lock": "wakelock"}
MODES = {"r": {"read"}, "w": {"write"}, "rw": {"read", "write"}}


@dataclasses.dataclass(frozen=True)
class Rule:
    """Who owns the nodes whose names match a pattern, or an attribute of the devices whose do."""
    pattern: str
    attribute: str
    mode: str
    owner: str
    group: str

    def gives(self, path):
        if not path.endswith(self.attribute):
            return False
        return matches(self.pattern, path.removesuffix(self.attribute))


def matches(pattern, path):
    """A `*` at the end stands for all that follows, one before it for a part between two slashes."""
    if pattern.find("*") == len(pattern) - 1:
        return path.startswith(pattern[:-1])
    if "*" not in pattern:
        return path == pattern
    parts, names = pattern.split("/"), path.split("/")
    return len(parts) == len(names) and all(map(fnmatch.fnmatchcase, names, parts))


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
                self.rules.append(Rule(words[2], "", words[1], *owners[words[2]]))


def device_lines(text):
    """(number, words) of each line that is one to ueventd."""
    for number, line in enumerate(text.splitlines(), 1):
        words = line.split()
        if words and not words[0].startswith("#"):
            yield number, words


def device_rule(words):
    """The rule of a line, None where it is none; that of sysfs names its attribute apart."""
    if not re.fullmatch("[0-7]+", words[-3] if len(words) > 2 else ""):
        return None
    if len(words) == 4 and words[0].startswith("/dev/"):
        return Rule(words[0], "", *words[1:])
    if len(words) == 5 and words[0].startswith("/sys/"):
        return Rule(words[0], f"/{words[1]}", *words[2:])
    return None


def opened_by(rule, service):
    """What the owners and the mode of a rule let the service do."""
    bits = int(rule.mode, 8)
    digit = bits & 7
    if rule.owner in service.users:
        digit = bits >> 6 & 7
    elif rule.group in service.users | service.groups:
        digit = bits >> 3 & 7
    return {name for name, bit in (("read", 4), ("write", 2)) if digit & bit}


def rows(page):
    """(paths, labels) of each row of the page's table of nodes."""
    for row in ROW.findall(page):
        cells = row.strip("| ").split(" | ")
        paths = QUOTED.findall(cells[0])
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
        granted = [opened_by(rule, service) for rule in rules if rule.gives(path)]
        if not granted:
            yield f"{path}: no rule gives it to the service"
        # The last rule that matches is the one that counts.
        elif use - granted[-1]:
            yield f"{path}: its rule does not let the service {' and '.join(sorted(use - granted[-1]))}"


def check_usb_device(path, wanted, service, rules):
    """`path`: an attribute of the cover's USB device, as the page calls it."""
    for place in COVERS:
        yield from check_node(USB_DEVICE.sub(place, path), wanted, service, rules)
    for place in OTHERS:
        if any(rule.gives(USB_DEVICE.sub(place, path)) for rule in rules):
            yield f"{path}: a rule reaches further than the cover's controller, to {place}"


def check(init, devices, page, accesses):
    """Takes the texts of init script, ueventd file, page and table of accesses."""
    service = Service(init)
    lines = [(number, words, device_rule(words))
             for number, words in device_lines(devices.replace(VARIABLE, CONTROLLER))]
    for number, words, rule in lines:
        if rule is None:
            yield f"{DEVICES}:{number}: no rule of owners: {' '.join(words)}"
    rules = [*(rule for _, _, rule in lines if rule), *service.rules]
    facts = policy.Facts(accesses)
    listed = set()
    for paths, labels in rows(page):
        listed.update(labels)
        wanted = set().union(*(accesses_of(facts, label) for label in labels))
        for path in paths if wanted else []:
            kind = check_usb_device if USB_DEVICE.match(path) else check_node
            yield from kind(path, wanted, service, rules)
    nodes = {target for target, of_class, _ in facts.allowed
             if of_class == "chr_file" or (of_class == "file" and target.startswith("sysfs"))}
    for label in sorted(nodes - listed):
        yield f"{PAGE}: lists no node with the label {label}"
