"""Compares a compiled policy with what the service needs.

usage: policy.py POLICY ACCESSES FILE_CONTEXTS

ACCESSES holds one fact a line: `allow TARGET CLASS PERMISSION...` for all that the service may do,
`deny TARGET CLASS PERMISSION` for what it may not, `label PATH TYPE` for the type that a path gets
(`-`: none of ours). Prints one line per finding; exits 1 when there is one.
"""
import re
import sys

DOMAIN = "hal_bivista_default"


class Facts:
    """What a table of accesses says."""

    def __init__(self, text):
        self.allowed = set()
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


def main():
    import setools

    policy = setools.SELinuxPolicy(sys.argv[1])
    with open(sys.argv[2], encoding="utf-8") as file:
        facts = Facts(file.read())
    with open(sys.argv[3], encoding="utf-8") as file:
        patterns = read_patterns(file.read())
    types = {str(each) for each in policy.types()}
    prefixes = [(each.path, str(each.context.type_)) for each in policy.genfscons()
                if str(each.fs) == "sysfs"]
    findings = [
        *check_accesses(facts, granted_to(policy, DOMAIN)),
        *check_names(facts, types, permissions_of(policy)),
        *check_labels(facts, patterns, prefixes),
        *(f"no type {name}" for _, name in patterns if name not in types),
    ]
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
