// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The items of the timeline in order of their begin, and those of them that the filters let pass.

import {LaneIndex, compare, place} from "./laneindex.js";

export const LANES = [
    ["at", "AT traffic"],
    ["panel", "Panel"],
    ["nodes", "Kernel nodes"],
    ["uevents", "Uevents"],
    ["usb", "USB"],
    ["calls", "Client calls"],
    ["emulator", "Emulator"],
];
// They surround the items that a reader looks for.
const OPENS = new Set(["node-open", "node-close", "tty-open", "dtr", "hid-open", "hid-close"]);
const MOST = 200_000;
const SLACK = 4_000;  // dropped at once, so that dropping is rare
const FAULTY = 1;
const OPEN = 2;

function fill(item, row) {
    [item.id, item.last, item.lane, item.kind, item.begin, item.duration, item.wall, item.title,
        item.detail, item.verdict] = row;
    item.faulty = (row[10] & FAULTY) !== 0 || item.kind === "fault-met";
    item.open = (row[10] & OPEN) !== 0;
    item.stamp = (item.stamp ?? 0) + 1;
    return item;
}

export const itemOf = (row) => fill({}, row);

export class Store {
    constructor() {
        this.hidden = new Set();  // names of lanes
        this.hasOpens = false;
        this.words = "";
        this.forget();
    }

    forget() {
        this.all = [];
        this.byId = new Map();
        this.latest = 0;
        this.filter();
    }

    passes(item) {
        if (this.hidden.has(item.lane) || (!this.hasOpens && OPENS.has(item.kind))) return false;
        if (this.words === "") return true;
        const text = `${item.title}\n${item.detail}\n${item.verdict}\n${item.kind}`;
        return text.toLowerCase().includes(this.words);
    }

    // Makes what is shown anew, after a filter changed.
    filter() {
        this.lanes = new Map(LANES.map(([name]) => [name, new LaneIndex()]));
        this.shown = this.all.filter((item) => this.passes(item));
        for (const item of this.shown) this.lanes.get(item.lane)?.items.push(item);
        for (const lane of this.lanes.values()) lane.measure(0);
    }

    // Returns the items that are new; the others have changed.
    add(rows) {
        const fresh = [];
        let isDisordered = false;
        for (const row of rows) {
            const known = this.byId.get(row[0]);
            const begin = known?.begin;
            const item = fill(known ?? {}, row);
            this.latest = Math.max(this.latest, item.begin + item.duration);
            if (known === undefined) {
                this.byId.set(item.id, item);
                fresh.push(item);
            } else if (begin === item.begin) {
                this.change(item);
            } else {
                isDisordered = true;
            }
        }
        for (const item of fresh) this.insert(item);
        if (isDisordered) this.sort();
        if (this.all.length > MOST) this.drop();
        return fresh;
    }

    sort() {
        this.all.sort(compare);
        this.filter();
    }

    insert(item) {
        this.all.splice(place(this.all, item), 0, item);
        if (this.passes(item)) this.show(item);
    }

    show(item) {
        this.shown.splice(place(this.shown, item), 0, item);
        this.lanes.get(item.lane)?.insert(item);
    }

    // The item's texts or its end are others now.
    change(item) {
        const at = place(this.shown, item) - 1;
        if (this.shown[at] === item) this.lanes.get(item.lane)?.changed(item);
        else if (this.passes(item)) this.show(item);
    }

    drop() {
        const gone = this.all.splice(0, this.all.length - MOST + SLACK);
        for (const item of gone) this.byId.delete(item.id);
        this.filter();
    }
}
