// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A form for one request, made from the emulator's table. The emulator alone judges the values.

import {ask} from "./ask.js";
import {commandOf, optionOf} from "./command.js";
import {make, write} from "./dom.js";
import {keepPicture} from "./subdisplay.js";

const MOST_ANSWER = 20_000;
const EMPTY = "''";  // as in a shell
const VERBS = {GET: "Show", PUT: "Set", POST: "Add", DELETE: "Remove"};

let count = 0;

const isText = (argument) => argument.type === "text" || argument.type === "bytes";
// A text of several words is one value; of other arguments each word is a request.
const isSeries = (argument) => argument.many && argument.type !== "text";

const mayBeEmpty = (argument) => isText(argument) && !argument.required && !argument.words;

// What stands in an empty field: its default, or else its range.
function placeholderOf(argument) {
    if (argument.default !== undefined) return String(argument.default);
    if (argument.type !== "integer" || argument.most >= 2 ** 31 - 1) return "";
    return [`${argument.least} to ${argument.most}`, ...(argument.words ?? [])].join(", or ");
}

function choiceOf(argument, id) {
    const select = make("select", {name: argument.name, id});
    if (!argument.required) select.append(make("option", {value: "", textContent: "as it is"}));
    const words = argument.type === "boolean" ? ["on", "off"] : argument.words;
    for (const word of words) select.append(make("option", {value: word, textContent: word}));
    return select;
}

function inputOf(argument, id) {
    const isFlag = argument.type === "boolean" && argument.flag !== undefined;
    if (isFlag) return make("input", {type: "checkbox", name: argument.name, id});
    const isClosed = argument.words && argument.type === "text";
    if (isClosed || argument.type === "boolean") return choiceOf(argument, id);
    const input = make("input", {type: "text", name: argument.name, id, autocomplete: "off", spellcheck: false});
    input.setAttribute("autocapitalize", "off");
    input.placeholder = placeholderOf(argument);
    if (argument.type === "integer" && !argument.words) input.inputMode = "numeric";
    if (argument.required) input.setAttribute("aria-required", "true");
    if (argument.words && !isSeries(argument)) input.setAttribute("list", `${id}-words`);
    return input;
}

// A checkbox for an option without a value says what the option does.
function labelOf(argument) {
    const text = argument.type === "boolean" && argument.flag !== undefined ? optionOf(argument).replace(/^-+/, "") : argument.name;
    return text.replaceAll(/[_-]/g, " ");
}

// Buttons that write into a field: a word after those that stand there, or a whole text.
function wordButtons(words, input, isAdded) {
    const box = make("div", {className: "words", role: "group", "aria-label": isAdded ? "Words to choose from" : "Examples"});
    for (const word of words) {
        const button = make("button", {type: "button", className: "small", textContent: word});
        button.addEventListener("click", () => {
            input.value = isAdded ? `${input.value} ${word}`.trim() : word;
            input.dispatchEvent(new Event("input", {bubbles: true}));
        });
        box.append(button);
    }
    return box;
}

function fieldOf(argument, examples) {
    const id = `field-${++count}`;
    const input = inputOf(argument, id);
    const label = make("label", {htmlFor: id, textContent: labelOf(argument)});
    if (argument.required) label.append(make("span", {className: "quiet", textContent: " required"}));
    const field = make("div", {className: input.type === "checkbox" ? "field check" : "field"});
    field.append(...(input.type === "checkbox" ? [input, label] : [label, input]));
    if (input.hasAttribute("list")) {
        field.append(make("datalist", {id: `${id}-words`}, ...argument.words.map((value) => make("option", {value}))));
    }
    if (argument.words && isSeries(argument)) field.append(wordButtons(argument.words, input, true));
    else if (examples) field.append(wordButtons(examples, input, false));
    if (argument.help) {
        field.append(make("span", {className: "hint", id: `${id}-hint`, textContent: argument.help}));
        input.setAttribute("aria-describedby", `${id}-hint`);
    }
    return {argument, input, field};
}

// What a field gives; undefined: nothing. A number that is none goes as text, for the emulator to refuse.
function valueOf({argument, input}) {
    if (input.type === "checkbox") return input.checked ? argument.flag : undefined;
    const text = input.value;
    if (argument.type === "boolean") return text === "" ? undefined : text === "on";
    if (isSeries(argument)) return text.trim() === "" ? undefined : text.trim().split(/\s+/);
    if (isText(argument) && text === EMPTY) return "";
    if (text === "") return argument.required && isText(argument) ? "" : undefined;
    if (argument.type === "integer" && /^\s*-?\d{1,15}\s*$/.test(text)) return Number(text);
    return argument.type === "integer" ? text.trim() : text;
}

function read(fields) {
    const values = {};
    for (const field of fields) {
        const value = valueOf(field);
        if (value !== undefined) values[field.argument.name] = value;
    }
    return values;
}

// The bodies to send: one, or one for each word of a series.
function bodiesOf(request, values) {
    const series = Object.entries(values).find(([, value]) => Array.isArray(value));
    const all = {...request.fixed, ...values};
    return series ? series[1].map((word) => ({...all, [series[0]]: word})) : [all];
}

function answerText(answer) {
    if (answer === undefined || Object.keys(answer).length === 0) return "Done.";
    const text = JSON.stringify(answer, null, 1);
    return text.length > MOST_ANSWER ? `${text.slice(0, MOST_ANSWER)}…` : text;
}

async function submit(form, request, fields, output) {
    form.setAttribute("aria-busy", "true");
    try {
        let answer;
        for (const body of bodiesOf(request, read(fields))) answer = await ask(request.method, request.path, body);
        output.dataset.kind = "ok";
        if (answer?.levels) output.replaceChildren(keepPicture(answer));
        else output.value = answerText(answer);
    } catch (error) {
        output.dataset.kind = "error";
        output.value = error.message;
    }
    form.removeAttribute("aria-busy");
}

function commandLine(ability, request, fields, form) {
    const code = make("code", {className: "command"});
    const copy = make("button", {type: "button", className: "small copy", textContent: "Copy",
        ariaLabel: `Copy the command of ${ability.name}`});
    const note = make("span", {className: "hint"});
    const update = () => {
        const {text, missing} = commandOf(ability, request, read(fields));
        write(code, text);
        write(note, missing.length > 0 ? `ctl cannot say ${missing.join(", ")}.` : "");
    };
    copy.addEventListener("click", async () => {
        try {
            await navigator.clipboard.writeText(code.textContent);
            copy.textContent = "Copied";
        } catch {
            getSelection().selectAllChildren(code);
            copy.textContent = "Selected";
        }
        copy.addEventListener("blur", () => write(copy, "Copy"), {once: true});
    });
    form.addEventListener("input", update);
    form.addEventListener("change", update);
    update();
    return make("div", {className: "line-of-command"}, make("span", {className: "code-box"}, code), copy, note);
}

function buttonText(ability, request) {
    const last = ability.name.split(" ").at(-1);
    const isSetting = request.method === "PUT" && last === ability.name;
    const isOnly = ability.requests.length === 1 && request.method !== "GET" && !isSetting;
    const text = request.choice?.replace(/^-+/, "") ?? (isOnly ? last : VERBS[request.method] ?? request.method);
    return text[0].toUpperCase() + text.slice(1);
}

export function makeForm(ability, request, examples) {
    const form = make("form", {noValidate: true, autocomplete: "off"});
    Object.assign(form.dataset, {ability: ability.name, method: request.method, path: request.path});
    if (request.choice) form.dataset.choice = request.choice;
    const shown = request.arguments.filter(
        (argument) => argument.in_request !== false && !(argument.name in (request.fixed ?? {})));
    const isAdding = request.method === "PUT" || request.method === "POST";
    const fields = shown.map((argument, i) => fieldOf(argument, isAdding && i === 0 && argument.required ? examples : undefined));
    const button = make("button", {type: "submit", textContent: buttonText(ability, request)});
    form.setAttribute("aria-label", `${ability.name}: ${button.textContent}`);
    if (fields.length > 0) form.append(make("div", {className: "fields"}, ...fields.map(({field}) => field)));
    const output = make("output", {className: "answer"});
    if (shown.some(mayBeEmpty)) form.append(make("p", {className: "hint", textContent: `${EMPTY} stands for an empty text.`}));
    if (request.help) form.append(make("p", {className: "hint", textContent: request.help}));
    form.append(make("div", {className: "send"}, button, output), commandLine(ability, request, fields, form));
    form.addEventListener("submit", (event) => {
        event.preventDefault();
        submit(form, request, fields, output);
    });
    return form;
}
