#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Runs a command on a real kernel, in a virtual machine. See --help.
set -euo pipefail
called_in=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh
source scripts/run-folder.sh
# An ordinary user's programs do not include modprobe.
PATH+=:/usr/sbin:/sbin

usage() {
    cat <<'HELP'
usage: vm/run.sh [OPTION...] [--] COMMAND [ARGUMENT...]

Boots Debian's kernel in a virtual machine, runs COMMAND there as root, ends the machine, and returns COMMAND's exit
status. It needs no rights. The machine sees the host's files at their own paths, read-only; /out is a folder of the
host, for what shall stay. COMMAND's standard output and error both come out on standard output, in their order.

  --preset NAME    take the project's programs from build/NAME (release)
  --out DIR        the folder that is /out there; console.log in it is the kernel's console (build/vm/run/latest)
  --limit SECONDS  end the machine when COMMAND has run so long (600)
  --memory MB      the machine's memory (1024)
  --no-kvm         do not try KVM
  --linux DIR      another kernel, unpacked as in build/vm/linux
  --no-install     install and download nothing; fail where something is missing

example: vm/run.sh --out kept -- bivista-emulator play --keep /out/attach scenarios/attach.yaml

Exit status: COMMAND's; else 2 wrong arguments, 120 a program or package cannot be had, 121 the machine does not come
up, 122 a driver is missing or does not load, 123 the time limit, 124 nothing more can be written out, 125 the machine
ended by itself.
HELP
}

# in_caller PATH: a path that the caller gave, from the root folder.
in_caller() { case $1 in /*) printf '%s' "$1" ;; *) printf '%s' "$called_in/$1" ;; esac; }
number() { [[ $2 =~ ^[1-9][0-9]{0,5}$ ]] || fail "$1 takes a number from 1 to 999999, not '$2'"; }

preset=release
out=
limit=600
memory=1024
kvm=yes
linux=
install=()
while [ $# -gt 0 ]; do
    case $1 in
        --help | -h) usage; exit 0 ;;
        --preset | --out | --limit | --memory | --linux)
            [ -n "${2:-}" ] || fail "$1 needs a value; see vm/run.sh --help"
            case $1 in
                --preset) preset=$2 ;;
                --out) out=$(in_caller "$2") ;;
                --limit) number "$@"; limit=$2 ;;
                --memory) number "$@"; memory=$2 ;;
                --linux) linux=$(in_caller "$2") ;;
            esac
            shift ;;
        --no-kvm) kvm=no ;;
        --no-install) install=(--no-install) ;;
        --) shift; break ;;
        -*) fail "unknown option '$1'; see vm/run.sh --help" ;;
        *) break ;;
    esac
    shift
done
[ $# -gt 0 ] || fail "which command shall run in the machine? See vm/run.sh --help"
command=("$@")

private=
machine=
finish() {
    end_machine
    if [ -n "$private" ]; then rm -rf "$private"; fi
}
end_machine() {
    if [ -n "$machine" ]; then
        kill "$machine" 2>/dev/null || true
        wait "$machine" 2>/dev/null || true
    fi
    machine=
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# give_up STATUS TEXT: says what is wrong, and what the kernel said last.
give_up() {
    end_machine
    printf 'error: %s\n' "$2" >&2
    if [ -s "$out/console.log" ]; then
        printf '%s\n' "the console's last lines ($out/console.log):" >&2
        tail -n 15 "$out/console.log" >&2
    fi
    exit "$1"
}

if [ -z "$linux" ]; then
    vm/linux.sh "${install[@]}" >&2 || exit
    linux=$PWD/build/vm/linux
fi
images=("$linux"/boot/vmlinuz-*)
[ -f "${images[0]}" ] || fail "there is no boot/vmlinuz-... in $linux"
image=${images[0]}
release=${image##*/vmlinuz-}

if [ -z "$out" ]; then make_run_folder "$PWD/build/vm/run"; fi
mkdir -p "$out" || exit 2
exec {console}>"$out/console.log" || exit 124

private=$(mktemp -d)
# The drivers for the machine itself, then the phone's.
drivers=(virtio_pci virtio_console 9pnet_virtio 9p overlay vhci-hcd cdc-acm usbhid hid-generic)

# collect_drivers FOLDER: the files of the drivers and of those that they need, and in "order" how they are loaded.
collect_drivers() {
    local listed path
    mkdir "$1"
    listed=$(modprobe --show-depends -d "$linux" -S "$release" -a "${drivers[@]}" 2>&1) ||
        give_up 122 "Linux $release lacks a driver: $(printf '%s' "$listed" | grep FATAL | head -n 1)"
    printf '%s\n' "$listed" | sed -n 's/^insmod \([^ ]*\).*/\1/p' | awk '!seen[$0]++' | while read -r path; do
        cp "$path" "$1/"
        echo "${path##*/}" >>"$1/order"
    done
    if [ -f "$linux/bivista_phone.ko" ]; then
        cp "$linux/bivista_phone.ko" "$1/"
        echo bivista_phone.ko >>"$1/order"
    fi
}

make_initramfs() {
    local root=$private/root project=$PWD folder=$called_in applet
    mkdir -p "$root"/{bin,dev,proc,sys}
    cp "$(command -v busybox)" "$root/bin/busybox"
    for applet in sh mount mkdir stty insmod tail chmod cp sleep switch_root; do ln -s busybox "$root/bin/$applet"; done
    collect_drivers "$root/drivers"
    cp vm/guest/init.sh "$root/init"
    cp vm/guest/session.sh "$root/"
    chmod 755 "$root/init"
    declare -p project folder preset command >"$root/settings"
    (cd "$root" && find . | cpio --quiet -o -H newc >"$private/initramfs")
}
make_initramfs

# What the machine says of itself; "written STATUS" comes last, from here, when its output is copied.
mkfifo "$private/said"
exec {ear}<>"$private/said"
# hear SECONDS: the next word is in $said, what follows it in $rest.
hear() { read -r -t "$1" -u "$ear" said rest; }

# A comma separates QEMU's own words.
for_qemu() { printf '%s' "${1//,/,,}"; }
start_machine() {
    exec {output}> >(cat || failed=$?; echo "written ${failed:-0}" >&"$ear")
    setpriv --pdeathsig KILL qemu-system-x86_64 -nodefaults -no-user-config -display none -no-reboot \
        -accel "$1" -cpu max -smp 2 -m "$memory" -kernel "$image" -initrd "$private/initramfs" \
        -append "console=ttyS0 ${QUIET-quiet} panic=-1 oops=panic printk.devkmsg=on log_buf_len=8M" \
        -chardev "file,id=console,path=/dev/fd/$console" -serial chardev:console \
        -chardev "file,id=said,path=/dev/fd/$ear" -serial chardev:said \
        -device virtio-serial-pci -chardev "file,id=output,path=/dev/fd/$output" -device virtserialport,chardev=output \
        -virtfs "local,path=/,mount_tag=host,security_model=none,multidevs=remap,readonly=on" \
        -virtfs "local,path=$(for_qemu "$out"),mount_tag=out,security_model=none,multidevs=remap" \
        </dev/null >"$private/qemu.log" 2>&1 &
    machine=$!
    exec {output}>&-
}
comes_alive() {
    start_machine "$1"
    hear "$2" && [ "$said" = alive ]
}
comes_alive tcg,thread=multi 120 || give_up 121 "no life: $(cat "$private/qemu.log")"
printf '%s\n' "Linux $release" >&2
while hear "$limit"; do
    case $said in
        refused) give_up 122 "$rest" ;;
        ended) status=$rest; end_machine ;;
        written) break ;;
    esac
done
exit "${status:-125}"
