# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Settings of Sphinx for scripts/site.sh. The pages are those that pages.py has laid out."""
import os

project = "Bivista"
copyright = "2026 the Bivista maintainers"
release = version = os.environ["BIVISTA_VERSION"]
html_title = f"Bivista {release}"

extensions = ["myst_parser"]
# Headings have the names in links that the code host gives them.
myst_heading_anchors = 6
nitpicky = True
# A block without a language is a drawing.
highlight_language = "none"

# A theme without anything from elsewhere: no letters, no scripts, no counters.
html_theme = "furo"
html_copy_source = False
html_show_sphinx = False
# A diagram stands on white in a dark page, too.
html_static_path = ["site.css"]
html_css_files = ["site.css"]
