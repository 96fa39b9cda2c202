// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// All that the emulator can do, made from its table. Only order and examples are the page's own.

import {readAbilities} from "./ask.js";
import {byId, make, write} from "./dom.js";
import {makeForm} from "./form.js";

// Groups by the first word of a name; a name that is in none stands under "More".
const GROUPS = [
    ["Cover", ["attach", "detach", "reattach", "cover", "reset"]],
    ["Touch and pen", ["gesture", "pen", "listen", "uevent"]],
    ["Faults", ["fault"]],
    ["Sub display", ["subdisplay", "snapshot"]],
    ["Firmware", ["firmware", "loader"]],
    ["Serial", ["send", "log", "chatter"]],
    ["Neighbours", ["accessory", "lpwg", "foreign"]],
    ["Phone", ["wakelock", "property", "node", "signal", "show", "view"]],
    ["Journal", ["mark", "journal", "klog"]],
    ["More", []],
];
const EXAMPLES = {
    "fault": ["on AT%SWV late 200ms times 1", "on AT%SWV silent times 1", "on AT%BV= error", "on * split 1ms",
        "hid write error EIO times 1", "hid write unplug after 1 times 1", "node /sys/class/bivista/bv2/bv2_pd unwritable"],
    "firmware put": ["BV330-V20k_20220101.dfu"],
    "property": ["persist.vendor.qmx.service.kernel.enable"],
    "send": ["OK\\r\\n"],
    "uevent": ["change@/x\\x00"],
};

const idOf = (name) => name.replaceAll(" ", "-");

function cardOf(ability) {
    const forms = ability.requests.map((request) => makeForm(ability, request, EXAMPLES[ability.name]));
    const title = make("h3", {}, make("span", {textContent: ability.help}), make("code", {textContent: ability.name}));
    return make("article", {className: "action", id: `action-${idOf(ability.name)}`}, title, ...forms);
}

function groupOf(ability) {
    const [word] = ability.name.split(" ");
    return GROUPS.find(([, names]) => names.includes(word))?.[0] ?? "More";
}

class Tabs {
    constructor() {
        this.list = byId("action-tabs");
        this.panels = byId("action-panels");
        this.list.addEventListener("click", (event) => {
            const tab = event.target.closest("[role=tab]");
            if (tab) this.open(tab);
        });
        this.list.addEventListener("keydown", (event) => this.key(event));
    }

    add(name, cards) {
        const id = idOf(name).toLowerCase();
        const tab = make("button", {type: "button", role: "tab", id: `tab-${id}`, textContent: name});
        tab.setAttribute("aria-controls", `panel-${id}`);
        const panel = make("div", {role: "tabpanel", id: `panel-${id}`, className: "panel", hidden: true}, ...cards);
        panel.setAttribute("aria-labelledby", tab.id);
        this.list.append(tab);
        this.panels.append(panel);
    }

    open(tab, isFocused = false) {
        for (const each of this.list.children) {
            const isOpen = each === tab;
            each.setAttribute("aria-selected", String(isOpen));
            each.tabIndex = isOpen ? 0 : -1;
            byId(each.getAttribute("aria-controls")).hidden = !isOpen;
        }
        if (isFocused) tab.focus();
    }

    key(event) {
        const tabs = [...this.list.children].filter((tab) => !tab.hidden);
        const at = tabs.indexOf(document.activeElement);
        const targets = {ArrowRight: tabs[(at + 1) % tabs.length], ArrowLeft: tabs.at(at - 1), Home: tabs[0], End: tabs.at(-1)};
        if (at < 0 || !(event.key in targets)) return;
        event.preventDefault();
        this.open(targets[event.key], true);
    }

    // Opens the group of a card and goes there.
    show(card) {
        this.open(byId(card.parentElement.getAttribute("aria-labelledby")));
        card.scrollIntoView({block: "nearest"});
        card.querySelector("input, select, button")?.focus();
    }
}

function find(tabs, text) {
    const words = text.trim().toLowerCase();
    let first;
    for (const tab of tabs.list.children) {
        const panel = byId(tab.getAttribute("aria-controls"));
        for (const card of panel.children) card.hidden = words !== "" && !card.textContent.toLowerCase().includes(words);
        tab.hidden = [...panel.children].every((card) => card.hidden);
        if (!tab.hidden) first ??= tab;
    }
    const open = tabs.list.querySelector("[aria-selected=true]");
    if (open?.hidden && first) tabs.open(first);
}

function openAddressed(tabs) {
    const card = /^#action-[\w-]+$/.test(location.hash) && byId(location.hash.slice(1));
    if (card) tabs.show(card);
}

export async function makeActions() {
    const tabs = new Tabs();
    let abilities;
    try {
        ({abilities} = await readAbilities());
    } catch (error) {
        return byId("action-panels").append(make("p", {className: "error", textContent: error.message}));
    }
    for (const [name, order] of GROUPS) {
        const rank = (ability) => order.indexOf(ability.name.split(" ")[0]);
        const members = abilities.filter((ability) => ability.requests.length > 0 && groupOf(ability) === name);
        members.sort((a, b) => rank(a) - rank(b));
        if (members.length > 0) tabs.add(name, members.map(cardOf));
    }
    tabs.open(tabs.list.firstElementChild);
    byId("find-action").addEventListener("input", (event) => find(tabs, event.target.value));
    addEventListener("hashchange", () => openAddressed(tabs));
    // A link to the card that the address names already changes nothing there.
    document.addEventListener("click", (event) => {
        const link = event.target.closest("a[href^='#action-']");
        if (link && link.hash === location.hash) openAddressed(tabs);
    });
    openAddressed(tabs);
    return undefined;
}
