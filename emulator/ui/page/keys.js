// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Single keys for the page, which rest while the user types and can be switched off.

import {byId, make} from "./dom.js";
import {toggle} from "./pull.js";

const KEYS = [
    ["p", "pull the cover off, or put it back", toggle],
    ["t", "to the timeline's lanes", () => byId("timeline").focus()],
    ["l", "to the timeline's list", () => byId("timeline-list").focus()],
    ["/", "search the timeline", () => byId("search").focus()],
    ["h", "halt the timeline (pause), or go on", () => byId("pause").click()],
    ["+", "zoom in", () => byId("zoom-in").click()],
    ["-", "zoom out", () => byId("zoom-out").click()],
    ["0", "zoom to all", () => byId("zoom-all").click()],
    ["a", "to the actions", () => byId("action-tabs").querySelector("[tabindex='0']")?.focus()],
    ["?", "this list", () => byId("keys").showModal()],
];
const ON_PARTS = [
    ["on the cover", "Enter or Space pulls it off or puts it back"],
    ["on the lanes", "Left and Right: item to item; Up and Down: lane to lane; Shift with Left or Right: pan; Home, End: first, last; Enter: bytes"],
    ["on the list", "Up, Down, Page Up, Page Down, Home, End; Enter: bytes"],
];

const isTyping = (target) => target.closest("input:not([type=checkbox]), select, textarea, dialog") !== null;

export function watchKeys() {
    const list = byId("key-list");
    for (const [name, text] of [...KEYS, ...ON_PARTS]) {
        const isKey = name.length === 1;
        list.append(make("div", {}, make("dt", {}, isKey ? make("kbd", {textContent: name}) : name), make("dd", {textContent: text})));
    }
    const isOn = byId("keys-on");
    isOn.checked = window.kept.get("keys") !== "off";
    isOn.addEventListener("change", () => window.kept.set("keys", isOn.checked ? "on" : "off"));
    byId("show-keys").addEventListener("click", () => byId("keys").showModal());
    document.addEventListener("keydown", (event) => {
        if (event.defaultPrevented || event.ctrlKey || event.altKey || event.metaKey || !isOn.checked) return;
        if (isTyping(event.target)) return;
        const action = KEYS.find(([key]) => key === event.key)?.[2];
        if (!action) return;
        event.preventDefault();
        action();
    });
}
