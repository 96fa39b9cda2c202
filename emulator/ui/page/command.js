// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The command line of "ctl" that asks for the same as a form.

const PLAIN = /^[A-Za-z0-9_@%+=:,./-]+$/;

// Quotes a word for a POSIX shell.
export function quote(word) {
    return PLAIN.test(word) ? word : `'${word.replaceAll("'", "'\\''")}'`;
}

const isOption = (option) => option.startsWith("-");

export const optionOf = (argument) => argument.option ?? `--${argument.name.replaceAll("_", "-")}`;

const ESCAPES = {r: "\r", n: "\n", t: "\t"};

// The bytes that a spelt text stands for; undefined for bytes that no word of a command line holds.
function unspell(text) {
    let isWord = true;
    const bytes = text.replace(/\\(x([0-9A-Fa-f]{2})|[^])/g, (_, letter, hex) => {
        const code = hex === undefined ? 1 : parseInt(hex, 16);
        isWord &&= code > 0 && code < 0x80;
        return hex === undefined ? ESCAPES[letter] ?? letter : String.fromCharCode(code);
    });
    return isWord ? bytes : undefined;
}

function wordOf(argument, value) {
    if (argument.type === "boolean") return value ? "on" : "off";
    return argument.verbatim ? unspell(value) : String(value);
}

function optionWords(argument, word, value) {
    const option = optionOf(argument);
    if (argument.flag !== undefined) return value === argument.flag ? [option] : [];
    return word.startsWith("-") ? [`${option}=${word}`] : [option, word];
}

// `values` has the arguments that are given. Returns {text, missing}: the names that ctl cannot say.
export function commandOf(ability, request, values) {
    const isFlag = request.choice?.startsWith("-");
    const places = request.choice && !isFlag ? [request.choice] : [];
    const options = [];
    const missing = [];
    for (const argument of request.arguments) {
        const isOfCtl = argument.in_request === false;
        const value = isOfCtl ? optionOf(argument) : values[argument.name];
        if (value === undefined || argument.name in (request.fixed ?? {}) || (isOfCtl && !argument.required)) continue;
        const word = Array.isArray(value) ? "" : wordOf(argument, value);
        if (argument.in_ctl === false || word === undefined) missing.push(argument.name);
        else if (isOption(optionOf(argument))) options.push(...optionWords(argument, word, value));
        else places.push(...(Array.isArray(value) ? value : [word]));
    }
    const isHidden = places.some((word) => word.startsWith("-"));
    const words = ["bivista-emulator", "ctl", ...ability.name.split(" "), ...(isFlag ? [request.choice] : []),
        ...(isHidden ? [...options, "--", ...places] : [...places, ...options])];
    return {text: words.map(quote).join(" "), missing};
}
