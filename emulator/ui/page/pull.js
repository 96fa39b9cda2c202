// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Pulls the cover off and puts it back: with the mouse, the keyboard and the button.

import {ask} from "./ask.js";
import {byId, write} from "./dom.js";

const FAR = 60;  // pixels from which on a drag counts

let isAsked = false;

export async function toggle() {
    if (isAsked || byId("plug").disabled) return;
    isAsked = true;
    const isAttached = byId("cover").dataset.attached === "true";
    try {
        await ask("POST", isAttached ? "/v1/detach" : "/v1/attach");
        write(byId("plug-answer"), "");
    } catch (error) {
        write(byId("plug-answer"), error.message);
    }
    isAsked = false;
}

export function watchCover() {
    const cover = byId("cover");
    let start;
    const put = (x, y) => {
        cover.style.translate = `${x}px ${y}px`;
    };
    byId("plug").addEventListener("click", toggle);
    cover.addEventListener("keydown", (event) => {
        if (event.key !== "Enter" && event.key !== " ") return;
        event.preventDefault();
        toggle();
    });
    cover.addEventListener("pointerdown", (event) => {
        if (event.button !== 0) return;
        start = {x: event.clientX, y: event.clientY};
        cover.setPointerCapture(event.pointerId);
        cover.dataset.dragged = "true";
    });
    cover.addEventListener("pointermove", (event) => {
        if (start) put(event.clientX - start.x, event.clientY - start.y);
    });
    const release = (event) => {
        if (!start) return;
        const far = Math.hypot(event.clientX - start.x, event.clientY - start.y);
        start = undefined;
        delete cover.dataset.dragged;
        put(0, 0);
        if (event.type === "pointerup" && far >= FAR) toggle();
    };
    cover.addEventListener("pointerup", release);
    cover.addEventListener("pointercancel", release);
}
