// What the page says, in one place: plain sentences, with the command that mends it where there is one. Texts only.

// Why a point is missing (see rates.js), for tables and downloads.
export const reasons = {
    start: 'nothing before it to compare with',
    next: 'known with the next average',
    missing: 'no samples before it',
    clock_back: 'clock was set back',
    same_second: 'same second twice',
    no_value: 'no value',
    restarted: 'counter restarted',
    began: 'was 0 before',
    came_back: 'counter came back',
    too_fast: 'more than the link can carry',
    first_wrap: 'average of the first wrap',
};

export const series_words = {
    seconds: { one: 'a second', note: '' },
    minutes: { one: 'a minute', note: 'mean of 2 min' },
    hours: { one: 'an hour', note: 'mean of 2 h' },
};

// What the note line says of a gap: the line's name, the reason, the time as text.
export function gap_note(name, why, time) {
    if (why === 'restarted') return `${name}: counter restarted at ${time}`;
    if (why === 'came_back') return `${name}: was down, counter came back at ${time}`;
    if (why === 'too_fast') return `${name}: more than the link can carry at ${time}, left out`;
    return `${name}: the clock was set back at ${time}`;
}

const module_names = {
    cpu: 'CPU usage',
    mem: 'memory usage',
    wan: 'WAN traffic',
    bond: 'bond traffic',
    lan: 'LAN traffic',
    wifi24: 'Wi-Fi 2.4 GHz traffic',
    wifi5: 'Wi-Fi 5 GHz traffic',
    ap: 'traffic of each access point',
    allap: 'traffic of all access points',
    current: 'current traffic',
    sim: 'SIM signal quality',
};

// Without samples although everything runs: what the module is waiting for.
const no_samples = {
    cpu: 'The first measurement takes some seconds after a start.',
    mem: 'The kernel’s memory figures cannot be read.',
    wan: 'No WAN interface is up, or none is bound (items wan.binding.1 to 16).',
    bond: 'The bond is not up: it needs an interface of that name, and its item set to 1.',
    lan: 'No bridge (br0 to br4) is up.',
    wifi24: 'No interface of this band is up, or wifi24.interface is neither ra0 nor rai0.',
    wifi5: 'No interface of this band is up, or wifi5.interface is neither ra0 nor rai0.',
    ap: 'No record of this access point is there.',
    allap: 'No access point has left a record.',
    sim: 'Neither SIM slot is alive.',
    current: 'It is published every third second while somebody asks.',
};

const sentence = (text) => text[0].toUpperCase() + text.slice(1);

export const waiting = (left, most, next) =>
    `Asked for; waiting for ${next ? 'the next average' : 'fresh data'}, up to ${most} s: ${left} s left.`;

export const is_off = (name) => ({
    text: `${sentence(module_names[name])}: the module is off.`,
    command: `csmanctl set ${name}.enable 1`,
});

export const all_off = {
    text: 'The daemon’s main switch is off, so no module runs. Switch it on, then set each wanted module to 0, wait seven ' +
        'seconds, and set it to 1.',
    command: 'csmanctl set dashboard.enable 1',
};

export const not_running = (time) => ({
    text: time === null ? 'The daemon does not run: nothing is being written.'
        : `The daemon does not run, or has stopped: nothing was written since ${time}.`,
    command: 'dashboard',
});

// Stale or missing data of a module that is on, while the daemon is known to run or nothing is known of it.
export const no_news = (name, since, runs) => ({
    text: `${sentence(module_names[name])}: ${since === null ? 'no samples' : `no new samples since ${since}`}. ` +
        no_samples[name] + (runs ? '' : ' Or the daemon does not run.'),
    command: null,
});

// A request that did not get through: `status` of HTTP (0: no answer), `word` of the answer's error.
export function refused(status, word) {
    if (status === 0) return { text: 'The request for graphs got no answer: is the server reachable?', command: null };
    if (status === 404) {
        return { text: 'This server has no program at /cgi-bin/viewer, so nobody asks for graphs: they move only while ' +
            'something else does.', command: 'csmanctl set wan.view 1' };
    }
    if (status === 500 || word === 'store') {
        return { text: 'The configuration store cannot be written, so graphs cannot be asked for: the server’s user needs ' +
            'the right to.', command: null };
    }
    return { text: `The request for graphs was refused (${status}${word ? ' ' + word : ''}).`, command: null };
}

export const document_trouble = {
    missing: (file) => `${file} is not there: it was not published, or the server may not read it ` +
        '(its user needs the group of /tmp/dashboard).',
    unreachable: (file, wait) => `No answer for ${file}; next try in ${wait} s.`,
    timeout: (file, wait) => `${file} took longer than 4 s; next try in ${wait} s.`,
    status: (file, wait, status) => `${file}: the server answered ${status}; next try in ${wait} s.`,
    cut: (file, wait) => `${file} was cut short; next try in ${wait} s.`,
    malformed: (file, count, shown) => `${file} is not well-formed (${count} ${count === 1 ? 'time' : 'times'}): ` +
        (shown ? 'the last good picture stays.' : 'read line by line.'),
};

// How often a thing was counted before it is worth another word: 1, 2, 5, 10, 20, 50 and so on.
export const milestone = (count) => [1, 2, 5].map((n) => n * 10 ** Math.floor(Math.log10(count / n))).sort((a, b) => b - a)[0];

// Dates are whole seconds, so a jump is known to a second or so.
export const clock_set = (milliseconds, time) =>
    `The router’s clock was set ${milliseconds < 0 ? 'back' : 'forth'} by about ${span(Math.abs(milliseconds) / 1000)} at ${time}.`;

export const clocks_differ = (seconds) =>
    `This computer’s clock is ${span(Math.abs(seconds))} ${seconds > 0 ? 'ahead of' : 'behind'} the router’s; times shown ` +
    'are the router’s.';

export const hardware = (lan, wan) =>
    `LAN carries ${lan}, WAN ${wan}: traffic handled in hardware is not counted.`;

export const charts_missing = {
    text: 'Charts are missing: uPlot was not found at uplot/uPlot.iife.min.js. Tables are shown instead.',
    command: 'viewer/fetch-uplot build/viewer',
};

// A length of time, to the two largest units.
export function span(seconds) {
    const whole = Math.round(seconds);
    const parts = [[86400, 'd'], [3600, 'h'], [60, 'min'], [1, 's']];
    const first = parts.findIndex(([size]) => whole >= size);
    if (first < 0) return '0 s';
    const [size, name] = parts[first];
    const rest = first < 3 ? Math.floor((whole % size) / parts[first + 1][0]) : 0;
    return `${Math.floor(whole / size)} ${name}${rest > 0 ? ` ${rest} ${parts[first + 1][1]}` : ''}`;
}

// An age as the header shows it.
export const age = (seconds) => (seconds < 10 ? `${Math.max(0, seconds).toFixed(1)} s` : span(seconds));

// Signal quality in words: from which value on it is good, and fair.
export function signal_word(value, { good, fair }) {
    if (value === null) return 'none';
    return value >= good ? 'good' : value >= fair ? 'fair' : 'poor';
}

// ---- Figures: rates in one unit at a time, bytes, percent

const prefixes = ['', 'k', 'M', 'G', 'T', 'P', 'E'];

// Three digits that count: "7.25", "72.5", "725".
function three_digits(value) {
    return value.toFixed(value >= 99.95 ? 0 : value >= 9.995 ? 1 : 2);
}

// A number with its SI prefix: "1.02 M". Values below 1 are shown as they are.
export function si(value) {
    if (value === null) return '–';
    if (value === 0) return '0';
    let step = 0;
    let scaled = Math.abs(value);
    while (scaled >= 999.5 && step < prefixes.length - 1) {
        scaled /= 1000;
        step++;
    }
    const digits = step === 0 ? scaled.toFixed(scaled < 9.95 && scaled % 1 !== 0 ? 1 : 0) : three_digits(scaled);
    return `${value < 0 ? '−' : ''}${digits}${step > 0 ? ' ' + prefixes[step] : ''}`;
}

// The same with its unit: "1.02 Mbit/s", "640 bit/s".
export function with_unit(value, unit) {
    const text = si(value);
    return text.includes(' ') ? `${text}${unit}` : `${text} ${unit}`;
}

// What a measure is shown in. `scale` turns the document's number into the unit's; `text` prints a scaled number, short;
// `floor` is the least top of an axis; `range` a fixed one.
export const rate_units = {
    bit: { name: 'bit/s', scale: 8, text: si, floor: 10000 },
    byte: { name: 'B/s', scale: 1, text: si, floor: 1000 },
};
export const percent = { name: '%', scale: 1, text: (v) => (v === null ? '–' : String(Math.round(v))), range: [0, 100] };
// Kilobytes of memory are 1024 bytes each.
export const memory_unit = { name: 'B', scale: 1024, text: binary, floor: 1 << 20, binary: true };

export function decibel(name, least, most) {
    const text = (value) => (value === null ? '–' : String(Math.round(value)).replace('-', '−'));
    return { name, scale: 1, text, range: [least, most] };
}

// Bytes in powers of 1024: "79.4 Mi".
function binary(value) {
    if (value === null) return '–';
    let step = 0;
    let scaled = value;
    while (scaled >= 1023.5 && step < prefixes.length - 1) {
        scaled /= 1024;
        step++;
    }
    const digits = scaled >= 99.95 || step === 0 ? scaled.toFixed(0) : scaled.toFixed(1);
    return step === 0 ? digits : `${digits} ${prefixes[step].toUpperCase()}i`;
}

// The same for a tick of an axis, without zeros that say nothing: "5 k", "1.5 M".
export const tick = (text) => text.replace(/\.0+(?= |$)|(\.\d*?)0+(?= |$)/, '$1');

// The step (1, 2 or 5 times a power of ten) of which `most` takes `count` at most, and the top of an axis in such steps.
export function axis_of(most, count = 5) {
    const raw = most / count;
    const power = 10 ** Math.floor(Math.log10(raw));
    const step = [1, 2, 5, 10].map((digit) => digit * power).find((one) => one >= raw * (1 - 1e-9));
    return { step, top: Math.ceil((most / step) * (1 - 1e-9)) * step };
}

// The same in powers of two, for memory.
export function binary_axis_of(most, count = 5) {
    const step = 2 ** Math.ceil(Math.log2(most / count) - 1e-9);
    return { step, top: Math.ceil((most / step) * (1 - 1e-9)) * step };
}
