// Figures for people: rates in one unit at a time, bytes, percent. No document object model.

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
