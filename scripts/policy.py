# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Compares a compiled policy with what the service needs.

usage: policy.py POLICY ACCESSES FILE_CONTEXTS CONTEXTS...

ACCESSES holds one fact a line: `allow TARGET CLASS PERMISSION...` for all that the service may do, `allowxperm TARGET
CLASS ioctl NUMBER...` for all numbers that its ioctl may have, `label PATH TYPE` for the type that a path gets (`-`: none
of ours). Every type of FILE_CONTEXTS and CONTEXTS is one of the policy. Prints one line per finding; exits 1 when there
is one.
"""
import re
import sys

DOMAIN = "hal_bivista_default"


def facts(text):
    """The words of each line that counts."""
    return [line.split() for line in text.splitlines() if line.strip() and not line.startswith("#")]


def needed(accesses):
    """(kind, target, class, permission or number) of all that the service may do."""
    for kind, target, *words in facts(accesses):
        if kind == "allow":
            yield from ((kind, target, words[0], permission) for permission in words[1:])
        elif kind == "allowxperm" and words[1] == "ioctl":
            yield from ((kind, target, words[0], f"{int(number, 16):#06x}") for number in words[2:])
        elif kind != "label":
            raise ValueError(f"what is {kind} {target}?")


def granted(policy):
    """The same of a compiled one."""
    for rule in policy.terules():
        kind = str(rule.ruletype)
        if kind == "allow" or (kind == "allowxperm" and rule.xperm_type == "ioctl"):
            for single in rule.expand():
                if str(single.source) == DOMAIN:
                    yield from ((kind, str(single.target), str(single.tclass),
                                 permission if kind == "allow" else f"{permission:#06x}") for permission in single.perms)


def check_accesses(wanted, found):
    for fact in sorted(wanted - found):
        yield f"needed and not allowed: {' '.join(fact)}"
    for fact in sorted(found - wanted):
        yield f"allowed and not needed: {' '.join(fact)}"
    # Without an allowxperm rule, an ioctl may have any number.
    narrowed = {fact[1:3] for fact in found if fact[0] == "allowxperm"}
    for _, *target, permission in sorted(found):
        if permission == "ioctl" and tuple(target) not in narrowed:
            yield f"may be any: {' '.join(target)} ioctl"


def read_patterns(text):
    return re.findall(r"^(/\S+)\s+u:object_r:(\w+):s0$", text, re.MULTILINE)


def label(path, patterns, prefixes):
    """The type of a path: the last pattern of file_contexts, else the longest prefix in sysfs."""
    for pattern, of_type in reversed(patterns):
        if re.fullmatch(pattern, path):
            return of_type
    found = [entry for entry in prefixes if path.startswith("/sys" + entry[0])]
    return max(found, key=lambda entry: len(entry[0]), default=("", "-"))[1]


def check_labels(accesses, patterns, prefixes):
    for kind, path, *expected in facts(accesses):
        if kind == "label" and [label(path, patterns, prefixes)] != expected:
            yield f"{path} is labelled {label(path, patterns, prefixes)}, and not {expected[0]}"


def check_contexts(file, text, types):
    """`file` labels names, a line each, with types that the policy has."""
    for words in facts(text):
        context = re.fullmatch(r"u:object_r:(\w+):s0", words[1]) if len(words) > 1 else None
        if not context or context[1] not in types:
            yield f"{file}: the policy knows no context of {words[0]}"
    if not facts(text):
        yield f"{file}: labels nothing"


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def main():
    # The tests of this script need no setools.
    import setools

    policy, accesses, contexts = setools.SELinuxPolicy(sys.argv[1]), read(sys.argv[2]), sys.argv[3:]
    types = {str(each) for each in policy.types()}
    prefixes = [(each.path, str(each.context.type_)) for each in policy.genfscons() if str(each.fs) == "sysfs"]
    findings = [*check_accesses(set(needed(accesses)), set(granted(policy))),
                *check_labels(accesses, read_patterns(read(contexts[0])), prefixes)]
    for path in contexts:
        findings += check_contexts(path, read(path), types)
    print(*findings, sep="\n", end="\n" if findings else "")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
