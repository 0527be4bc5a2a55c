// One chart as it stands in a panel: its title, the figures under it (a row a line, with a button that hides it), and the
// list that stands for many lines.

import { el, set_text } from './dom.js';
import { has_charts, make_chart } from './charts.js';
import { figures } from './rates.js';
import { signal_word } from './words.js';

// Figures of a line within the window, scaled to its unit: { now, average, peak, peak_time }.
function figures_of(points, unit, [from, to]) {
    const found = figures(points, from, to);
    const scaled = (value) => (value === null ? null : value * unit.scale);
    return { ...found, now: scaled(found.now), average: scaled(found.average), peak: scaled(found.peak) };
}

// What stands beside a value: how good a signal is.
const word_of = (line, value) => (line.quality && value !== null ? ` ${signal_word(value, line.quality)}` : '');

function make_legend(chart, view) {
    const rows = chart.lines.map((line) => {
        const button = el('button', { type: 'button', class: 'key', onclick: () => view.toggle(line) },
            el('i', { class: `swatch hue${line.hue}`, 'aria-hidden': 'true' }), el('span', {}, line.name));
        const cells = { now: el('td'), average: el('td'), peak: el('td'), time: el('span', { class: 'at' }) };
        const peak_text = el('span');
        cells.peak.append(peak_text, ' ', cells.time);
        return { line, button, ...cells, peak_text,
            node: el('tr', {}, el('th', { scope: 'row' }, button), cells.now, cells.average, cells.peak) };
    });
    const unit_cell = el('th', { scope: 'col', class: 'unit' });
    const now_head = el('th', { scope: 'col' }, 'now');
    const node = el('table', { class: `legend${chart.lines[0].quality ? ' quality' : ''}` }, el('thead', {}, el('tr', {}, unit_cell, now_head,
        el('th', { scope: 'col' }, 'average'), el('th', { scope: 'col' }, 'peak'))), el('tbody', {}, ...rows.map((row) => row.node)));

    return {
        node,
        // `found` are figures_of() each line, in order; `hidden` tells of a line whether it is.
        update(found, hidden) {
            set_text(unit_cell, view.unit(chart.lines[0]).name);
            rows.forEach((row, i) => {
                const text = view.unit(row.line).text;
                const { now, average, peak, peak_time } = found[i];
                row.button.setAttribute('aria-pressed', String(!hidden(row.line)));
                row.newest = text(now) + word_of(row.line, now);
                set_text(row.now, row.newest);
                set_text(row.average, text(average));
                set_text(row.peak_text, text(peak));
                set_text(row.time, peak_time === null ? '' : `@ ${view.time(peak_time)}`);
            });
            set_text(now_head, 'now');
        },
        // Values at the crosshair; null for what is now. `at(i)` is the scaled value of line i.
        show(at) {
            set_text(now_head, at === null ? 'now' : 'there');
            for (const [i, row] of rows.entries()) {
                const value = at === null ? null : at(i);
                set_text(row.now, at === null ? row.newest ?? '–' : view.unit(row.line).text(value) + word_of(row.line, value));
            }
        },
    };
}

// Many lines as a list: name (a link where `link` gives one), now, average, peak.
function make_list(lines, view, link) {
    const rows = lines.map((line) => {
        const cells = [el('td'), el('td'), el('span'), el('span', { class: 'at' })];
        const name = link ? el('a', { href: link(line) }, line.name) : line.name;
        return { line, cells, node: el('tr', {}, el('th', { scope: 'row' }, name), cells[0], cells[1], el('td', {}, cells[2], ' ', cells[3])) };
    });
    const unit_cell = el('th', { scope: 'col', class: 'unit' });
    const heads = ['now', 'average', 'peak'].map((text) => el('th', { scope: 'col' }, text));
    const node = el('table', { class: 'legend list' }, el('thead', {}, el('tr', {}, unit_cell, ...heads)),
        el('tbody', {}, ...rows.map((row) => row.node)));
    return {
        node,
        update(found) {
            set_text(unit_cell, view.unit(lines[0]).name);
            rows.forEach(({ line, cells }, i) => {
                const text = view.unit(line).text;
                set_text(cells[0], text(found[i].now));
                set_text(cells[1], text(found[i].average));
                set_text(cells[2], text(found[i].peak));
                set_text(cells[3], found[i].peak === null ? '' : `@ ${view.time(found[i].peak_time)}`);
            });
        },
    };
}

// `view` is { zone(), unit(line), time(seconds), is_hidden(line), toggle(line) }. The result has
//   node, update(points, list_points, window): points one a line; restyle(); destroy()
export function make_card(chart, view) {
    const readout = el('span', { class: 'readout' });
    const plot = el('div', { class: 'plot', tabindex: '0', role: 'group',
        'aria-label': `${chart.title}: arrow keys move the crosshair` });
    const legend = make_legend(chart, view);
    const list = chart.list ? make_list(chart.list, view, chart.link) : null;
    const node = el('section', { class: `card${chart.small ? ' small' : ''}`, 'aria-label': chart.title },
        el('h3', {}, el('span', { class: 'name' }, chart.title), chart.about ? el('span', { class: 'about' }, chart.about) : null,
            readout),
        has_charts() ? plot : null, legend.node, list ? list.node : null);
    let drawn = null;
    let summary = '';

    const scaled = (i, k) => {
        const value = drawn[i]?.y[k] ?? null;
        return value;
    };
    const card_view = {
        ...view,
        summary: () => summary,
        on_cursor(index) {
            if (!drawn || drawn.length === 0) return;
            set_text(readout, index === null ? '' : `at ${view.time(drawn[0].x[index])}`);
            legend.show(index === null ? null : (i) => scaled(i, index));
        },
    };
    const canvas = has_charts() ? make_chart(plot, chart, card_view) : null;

    plot.addEventListener('keydown', (event) => {
        const steps = { ArrowLeft: -1, ArrowRight: 1, PageUp: -10, PageDown: 10, Home: -1e9, End: 1e9, Escape: null }[event.key];
        if (steps === undefined || event.ctrlKey || event.altKey || event.metaKey) return;
        event.preventDefault();
        canvas?.move(steps);
    });
    plot.addEventListener('blur', () => canvas?.move(null));

    function describe(found, window) {
        const parts = chart.lines.map((line, i) => {
            const { text, name } = view.unit(line);
            const { now, average, peak, peak_time } = found[i];
            if (average === null) return `${line.name} without values`;
            return `${line.name} now ${text(now)}, average ${text(average)}, peak ${text(peak)} ${name} at ${view.time(peak_time)}`;
        });
        return `${chart.title}, ${view.time(window[0])} to ${view.time(window[1])}: ${parts.join('; ')}`;
    }

    return {
        node,
        update(points, list_points, window) {
            const found = chart.lines.map((line, i) => figures_of(points[i], view.unit(line), window));
            drawn = chart.lines.map((line, i) => {
                const { scale } = view.unit(line);
                const y = scale === 1 ? points[i].y : points[i].y.map((value) => (value === null ? null : value * scale));
                return { ...points[i], y, hidden: view.is_hidden(line) };
            });
            legend.update(found, view.is_hidden);
            list?.update(chart.list.map((line, i) => figures_of(list_points[i], view.unit(line), window)));
            summary = describe(found, window);
            canvas?.update(drawn, window);
        },
        restyle: () => canvas?.restyle(),
        destroy: () => canvas?.destroy(),
    };
}
