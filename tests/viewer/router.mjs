// A router that the tests own: the daemon's history as the model has it, its documents, its answers to requests for
// graphs, all on a clock that moves only when a test says so. No network here (see server.mjs).

import { History } from './model.mjs';

export const start = 1795233386;
const spans = { wan: 72, lan: 72, wifi24: 72, wifi5: 72, sim: 72, cpu: 60, mem: 60, ap: 60, allap: 60, bond: 60 };
const stems = { wan: 'wan_traffic', lan: 'lan_traffic', wifi24: 'wifi_24g_traffic', wifi5: 'wifi_5g_traffic',
    sim: 'sim_strquality', cpu: 'cpu_usage', mem: 'mem_usage' };
export const modules = ['cpu', 'mem', 'wan', 'bond', 'lan', 'wifi24', 'wifi5', 'ap', 'allap', 'current', 'sim'];

const datalist = (body) => `<?xml version="1.0" ?>\n<datalist>\n${body}</datalist>\n`;

export class Router {
    // `sample(module, time, router)` gives the values of one second by element name (BigInt, or text for what is printed
    // as it is), or null for a second without a sample.
    constructor(sample, { begin = start } = {}) {
        this.sample = sample;
        this.time = begin;
        this.histories = new Map();
        this.files = new Map();
        this.requests = new Map();
        this.asked = [];
        this.on = new Set(modules);
        this.enabled = true;
        this.runs = true;
        this.devices = [];
        this.usage = '12|41|3';
        this.ports = ['eth1 1', 'eth2 0', 'eth3 1', ...Array.from({ length: 16 }, (_, i) => `3g${i + 1} ${i === 0 ? 1 : 0}`),
            ...Array.from({ length: 16 }, (_, i) => `use3g${i + 1} ${i === 0 ? 1 : 0}`), 'wifi2g 1', 'wifi5g 1', 'power -1'];
        this.names = new Map();
        this.ap_count = 0;
        this.counted = 0;
        this.writes = 0;
    }

    // Lets seconds pass. With `quietly`, nothing is written meanwhile but what stands there at the end.
    advance(seconds = 1, { quietly = false } = {}) {
        for (let i = 0; i < seconds; i++) {
            this.time++;
            if (!this.runs) continue;
            this.counted++;
            this.take_requests();
            for (const module of modules) {
                if (this.enabled && this.on.has(module) && module !== 'current') this.feed(module, quietly);
            }
            if (this.on.has('current') && this.counted % 3 === 0 && this.is_watched('current')) this.write_current();
        }
    }

    // The daemon looks every six seconds.
    take_requests() {
        if (this.counted % 6 !== 0) return;
        for (const [name, request] of this.requests) {
            if (request.pending && this.on.has(name)) {
                request.pending = false;
                request.until = this.time + 60;
            }
        }
    }

    is_watched(module, number = null) {
        const request = this.requests.get(module);
        return request !== undefined && this.time <= request.until && (number === null || request.number === number);
    }

    history(key) {
        if (!this.histories.has(key)) this.histories.set(key, new History(this.time - 1, key === 'allap' ? 128 : 120));
        return this.histories.get(key);
    }

    feed(module, quietly) {
        const list = module === 'ap' ? Array.from({ length: this.ap_count }, (_, i) => i) : module === 'bond' ? [0, 1, 2] : [null];
        for (const index of list) {
            const values = this.sample(index === null ? module : `${module}${index}`, this.time, this);
            if (values === null || values === undefined) continue;
            const key = index === null ? module : `${module}${index}`;
            const history = this.history(key);
            const was = { min: history.min.end, hour: history.hour.end };
            if (module === 'bond') history.sec.push({ time: this.time, values });
            else history.feed(this.time, values);
            if (quietly) continue;
            const watched = this.is_watched(module, index === null ? null : index + 1);
            if (watched) this.publish(module, key, index, 'sec');
            if (watched && history.min.end !== was.min) this.publish(module, key, index, 'min');
            if (history.hour.end !== was.hour) this.publish(module, key, index, 'hour');
        }
    }

    file_of(module, index, series) {
        if (module === 'allap') return `aptraffic_allap_${series}.xml`;
        if (module === 'ap') return `aptraffic_${series}_${index}.xml`;
        if (module === 'bond') return `bond_traffic_${series}_${index}.xml`;
        return `${stems[module]}_${series}_0.xml`;
    }

    publish(module, key, index, series) {
        if (module === 'allap' && series !== 'sec') return;
        const names = [...(this.names.get(key) ?? [])].map(([tag, text]) => `    <${tag}>${text}</${tag}>\n`).join('');
        // Elements are the same in all samples: those of the newest, 0 where they were not known.
        const shown = this.history(key).newest(series, spans[module]);
        const last = shown.length > 0 ? Object.keys(shown[shown.length - 1].values) : [];
        const samples = shown.map(({ time, values }) => `    <time>${time}000</time>\n` +
            last.map((tag) => `    <${tag}>${print(module, tag, values[tag] ?? 0n)}</${tag}>\n`).join(''));
        this.write(this.file_of(module, index, series), datalist(names + samples.join('')));
    }

    // Everything as it would stand if somebody had looked all the time.
    publish_all() {
        for (const key of this.histories.keys()) {
            const [, module, number] = /^(ap|bond)(\d+)$/.exec(key) ?? [null, key, null];
            for (const series of module === 'bond' ? ['sec'] : ['sec', 'min', 'hour']) {
                this.publish(module, key, number === null ? null : Number(number), series);
            }
        }
        this.write_current();
    }

    write_current() {
        const items = this.devices.map(({ name, kind = 'Ethernet', tx, rx }, k) =>
            ` <item name="device_${k}">${name}</item>\n <item name="type_${k}">${kind}</item>\n` +
            ` <item name="tx_${k}">${tx}</item>\n <item name="rx_${k}">${rx}</item>\n` +
            ` <item name="txrate_${k}">18446744073709551615</item>\n <item name="rxrate_${k}">77</item>\n`).join('');
        const ports = this.ports.map((one) => one.split(' ')).map(([name, state]) => `  <port_${name}>${state}</port_${name}>\n`);
        this.write('current_traffic_sec_0.xml', datalist(`${items} <usage>${this.usage}</usage>\n${ports.join('')}`));
    }

    write(name, text) {
        this.files.set(name, { text, modified: this.time });
        this.writes++;
    }

    // ---- The request program

    // What POST answers: [status, object].
    ask(body, headers) {
        this.asked.push({ body, time: this.time });
        if (headers['x-requested-with'] !== 'dashboard-viewer') return [400, { ok: false, error: 'header' }];
        if (this.refuse) return this.refuse;
        for (const pair of body.split('&').filter(Boolean)) {
            const [name, number] = pair.split('=');
            if (name === 'enable') {
                if (!this.may_enable) return [403, { ok: false, error: 'enable' }];
                this.on.add(number);
            } else if (!modules.includes(name)) {
                return [400, { ok: false, error: 'name' }];
            } else {
                const was = this.requests.get(name);
                this.requests.set(name, { number: Number(number), pending: true, until: was?.number === Number(number) ? was.until : 0 });
            }
        }
        return [200, { ok: true, time: this.time, stand_in: true, may_enable: this.may_enable === true, enabled: this.enabled,
            ...(this.offset === undefined ? {} : { offset: this.offset }),
            modules: modules.map((name) => ({ name, on: this.on.has(name), left: this.requests.has(name) ? 60 : 0 })) }];
    }
}

// As the daemon prints: SIM measures but SINR behind a literal minus.
function print(module, tag, value) {
    if (module === 'sim' && !tag.endsWith('_SINR')) return `-${value}`;
    return String(value);
}
