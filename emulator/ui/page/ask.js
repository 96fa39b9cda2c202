// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Requests to the emulator, by way of the program that serves this page.

const STALE = "This page belongs to an emulator that has ended; open the address that it prints now.";

// Returns the answer's object; throws an Error with the reason as a person reads it.
function answerOf(response, text) {
    let answer = {};
    try {
        answer = JSON.parse(text);
    } catch {
        // A refusal of the server itself is plain text.
    }
    if (response.ok) return answer;
    if (response.status === 403) throw new Error(STALE);
    throw new Error(answer.error ?? (text.trim() || `The emulator answered with status ${response.status}.`));
}

async function send(address, options) {
    let response;
    let text;
    try {
        response = await fetch(address, options);
        text = await response.text();
    } catch {
        throw new Error("The program that serves this page does not answer.");
    }
    return answerOf(response, text);
}

export function ask(method, path, values = {}) {
    return send("request", {
        method: "POST",
        headers: {"Content-Type": "application/json"},
        body: JSON.stringify({method, path, values}),
    });
}

export const readEntries = (since, limit) => send(`entries?since=${since}&limit=${limit}`);
export const readAbilities = () => send("abilities");
