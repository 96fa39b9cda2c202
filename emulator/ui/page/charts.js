// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The charts, drawn at most once a second and not while the page is hidden.

import {byId, colour, make} from "./dom.js";

const MOST_COMMANDS = 12;
const BETWEEN_MS = 1000;

function table(id, names, rows) {
    const head = make("tr", {}, ...names.map((textContent) => make("th", {scope: "col", textContent})));
    const body = rows.map((row) => make("tr", {}, ...row.map((text) => make("td", {textContent: String(text)}))));
    byId(id).replaceChildren(make("thead", {}, head), make("tbody", {}, ...body));
}

const scaleOf = (title, more = {}) => ({
    title: {display: title !== "", text: title, color: colour("quiet")},
    ticks: {color: colour("quiet"), maxRotation: 0, autoSkipPadding: 16},
    grid: {color: colour("line"), borderColor: colour("line")},
    ...more,
});

const base = (x, y, more = {}) => ({
    animation: false, maintainAspectRatio: false, responsive: true,
    scales: {x, y},
    plugins: {legend: {display: false}, tooltip: {intersect: false, mode: "index"}},
    ...more,
});

const LEAST_MS = 0.001;  // a bar of nothing has no place on a logarithmic scale
const trim = (number) => Number(number.toFixed(3));

export class Charts {
    constructor(figures) {
        Object.assign(this, {figures, made: {}, last: -Infinity, isStale: true});
        const {Chart} = window;
        Chart.defaults.font.family = getComputedStyle(document.body).fontFamily;
        Chart.defaults.font.size = 11;
        document.addEventListener("visibilitychange", () => this.later());
    }

    changed() {
        this.isStale = true;
        this.later();
    }

    later() {
        if (!this.isStale || document.hidden || this.timer !== undefined) return;
        this.timer = setTimeout(() => {
            this.timer = undefined;
            if (document.hidden) return;
            this.isStale = false;
            this.last = performance.now();
            this.draw();
        }, Math.max(0, this.last + BETWEEN_MS - performance.now()));
    }

    // The colours are others now.
    restyle() {
        for (const chart of Object.values(this.made)) chart.destroy();
        this.made = {};
        this.changed();
    }

    show(id, config) {
        const chart = this.made[id];
        if (chart === undefined) {
            this.made[id] = new window.Chart(byId(id), config);
            return;
        }
        chart.data.labels = config.data.labels;
        config.data.datasets.forEach((set, i) => {
            chart.data.datasets[i].data = set.data;
        });
        chart.update("none");
    }

    draw() {
        this.drawDurations();
        this.drawFrames();
        this.drawBrightness();
    }

    drawDurations() {
        const rows = this.figures.durations(MOST_COMMANDS);
        // Commands differ a thousandfold: the scale is logarithmic, with a name at each power of ten.
        const x = scaleOf("", {type: "logarithmic"});
        x.ticks.callback = (value) => (Number.isInteger(Math.log10(value)) ? String(value) : "");
        const y = scaleOf("", {grid: {display: false}});
        y.ticks.autoSkip = false;
        const options = base(x, y, {indexAxis: "y"});
        options.plugins.legend = {display: true, align: "start", labels: {color: colour("text"), boxWidth: 10, boxHeight: 10}};
        this.show("chart-durations", {
            type: "bar",
            data: {
                labels: rows.map(({command}) => command),
                datasets: [
                    {label: "median", data: rows.map(({median}) => Math.max(median, LEAST_MS)), backgroundColor: colour("accent")},
                    {label: "p99", data: rows.map(({p99}) => Math.max(p99, LEAST_MS)), backgroundColor: colour("muted")},
                ],
            },
            options,
        });
        table("table-durations", ["Command", "Count", "Median, ms", "p99, ms"],
            rows.map(({command, count, median, p99}) => [command, count, trim(median), trim(p99)]));
    }

    drawFrames() {
        const rows = this.figures.frameRates();
        this.show("chart-frames", {
            type: "bar",
            data: {labels: rows.map(({at}) => at),
                datasets: [{label: "frames a second", data: rows.map(({rate}) => rate), backgroundColor: colour("accent"), barPercentage: 1, categoryPercentage: 0.9, maxBarThickness: 28}]},
            options: base(scaleOf("seconds", {grid: {display: false}}), scaleOf("", {beginAtZero: true})),
        });
        table("table-frames", ["From, s", "Frames a second"], rows.filter(({rate}) => rate > 0).map(({at, rate}) => [at, trim(rate)]));
    }

    drawBrightness() {
        const points = this.figures.brightness();
        const levels = scaleOf("", {min: 0, max: 255});
        Object.assign(levels.ticks, {stepSize: 51, autoSkip: false});
        const options = base(scaleOf("seconds", {type: "linear"}), levels);
        this.show("chart-brightness", {
            type: "line",
            data: {datasets: [{label: "brightness", data: points.map(({at, level}) => ({x: at, y: level})), stepped: true,
                borderColor: colour("accent"), backgroundColor: colour("accent-soft"), fill: true, borderWidth: 2, pointRadius: 0}]},
            options,
        });
        table("table-brightness", ["At, s", "Brightness"], points.map(({at, level}) => [trim(at), level]));
    }
}
