// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover as a person sees it, drawn from the emulator's state.

import {byId, make, setData, write} from "./dom.js";
import {readOutline} from "./outline.js";

const within = (value, least, most) => Math.min(Math.max(Number(value) || 0, least), most);

// What the tune (saturation, hue and contrast, 2 being neutral) and mode 2 do to a picture beside its
// white, which stays white: the emulator says what colour that has.
function filterOf([saturation, hue, contrast], mode) {
    const vivid = (1 + (within(saturation, 0, 4) - 2) * 0.25) * (mode === 2 ? 1.5 : 1);
    const steep = 1 + (within(contrast, 0, 4) - 2) * 0.1;
    return `saturate(${vivid}) hue-rotate(${(within(hue, 0, 4) - 2) * 9}deg) ` +
        `contrast(${steep}) brightness(${2 / (1 + Math.min(steep, 1))})`;
}

function showScreen(screen, isAttached) {
    const svg = byId("cover-screen");
    const {on = false, colour = [0, 0, 0], brightness = 0, rgb = [2, 0, 0, 0], tune = [2, 2, 2], mode = 0} = screen;
    setData(svg, {on, brightness, rgb: rgb.join(","), tune: tune.join(","), mode});
    const name = !on ? "Cover screen, dark"
        : `Cover screen, lit, brightness ${brightness} of 255, colour ${rgb.join(" ")}, tune ${tune.join(" ")}, mode ${mode}`;
    svg.setAttribute("aria-label", isAttached ? name : "Cover screen, dark: the cover is off");
    const light = within(brightness, 0, 255) / 255;
    byId("tint").style.fill = `rgb(${colour.join(", ")})`;
    byId("picture").style.filter = filterOf(tune, mode);
    byId("shade").style.opacity = on ? "0" : "1";
    byId("cover").style.setProperty("--glow", on ? (0.12 + light * 0.55).toFixed(2) : "0");
}

function showCutout(text) {
    const {path, transform} = readOutline(text);
    const cutout = byId("cutout");
    cutout.setAttribute("d", path);
    cutout.setAttribute("transform", transform);
    cutout.dataset.path = text;
}

function showProgress(upgrade, loader) {
    byId("upgrade-box").hidden = !upgrade;
    const percent = within(upgrade?.percent, 0, 100);
    const bar = byId("upgrade");
    bar.setAttribute("aria-valuenow", String(percent));
    bar.firstElementChild.style.width = `${percent}%`;
    if (upgrade) {
        const step = upgrade.phase === "planned" ? "is planned" : `is written, ${percent} %`;
        bar.setAttribute("aria-valuetext", `${upgrade.version} ${step}`);
        write(byId("upgrade-label"), `Firmware ${upgrade.version} ${step}`);
    }
    const words = Object.entries(loader ?? {}).filter(([, value]) => typeof value !== "boolean").map(([key, value]) => `${key} ${value}`);
    const state = !loader ? "not on the bus" : loader.error ? "on the bus, in error: the cover has no firmware" : "on the bus";
    write(byId("loader"), [state, ...words].join(", "));
    byId("loader").dataset.state = !loader ? "none" : loader.error ? "error" : "normal";
}

function factsOf(state) {
    const {screen, sub_display: panel = {}} = state;
    const facts = [
        ["Screen", screen?.on ? `lit, ${screen.brightness}/255` : "dark"],
        ["Sub display", panel.on ? `on, ${panel.brightness}/255` : "off"],
        ["Pixels", `${panel.width} × ${panel.height}`],
        ["Frames", String(panel.frames ?? 0)],
    ];
    if (panel.refused > 0) facts.push(["Refused", `${panel.refused} reports`]);
    if (state.wakelock !== undefined) facts.push(["Wake lock", state.wakelock ? "held" : "free"]);
    return facts;
}

function showFacts(facts) {
    const list = byId("facts");
    facts.forEach(([name, text], i) => {
        list.children[i] ?? list.append(make("div", {}, make("dt"), make("dd")));
        write(list.children[i].firstElementChild, name);
        write(list.children[i].lastElementChild, text);
    });
    while (list.children.length > facts.length) list.lastElementChild.remove();
}

export function showCover(state) {
    const isAttached = Boolean(state.attached);
    const cover = byId("cover");
    setData(cover, {attached: isAttached});
    cover.setAttribute("aria-label", `Cover, ${isAttached ? "attached: Enter pulls it off" : "off: Enter puts it back"}, or drag it`);
    showScreen(isAttached ? state.screen ?? {} : {}, isAttached);
    showCutout(state.cutout ?? "");
    showProgress(state.upgrade, state.loader);
    showFacts(factsOf(state));
    write(byId("firmware"), state.cover?.version || "none");
    const images = (state.firmware ?? []).map(({name}) => name);
    byId("images").parentElement.hidden = images.length === 0;
    write(byId("images"), images.join(", "));
    write(byId("usb"), state.usb_power ?? "not on the bus");
    const plug = byId("plug");
    write(plug, isAttached ? "Pull the cover off" : "Put the cover on");
    plug.disabled = false;
}
