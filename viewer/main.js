// The page put together: the address says which panel is on screen, the panel says what is read and asked for, and once a
// second everything is looked at with regard to the time.

import { make_clock, make_zone } from './clock.js';
import { make_documents } from './documents.js';
import { choice, el, set_text } from './dom.js';
import { panels } from './catalogue.js';
import { forget_colours, has_charts } from './charts.js';
import { make_notes } from './notes.js';
import { make_overview, make_witness } from './overview.js';
import { make_panel } from './panels.js';
import { make_requests } from './requests.js';
import { settings } from './settings.js';
import { first_data, read_period, router_name } from './site.js';
import { age, charts_missing, clock_set, clocks_differ, hardware, rate_units, with_unit } from './words.js';

const $ = (id) => document.getElementById(id);
const clock = make_clock();
const notes = make_notes($('note'), $('notes'), $('note-count'));

let answer = null;
let asked_at = -Infinity;
let panel = null;
let overview = null;
let witness = null;
let witness_since = 0;
let shown_at = -Infinity;

// ---- What all panels share

const zone = () => make_zone(settings.get('zone'), () => answer?.offset ?? null);
const view = {
    zone,
    unit: (line) => (line.unit === 'rate' ? rate_units[settings.get('unit')] : line.unit),
    time: (seconds) => zone().text(seconds, route().series),
    offset: () => `UTC${zone().offset_text(Math.floor((Number.isFinite(clock.now()) ? clock.now() : Date.now()) / 1000))}`,
    is_hidden: (line) => settings.is_hidden(line.key),
    toggle: (line) => settings.toggle_hidden(line.key),
};

const requests = make_requests((state) => {
    // A zone that only now is known changes what is shown.
    const was = answer?.offset ?? null;
    answer = state;
    if ((state.offset ?? null) !== was) {
        show_zones();
        if (settings.get('zone') === 'router') restyle();
    }
    look();
});

const documents = make_documents(clock, (milliseconds) => {
    const time = zone().clock_text(clock.now() / 1000);
    notes.say('clock', { text: clock_set(milliseconds, time) }, time);
});

// Whether the daemon is known to run: a document that is fresh says yes; with none fresh a witness that was asked for
// and stays old says no, if its module is on.
function runs() {
    if (overview?.is_fresh() || panel?.some_fresh() || witness?.is_fresh()) return true;
    if (answer?.ok && answer.modules.get('current')?.on === false) return null;
    if (overview !== null) return asked() > first_data + read_period.current ? false : null;
    return witness !== null && performance.now() - witness_since > first_data ? false : null;
}

const asked = () => performance.now() - asked_at;

const page = {
    documents, notes, settings, view, clock, asked, runs,
    request: () => answer,
    enable: (name) => requests.enable(name),
    changed: () => look(),
    go: (option, series) => {
        const { entry } = route();
        location.hash = `#${[entry.id, ...(entry.choose ? [option] : []), ...(series === 'seconds' ? [] : [series])].join('/')}`;
    },
};

// ---- The address: #wan, #wan/minutes, #bond/1, #ap/12/hours

function route() {
    const [id, ...rest] = location.hash.slice(1).split('/');
    const entry = panels.find((one) => one.id === id) ?? panels[0];
    const series = ['minutes', 'hours'].find((one) => rest.includes(one)) ?? 'seconds';
    const options = entry.choose?.options.map(([value]) => value) ?? [];
    return { entry, series, option: options.find((value) => rest[0] === value) ?? options[0] ?? '' };
}

function show_panel() {
    const { entry, series, option } = route();
    panel?.end();
    overview?.end();
    end_witness();
    answer = answer !== null && !answer.ok ? null : answer;
    overview = entry.overview ? make_overview(page, hear_rates) : null;
    panel = make_panel(entry, { series, option }, page);
    $('panel').replaceChildren(...(overview ? [overview.node] : []), panel.node);
    for (const link of $('links').children) {
        if (link.hash === `#${entry.id}`) link.setAttribute('aria-current', 'page');
        else link.removeAttribute('aria-current');
    }
    document.title = `${entry.title} – ${name()}`;
    asked_at = performance.now();
    ask();
    look();
}

function ask() {
    requests.want(new Map([...(overview?.modules ?? []), ...panel.modules, ...(witness ? [['current', 1]] : [])]));
}

// ---- Once a second, and whenever something was heard

const state_words = { live: 'live', waiting: 'waiting', stale: 'stale', off: 'off', offline: 'no answer', empty: 'empty' };

function look() {
    if (panel === null) return;
    const verdict = overview ? overview.judge() : panel.judge();
    if (overview) panel.judge();
    if (verdict.state === 'stale' && overview === null && witness === null && asked() > first_data && answer?.ok) begin_witness();
    else if (verdict.state === 'live' && witness !== null) end_witness();
    const newest = overview ? overview.newest() : panel.newest();
    const old = Number.isFinite(clock.now()) && Number.isFinite(newest) && newest !== null ? clock.now() / 1000 - newest : null;
    const word = panel.is_paused() && verdict.state === 'live' ? 'paused' : verdict.state;
    $('state').dataset.state = word;
    set_text($('state-word'), state_words[word] ?? word);
    set_text($('age'), old === null ? '' : `age ${age(old)}`);
    const away = clock.browser_ahead() / 1000;
    set_text($('skew'), Number.isFinite(away) && Math.abs(away) > 3 ? clocks_differ(away) : '');
}

function begin_witness() {
    witness = make_witness(page);
    witness_since = performance.now();
    ask();
}

function end_witness() {
    witness?.end();
    witness = null;
}

// A busy LAN beside an idle WAN: traffic that the hardware forwards passes by the kernel's counters. Rates are bytes a
// second, both ways; it is said when it has been so for three documents.
const busy = 1e6 / 8;
let idle_for = 0;

function hear_rates(rows) {
    const lan = rows.filter((row) => /^br\d/.test(row.name)).reduce((sum, row) => sum + (row.total ?? 0), 0);
    const wan = panel?.now_total() ?? null;
    idle_for = wan !== null && lan > busy && wan < lan / 50 ? idle_for + 1 : 0;
    if (idle_for === 0) notes.forget('hardware');
    if (idle_for !== 3) return;
    const { scale, name: unit } = view.unit({ unit: 'rate' });
    notes.say('hardware', { text: hardware(with_unit(lan * scale, unit), with_unit(wan * scale, unit)) });
}

// ---- The header

const name = () => router_name || location.hostname || 'router';
const dark = matchMedia('(prefers-color-scheme: dark)');

function show_theme() {
    const theme = settings.get('theme');
    document.documentElement.dataset.theme = theme === 'system' ? (dark.matches ? 'dark' : 'light') : theme;
    forget_colours();
    const next = { system: 'light', light: 'dark', dark: 'system' };
    $('theme').replaceChildren(el('button', { type: 'button', onclick: () => settings.set('theme', next[theme]) },
        el('span', { class: 'wide' }, 'theme: '), theme));
}

function show_unit() {
    $('unit').replaceChildren(choice('Unit', [['bit', 'bit/s'], ['byte', 'B/s']], settings.get('unit'), (unit) => settings.set('unit', unit)));
}

function show_zones() {
    const told = answer?.offset !== null && answer?.offset !== undefined;
    const at = Math.floor(Date.now() / 1000);
    const offset = (zone_name) => make_zone(zone_name, () => answer?.offset ?? null).offset_text(at);
    const options = [['browser', `browser ${offset('browser')}`], ['router', told ? `router ${offset('router')}` : 'router (not told)'], ['utc', 'UTC +00:00']];
    const select = el('select', { 'aria-label': 'Time zone', onchange: () => settings.set('zone', select.value) },
        ...options.map(([value, text]) => el('option', { value, selected: value === settings.get('zone'), disabled: value === 'router' && !told }, text)));
    $('zone').replaceChildren(select);
}

function restyle() {
    overview?.restyle();
    panel?.restyle();
}

const show = { unit: show_unit, zone: show_zones, theme: show_theme };
settings.on_change((changed) => {
    show[changed]?.();
    restyle();
});
dark.addEventListener('change', () => {
    show_theme();
    restyle();
});

// ---- Begin

document.documentElement.dataset.app = 'on';
set_text($('name'), name());
$('links').replaceChildren(...panels.map((entry) => el('a', { href: `#${entry.id}` }, entry.title)));
for (const part of Object.values(show)) part();
if (!has_charts()) notes.say('charts', charts_missing);
addEventListener('hashchange', show_panel);
document.addEventListener('visibilitychange', () => {
    if (document.visibilityState === 'hidden') return;
    // What was asked for before has run out.
    if (performance.now() - shown_at > 60000) asked_at = performance.now();
});
setInterval(() => {
    if (document.visibilityState !== 'hidden') shown_at = performance.now();
    look();
}, 1000);
show_panel();
