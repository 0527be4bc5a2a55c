// The interfaces of the current-traffic document and their rates. No document object model.
//
// The document's own rates belong to a place in the list and are not used: each interface is known by its name here.

import { step_rate } from './rates.js';
import { ceiling } from './site.js';

// The document is written every third second; one that was missed is still a step.
const longest = 10;

const rate_of = (from, to, seconds, most, before) => step_rate(from, to, seconds, most, before);

// Keeps the last reading. take(devices, time) returns rows { name, kind, rx, tx, total, why }: bytes a second or null.
export function make_devices() {
    let before = new Map();
    let last_time = null;

    function row({ name, kind, rx, tx }, seconds) {
        const known = before.get(name);
        const most = kind === 'Ethernet' ? ceiling.wired : ceiling.radio;
        const step = (from, to, was) => (known === undefined || seconds === null ? { rate: null, why: 'start' }
            : step_rate(from, to, seconds, most, was));
        const down = step(known?.rx ?? null, rx, known?.rx_before ?? null);
        const up = step(known?.tx ?? null, tx, known?.tx_before ?? null);
        return { name, kind, rx: down.rate, tx: up.rate, why: down.why ?? up.why,
            total: down.rate === null || up.rate === null ? null : down.rate + up.rate };
    }

    const nonzero = (value, otherwise) => (value !== null && value !== 0n ? value : otherwise ?? null);

    return {
        take(devices, time) {
            const step = last_time === null ? null : time - last_time;
            const seconds = step !== null && step > 0 && step <= longest ? step : null;
            const rows = devices.map((device) => row(device, seconds));
            before = new Map(devices.map(({ name, rx, tx }) => [name, {
                rx, tx, rx_before: nonzero(rx, before.get(name)?.rx_before), tx_before: nonzero(tx, before.get(name)?.tx_before),
            }]));
            last_time = time;
            return rows;
        },
    };
}

// The ports of the document as words: [[name, state]]. Their numbers are the configuration store's; 1 is taken for up.
export function port_words(ports) {
    const state = (text) => ({ 1: 'up', 0: '–', '-1': 'unknown' })[text] ?? text;
    const words = [];
    for (const [tag, text] of ports) {
        const [, kind, number] = /^port_(use3g|eth|3g|wifi2g|wifi5g|power)(\d*)$/.exec(tag) ?? [];
        if (kind === 'eth') words.push([`eth${number}`, state(text)]);
        else if (kind === '3g' && (text !== '0' || (ports.get(`port_use3g${number}`) ?? '0') !== '0')) {
            const use = ports.get(`port_use3g${number}`) ?? '0';
            words.push([`3g${number}`, `${state(text)}${use === '0' ? '' : use === '1' ? ', in use' : `, use ${use}`}`]);
        } else if (kind === 'wifi2g') words.push(['Wi-Fi 2.4', state(text)]);
        else if (kind === 'wifi5g') words.push(['Wi-Fi 5', state(text)]);
        else if (kind === 'power') words.push(['power', state(text)]);
    }
    const cellular = [...ports.keys()].some((tag) => tag.startsWith('port_3g'));
    if (cellular && !words.some(([name]) => name.startsWith('3g'))) words.splice(words.findIndex(([name]) => name.startsWith('Wi')), 0, ['3g', '–']);
    return words;
}

// Rows in the order of one column, downwards or up; names as people count (eth2 before eth10).
const collator = new Intl.Collator('en', { numeric: true });

export function sort_rows(rows, { column, ascending }) {
    const sign = ascending ? 1 : -1;
    const compare = (a, b) => (typeof a === 'string' ? collator.compare(a, b) : a - b);
    return rows.slice().sort((a, b) => {
        // What has no rate stands last, whichever way.
        if ((a[column] === null) !== (b[column] === null)) return a[column] === null ? 1 : -1;
        return (a[column] === null ? 0 : sign * compare(a[column], b[column])) || collator.compare(a.name, b.name);
    });
}
