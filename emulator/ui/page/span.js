// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The span of time that the lanes show, in microseconds from the phone's start.

const LEAST = 50;         // the closest zoom
const FIRST = 10_000_000; // the span at the beginning
const MARGIN = 0.03;      // of the span, between the last item and the edge

export class Span {
    constructor() {
        this.reset();
    }

    reset() {
        this.from = 0;
        this.to = FIRST;
        this.follows = true;  // the newest item stays in sight
    }

    get length() {
        return this.to - this.from;
    }

    move(from, length, latest) {
        const most = Math.max(FIRST, latest * 1.2);
        const kept = Math.min(Math.max(length, LEAST), most);
        const edge = latest + kept * MARGIN;
        this.from = Math.max(Math.min(from, edge - kept * 0.05), -kept * 0.5);
        this.to = this.from + kept;
        this.follows = this.from <= latest && this.to >= latest;
    }

    pan(us, latest) {
        this.move(this.from + us, this.length, latest);
    }

    // The time `at` stays where it is.
    zoom(factor, at, latest) {
        const share = (at - this.from) / this.length;
        const length = Math.max(this.length * factor, LEAST);
        this.move(at - share * length, length, latest);
    }

    showAll(first, latest) {
        const length = Math.max(latest - first, LEAST) * (1 + 2 * MARGIN);
        this.move(first - length * MARGIN, length, latest);
        this.follows = true;
    }

    // The newest item comes into sight, when the user has not left it.
    follow(latest) {
        const edge = latest + this.length * MARGIN;
        if (!this.follows || edge <= this.to) return;
        const {length} = this;
        this.to = edge;
        this.from = edge - length;
    }

    reveal(item, latest) {
        const end = item.begin + Math.min(item.duration, this.length / 2);
        if (item.begin >= this.from && end <= this.to) return;
        this.move(item.begin - this.length / 3, this.length, latest);
    }
}
