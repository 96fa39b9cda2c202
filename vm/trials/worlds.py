# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""What is done with a copy of the project (copy_tree.py) in either world, and how the two are compared."""
import os
import pathlib
import re
import subprocess
import tempfile

import copy_tree
from defects import Useless

COMPARE = copy_tree.ROOT / "vm/agreement/compare.py"
LINUX = copy_tree.ROOT / "build/vm/linux"
# Of a session or the machine that say nothing of the service; 123, the time limit, does.
USELESS = (2, 120, 121, 122, 124, 125)
# As session.sh does it: FOLDER SCENARIO...
PLAY = """for scenario in "${@:2}"; do
    if [ "$scenario" = probe ]; then bivista-emulator run --no-cover -- vm/agreement/probe.py >"$1/probe.txt"
    else bivista-emulator play --keep "$1" "scenarios/$scenario.yaml"
    fi || echo $? >"$1/$scenario.status"
done"""


def found_in(output):
    """The scenarios, each with its kind or its trouble, in which compare.py has found the worlds to differ."""
    found = re.findall(r"^unknown difference: (.*?): ([^:]*): emulated \| real$", output, re.MULTILINE)
    troubles = re.findall(r"^error: (.*)$", output, re.MULTILINE)
    return list(dict.fromkeys([f"{name} ({kind})" for name, kind in found] + troubles))


class Worlds:
    def __init__(self, folder, kernel_folder, limit, scenarios=()):
        """`folder` gets what the sessions bring out; `limit`: seconds of one session; `scenarios`: those alone."""
        self.folder = folder
        self.kernel_folder = kernel_folder
        self.limit = limit
        self.scenarios = scenarios

    def _new_folder(self):
        return pathlib.Path(tempfile.mkdtemp(dir=self.folder))

    def emulated(self, tree):
        """Does on the emulated phone all that the worlds are compared by; gives the folder of its journals."""
        folder = self._new_folder()
        sockets = folder / "sockets"
        sockets.mkdir()
        environment = {**os.environ, "PATH": f"{tree.build_folder / 'bin'}:{os.environ['PATH']}",
                       "HIDL_SOCKET_DIR": str(sockets)}
        self._run(self._session(folder), tree, environment)
        return folder

    def kernel(self, tree):
        """The same in the machine; what ends the machine early shows as journals that are missing."""
        folder = self._new_folder()
        self._run([copy_tree.ROOT / "vm/linux.sh"], tree, os.environ)
        machine = ["vm/run.sh", "--linux", LINUX, "--limit", str(self.limit), "--out", folder, "--"]
        self._run([*machine, *self._session("/out")], tree, os.environ)
        return folder

    def _session(self, folder):
        if self.scenarios:
            return ["bash", "-c", PLAY, "play", folder, *self.scenarios]
        return ["vm/agreement/session.sh", folder]

    def _run(self, words, tree, environment):
        try:
            status, output = copy_tree.run(words, tree.folder, 2 * self.limit, environment)
        except subprocess.TimeoutExpired:
            return
        if status in USELESS:
            raise Useless(f"{' '.join(map(str, words))}\n{output}")

    def compare(self, emulated, real):
        """Where the two folders of journals differ in an unknown way."""
        status, output = copy_tree.run([COMPARE, emulated, real], copy_tree.ROOT)
        if status not in (0, 1):
            raise Useless(output)
        return found_in(output)
