// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cutout that the cover describes, as Android writes it: an SVG path in pixels whose origin is the
// middle of the screen's top edge, with markers that say otherwise.

const WIDTH = 1080;    // of the screen that is drawn
const HEIGHT = 2340;
const DENSITY = 2.75;  // pixels a dp

const PATH = /^\s*[Mm][\sMmLlHhVvCcSsQqTtAaZz0-9eE.,+-]*$/;

// Returns what to draw, relative to that origin: `path` is empty where the text describes none.
export function readOutline(text) {
    const isTop = !text.includes("@bottom");
    const scale = text.includes("@dp") ? DENSITY : 1;
    const x = text.includes("@left") ? -WIDTH / 2 : text.includes("@right") ? WIDTH / 2 : 0;
    const y = text.includes("@center_vertical") ? HEIGHT / 2 : isTop ? 0 : HEIGHT;
    const path = text.replace(/@(dp|left|right|bottom|center_vertical|bind_left_cutout|bind_right_cutout)/g, "").trim();
    const isPath = PATH.test(path);
    return {path: isPath ? path : "", transform: `translate(${x} ${y}) scale(${scale})`};
}
