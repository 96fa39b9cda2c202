# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Shared by run.sh, test.sh and the checks under scripts/. Sourced with the project root as folder.
source scripts/progress.sh

say() { printf '%s\n' "$*"; }
fail() { printf 'error: %s\n' "$*" >&2; exit 2; }

# package_lines KIND...: the Debian packages of these kinds in scripts/packages.txt, each with what it is for.
package_lines() {
    awk -v kinds=" $* " '/^[^#]/ {
        count = split($1, needed, ",")
        $1 = ""
        for (i = 1; i <= count; i++) if (index(kinds, " " needed[i] " ")) { print; next }
    }' scripts/packages.txt
}
packages_for() { package_lines "$@" | awk '{ print $1 }'; }

as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

# missing_packages KIND...: those of these kinds that are not installed.
missing_packages() {
    local package
    for package in $(packages_for "$@"); do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || echo "$package"
    done
}

# install_packages KIND...: installs the packages that are missing, and says which and why.
install_packages() {
    local missing package
    mapfile -t missing < <(missing_packages "$@")
    [ ${#missing[@]} -gt 0 ] || return 0
    command -v apt-get >/dev/null || fail "this needs Debian's apt-get to install: ${missing[*]}"
    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null ||
        fail "not root, and there is no sudo; as root, run: apt-get install ${missing[*]}"
    say "Installing Debian packages that are missing:"
    for package in "${missing[@]}"; do
        say " $(package_lines "$@" | awk -v name="$package" '$1 == name')"
    done
    local log
    log=$(mktemp)
    with_progress "installing" "$log" run_apt_get "${missing[@]}" || {
        tail -n 5 "$log" >&2
        fail "apt-get could not install: ${missing[*]} (whole output: $log)"
    }
    rm -f "$log"
}
run_apt_get() {
    as_root apt-get update -q &&
        as_root env LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
            apt-get install -q -y --no-install-recommends "$@"
}

require_tools() {
    local tool
    for tool in clang++ cmake ninja hidl-gen capnp; do
        command -v $tool >/dev/null || fail "'$tool' is missing; run without --no-install, or install $(packages_for build | tr '\n' ' ')"
    done
}

# The emulated phone lives in namespaces of its own.
require_world() {
    unshare --user --map-root-user --mount --net true 2>/dev/null ||
        fail "user namespaces are forbidden here, and the emulated phone needs them; as root: sysctl -w kernel.unprivileged_userns_clone=1 user.max_user_namespaces=10000 (in a container: allow unshare)"
}

# build_preset NAME [TARGET...]: configures and builds, and shows output only when it fails.
build_preset() {
    local log=build/$1.log
    mkdir -p build
    with_progress "building ($1)" "$log" make_preset "$@" || {
        grep -E -A5 'error:|FAILED:|CMake Error' "$log" | head -n 40 >&2
        fail "the build failed (whole output: $log)"
    }
}

# build_for_machine: what is started on the phone that vm/run.sh boots.
build_for_machine() {
    build_preset release bivista-service bivista-emulator bivista-emulator-kernel bivistactl bivista-vts
}

make_preset() {
    local preset=$1
    shift
    cmake --preset "$preset" &&
        NINJA_STATUS='[%f/%t] ' cmake --build --preset "$preset" ${1:+--target "$@"}
}

# device_sources PATTERN: the files of the device folders that match, in order.
device_sources() { git ls-files {diagnostics,display,kernel,service,sub_display}/"$1" | sort; }

# each COMMAND...: runs a command for each file on standard input, as many at a time as there are processors. Prints
# "[3/12]" for each that has ended, and what the command says where it fails.
each() {
    local files
    mapfile -t files
    # shellcheck disable=SC2016
    printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$(nproc)" bash -c '
        said=$("$@" 2>&1) || printf "%s\n" "$said" "${!#}: exit $((failed = $?))"
        echo "[ended]"
        exit ${failed:+1}' bash "$@" |
        awk -v all=${#files[@]} '$0 == "[ended]" { $0 = "[" ++ended "/" all "]" } { print; fflush() }'
}

# build_packages [PRESET]: makes the Debian packages of what is built (release); their paths are in ${packages[@]}, and in
# $package that of the programs.
build_packages() {
    local preset=${1:-release} log=build/package.log
    build_preset "$preset" packaged
    rm -f "build/$preset/package"/*.deb
    with_progress "making the Debian packages ($preset)" "$log" env -C "build/$preset" cpack -G DEB || {
        cat "$log" >&2
        fail "no packages were made (whole output: $log)"
    }
    # shellcheck disable=SC2034
    packages=("build/$preset/package"/*.deb)
    package=$(ls "build/$preset/package"/bivista_*.deb)
}

# project_version: the version of this tree.
project_version() { sed -n 's/.*kVersion\[\] = "\([0-9.]*\)".*/\1/p' kernel/base/Version.h; }
