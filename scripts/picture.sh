#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Makes the README's picture, docs/page.png: a screenshot of the page while a cover is at work.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

install_packages build browser
require_tools
require_world
build_preset release bivista-service bivista-emulator bivistactl
# Debian's own Python, which has the client of the browser's driver.
/usr/bin/python3 -B tests/browser/picture.py docs/page.png
