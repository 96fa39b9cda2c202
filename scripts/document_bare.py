"""A script of the commands for a machine where the package is installed, and nothing else is."""
import shlex

import document_rules
import document_shell

# Each block begins with the package installed, and so does what comes behind the last one.
INSTALL = """install() {
    dpkg -s bivista 2>/dev/null | grep -qx 'Status: install ok installed' ||
        dpkg -i build/release/package/*.deb >/dev/null
}
"""
RUN = """# run SCRIPT [FOLDER]: with this registry folder when one is named.
run() {
    local ended=0
    install
    ${2:+env "HIDL_SOCKET_DIR=$2"} bash -c "$1" || ended=$?
    [ $ended = %d ] || outcome=1
}
""" % document_shell.PASSED
HEAD = f"""set -euo pipefail
outcome=0
output=$(mktemp)
export output
{INSTALL}{RUN}"""
TAIL = """rm -f "$output"
install
exit $outcome
"""


def script(blocks):
    """Runs the blocks that are typed on such a machine, one after the other."""
    parts = [HEAD]
    for block in blocks:
        if block.place == "package":
            own = ' "$(mktemp -d -p /run)"' if document_rules.runs_phone(block) else ""
            commands = document_shell.script(document_rules.steps(block))
            parts.append(f"run {shlex.quote(commands)}{own}\n")
    return "".join(parts) + TAIL
