# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# In a bare Debian with the packages: builds the examples with CMake and with pkg-config, and runs them on the emulated
# phone; runs the test of the Python example. It works in /tmp, and leaves nothing.
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r /usr/share/doc/bivista/examples "$work/pkg-config"
cp -r /usr/share/doc/bivista/examples "$work/cmake"

with_cmake() {
    cmake -S "$work/cmake/$1" -B "$work/cmake/$1" && cmake --build "$work/cmake/$1"
}
with_pkg-config() { make -C "$work/pkg-config/$1"; }

for how in cmake pkg-config; do
    started=$SECONDS
    for example in cpp-client neighbour; do
        "with_$how" $example >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
    done
    bash /root/run-examples.sh "$work/$how/cpp-client/bivista-example-client" \
        "$work/$how/neighbour/bivista-example-neighbour" "$work/$how/cpp-client/panel.png"
    echo "examples by $how, built and run: $((SECONDS - started)) s"
done

if [ -d /usr/share/doc/bivista/examples/python ]; then
    started=$SECONDS
    cp -r /usr/share/doc/bivista/examples/python "$work/python"
    python3 -m pytest -q "$work/python"
    echo "the example of the Python package, tested: $((SECONDS - started)) s"
fi
