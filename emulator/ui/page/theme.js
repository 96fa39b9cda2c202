// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The theme: a classic script, so that the first paint has it already.
"use strict";

// The browser may refuse storage, as in a private window.
window.kept = {
    get(name) {
        try {
            return localStorage.getItem(`bivista.${name}`);
        } catch {
            return null;
        }
    },
    set(name, value) {
        try {
            localStorage.setItem(`bivista.${name}`, value);
        } catch {
            // It holds until the page is left.
        }
    },
};

window.theme = {
    system: matchMedia("(prefers-color-scheme: dark)"),
    // "auto", "light" or "dark".
    use(name) {
        document.documentElement.dataset.theme = name;
        document.getElementById("dark").media = {light: "not all", dark: "all"}[name] ?? this.system.media;
    },
};
window.theme.use(window.kept.get("theme") ?? "auto");
