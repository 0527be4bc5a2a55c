// The text of a published document, taken apart. No network, no document object model: text in, plain data out.
//
// Documents are a flat list of elements, each on a line of its own, between <datalist> and the first </datalist>; what
// follows that is the tail of an older file and not read. Names of interfaces and of bonds are published as they are, so
// a document may not be well-formed: then `state` says so, and read_by_line() takes what it can.

const element = /\s*<([A-Za-z_][\w.-]*)((?:\s+[A-Za-z_][\w.-]*="[^"<&]*")*)\s*>([^<]*)<\/([A-Za-z_][\w.-]*)\s*>/y;
const one_line = /^\s*<([A-Za-z_][\w.-]*)((?:\s+[A-Za-z_][\w.-]*="[^"<&]*")*)>(.*)<\/([A-Za-z_][\w.-]*)>\s*$/;
const opening = /^\uFEFF?\s*(?:<\?xml[^?]*\?>)?\s*<datalist>/;
const closing = '</datalist>';
const entities = { lt: '<', gt: '>', amp: '&', quot: '"', apos: "'" };
// What no XML document may hold.
// eslint-disable-next-line no-control-regex
const forbidden = /[\u0000-\u0008\u000b\u000c\u000e-\u001f]/;

// The text with its entities resolved, or null where a lone "&" stands in it.
function decode(text) {
    if (!text.includes('&')) return text;
    let sound = true;
    const decoded = text.replace(/&(?:(\w+)|#(\d{1,7})|#x([0-9a-fA-F]{1,6}));|&/g, (all, name, decimal, hex) => {
        if (name !== undefined && Object.hasOwn(entities, name)) return entities[name];
        const code = decimal !== undefined ? parseInt(decimal, 10) : hex !== undefined ? parseInt(hex, 16) : -1;
        if (code > 0 && code < 0x110000) return String.fromCodePoint(code);
        sound = false;
        return all;
    });
    return sound ? decoded : null;
}

function attribute(text) {
    const found = /\sname="([^"]*)"/.exec(text);
    return found ? found[1] : null;
}

// The elements of a document: { state, elements: [{ tag, name, text }] }. `state` is "ok"; "cut" when the end is missing
// (length and file were of two replacements: read again); "malformed" when it is no XML. `name` is the attribute or null.
export function parse_elements(text) {
    const begin = opening.exec(text);
    const end = text.indexOf(closing);
    if (end < 0) return { state: 'cut', elements: [] };
    if (!begin || forbidden.test(text.slice(0, end))) return { state: 'malformed', elements: [] };
    const elements = [];
    element.lastIndex = begin[0].length;
    let at = element.lastIndex;
    for (let found = element.exec(text); found && found.index < end; found = element.exec(text)) {
        const content = decode(found[3]);
        if (found[1] !== found[4] || content === null) return { state: 'malformed', elements: [] };
        elements.push({ tag: found[1], name: found[2] ? attribute(found[2]) : null, text: content });
        at = element.lastIndex;
    }
    if (text.slice(at, end).trim() !== '') return { state: 'malformed', elements: [] };
    return { state: 'ok', elements };
}

// The same elements, each line for itself and its text literally: for a document that is no XML because of a name in it.
// Lines that are no element are left out.
export function read_by_line(text) {
    const body = text.slice(0, Math.max(0, text.lastIndexOf(closing)));
    const elements = [];
    for (const line of body.split('\n')) {
        const found = one_line.exec(line);
        if (found && found[1] === found[4]) {
            elements.push({ tag: found[1], name: found[2] ? attribute(found[2]) : null, text: found[3] });
        }
    }
    return elements;
}

// The samples of a series document, oldest first: { names: Map, samples: [{ time, values: Map }] }, `time` in seconds,
// values as the text they are. What stands before the first time are names. A time that is no number ends the reading of
// its sample.
export function series_of(elements) {
    const names = new Map();
    const samples = [];
    let values = names;
    for (const { tag, text } of elements) {
        if (tag !== 'time') {
            values.set(tag, text);
        } else {
            values = new Map();
            if (/^-?\d{1,15}$/.test(text)) samples.push({ time: Math.round(Number(text) / 1000), values });
        }
    }
    return { names, samples };
}

// Current traffic: { devices: [{ name, kind, tx, rx }], usage: { cpu, memory, connections }, ports: Map }. Counters are
// BigInt or null; usage is percent or null.
export function snapshot_of(elements) {
    const items = new Map();
    const ports = new Map();
    let usage = [];
    for (const { tag, name, text } of elements) {
        if (tag === 'item' && name !== null) items.set(name, text);
        else if (tag === 'usage') usage = text.split('|');
        else if (tag.startsWith('port_')) ports.set(tag, text);
    }
    const devices = [];
    for (let k = 0; items.has(`device_${k}`); k++) {
        devices.push({
            name: items.get(`device_${k}`),
            kind: items.get(`type_${k}`) ?? '',
            tx: counter(items.get(`tx_${k}`)),
            rx: counter(items.get(`rx_${k}`)),
        });
    }
    const [cpu, memory, connections] = [0, 1, 2].map((i) => gauge(usage[i], 0, 100));
    return { devices, usage: { cpu, memory, connections }, ports };
}

// A byte counter, or null: digits, up to 2^64 - 1.
export function counter(text) {
    if (text === undefined || !/^\d{1,20}$/.test(text)) return null;
    const value = BigInt(text);
    return value <= 0xffffffffffffffffn ? value : null;
}

// A number between `least` and `most`, or null. A minus before 0 stands for "nothing measured" and is null, too.
export function gauge(text, least, most) {
    if (text === undefined || !/^-?\d{1,10}$/.test(text) || /^-0+$/.test(text)) return null;
    const value = Number(text);
    return value >= least && value <= most ? value : null;
}
