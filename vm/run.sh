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
host, for what shall stay. COMMAND's standard output and error both come out on standard output, in their order; its
standard input is empty. The caller's environment stays outside: COMMAND can begin with env NAME=VALUE.

  --preset NAME    take the project's programs from build/NAME (release)
  --out DIR        the folder that is /out there; its console.log is the kernel's console (build/vm/run/<date>-<time>)
  --limit SECONDS  end the machine when COMMAND has run so long (600)
  --memory MB      the machine's memory (1024)
  --disk FILE      instead of the host's files the machine has those of this disk (ext4), and its systemd; nothing is
                   written to FILE. The project is there at its own path
  --no-kvm         do not try KVM
  --linux DIR      another kernel: boot/, lib/modules/ and bivista_phone.ko as in build/vm/linux
  --no-install     install and download nothing; fail where something is missing

example: vm/run.sh --out kept -- bivista-emulator play --keep /out/tour scenarios/tour.yaml

Exit status: COMMAND's; else 2 wrong arguments, 120 a program or package cannot be had, 121 the machine does not come
up, 122 a driver is missing or does not load, 123 the time limit, 124 nothing more can be written out, 125 the machine
ended by itself. Then the last lines of the console follow on standard error.
HELP
}

preset=release
out=
limit=600
memory=1024
disk=
kvm=yes
linux=
install=()

# from_caller PATH: a path as the caller gave it, for use in this folder.
from_caller() { case $1 in /*) printf '%s' "$1" ;; *) printf '%s' "$called_in/$1" ;; esac; }
check_number() { [[ $2 =~ ^[1-9][0-9]{0,5}$ ]] || fail "$1 takes a number from 1 to 999999, not '$2'"; }
take_option() {
    [ -n "${2:-}" ] || fail "$1 needs a value; see vm/run.sh --help"
    case $1 in
        --preset) preset=$2 ;;
        --out) out=$(from_caller "$2") ;;
        --disk) disk=$(from_caller "$2") ;;
        --linux) linux=$(from_caller "$2") ;;
        --limit) check_number "$@"; limit=$2 ;;
        --memory) check_number "$@"; memory=$2 ;;
    esac
}
while [ $# -gt 0 ]; do
    case $1 in
        --help | -h) usage; exit 0 ;;
        --preset | --out | --limit | --memory | --disk | --linux) take_option "$1" "${2:-}"; shift ;;
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
[[ $preset =~ ^[a-z0-9-]+$ ]] || fail "'$preset' is no preset's name"
[ -z "$disk" ] || [ -r "$disk" ] || fail "cannot read the disk $disk"

private=
machine=
end_machine() {
    [ -n "$machine" ] || return 0
    kill -KILL "$machine" 2>/dev/null || true
    wait "$machine" 2>/dev/null || true
    machine=
}
finish() {
    end_machine
    if [ -n "$private" ]; then rm -rf "$private"; fi
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# give_up STATUS TEXT: says what is wrong, and what the kernel said last.
give_up() {
    end_machine
    printf 'error: %s\n' "$2" >&2
    if [ -s "$out/console.log" ]; then
        printf 'the last lines of the console (%s):\n' "$out/console.log" >&2
        tail -n 15 "$out/console.log" | tr -d '\r' >&2
    fi
    exit "$1"
}

choose_linux() {
    local images
    if [ -z "$linux" ]; then
        vm/linux.sh "${install[@]}" >&2 || exit
        linux=$PWD/build/vm/linux
    fi
    images=("$linux"/boot/vmlinuz-*)
    [ -f "${images[0]}" ] && [ ${#images[@]} = 1 ] || fail "there must be one boot/vmlinuz-... in $linux"
    image=${images[0]}
    release=${image##*/vmlinuz-}
}

make_out() {
    if [ -z "$out" ]; then make_run_folder "$PWD/build/vm/run"; fi
    mkdir -p "$out" || fail "cannot make the folder $out"
    { : >"$out/console.log"; } || give_up 124 "cannot write into $out"
    exec {console}>"$out/console.log"
}

# The drivers that the machine itself needs, then the phone's.
drivers=(virtio_pci virtio_console 9pnet_virtio 9p)
if [ -n "$disk" ]; then drivers+=(virtio_blk ext4); else drivers+=(overlay); fi
drivers+=(vhci-hcd cdc-acm usbhid hid-generic)

# collect_drivers FOLDER: the files of the drivers and of those that they need; "order" lists them as they are loaded.
collect_drivers() {
    local listed paths
    listed=$(modprobe --show-depends -d "$linux" -S "$release" -a "${drivers[@]}" 2>&1) ||
        give_up 122 "Linux $release lacks a driver: $(sed -n '/not found/{s/^modprobe: [A-Z]*: //p;q}' <<<"$listed")"
    mapfile -t paths < <(sed -n 's/^insmod \(.*[^ ]\) *$/\1/p' <<<"$listed" | awk '!seen[$0]++')
    paths+=("$linux/bivista_phone.ko")
    mkdir "$1"
    cp "${paths[@]}" "$1/" || give_up 122 "a driver is missing"
    printf '%s\n' "${paths[@]##*/}" >"$1/order"
}

# The machine's first files.
make_initramfs() {
    local root=$private/root programs=$PWD/build/$preset/bin applet
    local project=$PWD folder=$called_in
    mkdir -p "$root"/{bin,dev,proc,sys,vm/bin}
    cp "$(command -v busybox)" "$root/bin/"
    for applet in chmod cp hostname insmod ip ln mkdir mount sh sleep stty switch_root tail; do
        ln -s busybox "$root/bin/$applet"
    done
    collect_drivers "$root/drivers"
    install -m 755 vm/guest/init.sh "$root/init"
    cp vm/guest/session.sh "$root/vm/"
    declare -p project folder command >"$root/vm/settings"
    if [ -n "$disk" ]; then
        cp vm/guest/command.service "$root/"
        realpath "$linux/lib/modules" >"$root/modules"
    else
        ln -s "$programs"/{bivistactl,bivista-vts,vendor.qmx.hardware.bivista@1.1-service} "$root/vm/bin/"
        ln -s "$programs/bivista-emulator-kernel" "$root/vm/bin/bivista-emulator"
    fi
    (cd "$root" && find . | cpio --quiet -o -H newc) >"$private/initramfs"
}

# start_machine ACCELERATOR: what it says of itself arrives at hear; the last is "written STATUS", when its command's
# output is copied.
start_machine() {
    local output shared=${out//,/,,} disk_options=()
    if [ -n "$disk" ]; then disk_options=(-drive "file=${disk//,/,,},if=virtio,format=raw,snapshot=on"); fi
    exec {output}> >(cat || failed=$?; echo "written ${failed:-0}" >&"$ear")
    # Without no_timer_check a kernel panics where a busy host lets it wait for its timer.
    setpriv --pdeathsig KILL qemu-system-x86_64 -nodefaults -no-user-config -display none -no-reboot \
        -accel "$1" -cpu max -smp 2 -m "$memory" -kernel "$image" -initrd "$private/initramfs" \
        -append "console=ttyS0 quiet panic=-1 oops=panic printk.devkmsg=on log_buf_len=8M mitigations=off no_timer_check" \
        -chardev "file,id=console,path=/dev/fd/$console" -serial chardev:console \
        -chardev "file,id=said,path=/dev/fd/$ear" -serial chardev:said \
        -chardev "file,id=output,path=/dev/fd/$output" -device virtio-serial-pci -device virtserialport,chardev=output \
        -virtfs "local,path=/,mount_tag=host,security_model=none,multidevs=remap,readonly=on" \
        -virtfs "local,path=$shared,mount_tag=out,security_model=none,multidevs=remap" \
        "${disk_options[@]}" </dev/null >"$private/qemu.log" 2>&1 &
    machine=$!
    exec {output}>&-
}

# hear DEADLINE: the machine's next word is in $said, what follows it in $rest. Fails at the deadline, in $SECONDS.
hear() {
    local left=$(($1 - SECONDS))
    [ $left -gt 0 ] && read -r -t $left -u "$ear" said rest
}
# comes_alive ACCELERATOR SECONDS
comes_alive() {
    start_machine "$1"
    if hear $((SECONDS + $2)) && [ "$said" = alive ]; then return; fi
    end_machine
    until [ "$said" = written ]; do hear $((SECONDS + 10)) || break; done
    return 1
}

# Why KVM is not to be tried, in $without.
no_kvm=$PWD/build/vm/no-kvm
here="$(uname -r), $(qemu-system-x86_64 --version | head -n 1)"
judge_kvm() {
    without=
    if [ $kvm = no ]; then
        without="not wanted"
    elif [ ! -e /dev/kvm ]; then
        without="there is no /dev/kvm"
    elif [ ! -w /dev/kvm ]; then
        without="/dev/kvm is not for this user"
    elif [ "$(cat "$no_kvm" 2>/dev/null)" = "$here" ]; then
        without="no machine comes alive with it here, says build/vm/no-kvm"
    fi
}
# /dev/kvm may be there and not work: only a machine that comes alive shows it. One that works does so in a second.
boot() {
    local how="with KVM"
    judge_kvm
    if [ -n "$without" ] || ! comes_alive kvm 10; then
        comes_alive tcg,thread=multi 300 ||
            give_up 121 "the machine shows no sign of life: $(tail -n 1 "$private/qemu.log")"
        if [ -z "$without" ]; then
            without="no machine comes alive with it here"
            mkdir -p "${no_kvm%/*}"
            echo "$here" >"$no_kvm"
        fi
        how="without KVM ($without)"
    fi
    printf 'vm/run.sh: Linux %s in a machine %s\n' "$release" "$how" >&2
}

# Follows the machine until its command runs.
come_up() {
    while hear $((SECONDS + 300)); do
        case $said in
            up) return ;;
            refused) give_up 122 "$rest" ;;
            written) give_up 121 "the machine ended before it was up" ;;
        esac
    done
    give_up 121 "the machine is not up after 300 s"
}

# Follows it until it has ended and all is written. The command's exit status is in $status.
run_command() {
    local full='' deadline=$((SECONDS + limit))
    status=
    while hear $deadline; do
        case $said in
            full) full=yes ;;
            ended) status=$rest; end_machine ;;
            written)
                if [ "$rest" != 0 ]; then give_up 124 "the command's output cannot be written on"; fi
                if [ -n "$full" ]; then give_up 124 "nothing more can be written into $out"; fi
                if [ -z "$status" ]; then give_up 125 "the machine ended by itself"; fi
                return ;;
        esac
    done
    give_up 123 "the command has not ended after $limit s: ${command[*]}"
}

choose_linux
make_out
private=$(mktemp -d)
mkfifo "$private/said"
exec {ear}<>"$private/said"
make_initramfs
boot
come_up
run_command
exit "$status"
