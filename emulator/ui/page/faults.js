// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The faults that are set, with how often they were met.

import {ask} from "./ask.js";
import {byId, make, write} from "./dom.js";

const times = (met) => (met === 1 ? "met once" : `met ${met} times`);

async function remove(values) {
    try {
        await ask("DELETE", "/v1/faults", values);
        write(byId("faults-answer"), "");
    } catch (error) {
        write(byId("faults-answer"), error.message);
    }
}

function makeRow() {
    const button = make("button", {type: "button", className: "small plain", textContent: "Remove"});
    const row = make("li", {}, make("code"), make("span", {className: "met"}), button);
    button.addEventListener("click", () => remove({text: row.firstElementChild.textContent}));
    return row;
}

export function showFaults(state) {
    const faults = state.faults_met ?? [];
    const list = byId("faults");
    while (list.children.length > faults.length) list.lastElementChild.remove();
    while (list.children.length < faults.length) list.append(makeRow());
    faults.forEach(({fault, met}, i) => {
        const [text, count, button] = list.children[i].children;
        write(text, fault);
        write(count, met > 0 ? times(met) : "not met yet");
        count.dataset.met = String(met);
        button.ariaLabel = `Remove the fault ${fault}`;
    });
    byId("faults-none").hidden = faults.length > 0;
    byId("clear-faults").disabled = faults.length === 0;
}

export function watchFaults() {
    byId("clear-faults").addEventListener("click", () => remove({}));
}
