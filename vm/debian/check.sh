#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Checks the Debian package in a virtual machine with systemd and udev, and with a cover on its USB bus.
#     vm/debian/check.sh      builds the package, becomes root to make the machine's disk, and boots it
# Exit status: that of vm/run.sh; 1 where a check has failed.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
source scripts/common.sh

folder=build/vm/debian
mkdir -p $folder
build_packages
build_preset release bivista-emulator-kernel
[ "$(id -u)" = 0 ] || say "Root is needed to make the disk: using sudo"
as_root vm/debian/image.sh "$package" $folder
vm/run.sh --disk $folder/disk.img --out $folder/out --limit 1200 -- bash vm/debian/session.sh
