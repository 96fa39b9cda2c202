// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The charts, drawn at most once a second and only while they are in sight.

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

const trim = (number) => Number(number.toPrecision(3));

export class Charts {
    constructor(figures) {
        Object.assign(this, {figures, made: {}, last: -Infinity, isStale: true, isSeen: false});
        const {Chart} = window;
        Chart.defaults.font.family = getComputedStyle(document.body).fontFamily;
        Chart.defaults.font.size = 11;
        new IntersectionObserver(([entry]) => {
            this.isSeen = entry.isIntersecting;
            this.later();
        }).observe(byId("charts"));
        document.addEventListener("visibilitychange", () => this.later());
    }

    changed() {
        this.isStale = true;
        this.later();
    }

    later() {
        if (!this.isStale || !this.isSeen || document.hidden || this.timer !== undefined) return;
        this.timer = setTimeout(() => {
            this.timer = undefined;
            if (!this.isSeen || document.hidden) return;
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
        const options = base(scaleOf("", {beginAtZero: true}), scaleOf("", {grid: {display: false}}), {indexAxis: "y"});
        options.plugins.legend = {display: true, align: "start", labels: {color: colour("text"), boxWidth: 10, boxHeight: 10}};
        this.show("chart-durations", {
            type: "bar",
            data: {
                labels: rows.map(({command}) => command),
                datasets: [
                    {label: "median", data: rows.map(({median}) => median), backgroundColor: colour("accent")},
                    {label: "p99", data: rows.map(({p99}) => p99), backgroundColor: colour("muted")},
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
                datasets: [{label: "frames a second", data: rows.map(({rate}) => rate), backgroundColor: colour("accent"), barPercentage: 1, categoryPercentage: 0.9}]},
            options: base(scaleOf("seconds", {grid: {display: false}}), scaleOf("", {beginAtZero: true})),
        });
        table("table-frames", ["From, s", "Frames a second"], rows.filter(({rate}) => rate > 0).map(({at, rate}) => [at, trim(rate)]));
    }

    drawBrightness() {
        const points = this.figures.brightness();
        const options = base(scaleOf("seconds", {type: "linear"}), scaleOf("", {min: 0, max: 255}));
        this.show("chart-brightness", {
            type: "line",
            data: {datasets: [{label: "brightness", data: points.map(({at, level}) => ({x: at, y: level})), stepped: true,
                borderColor: colour("accent"), backgroundColor: colour("accent-soft"), fill: true, borderWidth: 2, pointRadius: 0}]},
            options,
        });
        table("table-brightness", ["At, s", "Brightness"], points.map(({at, level}) => [trim(at), level]));
    }
}
