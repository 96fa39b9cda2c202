// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The command line of "ctl" that asks for the same as a form.

const PLAIN = /^[A-Za-z0-9_@%+=:,./-]+$/;

// Quotes a word for a POSIX shell.
export function quote(word) {
    return PLAIN.test(word) ? word : `'${word.replaceAll("'", "'\\''")}'`;
}

const isOption = (option) => option.startsWith("-");

export const optionOf = (argument) => argument.option ?? `--${argument.name.replaceAll("_", "-")}`;

function wordOf(argument, value) {
    if (argument.type === "boolean") return value ? "on" : "off";
    return String(value);
}

function optionWords(argument, value) {
    const option = optionOf(argument);
    if (argument.flag !== undefined) return value === argument.flag ? [option] : [];
    const word = wordOf(argument, value);
    return word.startsWith("-") || word === "" ? [`${option}=${word}`] : [option, word];
}

// `values` has the arguments that are given. Returns {text, missing}: the names that ctl cannot say.
export function commandOf(ability, request, values) {
    const places = request.choice && !isOption(request.choice) ? [request.choice] : [];
    const options = request.choice && isOption(request.choice) ? [request.choice] : [];
    const missing = [];
    for (const argument of request.arguments) {
        if (!(argument.name in values) || argument.name in (request.fixed ?? {})) continue;
        const value = values[argument.name];
        if (argument.in_ctl === false) missing.push(argument.name);
        else if (isOption(optionOf(argument))) options.push(...optionWords(argument, value));
        else if (Array.isArray(value)) places.push(...value);
        else places.push(wordOf(argument, value));
    }
    const hidden = places.some((word) => word.startsWith("-")) ? ["--"] : [];
    const words = ["bivista-emulator", "ctl", ...ability.name.split(" "),
        ...(hidden.length > 0 ? [...options, ...hidden, ...places] : [...places, ...options])];
    return {text: words.map(quote).join(" "), missing};
}
