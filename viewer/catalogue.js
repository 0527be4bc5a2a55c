// What there is to see: which documents a panel reads, which modules it asks for, and which charts their elements make.
// Plain data and functions of samples.
//
// A group is { module, number, files: { seconds, minutes, hours }, charts(samples, names) } and makes charts
//   { key, title, about, small, lines: [line] }
// A line is { key, name, hue: 1 | 2, unit: 'rate' or a unit, elements + ceiling, or element + range, quality }.

import { ceiling } from './site.js';
import { decibel, memory_unit, percent } from './words.js';

const three = (stem, end = '_0') => ({
    seconds: `${stem}_sec${end}.xml`, minutes: `${stem}_min${end}.xml`, hours: `${stem}_hour${end}.xml`,
});

// The numbers for which the samples have an element, ascending; the pattern's first group is the number.
function numbers(samples, pattern) {
    const found = new Set();
    for (const sample of samples.slice(-1)) {
        for (const name of sample.values.keys()) {
            const match = pattern.exec(name);
            if (match) found.add(Number(match[1]));
        }
    }
    return [...found].sort((a, b) => a - b);
}

const traffic = (key, name, hue, elements, most) => ({ key, name, hue, unit: 'rate', elements, ceiling: most });

function down_up(key, title, rx, tx, more = {}) {
    return { key, title, ...more, lines: [traffic(`${key}_rx`, 'down', 1, rx, ceiling.wired),
        traffic(`${key}_tx`, 'up', 2, tx, ceiling.wired)] };
}

// Towards the clients of this router is what they call down.
function to_from(key, title, tx, rx, most, more = {}) {
    return { key, title, ...more, lines: [traffic(`${key}_tx`, 'to clients', 1, tx, most),
        traffic(`${key}_rx`, 'from clients', 2, rx, most)] };
}

const both_ways = (key, title, elements, most, more = {}) =>
    ({ key, title, ...more, lines: [traffic(`${key}_txrx`, 'both ways', 1, elements, 2 * most)] });

// ---- WAN

const wan_files = three('wan_traffic');

// Connections that show the same counters follow one interface: [[1, 2], ...].
function same_interface(samples) {
    const last = samples[samples.length - 1];
    const seen = new Map();
    for (const n of numbers(samples, /^wan(\d+)_tx$/)) {
        const counters = `${last.values.get(`wan${n}_tx`)} ${last.values.get(`wan${n}_rx`)}`;
        if (counters !== '0 0') seen.set(counters, [...(seen.get(counters) ?? []), n]);
    }
    return [...seen.values()].filter((list) => list.length > 1);
}

function wan_charts(samples) {
    return numbers(samples, /^wan(\d+)_tx$/).map((n) => down_up(`wan${n}`, `WAN ${n}`, [`wan${n}_rx`], [`wan${n}_tx`]));
}

function wan_total(samples) {
    const twice = samples.length > 0 ? same_interface(samples).flatMap((list) => list.slice(1)) : [];
    const all = numbers(samples, /^wan(\d+)_tx$/);
    const counted = all.filter((n) => !twice.includes(n));
    if (all.length === 0) return [];
    const title = all.length === 1 ? `WAN ${all[0]}` : `WAN, ${all.length} connections together`;
    return [down_up('wan', title, counted.map((n) => `wan${n}_rx`), counted.map((n) => `wan${n}_tx`))];
}

const wan_group = { module: 'wan', number: 1, files: wan_files, charts: wan_charts };
const wan_total_group = { module: 'wan', number: 1, files: wan_files, charts: wan_total };

// ---- LAN, Wi-Fi

const lan_group = {
    module: 'lan', number: 1, files: three('lan_traffic'),
    charts: (samples) => numbers(samples, /^lan(\d+)_tx$/).map((n) =>
        to_from(`lan${n}`, `LAN ${n}`, [`lan${n}_tx`], [`lan${n}_rx`], ceiling.wired, { about: `br${n - 1}` })),
};

// Those virtual access points of which any sample shows something, in ascending order.
function in_use(samples, element) {
    const seen = [];
    for (let v = 1; v <= 8; v++) {
        const name = element(v);
        if (samples.some((sample) => /[1-9]/.test(sample.values.get(name) ?? ''))) seen.push(v);
    }
    return seen;
}

// The band's own element is not used: at 5 GHz it is twice the bytes sent.
function wifi_charts(samples, band) {
    const used = in_use(samples, (v) => `VAP${v}_${band}_TxRx`);
    if (samples.length === 0) return [];
    const all = used.length > 0 ? used : [1, 2, 3, 4, 5, 6, 7, 8];
    const of = (kind, list) => list.map((v) => `VAP${v}_${band}_${kind}`);
    const total = to_from(`band${band}`, 'Whole band', of('Tx', all), of('Rx', all), ceiling.radio,
        { about: used.length === 0 ? 'nothing counted yet' : `${used.length} of 8 access points in use` });
    const each = used.map((v) => to_from(`vap${v}_${band}`, `Access point ${v}`, of('Tx', [v]), of('Rx', [v]),
        ceiling.radio, { about: `VAP ${v}`, small: true }));
    return used.length > 1 ? [total, ...each] : [total];
}

const wifi_group = (module, stem, band) =>
    ({ module, number: 1, files: three(stem), charts: (samples) => wifi_charts(samples, band) });

// ---- Bonds, managed access points

function bond_group(bond) {
    return {
        module: 'bond', number: bond + 1, files: { seconds: `bond_traffic_sec_${bond}.xml` },
        charts: (samples, names) => {
            if (samples.length === 0) return [];
            const slaves = numbers(samples, /^slave(\d)_txrx$/).map((k) => both_ways(`bond${bond}_slave${k}`,
                names.get(`namemap_slave${k}`) || `slave ${k + 1}`, [`slave${k}_txrx`], ceiling.wired, { small: true }));
            return [both_ways(`bond${bond}`, `Bond ${bond}`, [`bond${bond}_txrx`], ceiling.wired,
                { about: names.get('namemap_bond') ?? '' }), ...slaves];
        },
    };
}

function ap_charts(samples, index) {
    if (samples.length === 0) return [];
    const bands = [['24', '2.4 GHz', 1], ['50', '5 GHz', 2]];
    const of = (band, v) => `VAP${v}_${band}_TxRx`;
    const all = [1, 2, 3, 4, 5, 6, 7, 8];
    const total = {
        key: `ap${index}`, title: `Access point ${index + 1}`, about: 'both ways, by band',
        lines: bands.map(([band, name, hue]) =>
            traffic(`ap${index}_${band}`, name, hue, all.map((v) => of(band, v)), 2 * ceiling.radio)),
    };
    const each = bands.flatMap(([band, name]) => in_use(samples, (v) => of(band, v)).map((v) =>
        both_ways(`ap${index}_vap${v}_${band}`, `VAP ${v}, ${name}`, [of(band, v)], ceiling.radio, { small: true })));
    return each.length > 1 ? [total, ...each] : [total];
}

const ap_group = (index) =>
    ({ module: 'ap', number: index + 1, files: three('aptraffic', `_${index}`), charts: (s) => ap_charts(s, index) });

// Each access point is a line of its own that only the list shows.
const allap_group = {
    module: 'allap', number: 1, files: { seconds: 'aptraffic_allap_sec.xml' },
    charts: (samples) => {
        const here = numbers(samples, /^ap_(\d+)_TxRx$/);
        const most = 2 * ceiling.wired;
        if (here.length === 0) return [];
        return [{
            ...both_ways('allap', 'All together', here.map((i) => `ap_${i}_TxRx`), ceiling.wired,
                { about: `${here.length} access points` }),
            list: here.map((i) => traffic(`ap_${i}`, `Access point ${i + 1}`, 1, [`ap_${i}_TxRx`], most)),
            link: (line) => `#ap/${Number(line.key.slice(3)) + 1}`,
        }];
    },
};

// ---- SIM, CPU, memory

// What is thought good and fair of a signal, from which value on; range is what can be measured at all.
const measures = [
    { key: 'RSSI', title: 'RSSI', about: 'received power', unit: 'dBm', range: [-125, -20], axis: [-120, -40], good: -70, fair: -85 },
    { key: 'RSRP', title: 'RSRP', about: 'power of the 4G reference signal', unit: 'dBm', range: [-150, -30], axis: [-140, -40], good: -90, fair: -105 },
    { key: 'RSRQ', title: 'RSRQ', about: 'quality of the 4G reference signal', unit: 'dB', range: [-40, -1], axis: [-25, 0], good: -10, fair: -15 },
    { key: 'SINR', title: 'SINR', about: 'signal to noise', unit: 'dB', range: [-30, 50], axis: [-20, 40], good: 13, fair: 0 },
    { key: 'RSCP', title: 'RSCP', about: 'power of the 3G pilot', unit: 'dBm', range: [-130, -15], axis: [-120, -20], good: -80, fair: -95 },
    { key: 'EcIo', title: 'Ec/Io', about: 'quality of the 3G pilot', unit: 'dB', range: [-40, -1], axis: [-25, 0], good: -8, fair: -14 },
];

const sim_group = {
    module: 'sim', number: 1, files: three('sim_strquality'),
    charts: (samples) => (samples.length === 0 ? [] : measures.map((measure) => ({
        key: measure.key, title: measure.title, about: measure.about, small: true,
        lines: [1, 2].map((slot) => ({
            key: `sim${slot}_${measure.key}`, name: `SIM ${slot}`, hue: slot, element: `sim${slot}_${measure.key}`,
            unit: decibel(measure.unit, ...measure.axis), range: measure.range,
            quality: { good: measure.good, fair: measure.fair },
        })),
    }))),
};

const cpu_line = (key, name, element) => ({ key, name, hue: 1, unit: percent, element, range: [0, 100] });

const cpu_group = {
    module: 'cpu', number: 1, files: three('cpu_usage'),
    charts: (samples) => {
        const cores = numbers(samples, /^cpu_usage(\d)$/);
        if (samples.length === 0) return [];
        const total = { key: 'cpu', title: 'CPU', about: cores.length > 1 ? `${cores.length} cores together` : '',
            lines: [cpu_line('cpu', 'usage', 'cpu_usage')] };
        const each = cores.map((n) => ({ key: `cpu${n}`, title: `Core ${n + 1}`, small: true,
            lines: [cpu_line(`cpu${n}`, 'usage', `cpu_usage${n}`)] }));
        return cores.length > 1 ? [total, ...each] : [total];
    },
};

// The largest number stands for "could not be read".
const mem_group = {
    module: 'mem', number: 1, files: three('mem_usage'),
    charts: (samples) => (samples.length === 0 ? [] : [{ key: 'mem', title: 'Memory', about: 'used, with buffers and caches',
        lines: [{ key: 'mem', name: 'used', hue: 1, unit: memory_unit, element: 'mem_usage', range: [0, 4294967294] }] }]),
};

// ---- Panels

// `choose` is what a panel lets one choose of several: [[value, text]]; groups(choice) are its documents.
export const panels = [
    { id: 'overview', title: 'Overview', overview: true, groups: () => [wan_total_group] },
    { id: 'wan', title: 'WAN', groups: () => [wan_group] },
    { id: 'bond', title: 'Bond', choose: { label: 'Bond', options: [0, 1, 2].map((n) => [String(n), `Bond ${n}`]) },
        groups: (bond) => [bond_group(Number(bond))] },
    { id: 'lan', title: 'LAN', groups: () => [lan_group] },
    { id: 'wifi24', title: 'Wi-Fi 2.4', groups: () => [wifi_group('wifi24', 'wifi_24g_traffic', '24')] },
    { id: 'wifi5', title: 'Wi-Fi 5', groups: () => [wifi_group('wifi5', 'wifi_5g_traffic', '50')] },
    { id: 'ap', title: 'AP', choose: { label: 'Access point', many: true, options: [['all', 'all together'],
        ...Array.from({ length: 128 }, (_, i) => [String(i + 1), `access point ${i + 1}`])] },
        groups: (ap) => [ap === 'all' ? allap_group : ap_group(Number(ap) - 1)] },
    { id: 'sim', title: 'SIM', groups: () => [sim_group] },
    { id: 'cpu', title: 'CPU/Memory', groups: () => [cpu_group, mem_group] },
];
