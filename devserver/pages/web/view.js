// SPDX-License-Identifier: MIT
//
// What the page looks like, from what the server said. All text goes in as
// text: a description is data, whatever it looks like.

import { clock, isolated } from './texts.js';

function element(name, properties = {}, ...children) {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(properties)) {
        if (key.startsWith('on')) {
            made.addEventListener(key.slice(2), value);
        } else if (typeof value === 'boolean') {
            made.toggleAttribute(key, value);
        } else {
            made.setAttribute(key, value);
        }
    }
    made.append(...children);
    return made;
}

// People's own words keep their direction, and figures theirs.
const words = (text) => element('bdi', {}, text);
const figures = (text) => element('bdi', { dir: 'ltr', class: 'figures' }, text);

const stepsFrom = { open: ['submit'], submitted: ['approve', 'reopen'], approved: ['reopen'] };

export const periodName = (texts, period) => texts.days(period.from_date, period.to_date);
export const toggleId = (period) => `toggle-${period.id}`;

// Read aloud without what stands around it, a name says in which workspace it is.
const nameIn = (workspace, label) => `${label}, ${isolated(workspace.name)}`;

// A range runs as the page does, as those of the dates: only its ends are figures.
function entryTime(texts, entry, date) {
    const moment = (local) => {
        const time = local.slice(11, 16);
        return figures(local.startsWith(date) ? time : `${texts.shortDay(local.slice(0, 10))} ${time}`);
    };
    return [moment(entry.start_local), '–', ...(entry.stop_local === null ? [] : [moment(entry.stop_local)])];
}

function entryRow(texts, entry, date) {
    const description = entry.description === ''
        ? element('div', { class: 'faint' }, texts.noDescription)
        : element('div', {}, words(entry.description));
    const project = entry.project === null ? [] : [element('div', { class: 'project' }, words(entry.project))];
    const duration = entry.duration_seconds === null ? texts.running : figures(clock(entry.duration_seconds));
    return element('tr', {},
        element('td', { class: 'time' }, ...entryTime(texts, entry, date)),
        element('td', { class: 'work' }, description, ...project),
        element('td', { class: 'duration' }, duration));
}

function dayRows(texts, day) {
    return element('tbody', {},
        element('tr', { class: 'day' },
            element('th', { colspan: '2', scope: 'rowgroup' }, texts.weekday(day.date)),
            element('td', { class: 'duration' }, figures(clock(day.duration_seconds)))),
        ...day.entries.map((entry) => entryRow(texts, entry, day.date)));
}

function entriesOf(texts, period, days) {
    if (days.length === 0) {
        return [element('p', { class: 'faint' }, texts.noEntries)];
    }
    const head = (text, kind) => element('th', { scope: 'col', class: kind }, text);
    return [
        element('table', {},
            element('caption', { class: 'unseen' }, texts.entriesOf(periodName(texts, period))),
            element('thead', {},
                element('tr', {}, head(texts.time, 'time'), head(texts.work, 'work'), head(texts.duration, 'duration'))),
            ...days.map((day) => dayRows(texts, day))),
        element('p', { class: 'faint zone' }, texts.zone(period.timezone)),
    ];
}

function stepButton(texts, workspace, period, step, handlers) {
    const name = nameIn(workspace, `${texts[step]}: ${periodName(texts, period)}`);
    return element('button', {
        type: 'button',
        id: `${step}-${period.id}`,
        class: step === 'reopen' ? 'step' : 'step primary',
        'aria-label': name,
        ...(step === 'reopen' ? { 'aria-haspopup': 'dialog' } : {}),
        // The second half of a double click must not take the next step as well.
        onclick: (event) => event.detail > 1 || handlers.step(step, period, name),
    }, texts[step]);
}

function periodItem(texts, workspace, period, days, handlers) {
    const expanded = days !== undefined;
    const entries = `entries-${period.id}`;
    const toggle = element('button', {
        type: 'button',
        id: toggleId(period),
        class: 'toggle',
        'aria-label': nameIn(workspace, periodName(texts, period)),
        'aria-expanded': String(expanded),
        'aria-controls': entries,
        onclick: () => handlers.toggle(period),
    }, periodName(texts, period));
    const reason = period.last_reason === null ? [] : [
        element('p', { class: 'reason' }, element('span', { class: 'faint' }, texts.lastReason), ' ',
            words(period.last_reason)),
    ];
    return element('li', { class: 'period' },
        element('div', { class: 'summary' },
            element('h3', {}, toggle),
            element('span', { class: `status ${period.status}` }, texts.status[period.status]),
            element('span', { class: 'total' }, element('span', { class: 'unseen' }, `${texts.total} `),
                figures(clock(period.duration_seconds))),
            element('div', { class: 'actions' },
                ...stepsFrom[period.status].map((step) => stepButton(texts, workspace, period, step, handlers)))),
        ...reason,
        element('div', { id: entries, class: 'entries', hidden: !expanded },
            ...(expanded ? entriesOf(texts, period, days) : [])));
}

function addForm(texts, workspace, today, handlers) {
    const id = `day-${workspace.id}`;
    // Drawn anew, the field keeps what is typed, a half date too.
    const date = document.getElementById(id) ??
        element('input', { id, type: 'date', value: today, min: '1970-01-01', max: '9998-12-31' });
    date.setAttribute('aria-label', nameIn(workspace, texts.addLabel));
    // The field writes its date in the browser's language; this one is the page's.
    const said = element('output', { for: id, class: 'faint' });
    date.oninput = () => said.replaceChildren(date.value === '' ? '' : texts.weekday(date.value));
    date.oninput();
    const submit = (event) => {
        event.preventDefault();
        handlers.add(workspace, date.value);
    };
    return element('form', { class: 'add', novalidate: true, onsubmit: submit },
        element('label', { for: id }, texts.addLabel), date, said,
        element('button', { type: 'submit', id: `add-${workspace.id}`, 'aria-label': nameIn(workspace, texts.add) },
            texts.add));
}

/**
 * The sections of all workspaces. `opened` maps the ids of the periods that
 * stand open to their days; `handlers` are step(step, period, its name),
 * toggle(period) and add(workspace, date).
 */
export function workspaceSections(texts, workspaces, opened, today, handlers) {
    if (workspaces.length === 0) {
        return [element('p', { class: 'faint' }, texts.noWorkspaces)];
    }
    return workspaces.map((workspace) => {
        const title = `name-${workspace.id}`;
        const periods = workspace.periods.map((period) =>
            periodItem(texts, workspace, period, opened.get(period.id), handlers));
        return element('section', { 'aria-labelledby': title },
            element('div', { class: 'heading' },
                element('h2', { id: title, dir: 'auto' }, workspace.name),
                addForm(texts, workspace, today, handlers)),
            periods.length === 0
                ? element('p', { class: 'faint' }, texts.noPeriods)
                : element('ul', { class: 'periods' }, ...periods));
    });
}
