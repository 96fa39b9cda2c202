// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Pan and zoom of the lanes by mouse, wheel and fingers, and the click on an item.

const CLICK = 5;  // pixels that a click may move

// `on` has pan(pixels), zoom(factor, x) and click(x, y), in pixels of the canvas.
export function watchHands(canvas, on) {
    const fingers = new Map();
    let moved = 0;
    let gap = 0;  // between two fingers

    const spread = () => {
        const [one, two] = [...fingers.values()];
        return {gap: Math.hypot(one.x - two.x, one.y - two.y), middle: (one.x + two.x) / 2};
    };
    canvas.addEventListener("pointerdown", (event) => {
        if (event.button !== 0) return;
        canvas.setPointerCapture(event.pointerId);
        fingers.set(event.pointerId, {x: event.offsetX, y: event.offsetY});
        if (fingers.size === 1) moved = 0;
        else if (fingers.size === 2) gap = spread().gap;
    });
    canvas.addEventListener("pointermove", (event) => {
        const finger = fingers.get(event.pointerId);
        if (finger === undefined) return;
        const by = event.offsetX - finger.x;
        moved += Math.abs(by) + Math.abs(event.offsetY - finger.y);
        Object.assign(finger, {x: event.offsetX, y: event.offsetY});
        if (fingers.size === 1 && moved > CLICK) on.pan(-by);
        if (fingers.size !== 2) return;
        const now = spread();
        if (gap > 0 && now.gap > 0) on.zoom(gap / now.gap, now.middle);
        gap = now.gap;
    });
    const release = (event) => {
        if (!fingers.delete(event.pointerId)) return;
        if (event.type === "pointerup" && fingers.size === 0 && moved <= CLICK) on.click(event.offsetX, event.offsetY);
    };
    canvas.addEventListener("pointerup", release);
    canvas.addEventListener("pointercancel", release);
    canvas.addEventListener("wheel", (event) => {
        event.preventDefault();
        const unit = event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 16 : 1;
        if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) on.pan((event.deltaX || event.deltaY) * unit);
        else on.zoom(1.0015 ** (event.deltaY * unit), event.offsetX);
    }, {passive: false});
}
