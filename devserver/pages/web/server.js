// SPDX-License-Identifier: MIT
//
// The page's only road to the server.

/**
 * What the server refused, by its code; 'unreachable' when it could not be
 * read, and 'unanswered' when a change may have been made or not.
 */
export class Refusal extends Error {
    constructor(code) {
        super(code);
        this.code = code;
    }
}

const patienceMs = 60_000;

// Proves that a change comes from this page. It belongs to the cookie, which no script can read.
let csrfToken = '';
let sessionRequests = 0;

async function request(path, options) {
    const silence = options.method === 'GET' ? 'unreachable' : 'unanswered';
    let response;
    let body;
    try {
        const signal = AbortSignal.timeout(patienceMs);
        response = await fetch(path, { cache: 'no-store', redirect: 'error', signal, ...options });
        body = await response.json();
    } catch {
        throw new Refusal(silence);
    }
    if (!response.ok) {
        throw new Refusal(body?.error?.code ?? silence);
    }
    return body;
}

export function get(path) {
    return request(path, { method: 'GET' });
}

export function post(path, body = {}) {
    return request(path, {
        method: 'POST',
        headers: { 'Content-Type': 'application/json', 'X-CSRF-Token': csrfToken },
        body: JSON.stringify(body),
    });
}

// A late answer must not bring back the token of the session before.
async function takeToken(asking) {
    const mine = ++sessionRequests;
    const session = await asking;
    if (mine === sessionRequests) {
        csrfToken = session.csrf_token;
    }
    return session;
}

/** Makes sure that there is a cookie; true when it replaces an account's that has ended. */
export async function openSession() {
    return (await takeToken(get('/web/session'))).session_ended;
}

export async function signIn(email, password) {
    await takeToken(post('/web/session', { email, password }));
}

export async function signOut() {
    await takeToken(post('/web/session/end'));
}
