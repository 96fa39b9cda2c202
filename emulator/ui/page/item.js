// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The chosen item with its bytes, which are the journal's entries of its lane.

import {readEntries} from "./ask.js";
import {clock, duration, make, seconds} from "./dom.js";

const LANE_OF = [
    [/^(tty-|dtr)/, "at"], [/^hid-/, "panel"], [/^(node-|klog)/, "nodes"], [/^uevent/, "uevents"],
    [/^(attach|detach|usb-power|upgrade)/, "usb"], [/^(client-|hidl-call)/, "calls"],
    [/^(mark|control|property|signal|fault$)/, "emulator"],
];
const MOST_ENTRIES = 500;
const MOST_TEXT = 4_000;

const laneOf = (kind) => LANE_OF.find(([pattern]) => pattern.test(kind))?.[1];

function belongs(entry, item) {
    if (entry.seq === item.id || entry.seq === item.last) return true;
    if (entry.seq > item.last) return false;
    return entry.kind === "fault-met" || laneOf(entry.kind) === item.lane;
}

function shorten(text) {
    return text.length > MOST_TEXT ? `${text.slice(0, MOST_TEXT)}… (${text.length} characters)` : text;
}

function rowOf(entry, begin) {
    const place = make("td", {}, make("span", {className: "kind", textContent: entry.kind}));
    if (entry.path) place.append(make("span", {className: "quiet path", textContent: entry.path}));
    const bytes = make("td");
    if (entry.bytes) bytes.append(make("code", {textContent: shorten(entry.bytes)}));
    if (entry.note) bytes.append(make("span", {className: "note", textContent: shorten(entry.note)}));
    return make("tr", {}, make("td", {className: "number", textContent: `+${duration(Math.max(0, entry.time_us - begin))}`}), place, bytes);
}

function tableOf(entries, item) {
    const head = make("tr", {}, ...["After", "Entry", "Bytes"].map((textContent) => make("th", {scope: "col", textContent})));
    const rows = entries.slice(0, MOST_ENTRIES).map((entry) => rowOf(entry, item.begin));
    return make("table", {}, make("thead", {}, head), make("tbody", {}, ...rows));
}

function headOf(item, close) {
    const facts = [["Begin", `${seconds(item.begin)} s, ${clock(item.wall)}`]];
    if (item.duration > 0) facts.push(["Duration", duration(item.duration)]);
    if (item.verdict) facts.push(["Verdict", item.verdict]);
    if (item.faulty) facts.push(["Fault", "a fault struck it"]);
    if (item.open) facts.push(["State", "not over yet"]);
    const list = make("dl", {className: "pairs"});
    for (const [name, text] of facts) list.append(make("div", {}, make("dt", {textContent: name}), make("dd", {textContent: text})));
    const button = make("button", {type: "button", className: "small", textContent: "Close", onclick: close});
    const detail = item.detail ? [make("p", {className: "detail", textContent: item.detail})] : [];
    return [make("div", {className: "top"}, make("h3", {textContent: item.title}), button), ...detail, list];
}

export class ItemView {
    // `close` is called when the user closes it.
    constructor(box, close) {
        Object.assign(this, {box, close});
        box.addEventListener("keydown", (event) => {
            if (event.key === "Escape") close();
        });
    }

    clear() {
        this.item = undefined;
        this.box.parentElement.dataset.open = "false";
        this.box.replaceChildren(make("p", {className: "quiet", textContent: "Choose an item to see its bytes."}));
    }

    async show(item) {
        this.item = item;
        const stamp = item.stamp;
        const body = make("div", {className: "scroll", tabIndex: 0, role: "region", "aria-label": "Bytes of the item"},
            make("p", {className: "quiet", textContent: "Reading the bytes"}));
        this.box.replaceChildren(...headOf(item, this.close), body);
        this.box.parentElement.dataset.open = "true";
        this.stamp = stamp;
        const isStale = () => this.item !== item || this.stamp !== stamp;
        try {
            const answer = await readEntries(item.id, Math.min(item.last - item.id + 1, 10_000));
            if (isStale()) return;
            const entries = answer.entries.filter((entry) => belongs(entry, item));
            const text = "The emulator has these bytes no more; an exported journal file may.";
            body.replaceChildren(entries.length > 0 ? tableOf(entries, item) : make("p", {className: "quiet", textContent: text}));
            if (entries.length > MOST_ENTRIES) {
                const more = `${entries.length - MOST_ENTRIES} more entries: export the journal.`;
                body.append(make("p", {className: "quiet", textContent: more}));
            }
        } catch (error) {
            if (!isStale()) body.replaceChildren(make("p", {className: "error", textContent: error.message}));
        }
    }

    // An item that is open may have grown.
    refresh() {
        if (this.item !== undefined && this.item.stamp !== this.stamp) this.show(this.item);
    }
}
