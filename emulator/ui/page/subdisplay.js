// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display, pixel for pixel: a hexadecimal digit is a level of 0 to 15.

import {byId, setData} from "./dom.js";

const canvas = () => byId("sub-display");

// `picture` is null where the panel shows none.
export function showPicture(picture) {
    const surface = canvas();
    const {width, height, levels} = picture ?? {width: surface.width, height: surface.height, levels: ""};
    if (!(width > 0 && height > 0) || levels.length < (picture ? width * height : 0)) return;
    if (surface.width !== width) surface.width = width;
    if (surface.height !== height) surface.height = height;
    const context = surface.getContext("2d");
    const image = context.createImageData(width, height);
    for (let i = 0; i < width * height; ++i) {
        const level = picture ? parseInt(levels[i], 16) * 17 : 0;
        image.data.set([level, level, level, 255], i * 4);
    }
    context.putImageData(image, 0, 0);
}

export function showPanel(panel = {}) {
    const {on = false, brightness = 0, width = 0, height = 0, attached = false} = panel;
    const surface = canvas();
    setData(surface, {on, brightness, width, height});
    const isLit = attached && on;
    surface.style.opacity = isLit ? String(0.3 + 0.7 * Math.min(brightness, 255) / 255) : "0";
    surface.setAttribute("aria-label", isLit
        ? `Sub display, on, brightness ${brightness} of 255, ${width} by ${height} pixels` : "Sub display, off");
}
