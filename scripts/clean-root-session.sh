# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# In a bare Debian with the package: the service as its unit starts it, then on the emulated phone.
set -euo pipefail

fail() { echo "error: $*" >&2; cat /run/log >&2; exit 1; }

# serves COMMAND...: starts a command that brings up the service, and waits until a client reaches it.
serves() {
    echo "$*"
    "$@" >/run/log 2>&1 &
    program=$!
    until bivistactl call getBV2Connect >/dev/null 2>&1; do
        kill -0 "$program" 2>/dev/null || fail "it has ended"
        sleep 0.05
    done
}
# expect TEXT COMMAND...: the command succeeds, and prints this.
expect() {
    local text=$1 printed
    shift
    printed=$("$@") || fail "'$*' exits $?"
    [ "$printed" = "$text" ] || fail "'$*' prints $printed"
}
end() { kill "$program"; wait "$program" || true; }

unit=/usr/lib/systemd/system/bivista.service
read -r -a environment <<<"$(sed -n 's/^Environment=//p' $unit)"
mkdir -m 0700 /run/hidl
serves env "${environment[@]}" setpriv --no-new-privs --bounding-set=-all --inh-caps=-all "$(sed -n 's/^ExecStart=//p' $unit)"
expect '{"method":"getBV2Connect","value":false}' bivistactl call getBV2Connect
grep -qx 'CapEff:[[:space:]]*0*' "/proc/$program/status" || fail "it has capabilities"
# The unit's HOST_LOG_LEVEL has these messages, and no less important ones.
grep -q ' I .*Bivista HAL Ready' /run/log || fail "it does not say that it is ready"
if grep ' D ' /run/log; then fail "it logs more than the unit asks for"; fi
end

serves bivista-emulator run
bivistactl wait attached sub=ON --timeout 60 || fail "no cover is attached"
expect '{"method":"sendAtCommand","status":"OK","value":"BV330-V10k_20210312"}' bivistactl call sendAtCommand AT%SWV null
bivistactl status
bivista-vts --with=cover,panel >/run/vts 2>&1 || { tail -n 20 /run/vts; fail "bivista-vts exits $?"; }
grep 'PASSED' /run/vts
end
