#!/usr/bin/env bash
# The commands of the documents, run: each as it stands, or as document_rules.py has it, with stand-ins/ for a phone
# and an installed machine. They build what else they need.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

build_preset release
build_package
exec python3 -B scripts/documents.py
