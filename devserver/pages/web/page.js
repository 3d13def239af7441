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
const opening = new Set(); // the ids of those that will once they are read
let newestLoad = null;
let outOfReach = false; // what is shown may not be how it is
let busy = false;
let openings = 0; // of dialogs

function say(text, isError = false) {
    byId('outcome').textContent = text;
    byId('outcome').classList.toggle('error', isError);
}

function textOf(refusal) {
    if (!(refusal instanceof Refusal)) {
        throw refusal;
    }
    return texts.errors[refusal.code] ?? texts.errors.refused;
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
    byId('retry').hidden = !outOfReach;
    const handlers = { step, toggle, add };
    byId('workspaces').replaceChildren(
        ...(sheet ? workspaceSections(texts, sheet.workspaces, opened, today(), handlers) : []));
    if (focused && document.activeElement?.id !== focused) {
        byId(focused)?.focus();
    }
}

function setOutOfReach() {
    outOfReach = true;
    draw();
}

// Nothing of one account stays on the screen for the next one.
function forget() {
    sheet = null;
    opened = new Map();
    for (const dialog of document.querySelectorAll('dialog[open]')) {
        dialog.close();
    }
    byId('reopen-title').textContent = '';
    say('');
    draw();
}

// The development user can sign in as well: the same person, and another account here.
const isShown = (user) => sheet?.user.id === user.id && sheet.user.auth_mode === user.auth_mode;

async function read() {
    const ended = await openSession();
    const loaded = await get('/web/timesheet');
    const known = new Set(loaded.workspaces.flatMap((workspace) => workspace.periods.map((period) => period.id)));
    const wanted = isShown(loaded.user) ? [...opened.keys(), ...opening].filter((id) => known.has(id)) : [];
    const days = await Promise.all(wanted.map(async (id) => [id, (await get(`/web/periods/${id}`)).days]));
    return { ended, loaded, days };
}

// Returns what a person has to hear about the account; empty when it is still the same.
function show({ ended, loaded, days }) {
    const changed = sheet !== null && !isShown(loaded.user);
    if (changed) {
        forget();
    }
    if (outOfReach) {
        outOfReach = false;
        say('');
    }
    sheet = loaded;
    opened = new Map(days.filter(([id]) => opened.has(id) || opening.has(id)));
    draw();
    if (!ended && !changed) {
        return '';
    }
    const change = ended ? texts.errors.session_ended : texts.accountChanged(loaded.user.display_name);
    say(change, true);
    return change;
}

/**
 * Shows the server's present state. Returns what was said about a change of
 * the account, or an empty text. A load overtaken by a later one shows nothing
 * and ends as that one does.
 */
function load() {
    const mine = read().then(
        (found) => (mine === newestLoad ? show(found) : newestLoad),
        (refusal) => {
            if (mine !== newestLoad) {
                return newestLoad;
            }
            setOutOfReach();
            throw refusal;
        });
    newestLoad = mine;
    return mine;
}

// What is on the screen may be another account's by now, or out of date.
async function refused(refusal) {
    const heard = [textOf(refusal)];
    if (refusal.code === 'unreachable') {
        setOutOfReach();
    } else {
        try {
            const accountChange = await load() || refusal.accountChange;
            heard.push(accountChange || (refusal.code === 'unanswered' ? texts.present : ''));
        } catch (second) {
            heard.push(textOf(second));
        }
    }
    say([...new Set(heard)].join(' ').trim(), true);
}

async function trying(action) {
    try {
        await action();
    } catch (refusal) {
        await refused(refusal);
    }
}

function setBusy(now) {
    busy = now;
    document.body.setAttribute('aria-busy', String(now));
}

// One change at a time: a key pressed again before the answer is no second wish.
async function once(action) {
    if (busy) {
        return;
    }
    setBusy(true);
    try {
        await trying(action);
    } finally {
        setBusy(false);
    }
}

const refresh = () => trying(load);

// What was done is said even when the page cannot be read anew afterwards.
async function finish(outcome, focus) {
    try {
        if (await load()) {
            return;
        }
    } catch (refusal) {
        say(`${outcome()} ${textOf(refusal)}`, true);
        return;
    }
    say(outcome());
    byId(focus)?.focus();
}

// A restarted server knows no token from before. For the same account the wish still stands.
async function change(send) {
    try {
        return await send();
    } catch (refusal) {
        if (refusal.code !== 'foreign_request') {
            throw refusal;
        }
        refusal.accountChange = await load();
        if (refusal.accountChange) {
            throw refusal;
        }
        return send();
    }
}

const takeStep = (name, period, reason) => change(() =>
    post(`/web/periods/${period.id}/${name}`, { version: period.version, reason }));

// The focus goes to the period itself: a key pressed twice must not take the next step as well.
const finishStep = (name, period) => finish(() => texts.done[name](periodName(texts, period)), toggleId(period));

function step(name, period, title) {
    if (name === 'reopen') {
        askReason(period, title);
        return;
    }
    once(async () => {
        await takeStep(name, period);
        await finishStep(name, period);
    });
}

// The total above the entries is as old as they are, and the steps beside it, too.
function toggle(period) {
    if (opened.delete(period.id)) {
        draw();
        return;
    }
    trying(async () => {
        opening.add(period.id);
        try {
            await load();
        } finally {
            opening.delete(period.id);
        }
    });
}

function add(workspace, date) {
    if (date === '') {
        say(texts.errors.date_missing, true);
        byId(`day-${workspace.id}`).focus();
        return;
    }
    once(async () => {
        const { id } = await change(() => post('/web/periods', { workspace_id: workspace.id, date }));
        const outcome = () => {
            const period = sheet.workspaces.flatMap((each) => each.periods).find((each) => each.id === id);
            return period ? texts.added(periodName(texts, period)) : texts.addedUnseen;
        };
        await finish(outcome, toggleId({ id }));
    });
}

// Refusals that say: what this page shows is out of date. A dialog about it is over then.
const overtaken = ['session_ended', 'signed_in', 'not_found', 'period_changed', 'period_status'];

/**
 * Opens a dialog whose form calls `send`. It closes when that succeeds, and
 * what `send` has returned is called; it stays, with the reason and with all
 * that was typed, when it can be tried again. Escape closes it as Cancel does,
 * and the focus returns. What was sent before then is shown all the same when
 * it was done, or may have been.
 */
function ask(dialogId, send) {
    const dialog = byId(dialogId);
    const opener = document.activeElement?.id;
    const form = dialog.querySelector('form');
    const error = dialog.querySelector('.error');
    const mine = ++openings;
    const isOpen = () => dialog.open && mine === openings;
    const fail = async (refusal) => {
        const text = textOf(refusal);
        const isOver = overtaken.includes(refusal.code);
        if (isOver && isOpen()) {
            dialog.close();
        }
        if (isOver || (['unanswered', 'foreign_request'].includes(refusal.code) && !isOpen())) {
            throw refusal;
        }
        if (refusal.code === 'unanswered') {
            setOutOfReach();
        }
        if (isOpen()) {
            error.textContent = text;
        }
    };
    form.reset();
    error.textContent = '';
    form.onsubmit = (event) => {
        event.preventDefault();
        error.textContent = '';
        once(async () => {
            let follow;
            try {
                follow = await send();
            } catch (refusal) {
                await fail(refusal);
                return;
            }
            if (isOpen()) {
                dialog.close();
            }
            await follow();
        });
    };
    dialog.onclose = () => {
        form.reset();
        byId(opener)?.focus();
    };
    dialog.showModal();
}

function askReason(period, title) {
    byId('reopen-title').textContent = title;
    ask('reopen-dialog', async () => {
        const reason = byId('reason').value.trim();
        if (reason === '') {
            byId('reason').focus();
            throw new Refusal('reason_missing');
        }
        await takeStep('reopen', period, reason);
        return () => finishStep('reopen', period);
    });
}

function askCredentials() {
    if (!window.isSecureContext) {
        say(texts.errors.insecure, true);
        return;
    }
    ask('sign-in-dialog', async () => {
        const [email, password] = [byId('email').value.trim(), byId('password').value];
        if (email === '' || password === '') {
            byId(email === '' ? 'email' : 'password').focus();
            throw new Refusal('credentials_missing');
        }
        await change(() => signIn(email, password));
        return () => {
            forget();
            return finish(() => (sheet ? texts.signedInAs(sheet.user.display_name) : texts.signedIn), 'sign-out');
        };
    });
}

byId('language').addEventListener('click', () => {
    texts = textsOf(texts.language === 'he' ? 'en' : 'he');
    localStorage.setItem(languageKey, texts.language);
    say('');
    draw();
});
byId('sign-in').addEventListener('click', askCredentials);
byId('sign-out').addEventListener('click', () => once(async () => {
    await change(signOut);
    forget();
    await finish(() => texts.signedOut, 'sign-in');
}));
byId('retry').addEventListener('click', () => trying(async () => {
    await load();
    byId('timesheet').focus();
}));
for (const button of document.querySelectorAll('dialog .cancel')) {
    button.addEventListener('click', () => button.closest('dialog').close());
}
// Back from the program or another tab: much can have happened there.
document.addEventListener('visibilitychange', () => document.visibilityState === 'visible' && refresh());

draw();
refresh();
