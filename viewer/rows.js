// The rows behind charts: for the table that shows them and the file that takes them away. One row a time, newest last.

import { reasons } from './words.js';
import { el } from './dom.js';

// charts: [{ chart, lines: [{ line, points }] }] of one group. Result: { heads: [text], rows: [{ time, values, why }] },
// values scaled to the unit, null where there is none; `why` says of the first gap of a row why it is one.
export function rows_of(charts, view, window) {
    const columns = charts.flatMap(({ chart, lines }) => lines.map(({ line, points }) => ({
        head: `${chart.title} ${line.name}, ${view.unit(line).name}`, points, unit: view.unit(line),
    })));
    const x = columns.length > 0 ? columns[0].points.x : [];
    const rows = [];
    for (let k = 0; k < x.length; k++) {
        if (x[k] < window[0] || x[k] % 1 !== 0) continue;
        const values = columns.map(({ points, unit }) => (points.y[k] === null ? null : points.y[k] * unit.scale));
        const gap = columns.find(({ points }) => points.why[k] !== null);
        rows.push({ time: x[k], values, why: gap ? gap.points.why[k] : null });
    }
    return { heads: columns.map((column) => column.head), units: columns.map((column) => column.unit), rows };
}

// The table: newest first, in a box that scrolls by itself.
function table_of({ heads, units, rows }, view) {
    const head = el('tr', {}, el('th', { scope: 'col' }, `time ${view.offset()}`),
        ...heads.map((text) => el('th', { scope: 'col' }, text)), el('th', { scope: 'col' }, 'remark'));
    const body = rows.map(({ time, values, why }) => el('tr', {}, el('th', { scope: 'row' }, view.time(time)),
        ...values.map((value, i) => el('td', {}, units[i].text(value))),
        el('td', { class: 'why' }, why === null ? '' : reasons[why]))).reverse();
    return el('table', { class: 'rows' }, el('thead', {}, head), el('tbody', {}, ...body));
}

const quoted = (text) => (/[",\n\r]/.test(text) ? `"${text.replaceAll('"', '""')}"` : text);

// Comma-separated: time as ISO 8601 with offset, seconds since 1970, the values, the remark.
export function csv_of({ heads, rows }, zone) {
    const lines = [['time', 'epoch', ...heads, 'remark'].map(quoted).join(',')];
    for (const { time, values, why } of rows) {
        const numbers = values.map((value) => (value === null ? '' : String(Math.round(value * 1000) / 1000)));
        lines.push([zone.iso(time), time, ...numbers, why === null ? '' : reasons[why]].join(','));
    }
    return lines.join('\r\n') + '\r\n';
}

// Hands a text over as a file.
export function save(name, text) {
    const address = URL.createObjectURL(new Blob([text], { type: 'text/csv' }));
    el('a', { href: address, download: name }).click();
    setTimeout(() => URL.revokeObjectURL(address), 1000);
}

// A region that keeps a table and says what it is.
export function make_table_box(label) {
    const box = el('div', { class: 'table-box', tabindex: '0', role: 'region', 'aria-label': label });
    let kept = null;
    return {
        node: box,
        update(data, view) {
            const key = JSON.stringify([data.rows.length, data.rows.at(-1), data.heads, view.offset()]);
            if (key === kept) return;
            kept = key;
            const top = box.scrollTop;
            box.replaceChildren(table_of(data, view));
            box.scrollTop = top;
        },
    };
}
