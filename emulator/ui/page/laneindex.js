// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The items of one lane, so that those of a span of time are found by binary search.

export const compare = (a, b) => a.begin - b.begin || a.id - b.id;

// The first index whose element is not before, by `isBefore`.
export function search(list, isBefore) {
    let low = 0;
    let high = list.length;
    while (low < high) {
        const middle = (low + high) >>> 1;
        if (isBefore(list[middle])) low = middle + 1;
        else high = middle;
    }
    return low;
}

// Where an item belongs: after itself, if the list has it.
export function place(list, item) {
    const last = list.at(-1);
    if (last === undefined || compare(last, item) <= 0) return list.length;
    return search(list, (each) => compare(each, item) <= 0);
}

export const endOf = (item) => (item.open ? Infinity : item.begin + item.duration);

export class LaneIndex {
    items = [];
    ends = [];   // the greatest end up to each item: never falls, so it can be searched

    insert(item) {
        const at = place(this.items, item);
        this.items.splice(at, 0, item);
        this.measure(at);
    }

    changed(item) {
        this.measure(place(this.items, item) - 1);
    }

    // Computes the ends and the rows from an item on. An item that overlaps the one before it
    // stands one row below.
    measure(from) {
        this.ends.length = from;
        let end = from > 0 ? this.ends[from - 1] : -Infinity;
        for (let i = from; i < this.items.length; ++i) {
            const item = this.items[i];
            const before = this.items[i - 1];
            item.row = before !== undefined && item.begin < endOf(before) ? (before.row + 1) % 3 : 0;
            end = Math.max(end, endOf(item));
            this.ends.push(end);
        }
    }

    // The first item that ends at a time or after it.
    firstFrom(time) {
        return search(this.ends, (end) => end < time);
    }
}
