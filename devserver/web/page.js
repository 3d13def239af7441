// SPDX-License-Identifier: MIT
//
// The page's behaviour: what it holds, what a person can do with it, and what
// they hear about the outcome.

import { get, openSession, post, Refusal, signIn, signOut } from './server.js';
import { textsOf } from './texts.js';
import { periodName, toggleId, workspaceSections } from './view.js';

const languageKey = 'timesheet-language';
const byId = (id) => document.getElementById(id);

let texts = textsOf(localStorage.getItem(languageKey) === 'en' ? 'en' : 'he');
let sheet = null; // what the server said last: the user, and the workspaces with their periods
let opened = new Map(); // the days of the periods that stand open, by the period's id
let lastLoad = 0;

function say(text, isError = false) {
    byId('outcome').textContent = text;
    byId('outcome').classList.toggle('error', isError);
}

function textOf(refusal) {
    if (!(refusal instanceof Refusal)) {
        throw refusal;
    }
    return texts.errors[refusal.code] ?? (refusal.message || texts.errors.unreachable);
}

function today() {
    const now = new Date();
    return new Date(now.getTime() - now.getTimezoneOffset() * 60_000).toISOString().slice(0, 10);
}

// Drawn anew, an element keeps the focus by its id.
function draw() {
    const focused = document.activeElement?.id;
    const signedIn = sheet?.user.auth_mode === 'session';
    document.documentElement.lang = texts.language;
    document.documentElement.dir = texts.direction;
    document.title = texts.title;
    for (const node of document.querySelectorAll('[data-text]')) {
        node.textContent = texts[node.dataset.text];
    }
    byId('language').lang = texts.language === 'he' ? 'en' : 'he';
    byId('person').textContent = sheet?.user.display_name ?? '';
    byId('mode').textContent = sheet && !signedIn ? texts.development : '';
    byId('sign-in').hidden = !sheet || signedIn;
    byId('sign-out').hidden = !signedIn;
    const handlers = { step, toggle, add };
    byId('workspaces').replaceChildren(
        ...(sheet ? workspaceSections(texts, sheet.workspaces, opened, today(), handlers) : []));
    if (focused && document.activeElement?.id !== focused) {
        byId(focused)?.focus();
    }
}

function forget() {
    sheet = null;
    opened = new Map();
}

/**
 * Shows the server's present state. Returns whether an account's session
 * turned out to have ended. A load overtaken by a later one shows nothing.
 */
async function load() {
    const mine = ++lastLoad;
    const ended = await openSession();
    const loaded = await get('/web/timesheet');
    const sameUser = loaded.user.id === sheet?.user.id;
    const known = new Set(loaded.workspaces.flatMap((workspace) => workspace.periods.map((period) => period.id)));
    const wanted = sameUser ? [...opened.keys()].filter((id) => known.has(id)) : [];
    const days = await Promise.all(wanted.map(async (id) => [id, (await get(`/web/periods/${id}`)).days]));
    if (mine === lastLoad) {
        sheet = loaded;
        opened = new Map(days);
        draw();
    }
    return ended;
}

// What is on the screen may be another account's by now, or out of date.
async function refused(refusal) {
    const text = textOf(refusal);
    if (refusal.code !== 'unreachable') {
        await load();
    }
    say(text, true);
}

async function trying(action) {
    try {
        await action();
    } catch (refusal) {
        await refused(refusal).catch((second) => say(textOf(second), true));
    }
}

const refresh = () => trying(async () => {
    if (await load()) {
        say(texts.errors.session_ended, true);
    }
});

const takeStep = (name, period, reason) => post(`/web/periods/${period.id}/${name}`, { version: period.version, reason });

// The focus goes to the period itself: a key pressed twice must not take the next step as well.
async function showStep(name, period) {
    await load();
    say(texts.done[name](periodName(texts, period)));
    byId(toggleId(period))?.focus();
}

function step(name, period) {
    if (name === 'reopen') {
        askReason(period);
        return;
    }
    trying(async () => {
        await takeStep(name, period);
        await showStep(name, period);
    });
}

function toggle(period) {
    trying(async () => {
        if (!opened.delete(period.id)) {
            opened.set(period.id, (await get(`/web/periods/${period.id}`)).days);
        }
        draw();
    });
}

function add(workspace, date) {
    if (date === '') {
        say(texts.errors.date_missing, true);
        byId(`day-${workspace.id}`).focus();
        return;
    }
    trying(async () => {
        const { id } = await post('/web/periods', { workspace_id: workspace.id, date });
        await load();
        const period = sheet.workspaces.flatMap((each) => each.periods).find((each) => each.id === id);
        say(texts.added(periodName(texts, period)));
        byId(toggleId(period)).focus();
    });
}

// Refusals that say: what this page shows is out of date. A dialog about it is over then.
const overtaken = ['session_ended', 'foreign_request', 'signed_in', 'not_found', 'period_changed', 'period_status'];

/**
 * Opens a dialog whose form calls `act`. It closes when that succeeds, and
 * stays, with the reason and with all that was typed, when it can be tried
 * again. Escape closes it as Cancel does, and the focus returns.
 */
function ask(dialogId, act) {
    const dialog = byId(dialogId);
    const opener = document.activeElement?.id;
    const form = dialog.querySelector('form');
    const error = dialog.querySelector('.error');
    const button = dialog.querySelector('[type=submit]');
    form.reset();
    error.textContent = '';
    form.onsubmit = async (event) => {
        event.preventDefault();
        error.textContent = '';
        button.disabled = true;
        try {
            await act();
        } catch (refusal) {
            if (overtaken.includes(refusal.code)) {
                dialog.close();
                await trying(() => { throw refusal; });
            } else {
                error.textContent = textOf(refusal);
            }
        }
        button.disabled = false;
    };
    dialog.onclose = () => {
        form.reset();
        byId(opener)?.focus();
    };
    dialog.showModal();
    return dialog;
}

function askReason(period) {
    byId('reopen-title').textContent = texts.nameOf.reopen(periodName(texts, period));
    const dialog = ask('reopen-dialog', async () => {
        const reason = byId('reason').value.trim();
        if (reason === '') {
            byId('reason').focus();
            throw new Refusal('reason_missing', '');
        }
        await takeStep('reopen', period, reason);
        dialog.close();
        await trying(() => showStep('reopen', period));
    });
}

function askCredentials() {
    if (!window.isSecureContext) {
        say(texts.errors.insecure, true);
        return;
    }
    const dialog = ask('sign-in-dialog', async () => {
        const [email, password] = [byId('email').value.trim(), byId('password').value];
        if (email === '' || password === '') {
            byId(email === '' ? 'email' : 'password').focus();
            throw new Refusal('credentials_missing', '');
        }
        await signIn(email, password);
        dialog.close();
        await changeAccount(() => texts.signedInAs(sheet.user.display_name), 'sign-out');
    });
}

// Nothing of one account stays on the screen while the other's is on its way.
async function changeAccount(outcome, focus) {
    forget();
    draw();
    await trying(async () => {
        await load();
        say(outcome());
        byId(focus).focus();
    });
}

byId('language').addEventListener('click', () => {
    texts = textsOf(texts.language === 'he' ? 'en' : 'he');
    localStorage.setItem(languageKey, texts.language);
    say('');
    draw();
});
byId('sign-in').addEventListener('click', askCredentials);
byId('sign-out').addEventListener('click', () => trying(async () => {
    await signOut();
    await changeAccount(() => texts.signedOut, 'sign-in');
}));
for (const button of document.querySelectorAll('dialog .cancel')) {
    button.addEventListener('click', () => button.closest('dialog').close());
}
// Back from the program or another tab: much can have happened there.
document.addEventListener('visibilitychange', () => document.visibilityState === 'visible' && refresh());

draw();
refresh();
