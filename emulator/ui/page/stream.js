// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The events that the page lives on. The browser itself connects again after a break.

const STALE = "This page belongs to an emulator that has ended; open the address that it prints now.";

// `on` has a function for each event (hello, items, loaded, state, snapshot, ended), and
// `status(kind, text)`, where kind is "ok", "wait" or "bad".
export function listen(on) {
    const source = new EventSource("events");
    let version;
    for (const name of ["items", "loaded", "state", "snapshot"]) {
        source.addEventListener(name, (event) => on[name](JSON.parse(event.data)));
    }
    source.addEventListener("hello", (event) => {
        const hello = JSON.parse(event.data);
        if (version !== undefined && version !== hello.version) {
            source.close();
            on.status("bad", STALE);
            return;
        }
        version = hello.version;
        on.status("ok", "Connected");
        on.hello(hello);
    });
    source.addEventListener("ended", (event) => {
        const {message} = JSON.parse(event.data);
        on.status("bad", message || "The emulator has ended.");
        on.ended();
    });
    source.addEventListener("error", () => {
        if (source.readyState === EventSource.CLOSED) on.status("bad", STALE);
        else on.status("wait", "No connection: the program that serves this page does not answer.");
    });
}
