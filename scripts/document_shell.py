"""Runs the commands of a block in one shell, one after the other, and tells which fail."""
import dataclasses
import os
import shlex
import signal
import subprocess
import tempfile

# The script's own exit status when it came to its end: without and with failures.
PASSED = 10
FAILED = 11
# A block that hangs is ended; the longest are builds and tests.
LIMIT = 1800

# told LINE STATUSES COMMAND: judges the command that has just ended. Jobs in the background must live
# until the end of the block.
HEAD = r"""
failed=0
background=$!
told() {
    local outcome=$? place=$1 right=$2 command=$3
    if [ -n "$!" ] && [ "$!" != "$background" ]; then
        background=$!
        jobs_begun+=("$! $place: $command")
    fi
    case " $right " in *" $outcome "*) return ;; esac
    complain "$place: $command: exit $outcome"
    sed 's/^/    /' "$output"
}
complain() { failed=1; printf '%s\n' "$1"; }
jobs_begun=()
end_jobs() {
    local job
    for job in "${jobs_begun[@]}"; do
        kill "${job%% *}" 2>/dev/null && continue
        complain "${job#* }: has ended by itself"
        sed 's/^/    /' "$output"
    done
    wait
}
"""
TAIL = f"end_jobs\nexit $(({PASSED} + failed))\n"


@dataclasses.dataclass(frozen=True)
class Step:
    """What the shell is given for a command of a document."""
    place: str  # FILE:LINE
    command: str  # as the document has it
    run: str
    statuses: frozenset = frozenset({0})


def script(steps):
    """A script for bash or zsh that runs the steps, and complains of each that fails."""
    parts = [HEAD]
    for step in steps:
        right = " ".join(str(status) for status in sorted(step.statuses))
        arguments = " ".join(shlex.quote(word) for word in (step.place, right, step.command))
        parts.append(f'{{\n{step.run}\n}} >"$output" 2>&1\ntold {arguments}\n')
    return "".join(parts) + TAIL


def run(shell, steps, folder, environment, limit=LIMIT):
    """Runs steps in a folder. Gives the lines that tell what failed."""
    with tempfile.NamedTemporaryFile(prefix="bivista-documents-") as output:
        # A person's shell ignores no signals, whatever whoever started this does.
        process = subprocess.Popen(
            ["env", "--default-signal", shell, "-c", script(steps)], cwd=folder, env={**environment, "output": output.name},
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
            errors="replace", start_new_session=True)
        try:
            told, _ = process.communicate(timeout=limit)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            told, _ = process.communicate()
            return [*told.splitlines(), f"{steps[0].place}: still running after {limit} s"]
        finally:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGKILL)
    lines = told.splitlines()
    if process.returncode not in (PASSED, FAILED):
        lines.append(f"{steps[0].place}: the shell has left before the end of the block")
    return lines
