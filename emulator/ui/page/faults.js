// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The faults that are set, with how often they were met.

import {ask} from "./ask.js";
import {byId, make, write} from "./dom.js";

const times = (met) => (met === 1 ? "met once" : `met ${met} times`);

export function showFaults(state) {
    const faults = state.faults_met ?? (state.faults ?? []).map((fault) => ({fault, met: 0}));
    const list = byId("faults");
    faults.forEach(({fault, met}, i) => {
        list.children[i] ?? list.append(make("li", {}, make("code"), make("span", {className: "met"})));
        const [text, count] = list.children[i].children;
        write(text, fault);
        write(count, met > 0 ? times(met) : "not met yet");
        count.dataset.met = String(met);
    });
    while (list.children.length > faults.length) list.lastElementChild.remove();
    byId("faults-none").hidden = faults.length > 0;
    byId("clear-faults").disabled = faults.length === 0;
}

export function watchFaults() {
    byId("clear-faults").addEventListener("click", async () => {
        try {
            await ask("DELETE", "/v1/faults");
            write(byId("faults-answer"), "");
        } catch (error) {
            write(byId("faults-answer"), error.message);
        }
    });
}
