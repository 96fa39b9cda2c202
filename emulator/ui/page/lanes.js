// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Draws the lanes onto their canvas: bars for what lasts, ticks for what does not, marks for faults.
// Of the items that begin in one column of pixels it draws one, beside those that are wider.

import {LANES} from "./store.js";
import {endOf} from "./laneindex.js";
import {colour, duration} from "./dom.js";

export const AXIS = 22;   // height of the time's axis
export const LANE = 28;   // of a lane
const TICK = 2;           // width of an item without a duration
const LETTER = 6.6;       // width of one at 11 px
const BAD = new Set(["ERROR", "no answer", "cut off", "FAIL", "DEAD_OBJECT", "refused"]);

export const isBad = (item) => BAD.has(item.verdict);
export const height = AXIS + LANE * LANES.length;

let palette;

export function readPalette() {
    palette = {};
    for (const name of ["accent", "accent-soft", "on-accent", "bad", "fault", "text", "quiet", "line", "focus", "card"]) {
        palette[name] = colour(name);
    }
}

// The greatest step of 1, 2 or 5 times a power of ten that leaves a tick each 90 pixels.
function stepOf(scale) {
    const least = 90 / scale;
    const power = 10 ** Math.floor(Math.log10(least));
    return [1, 2, 5, 10].map((factor) => factor * power).find((step) => step >= least);
}

function timeText(us, step) {
    const digits = Math.max(0, Math.min(6, -Math.floor(Math.log10(step / 1e6))));
    return `${(us / 1e6).toFixed(digits)} s`;
}

function drawAxis(context, span, width) {
    const scale = width / span.length;
    const step = stepOf(scale);
    context.strokeStyle = palette.line;
    context.fillStyle = palette.quiet;
    context.beginPath();
    for (let at = Math.ceil(Math.max(span.from, 0) / step) * step; at <= span.to; at += step) {
        const x = Math.round((at - span.from) * scale) + 0.5;
        context.moveTo(x, AXIS - 5);
        context.lineTo(x, height);
        const text = timeText(at, step);
        if (x + 4 + text.length * LETTER <= width) context.fillText(text, x + 4, AXIS - 9);
    }
    for (let i = 0; i <= LANES.length; ++i) {
        const y = AXIS + i * LANE - 0.5;
        context.moveTo(0, y);
        context.lineTo(width, y);
    }
    context.stroke();
}

function drawTitle(context, item, x, y, width, high) {
    const letters = Math.floor((width - 8) / LETTER);
    if (letters < 3 || high < 14) return;
    const text = item.title.length > letters ? `${item.title.slice(0, letters - 1)}…` : item.title;
    context.fillStyle = item.open ? palette.text : isBad(item) ? palette.card : palette["on-accent"];
    context.fillText(text, x + 4, y + 13);
}

function drawItem(context, item, box, isChosen) {
    const isTick = box.width <= TICK;
    context.fillStyle = isBad(item) ? palette.bad : palette[item.open ? "accent-soft" : "accent"];
    context.globalAlpha = isTick && !isBad(item) ? 0.75 : 1;
    context.fillRect(box.x, box.y, box.width, box.high);
    context.globalAlpha = 1;
    if (!isTick) drawTitle(context, item, Math.max(box.x, 0), box.y, Math.min(box.width, box.x + box.width), box.high);
    if (!isChosen) return;
    context.lineWidth = 2;
    context.strokeStyle = palette.focus;
    context.strokeRect(box.x - 2, box.y - 2, box.width + 4, box.high + 4);
    context.lineWidth = 1;
}

// A diamond: told from the bars by its shape, too.
function drawFault(context, x, y) {
    context.fillStyle = palette.fault;
    context.strokeStyle = palette.card;
    context.beginPath();
    context.moveTo(x, y - 6);
    context.lineTo(x + 6, y);
    context.lineTo(x, y + 6);
    context.lineTo(x - 6, y);
    context.closePath();
    context.fill();
    context.stroke();
}

// Where an item stands, in pixels.
function boxOf(item, top, span, scale, latest) {
    const x = (item.begin - span.from) * scale;
    const end = item.open ? Math.max(latest, item.begin) : item.begin + item.duration;
    const high = item.row > 0 ? 12 : 18;
    return {x, y: top + 5 + item.row * 3, width: Math.max(TICK, (end - item.begin) * scale), high};
}

function drawLane(context, lane, top, view) {
    const {span, scale, latest, chosen} = view;
    const faults = [];
    let column = -1;
    let marked = -8;
    for (let i = lane.firstFrom(span.from); i < lane.items.length; ++i) {
        const item = lane.items[i];
        if (item.begin > span.to) break;
        if (endOf(item) < span.from) continue;
        const box = boxOf(item, top, span, scale, latest);
        if (item.faulty && box.x - marked >= 6) {
            marked = Math.max(box.x, 0);
            faults.push(marked);
        }
        const here = Math.floor(box.x);
        if (here === column && box.width <= TICK && item !== chosen && !isBad(item)) continue;
        column = here;
        drawItem(context, item, box, item === chosen);
    }
    for (const x of faults) drawFault(context, x, top + 5);
}

export function draw(canvas, store, span, chosen) {
    const width = canvas.clientWidth;
    const ratio = window.devicePixelRatio || 1;
    if (canvas.width !== Math.round(width * ratio)) canvas.width = Math.round(width * ratio);
    if (canvas.height !== Math.round(height * ratio)) canvas.height = Math.round(height * ratio);
    const context = canvas.getContext("2d");
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, width, height);
    context.font = "11px ui-monospace, 'DejaVu Sans Mono', Menlo, Consolas, monospace";
    drawAxis(context, span, width);
    const view = {span, scale: width / span.length, latest: store.latest, chosen};
    LANES.forEach(([name], i) => drawLane(context, store.lanes.get(name), AXIS + i * LANE, view));
}

// The item under a point: of several the shortest.
export function itemAt(canvas, store, span, x, y) {
    const name = LANES[Math.floor((y - AXIS) / LANE)]?.[0];
    const lane = store.lanes.get(name);
    if (lane === undefined) return undefined;
    const scale = canvas.clientWidth / span.length;
    const reach = 5 / scale;
    const at = span.from + x / scale;
    let best;
    for (let i = lane.firstFrom(at - reach); i < lane.items.length; ++i) {
        const item = lane.items[i];
        if (item.begin > at + reach) break;
        if (endOf(item) < at - reach) continue;
        const distance = Math.abs(item.begin - at);
        if (best === undefined || item.duration < best.item.duration ||
            (item.duration === best.item.duration && distance < best.distance)) {
            best = {item, distance};
        }
    }
    return best?.item;
}

export const describe = (item) =>
    `${item.title}${item.duration > 0 ? `, ${duration(item.duration)}` : ""}` +
    `${item.verdict ? `, ${item.verdict}` : ""}${item.faulty ? ", a fault struck" : ""}`;
