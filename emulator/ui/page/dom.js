// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Elements, and numbers as texts. Data becomes text nodes alone, so it is never taken for markup.

export const byId = (id) => document.getElementById(id);

// A property that the element knows is set as such, any other as an attribute.
export function make(tag, properties = {}, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(properties)) {
        if (value === undefined) continue;
        if (name in element) element[name] = value;
        else element.setAttribute(name, value);
    }
    element.append(...children);
    return element;
}

// Changes the text only when it differs: live regions stay silent.
export function write(element, text) {
    if (element.textContent !== text) element.textContent = text;
}

export function setData(element, values) {
    for (const [name, value] of Object.entries(values)) element.dataset[name] = String(value);
}

export const seconds = (us) => (us / 1e6).toFixed(3);

export function duration(us) {
    if (us < 1000) return `${us} µs`;
    if (us < 1e6) return `${(us / 1000).toFixed(us < 1e4 ? 2 : 1)} ms`;
    return `${(us / 1e6).toFixed(2)} s`;
}

export function clock(wallUs) {
    const date = new Date(wallUs / 1000);
    const two = (number) => String(number).padStart(2, "0");
    const ms = String(date.getMilliseconds()).padStart(3, "0");
    return `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}.${ms}`;
}

// A colour of the style sheet.
export const colour = (name) =>
    getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
