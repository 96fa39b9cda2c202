// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The events that the page lives on. The browser itself connects again after a break.

import {readAbilities} from "./ask.js";

// The stream was refused: another request is told why.
async function explain(on) {
    try {
        await readAbilities();
        on.status("bad", "The connection was refused; load this page again.");
    } catch (error) {
        on.status("bad", error.message);
    }
}

// `on` has a function for each event (hello, items, loaded, state, snapshot, ended), and
// `status(kind, text)`, where kind is "ok", "wait" or "bad".
export function listen(on) {
    const source = new EventSource("events");
    for (const name of ["items", "loaded", "state", "snapshot"]) {
        source.addEventListener(name, (event) => on[name](JSON.parse(event.data)));
    }
    source.addEventListener("hello", (event) => {
        on.status("ok", "Connected");
        on.hello(JSON.parse(event.data));
    });
    source.addEventListener("ended", (event) => {
        const {message} = JSON.parse(event.data);
        on.status("bad", message || "The emulator has ended.");
        on.ended();
    });
    source.addEventListener("error", () => {
        if (source.readyState === EventSource.CLOSED) explain(on);
        else on.status("wait", "No connection: the program that serves this page does not answer.");
    });
}
