#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Makes the documents as a site, build/site/index.html, with the reference of interfaces and headers, the diagrams and
# a search; and checks its links. It needs no network, neither now nor when it is read. The script installs nothing.
# Usage: scripts/site.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

for tool in sphinx-build plantuml; do
    command -v $tool >/dev/null || fail "'$tool' is missing; ./test.sh --only site installs it"
done
pages=build/site-pages
made=build/site

# A warning of Sphinx, such as a link that leads nowhere, is an error.
make_site() {
    rm -rf $made
    python3 -B scripts/site/pages.py $pages &&
        draw_diagrams &&
        BIVISTA_VERSION=$(project_version) PYTHONDONTWRITEBYTECODE=1 sphinx-build -q -W --keep-going -j auto -b html \
            -c scripts/site -d $pages/.doctrees $pages $made
}

draw_diagrams() {
    cp -r docs/diagrams $pages/docs/ &&
        JAVA_TOOL_OPTIONS=-Djava.awt.headless=true plantuml -failfast2 -charset UTF-8 -tsvg "$pages/docs/diagrams/*.puml"
}

mkdir -p build
with_progress "making the site" build/site.log make_site || { cat build/site.log >&2; fail "there is no site"; }
python3 -B scripts/site/built.py $made
say "$made/index.html: $(find $made -name '*.html' | wc -l) pages"
