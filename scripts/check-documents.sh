#!/usr/bin/env bash
# The commands of the documents, run: each as it stands, or as document_rules.py has it, with stand-ins/ for a phone
# and an installed machine. They build what else they need.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

outcome=0
(cd scripts && python3 -B -m unittest -q document_text_test document_rules_test document_shell_test \
    documents_test stand_ins_test) || outcome=1
build_preset release
build_package
python3 -B scripts/documents.py || outcome=1
exit $outcome
