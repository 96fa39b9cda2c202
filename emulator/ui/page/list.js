// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The timeline as text: a grid that has elements only for the rows in sight.

import {LANES} from "./store.js";
import {duration, make, seconds, write} from "./dom.js";
import {compare, search} from "./laneindex.js";
import {isBad} from "./lanes.js";
import {painted} from "./meter.js";

const ROW = 26;  // height, as in the style sheet
const SPARE = 6; // rows beyond the edges
const NAMES = new Map(LANES);
const COLUMNS = ["Time, s", "Lane", "What", "Result", "Duration", "Verdict"];

export class List {
    constructor(grid, store, choose) {
        Object.assign(this, {grid, store, choose, pool: [], at: -1, sticks: true});
        const head = make("div", {className: "head", role: "row"},
            ...COLUMNS.map((text) => make("span", {role: "columnheader", textContent: text})));
        head.setAttribute("aria-rowindex", "1");
        this.body = make("div", {className: "rows", role: "rowgroup"});
        grid.append(head, this.body);
        grid.addEventListener("scroll", () => {
            this.sticks = grid.scrollTop + grid.clientHeight >= grid.scrollHeight - ROW;
            this.later(true);
        }, {passive: true});
        grid.addEventListener("keydown", (event) => this.key(event));
        grid.addEventListener("click", (event) => {
            const row = event.target.closest("[data-index]");
            if (row) this.select(Number(row.dataset.index), true);
        });
    }

    later(isScroll = false) {
        this.scrolls ||= isScroll;
        this.frame ??= requestAnimationFrame((now) => {
            this.frame = undefined;
            this.draw();
            if (this.scrolls) painted(now);
            this.scrolls = false;
        });
    }

    // Draws with what the store has now; a list that shows the newest item goes on to do so.
    draw() {
        const {grid, store} = this;
        const count = store.shown.length;
        const all = `${count * ROW}px`;
        if (this.body.style.height !== all) {
            this.body.style.height = all;
            grid.setAttribute("aria-rowcount", String(count + 1));
            if (this.sticks) grid.scrollTop = grid.scrollHeight;
        }
        const first = Math.max(0, Math.floor(grid.scrollTop / ROW) - SPARE);
        const rows = Math.ceil(grid.clientHeight / ROW) + 2 * SPARE;
        while (this.pool.length < rows) this.pool.push(this.makeRow());
        let active;
        for (let i = 0; i < this.pool.length; ++i) {
            // Each row of the pool keeps its place in the window: a scroll changes few of them.
            const index = first + ((i - (first % this.pool.length) + this.pool.length) % this.pool.length);
            this.fill(this.pool[i], index < count ? index : -1);
            if (index === this.at && index < count) active = this.pool[i];
        }
        if (active) grid.setAttribute("aria-activedescendant", active.id);
        else grid.removeAttribute("aria-activedescendant");
    }

    makeRow() {
        const row = make("div", {role: "row", id: `row-${this.pool.length}`});
        row.append(...COLUMNS.map(() => make("span", {role: "gridcell"})));
        this.body.append(row);
        return row;
    }

    fill(row, index) {
        const item = this.store.shown[index];
        row.hidden = item === undefined;
        if (item === undefined) {
            row.item = undefined;
            return;
        }
        if (row.index !== index) {
            row.index = index;
            row.dataset.index = String(index);
            row.style.transform = `translateY(${index * ROW}px)`;
            row.setAttribute("aria-rowindex", String(index + 2));
        }
        row.setAttribute("aria-selected", String(index === this.at));
        if (row.item === item && row.stamp === item.stamp) return;
        Object.assign(row, {item, stamp: item.stamp});
        row.dataset.lane = item.lane;
        row.dataset.id = String(item.id);
        row.classList.toggle("bad", isBad(item));
        row.classList.toggle("faulty", item.faulty);
        const verdict = item.faulty ? `${item.verdict} fault`.trim() : item.verdict;
        const texts = [seconds(item.begin), NAMES.get(item.lane) ?? item.lane, item.title, item.detail,
            item.duration > 0 ? duration(item.duration) : "", verdict];
        texts.forEach((text, i) => write(row.children[i], text));
    }

    select(index, isChosen) {
        const {grid, store} = this;
        if (store.shown.length === 0) return;
        this.at = Math.min(Math.max(index, 0), store.shown.length - 1);
        const top = this.at * ROW;
        if (top < grid.scrollTop) grid.scrollTop = top;
        const room = grid.clientHeight - 2 * ROW;  // the head covers a row
        if (top > grid.scrollTop + room) grid.scrollTop = top - room;
        this.draw();
        if (isChosen) this.choose(store.shown[this.at]);
    }

    // The row of an item that was chosen elsewhere, or none.
    show(item) {
        const index = search(this.store.shown, (each) => compare(each, item) < 0);
        if (this.store.shown[index] === item) this.select(index, false);
    }

    forget() {
        Object.assign(this, {at: -1, sticks: true});
    }

    // Items came or went: the chosen row stays with its item.
    refresh(item) {
        this.at = -1;
        if (item !== undefined) {
            const index = search(this.store.shown, (each) => compare(each, item) < 0);
            if (this.store.shown[index] === item) this.at = index;
        }
        this.later();
    }

    key(event) {
        const page = Math.max(1, Math.floor(this.grid.clientHeight / ROW) - 2);
        const steps = {ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -Infinity, End: Infinity};
        if (event.ctrlKey || event.altKey || event.metaKey) return;
        if (event.key in steps) {
            const from = this.at >= 0 ? this.at : Math.ceil(this.grid.scrollTop / ROW) - 1;
            this.select(from + steps[event.key], false);
        } else if (event.key === "Enter" && this.at >= 0) {
            this.choose(this.store.shown[this.at], true);
        } else {
            return;
        }
        event.preventDefault();
    }
}
