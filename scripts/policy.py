"""Compares a compiled policy with what the service needs.

usage: policy.py POLICY ACCESSES FILE_CONTEXTS CONTEXTS...

ACCESSES holds one fact a line: `allow TARGET CLASS PERMISSION...` for all that the service may do,
`allowxperm TARGET CLASS ioctl NUMBER...` for all numbers that its ioctl may have, `deny TARGET CLASS
PERMISSION` for what it may not, `label PATH TYPE` for the type that a path gets (`-`: none of ours).
Every type of FILE_CONTEXTS and CONTEXTS is one of the policy. Prints one line per finding; exits 1
when there is one.
"""
import re
import sys

DOMAIN = "hal_bivista_default"


class Facts:
    """What a table of accesses says."""

    def __init__(self, text):
        self.allowed = set()
        self.ioctls = set()
        self.denied = set()
        self.labels = []
        for line in text.splitlines():
            words = line.split()
            if not words or words[0].startswith("#"):
                continue
            kind, *rest = words
            if kind == "label" and len(rest) == 2:
                self.labels.append(tuple(rest))
            elif kind in ("allow", "deny") and len(rest) > 2:
                facts = self.allowed if kind == "allow" else self.denied
                facts.update((rest[0], rest[1], permission) for permission in rest[2:])
            elif kind == "allowxperm" and len(rest) > 3 and rest[2] == "ioctl":
                self.ioctls.update((rest[0], rest[1], int(number, 16)) for number in rest[3:])
            else:
                raise ValueError(f"what is '{line}'?")


def check_accesses(facts, granted):
    """`granted`: (target, class, permission) of all that the policy allows the service."""
    for access in sorted(facts.allowed - granted):
        yield f"needed and not allowed: {' '.join(access)}"
    for access in sorted(granted - facts.allowed):
        yield f"allowed and not needed: {' '.join(access)}"
    for access in sorted(facts.denied & granted):
        yield f"to be denied and allowed: {' '.join(access)}"


def check_ioctls(facts, granted):
    """`granted`: (target, class, number) of all ioctls that the policy narrows the service to. An ioctl
    that nothing narrows may be any."""
    for target, of_class, number in sorted(facts.ioctls - granted):
        yield f"needed and not allowed: {target} {of_class} ioctl {number:#06x}"
    for target, of_class, number in sorted(granted - facts.ioctls):
        yield f"allowed and not needed: {target} {of_class} ioctl {number:#06x}"
    any_number = {(target, of_class) for target, of_class, permission in facts.allowed
                  if permission == "ioctl"}
    for target, of_class in sorted(any_number - {fact[:2] for fact in facts.ioctls}):
        yield f"may be any: {target} {of_class} ioctl"


def check_names(facts, types, permissions):
    """A denied access that no policy could express would prove nothing."""
    for target, of_class, permission in sorted(facts.denied):
        if target not in types or permission not in permissions.get(of_class, ()):
            yield f"the policy knows no {target} {of_class} {permission}"


def label(path, patterns, prefixes):
    """The type of a path: the last pattern of file_contexts, else the longest prefix in sysfs."""
    for pattern, of_type in reversed(patterns):
        if re.fullmatch(pattern, path):
            return of_type
    found = "-"
    if path.startswith("/sys/"):
        below = path[len("/sys"):]
        for prefix, of_type in sorted(prefixes, key=lambda entry: len(entry[0])):
            if below.startswith(prefix):
                found = of_type
    return found


def check_labels(facts, patterns, prefixes):
    for path, expected in facts.labels:
        found = label(path, patterns, prefixes)
        if found != expected:
            yield f"{path} is labelled {found}, and not {expected}"


def read_patterns(text):
    return re.findall(r"^(/\S+)\s+u:object_r:(\w+):s0$", text, re.MULTILINE)


def check_contexts(file, text, types):
    """`file` labels names, a line each, with types that the policy has."""
    labelled = 0
    for number, line in enumerate(text.splitlines(), 1):
        words = line.split()
        if not words or words[0].startswith("#"):
            continue
        labelled += 1
        context = re.fullmatch(r"u:object_r:(\w+):s0", words[1]) if len(words) > 1 else None
        if not context:
            yield f"{file}:{number}: no context of an object"
        elif context.group(1) not in types:
            yield f"{file}:{number}: the policy knows no {context.group(1)}"
    if not labelled:
        yield f"{file}: labels nothing"


# setools is imported where a policy is read: the tests of what is made of it do without.
def granted_to(policy, domain):
    found = set()
    for rule in policy.terules():
        if str(rule.ruletype) != "allow":
            continue
        for single in rule.expand():
            if str(single.source) == domain:
                found |= {(str(single.target), str(single.tclass), permission)
                          for permission in single.perms}
    return found


def ioctls_granted_to(policy, domain):
    found = set()
    for rule in policy.terules():
        if str(rule.ruletype) != "allowxperm" or rule.xperm_type != "ioctl":
            continue
        for single in rule.expand():
            if str(single.source) == domain:
                found |= {(str(single.target), str(single.tclass), number) for number in single.perms}
    return found


def permissions_of(policy):
    from setools.exception import NoCommon

    found = {}
    for of_class in policy.classes():
        found[str(of_class)] = set(of_class.perms)
        try:
            found[str(of_class)] |= set(of_class.common.perms)
        except NoCommon:
            pass
    return found


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def main():
    import setools

    policy = setools.SELinuxPolicy(sys.argv[1])
    facts = Facts(read(sys.argv[2]))
    contexts = sys.argv[3:]
    types = {str(each) for each in policy.types()}
    prefixes = [(each.path, str(each.context.type_)) for each in policy.genfscons()
                if str(each.fs) == "sysfs"]
    findings = [
        *check_accesses(facts, granted_to(policy, DOMAIN)),
        *check_ioctls(facts, ioctls_granted_to(policy, DOMAIN)),
        *check_names(facts, types, permissions_of(policy)),
        *check_labels(facts, read_patterns(read(contexts[0])), prefixes),
    ]
    for path in contexts:
        findings += check_contexts(path, read(path), types)
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
