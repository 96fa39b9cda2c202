// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The timeline: the lanes, the list and the chosen item over one store.

import {byId, make, write} from "./dom.js";
import {watchHands} from "./hands.js";
import {ItemView} from "./item.js";
import {LANES, Store} from "./store.js";
import {compare, search} from "./laneindex.js";
import {List} from "./list.js";
import {describe, draw, itemAt, readPalette} from "./lanes.js";
import {arrived, painted, shown} from "./meter.js";
import {Span} from "./span.js";

const MOST_HELD = 200_000;  // rows that wait while the page is paused

export class Timeline {
    constructor() {
        this.store = new Store();
        this.span = new Span();
        this.canvas = byId("timeline");
        this.list = new List(byId("timeline-list"), this.store, (item, isKey) => this.choose(item, isKey));
        this.view = new ItemView(byId("item"), () => this.close());
        this.held = [];
        this.isPaused = false;
        this.isLoaded = false;
        this.lane = 0;
        readPalette();
        this.makeFilters();
        this.watch();
    }

    makeFilters() {
        for (const [name, text] of LANES) {
            const box = make("input", {type: "checkbox", id: `filter-${name}`, checked: true});
            box.addEventListener("change", () => {
                if (box.checked) this.store.hidden.delete(name);
                else this.store.hidden.add(name);
                this.refilter();
            });
            byId("filters").append(make("label", {}, box, make("span", {textContent: text})));
        }
        byId("filter-opens").addEventListener("change", (event) => {
            this.store.hasOpens = event.target.checked;
            this.refilter();
        });
    }

    watch() {
        const search = byId("search");
        search.addEventListener("input", () => {
            clearTimeout(this.typing);
            this.typing = setTimeout(() => this.searchFor(search.value), 120);
        });
        byId("pause").addEventListener("click", () => this.pause(!this.isPaused));
        byId("zoom-in").addEventListener("click", () => this.zoom(0.5));
        byId("zoom-out").addEventListener("click", () => this.zoom(2));
        byId("zoom-all").addEventListener("click", () => this.zoomAll());
        this.canvas.addEventListener("keydown", (event) => this.key(event));
        watchHands(this.canvas, {
            pan: (pixels) => this.pan(pixels * this.span.length / this.canvas.clientWidth),
            zoom: (factor, x) => this.zoom(factor, this.span.from + x * this.span.length / this.canvas.clientWidth),
            click: (x, y) => {
                const item = itemAt(this.canvas, this.store, this.span, x, y);
                if (item) this.choose(item);
            },
        });
        new ResizeObserver(() => {
            this.later();
            this.list.later();
        }).observe(this.canvas);
    }

    // --- what comes

    forget() {
        this.store.forget();
        this.span.reset();
        this.held = [];
        this.isLoaded = false;
        this.chosen = undefined;
        this.view.clear();
        this.list.forget();
        this.changed();
    }

    add(rows) {
        if (!this.isPaused) return this.take(rows);
        for (const row of rows) this.held.push(row);
        if (this.held.length > MOST_HELD) this.held.splice(0, this.held.length - MOST_HELD);
        this.writePause();
        return [];
    }

    take(rows) {
        const fresh = this.store.add(rows);
        if (this.isLoaded) arrived(fresh.filter((item) => this.store.passes(item)));
        this.span.follow(this.store.latest);
        this.changed();
        return fresh;
    }

    loaded() {
        this.isLoaded = true;
        this.zoomAll();
    }

    pause(isPaused) {
        this.isPaused = isPaused;
        const {held} = this;
        this.held = [];
        byId("pause").setAttribute("aria-pressed", String(isPaused));
        this.writePause();
        if (!isPaused && held.length > 0) this.take(held);
    }

    writePause() {
        const count = this.held.length;
        write(byId("pause"), this.isPaused ? `Resume${count > 0 ? ` (${count} new)` : ""}` : "Pause");
    }

    searchFor(text) {
        this.store.words = text.trim().toLowerCase();
        this.refilter();
    }

    refilter() {
        this.store.filter();
        this.changed();
    }

    // --- what is seen

    changed() {
        const {all, shown: visible} = this.store;
        const some = visible.length === all.length ? "" : `${visible.length.toLocaleString("en")} of `;
        write(byId("count"), all.length === 0 ? "no items yet" : `${some}${all.length.toLocaleString("en")} items`);
        this.list.refresh(this.chosen);
        this.view.refresh();
        this.later();
    }

    later(isScroll = false) {
        this.scrolls ||= isScroll;
        this.frame ??= requestAnimationFrame((now) => {
            this.frame = undefined;
            draw(this.canvas, this.store, this.span, this.chosen);
            if (this.scrolls) painted(now);
            this.scrolls = false;
            shown();
        });
    }

    choose(item, isKey = false) {
        this.chosen = item;
        this.lane = LANES.findIndex(([name]) => name === item.lane);
        this.span.reveal(item, this.store.latest);
        this.view.show(item);  // first: the list's height changes with it
        this.list.show(item);
        this.later();
        if (isKey) this.view.box.focus();
    }

    close() {
        this.chosen = undefined;
        this.view.clear();
        this.changed();
        byId("timeline-list").focus();
    }

    pan(us) {
        this.span.pan(us, this.store.latest);
        this.later(true);
    }

    // Without a time the newest item stays, if it is in sight, else the middle.
    zoom(factor, at) {
        const {span, store} = this;
        const still = at ?? (span.follows ? store.latest : (span.from + span.to) / 2);
        span.zoom(factor, still, store.latest);
        this.later(true);
    }

    zoomAll() {
        this.span.showAll(this.store.shown[0]?.begin ?? 0, this.store.latest);
        this.later(true);
    }

    restyle() {
        readPalette();
        this.later();
    }

    // --- keys on the lanes

    step(by) {
        const items = this.store.lanes.get(LANES[this.lane][0]).items;
        if (items.length === 0) return this.say(`${LANES[this.lane][1]}: no items`);
        const {chosen} = this;
        let index = by < 0 ? items.length - 1 : 0;
        if (chosen?.lane === LANES[this.lane][0]) {
            index = search(items, (each) => compare(each, chosen) < 0) + by;
        } else if (chosen !== undefined) {
            index = search(items, (each) => compare(each, chosen) < 0);
        }
        this.choose(items[Math.min(Math.max(index, 0), items.length - 1)]);
        this.say(`${LANES[this.lane][1]}: ${describe(this.chosen)}`);
    }

    changeLane(by) {
        this.lane = Math.min(Math.max(this.lane + by, 0), LANES.length - 1);
        this.step(0);
    }

    say(text) {
        write(byId("chosen"), text);
    }

    key(event) {
        if (event.ctrlKey || event.altKey || event.metaKey) return;
        const far = this.span.length / 5;
        const actions = {
            ArrowLeft: () => (event.shiftKey ? this.pan(-far) : this.step(-1)),
            ArrowRight: () => (event.shiftKey ? this.pan(far) : this.step(1)),
            ArrowUp: () => this.changeLane(-1),
            ArrowDown: () => this.changeLane(1),
            PageUp: () => this.pan(-4 * far),
            PageDown: () => this.pan(4 * far),
            Home: () => this.step(-Infinity),
            End: () => this.step(Infinity),
            Enter: () => this.chosen && this.choose(this.chosen, true),
            "+": () => this.zoom(0.5),
            "=": () => this.zoom(0.5),
            "-": () => this.zoom(2),
            "0": () => this.zoomAll(),
        };
        if (!(event.key in actions)) return;
        actions[event.key]();
        event.preventDefault();
        event.stopPropagation();
    }
}
