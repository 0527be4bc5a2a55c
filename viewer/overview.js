// The overview: CPU, memory, connections and ports, and the table of interfaces, from the current-traffic document.

import { el, advice, set_text } from './dom.js';
import { make_devices, port_words, sort_rows } from './devices.js';
import { is_fresh, judge } from './health.js';
import { snapshot_of } from './parse.js';
import { read_period } from './site.js';
import { reasons } from './words.js';

const file = 'current_traffic_sec_0.xml';
const columns = [['name', 'interface'], ['kind', 'kind'], ['rx', 'down'], ['tx', 'up'], ['total', 'total']];

function make_meter(label) {
    const figure = el('b', {}, '–');
    const bar = el('i', { class: 'bar', 'aria-hidden': 'true' });
    return {
        node: el('div', { class: 'meter' }, el('span', { class: 'label' }, label), el('span', { class: 'figure' }, figure, ' %'),
            el('span', { class: 'track' }, bar)),
        update(value) {
            set_text(figure, value === null ? '–' : String(value));
            bar.style.width = `${value ?? 0}%`;
        },
    };
}

function make_device_table(view) {
    let order = { column: 'name', ascending: true };
    let rows = [];
    const kept = new Map();
    const heads = columns.map(([column, text]) => {
        const button = el('button', { type: 'button', onclick: () => sort_by(column) }, text);
        return { column, button, node: el('th', { scope: 'col', class: `c-${column}` }, button) };
    });
    const body = el('tbody');
    const unit = el('caption');
    const head = el('thead', {}, el('tr', {}, ...heads.map((one) => one.node)));
    const table = el('table', { class: 'devices' }, unit, head, body);
    const node = el('div', { class: 'device-box', tabindex: '0', role: 'region', 'aria-label': 'Interfaces' }, table);

    function sort_by(column) {
        order = { column, ascending: order.column === column ? !order.ascending : column === 'name' || column === 'kind' };
        show();
    }

    // Each interface keeps its row, so that only what changes is touched.
    function row_of(name) {
        if (!kept.has(name)) {
            const cells = Object.fromEntries(['kind', 'rx', 'tx', 'total'].map((column) => [column, el('span')]));
            const bar = el('i', { class: 'bar', 'aria-hidden': 'true' });
            const small = el('small');
            kept.set(name, { ...cells, bar, small, node: el('tr', {},
                el('th', { scope: 'row', class: 'c-name' }, el('span', {}, name), small),
                el('td', { class: 'c-kind' }, cells.kind), el('td', { class: 'c-rx' }, cells.rx),
                el('td', { class: 'c-tx' }, cells.tx), el('td', { class: 'c-total' }, el('div', { class: 'share' }, el('span', { class: 'track' }, bar), cells.total))) });
        }
        return kept.get(name);
    }

    function show() {
        const { name: unit_name, scale, text } = view.unit({ unit: 'rate' });
        const most = Math.max(1, ...rows.map((row) => row.total ?? 0));
        set_text(unit, rows.length === 0 ? 'No interface is up.' : `${rows.length} ${rows.length === 1 ? 'interface' : 'interfaces'}, ${unit_name}`);
        head.hidden = rows.length === 0;
        const nodes = sort_rows(rows, order).map((row) => {
            const kept_row = row_of(row.name);
            set_text(kept_row.kind, row.kind);
            set_text(kept_row.small, row.kind);
            for (const column of ['rx', 'tx', 'total']) {
                set_text(kept_row[column], row[column] === null ? '–' : text(row[column] * scale));
                kept_row[column].title = row[column] === null ? reasons[row.why] ?? '' : '';
            }
            kept_row.bar.style.width = `${(100 * (row.total ?? 0)) / most}%`;
            return kept_row.node;
        });
        const shown = [...body.children];
        if (nodes.length !== shown.length || nodes.some((one, i) => one !== shown[i])) body.replaceChildren(...nodes);
        for (const { column, node: cell } of heads) {
            cell.setAttribute('aria-sort', column !== order.column ? 'none' : order.ascending ? 'ascending' : 'descending');
        }
    }

    return {
        node,
        restyle: show,
        update(found) {
            rows = found;
            const names = new Set(rows.map((row) => row.name));
            for (const name of kept.keys()) {
                if (!names.has(name)) kept.delete(name);
            }
            show();
        },
    };
}

// `page` is what all groups share (see group.js). on_rows(rows) hears every table of rates.
export function make_overview(page, on_rows) {
    const meters = { cpu: make_meter('CPU'), memory: make_meter('memory'), connections: make_meter('connections') };
    const ports = el('dl', { class: 'ports', 'aria-label': 'Ports' });
    const message = el('div', { class: 'message', hidden: true });
    const table = make_device_table(page.view);
    const heading = el('h2', { class: 'unseen', tabindex: '-1' }, 'Current traffic');
    const node = el('section', { class: 'overview', 'aria-label': 'Current traffic' }, heading,
        el('div', { class: 'strip' }, el('div', { class: 'meters' }, ...Object.values(meters).map((meter) => meter.node)), ports),
        message, table.node);
    const devices = make_devices();
    let reading = null;
    let newest = null;
    let said = null;
    let ports_text = null;
    table.node.hidden = true;

    function take(heard) {
        reading = heard;
        if (heard.elements !== null) {
            const snapshot = snapshot_of(heard.elements);
            const time = Number.isFinite(heard.modified) ? heard.modified / 1000 : Math.round(page.clock.now() / 1000);
            const is_new = time !== newest || heard.changed;
            newest = time;
            if (is_new) show(snapshot, time);
        }
        page.notes.reading(file, heard);
        page.changed();
    }

    function show(snapshot, time) {
        for (const [name, meter] of Object.entries(meters)) meter.update(snapshot.usage[name]);
        const words = port_words(snapshot.ports);
        const text = JSON.stringify(words);
        if (text !== ports_text) {
            ports_text = text;
            ports.replaceChildren(...words.map(([name, state]) =>
                el('div', { class: state.startsWith('up') ? 'up' : '' }, el('dt', {}, name), el('dd', {}, state))));
        }
        const rows = devices.take(snapshot.devices, time);
        table.node.hidden = false;
        table.update(rows);
        on_rows(rows);
    }

    const fresh = () => is_fresh('current', newest, page.clock.now() / 1000);
    const stop = page.documents.watch(file, () => (fresh() ? read_period.current : read_period.seconds), take);
    return {
        node,
        modules: [['current', 1]],
        newest: () => newest,
        is_fresh: fresh,
        judge() {
            const verdict = judge({ module: 'current', series: 'seconds', file, reading, newest, now: page.clock.now() / 1000,
                request: page.request(), asked: page.asked(), runs: page.runs(), text: (time) => page.view.time(time) });
            const text = JSON.stringify([verdict.message, verdict.enable]);
            if (text !== said) {
                said = text;
                message.hidden = verdict.message === null;
                message.replaceChildren();
                if (verdict.message !== null) {
                    message.append(advice(verdict.message, ...(verdict.enable === null ? []
                        : [' ', el('button', { type: 'button', onclick: () => page.enable('current') }, 'Switch it on')])));
                }
            }
            page.notes.judge('current', verdict);
            return verdict;
        },
        restyle: table.restyle,
        end: stop,
    };
}

// Reads the document only to learn whether the daemon runs.
export function make_witness(page) {
    let newest = null;
    const stop = page.documents.watch(file, () => read_period.current, (reading) => {
        if (reading.elements !== null && Number.isFinite(reading.modified)) newest = reading.modified / 1000;
    });
    return { is_fresh: () => is_fresh('current', newest, page.clock.now() / 1000), end: stop };
}
