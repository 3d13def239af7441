// SPDX-License-Identifier: MIT
//
// The page's only road to the server.

/** What the server refused, by its code, or 'unreachable'. */
export class Refusal extends Error {
    constructor(code, message) {
        super(message);
        this.code = code;
    }
}

// Proves that a change comes from this page. It belongs to the cookie, which no script can read.
let csrfToken = '';

async function request(path, options) {
    let response;
    let body;
    try {
        response = await fetch(path, { cache: 'no-store', redirect: 'error', ...options });
        body = await response.json();
    } catch {
        throw new Refusal('unreachable', '');
    }
    if (!response.ok) {
        throw new Refusal(body?.error?.code ?? 'unreachable', body?.error?.message ?? '');
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

/** Makes sure that there is a cookie; true when it replaces an account's that has ended. */
export async function openSession() {
    const session = await get('/web/session');
    csrfToken = session.csrf_token;
    return session.session_ended;
}

export async function signIn(email, password) {
    csrfToken = (await post('/web/session', { email, password })).csrf_token;
}

export async function signOut() {
    csrfToken = (await post('/web/session/end')).csrf_token;
}
