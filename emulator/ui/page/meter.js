// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Measures the page itself: frames a second of the last scroll, and how late items were painted.

const MOST_LATENCIES = 2_000;
const PAUSE_MS = 300;  // a longer gap ends a scroll

const frames = [];
export const latencies = [];
let waiting = [];

export function painted(now) {
    if (frames.length > 0 && now - frames.at(-1) > PAUSE_MS) frames.length = 0;
    frames.push(now);
    if (frames.length > 600) frames.shift();
}

export function framesPerSecond() {
    if (frames.length < 2) return 0;
    return ((frames.length - 1) * 1000) / (frames.at(-1) - frames[0]);
}

// Items that will be painted with the next frame.
export const arrived = (items) => {
    for (const item of items) waiting.push(item.wall);
};

export function shown() {
    const now = Date.now();
    for (const wall of waiting) latencies.push(now - wall / 1000);
    waiting = [];
    if (latencies.length > MOST_LATENCIES) latencies.splice(0, latencies.length - MOST_LATENCIES);
}
