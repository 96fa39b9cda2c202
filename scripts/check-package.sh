#!/usr/bin/env bash
# The Debian package as it comes out of the build: what is in it, what lintian says, its unit, its udev rule. Installs
# nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

# In tenths, as systemd-analyze scores a unit: 0 is best.
most_exposed=25
outcome=0

build_package
python3 scripts/package.py "$package" || outcome=1

say "lintian"
lintian --allow-root --fail-on error,warning "$package" || outcome=1

say "the unit"
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
dpkg-deb -x "$package" "$tree"
# Only the place of its program is not as installed.
sed "s#^ExecStart=/#ExecStart=$tree/#" "$tree/usr/lib/systemd/system/bivista.service" >"$tree/bivista.service"
complaints=$(systemd-analyze verify "$tree/bivista.service" 2>&1) || outcome=1
[ -z "$complaints" ] || { say "$complaints"; outcome=1; }
systemd-analyze security --offline=true --threshold=$most_exposed "$tree/bivista.service" \
    >"$tree/score" || { cat "$tree/score"; outcome=1; }
tail -n 1 "$tree/score"

# marks VENDOR PRODUCT MARK: the USB device of these ids and what hangs below it all get this mark.
marks() {
    local expected
    expected=$(printf '%s\n' "1-1 $3" "1-1:1.0 $3" "ttyACM0 $3")
    actual=$(scripts/udev-rule.sh "$tree/usr/lib/udev/rules.d/60-bivista.rules" "$1" "$2" 2>&1) || return 1
    [ "$actual" = "$expected" ]
}
say "the udev rule"
for device in '3e91 6a2f 1' '3e91 6a20 ' '0483 df11 '; do
    IFS=' ' read -r vendor product mark <<<"$device"
    marks "$vendor" "$product" "$mark" || { say "device $vendor:$product is marked:" "$actual"; outcome=1; }
done

exit $outcome
