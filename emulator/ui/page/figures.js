// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the charts show, gathered from the items as they come.

import {place} from "./laneindex.js";

const MOST_SAMPLES = 2_000;   // of a command: the newest
const MOST_COMMANDS = 200;
const MOST_POINTS = 20_000;
const MOST_BINS = 120;
const SECOND = 1_000_000;

// "AT%DB=128" is a command "AT%DB=".
const commandOf = (title) => /^[^=\s]*=?/.exec(title)[0];

export class Figures {
    constructor() {
        this.forget();
    }

    forget() {
        this.commands = new Map();
        this.frames = [];
        this.levels = [];
        this.counted = new Set();  // exchanges and frames that are over
        this.latest = 0;
    }

    add(items) {
        for (const item of items) {
            this.latest = Math.max(this.latest, item.begin + item.duration);
            if (item.open || this.counted.has(item.id)) continue;
            if (item.kind !== "exchange" && item.kind !== "frame") continue;
            this.counted.add(item.id);
            if (item.kind === "frame") this.addFrame(item);
            else this.addExchange(item);
        }
        if (this.counted.size > 400_000) this.counted = new Set([...this.counted].slice(200_000));
    }

    addFrame(item) {
        this.frames.push(item.begin);
        if (this.frames.length > MOST_POINTS) this.frames.shift();
    }

    addExchange(item) {
        const command = commandOf(item.title);
        let samples = this.commands.get(command);
        if (samples === undefined) {
            if (this.commands.size >= MOST_COMMANDS) return;
            this.commands.set(command, samples = []);
        }
        samples.push(item.duration);
        if (samples.length > MOST_SAMPLES) samples.shift();
        const level = /^AT%DB=(\d+)/i.exec(item.title);
        if (level === null || item.verdict !== "OK") return;
        const point = {id: item.id, begin: item.begin, level: Number(level[1])};
        this.levels.splice(place(this.levels, point), 0, point);
        if (this.levels.length > MOST_POINTS) this.levels.shift();
    }

    // The commands that came most often, with durations in ms.
    durations(most) {
        const rows = [...this.commands].map(([command, samples]) => {
            const sorted = Float64Array.from(samples).sort();
            const at = (share) => sorted[Math.min(sorted.length - 1, Math.floor(share * sorted.length))] / 1000;
            return {command, count: sorted.length, median: at(0.5), p99: at(0.99)};
        });
        return rows.sort((a, b) => b.count - a.count).slice(0, most);
    }

    // Frames a second in the newest part of the time, with the begin of each in seconds.
    frameRates() {
        if (this.frames.length === 0) return [];
        const first = Math.min(...this.frames.slice(0, 100));
        const bin = Math.max(1, Math.ceil((this.latest - first) / SECOND / MOST_BINS));
        const start = Math.floor(first / SECOND / bin) * bin;
        const bins = new Array(Math.floor((this.latest / SECOND - start) / bin) + 1).fill(0);
        for (const frame of this.frames) ++bins[Math.max(0, Math.floor((frame / SECOND - start) / bin))];
        return bins.map((frames, i) => ({at: start + i * bin, rate: frames / bin}));
    }

    // Brightness of the cover screen over time: of many points every few, and always the last.
    brightness() {
        const every = Math.ceil(this.levels.length / 400);
        const points = this.levels.filter((_, i) => i % every === 0 || i === this.levels.length - 1)
            .map(({begin, level}) => ({at: begin / SECOND, level}));
        const last = points.at(-1);
        return last && this.latest / SECOND > last.at ? [...points, {at: this.latest / SECOND, level: last.level}] : points;
    }
}
