// One module's documents on screen: reads the chosen series, keeps its samples, draws its charts, judges its state.

import { el, advice } from './dom.js';
import { make_card } from './cards.js';
import { has_charts } from './charts.js';
import { is_fresh, judge } from './health.js';
import { make_points, merge, window_of } from './points.js';
import { series_of } from './parse.js';
import { figures, notable } from './rates.js';
import { csv_of, make_table_box, rows_of } from './rows.js';
import { kept_seconds, read_period } from './site.js';
import { gap_note } from './words.js';

const reduced_motion = matchMedia('(prefers-reduced-motion: reduce)');
const calm_distance = 5000;
// A large table is not made anew with every second.
const large_table = 1500;

// `page` is what all groups share: { documents, notes, settings, view, clock, request(), asked(), runs() }.
export function make_group(group, series, page) {
    const file = group.files[series];
    const message = el('div', { class: 'message', hidden: true });
    const cards_node = el('div', { class: 'cards' });
    const table = make_table_box(`${group.module}, ${series}: table`);
    const node = el('div', { class: 'group' }, message, cards_node, table.node);
    const state = {
        reading: null, samples: [], names: new Map(), cards: [], shape: null, drawn: -Infinity, timer: 0, tabled: -Infinity,
        noted: new Map(), paused: false, table: false, shown: null, message: null,
    };
    table.node.hidden = true;

    const newest = () => state.samples.at(-1)?.time ?? null;

    function take(reading) {
        state.reading = reading;
        if (reading.elements !== null && reading.changed) {
            const { names, samples } = series_of(reading.elements);
            state.names = names;
            state.samples = series === 'seconds' ? merge(state.samples, samples, kept_seconds) : samples;
            schedule();
        }
        page.notes.reading(file, reading);
        page.changed();
    }

    function schedule() {
        if (state.paused || state.timer !== 0) return;
        const wait = reduced_motion.matches ? state.drawn + calm_distance - performance.now() : 0;
        if (wait <= 0) draw();
        else state.timer = setTimeout(draw, wait);
    }

    // Charts are made anew only when there are others than before.
    function shape(charts) {
        const text = JSON.stringify(charts.map((chart) => [chart.key, chart.title, chart.about, chart.small,
            chart.lines.map((line) => [line.key, line.elements]), chart.list?.length]));
        if (text === state.shape) return;
        state.shape = text;
        for (const { card } of state.cards) card.destroy();
        const many = charts.length > 4;
        state.cards = charts.map((chart) => {
            const one = many && charts.every((other) => !other.small) ? { ...chart, small: true } : chart;
            return { chart: one, card: make_card(one, page.view) };
        });
        const large = state.cards.filter(({ chart }) => !chart.small).length;
        cards_node.classList.toggle('pairs', large > 1);
        cards_node.replaceChildren(...state.cards.map(({ card }) => card.node));
    }

    function draw() {
        clearTimeout(state.timer);
        state.timer = 0;
        state.drawn = performance.now();
        shape(group.charts(state.samples, state.names));
        const points = make_points(state.samples, series);
        const drawn = state.cards.map(({ chart, card }) => ({
            chart, card,
            lines: chart.lines.map((line) => ({ line, points: points.of(line) })),
            list: (chart.list ?? []).map((line) => ({ line, points: points.of(line) })),
        }));
        const window = window_of(drawn[0]?.lines[0].points.x ?? [], series);
        state.shown = { drawn, window };
        for (const { card, lines, list } of drawn) card.update(lines.map((l) => l.points), list.map((l) => l.points), window);
        drawn.forEach(note_gaps);
        show_table();
    }

    // Says the newest gap that has a reason of its own, once.
    function note_gaps({ chart, lines, list }) {
        for (const { points } of list.length > 0 ? list : lines) {
            for (let k = points.x.length - 1; k >= 0 && points.x[k] > (state.noted.get(chart.key) ?? -Infinity); k--) {
                if (!notable.has(points.why[k])) continue;
                state.noted.set(chart.key, points.x[k]);
                const time = page.view.time(points.x[k]);
                const about = points.why[k] === 'clock_back' ? 'clock' : `gap ${chart.key}`;
                page.notes.say(about, { text: gap_note(chart.title, points.why[k], time) }, time);
                break;
            }
        }
    }

    function rows() {
        const charts = state.shown.drawn.map(({ chart, lines, list }) => ({ chart, lines: list.length > 0 ? [...lines, ...list] : lines }));
        return rows_of(charts, page.view, state.shown.window);
    }

    function show_table(force = false) {
        const wanted = (state.table || !has_charts()) && state.shown !== null && state.cards.length > 0;
        table.node.hidden = !wanted;
        if (!wanted) return;
        const cells = state.samples.length * state.shown.drawn.length;
        if (!force && cells > large_table && performance.now() - state.tabled < calm_distance) return;
        state.tabled = performance.now();
        table.update(rows(), page.view);
    }

    function show_message(verdict) {
        const text = JSON.stringify([verdict.message, verdict.enable]);
        if (text === state.message) return;
        state.message = text;
        message.hidden = verdict.message === null;
        message.replaceChildren();
        if (verdict.message === null) return;
        const button = verdict.enable === null ? null
            : el('button', { type: 'button', onclick: () => page.enable(verdict.enable) }, 'Switch it on');
        message.append(advice(verdict.message, ...(button ? [' ', button] : [])));
    }

    const stop = page.documents.watch(file,
        () => (series === 'seconds' ? page.settings.get('every') * 1000 : read_period[series]), take);

    return {
        node,
        module: group.module,
        number: group.number,
        newest,
        is_fresh: () => is_fresh(series, newest(), page.clock.now() / 1000),
        // Looks at the time: called every second and when something was heard. Returns the verdict of health.js.
        judge() {
            const verdict = judge({
                module: group.module, series, file, reading: state.reading, newest: newest(), now: page.clock.now() / 1000,
                request: page.request(), asked: page.asked(), runs: page.runs(), text: (time) => page.view.time(time),
            });
            node.classList.toggle('without', state.cards.length === 0);
            show_message(verdict);
            page.notes.judge(group.module, verdict);
            return verdict;
        },
        pause(paused) {
            state.paused = paused;
            if (!paused) schedule();
        },
        set_table(shown) {
            state.table = shown;
            node.classList.toggle('tabled', shown);
            show_table(true);
        },
        // Unit, zone, theme or hidden names have changed.
        restyle() {
            if (state.shown === null) return;
            draw();
            show_table(true);
            for (const { card } of state.cards) card.restyle();
        },
        // What all lines of the first chart show now, added up; null where one of them shows nothing.
        now_total() {
            const values = state.shown?.drawn[0]?.lines.map(({ points }) => figures(points).now) ?? [null];
            return values.includes(null) ? null : values.reduce((total, value) => total + value, 0);
        },
        csv: () => (state.shown === null ? null : csv_of(rows(), page.view.zone())),
        end() {
            stop();
            page.notes.forget(`state ${group.module}`);
            clearTimeout(state.timer);
            for (const { card } of state.cards) card.destroy();
        },
    };
}
