// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Puts the page together.

import {makeActions} from "./actions.js";
import {Charts} from "./charts.js";
import {showCover} from "./cover.js";
import {byId, write} from "./dom.js";
import {showFaults, watchFaults} from "./faults.js";
import {Figures} from "./figures.js";
import {watchKeys} from "./keys.js";
import {framesPerSecond, latencies} from "./meter.js";
import {watchCover} from "./pull.js";
import {itemOf} from "./store.js";
import {listen} from "./stream.js";
import {showPanel, showPicture} from "./subdisplay.js";
import {Timeline} from "./timeline.js";

const timeline = new Timeline();
const figures = new Figures();
const charts = new Charts(figures);

function watchTheme() {
    const select = byId("theme");
    const restyle = () => {
        window.theme.use(select.value);
        timeline.restyle();
        charts.restyle();
    };
    select.value = document.documentElement.dataset.theme;
    select.addEventListener("change", () => {
        window.kept.set("theme", select.value);
        restyle();
    });
    window.theme.system.addEventListener("change", restyle);
}

function showStatus(kind, text) {
    const status = byId("status");
    status.dataset.kind = kind;
    write(status, text);
}

watchTheme();
watchCover();
watchFaults();
watchKeys();
makeActions();
listen({
    status: showStatus,
    hello({version, folder}) {
        write(byId("where"), `${version}, HIDL_SOCKET_DIR=${folder}`);
        timeline.forget();
        figures.forget();
        charts.changed();
        document.body.dataset.ended = "false";
    },
    items(rows) {
        timeline.add(rows);
        figures.add(rows.map(itemOf));
        charts.changed();
    },
    loaded: () => timeline.loaded(),
    state(state) {
        showCover(state);
        showPanel(state.sub_display);
        showFaults(state);
    },
    snapshot: showPicture,
    ended() {
        document.body.dataset.ended = "true";
        byId("plug").disabled = true;
    },
});

// For tests, which only read.
window.bivista = {
    get items() {
        return timeline.store.all.length + timeline.held.length;
    },
    fps: framesPerSecond,
    latencies,
};
