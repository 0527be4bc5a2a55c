// Routers as the tests meet them: how much traffic flows where. Counters are functions of the time, so that any moment
// can be asked for.

import { Router, start } from './router.mjs';

// Traffic that goes up and down, the same for the same seed: bytes since the start.
function wave(seed, mean, time) {
    const t = time - start;
    const swing = 0.42 * 41 * Math.cos(t / 41 + seed) + 0.2 * 7.3 * Math.cos(t / 7.3 + 2 * seed) + 0.3 * 397 * Math.cos(t / 397 + seed);
    return BigInt(Math.round(3e8 + seed * 1e6 + mean * (t - swing)));
}

// Four kinds of signal that change slowly; magnitudes as the store holds them.
function sim_values(time, slots) {
    const values = {};
    for (const slot of [1, 2]) {
        const w = (period, size) => Math.round(size * Math.sin((time - start) / period + slot));
        const alive = slots.includes(slot);
        const all = { RSSI: 62 + slot * 8 + w(31, 6), RSRP: 84 + slot * 9 + w(31, 7), RSRQ: 8 + slot * 2 + w(19, 2),
            SINR: 18 - slot * 7 + w(23, 5), RSCP: 70 + slot * 9 + w(37, 5), EcIo: 4 + slot * 3 + w(29, 2) };
        for (const [name, value] of Object.entries(all)) values[`sim${slot}_${name}`] = alive ? BigInt(value) : 0n;
    }
    return values;
}

function pair(values, name, tx, rx, [sent = '_tx', received = '_rx', both = '_txrx'] = []) {
    values[name + sent] = tx;
    values[name + received] = rx;
    values[name + both] = tx + rx;
}

function band(values, number, used, time, mean) {
    let total = 0n;
    const list = [];
    for (let v = 1; v <= 8; v++) {
        const [tx, rx] = used.includes(v) ? [wave(v, mean / v, time), wave(v + 9, mean / 9 / v, time)] : [0n, 0n];
        total += number === 50 ? 2n * tx : tx + rx;
        list.push([`VAP${v}_${number}`, tx, rx]);
    }
    values[`wifi_${number}_txrx`] = total;
    for (const [name, tx, rx] of list) pair(values, name, tx, rx, ['_Tx', '_Rx', '_TxRx']);
}

function access_point(index, time) {
    const values = {};
    for (const number of [24, 50]) {
        for (let v = 1; v <= 8; v++) {
            values[`VAP${v}_${number}_TxRx`] = v <= 1 + (index % 3) ? wave(index + v, (number === 50 ? 400000 : 60000) / v / (1 + (index % 5)), time) : 0n;
        }
    }
    return values;
}

// What each module samples, by its name (bonds and access points with their index).
function sampler({ wans, lans, vaps, aps, slots, bonds, cores }) {
    const of = {
        wan: (time) => {
            const values = {};
            for (let n = 1; n <= wans; n++) pair(values, `wan${n}`, wave(n, 190000 / n, time), wave(n + 20, 2100000 / n, time));
            return wans > 0 ? values : null;
        },
        lan: (time) => {
            const values = {};
            for (let n = 1; n <= lans; n++) pair(values, `lan${n}`, wave(n + 3, 1900000 / n, time), wave(n + 30, 160000 / n, time));
            return lans > 0 ? values : null;
        },
        wifi24: (time) => {
            const values = {};
            band(values, 24, vaps, time, 300000);
            return vaps.length > 0 ? values : null;
        },
        wifi5: (time) => {
            const values = {};
            band(values, 50, vaps, time, 1400000);
            return vaps.length > 0 ? values : null;
        },
        cpu: (time) => {
            const at = Math.floor((time - start) / 4);
            const core = (n) => BigInt(Math.round(24 + 14 * Math.sin(at / 5 + n) + 9 * Math.sin(at / 1.7 + 3 * n)));
            const values = { cpu_usage: 0n };
            for (let n = 0; n < cores; n++) values[`cpu_usage${n}`] = core(n);
            values.cpu_usage = Object.values(values).reduce((sum, one) => sum + one, 0n) / BigInt(Math.max(1, cores));
            return cores > 0 ? values : null;
        },
        mem: (time) => ({ mem_usage: BigInt(Math.round(81264 + 2500 * Math.sin((time - start) / 60) + ((time - start) % 90) * 10)) }),
        sim: (time) => (slots.length > 0 ? sim_values(time, slots) : null),
        allap: (time) => {
            const values = {};
            for (let i = 0; i < Math.min(aps, 32); i++) values[`ap_${i}_TxRx`] = wave(i, 900000 / (1 + (i % 7)), time);
            return aps > 0 ? values : null;
        },
    };
    return (key, time) => {
        const [, kind, index] = /^(ap|bond)(\d+)$/.exec(key) ?? [];
        if (kind === 'ap') return access_point(Number(index), time);
        if (kind === 'bond') {
            if (!bonds.includes(Number(index))) return null;
            const [one, two] = [wave(5, 900000, time), wave(6, 300000, time)];
            return { [`bond${index}_txrx`]: one + two, slave0_txrx: one, slave1_txrx: two };
        }
        return of[key](time);
    };
}

const device = (name, kind, mean, seed) => ({ name, kind, mean, seed });
const ordinary = [device('eth0', 'Ethernet', 1900000, 1), device('eth1', 'Ethernet', 2100000, 2), device('eth10', 'Ethernet', 3000, 3),
    device('br0', 'Ethernet', 1850000, 4), device('br1', 'Ethernet', 90000, 5), device('ra0', 'Wireless LAN', 300000, 6),
    device('rai0', 'Wireless LAN', 1400000, 7), device('apcli0', 'WiFi', 0, 8), device('usbnet0', 'Cellular', 45000, 9)];

class Scene extends Router {
    constructor(size, list) {
        super(sampler(size));
        this.list = list;
        this.ap_count = size.aps;
        for (const bond of size.bonds) {
            this.names.set(`bond${bond}`, [['namemap_bond', 'office &amp; uplink'], ['namemap_slave0', 'WAN-1(slave1)'], ['namemap_slave1', 'WAN-2(slave2)']]);
        }
    }
    write_current() {
        if (this.list !== null) {
            this.devices = this.list.map(({ name, kind, mean, seed }) =>
                ({ name, kind, tx: mean === 0 ? 0n : wave(seed, mean / 9, this.time), rx: mean === 0 ? 0n : wave(seed + 40, mean, this.time) }));
        }
        super.write_current();
    }
}

// A router as one expects it.
export const usual = () => new Scene({ wans: 2, lans: 2, vaps: [1, 2], aps: 3, slots: [1, 2], bonds: [0], cores: 2 }, ordinary);

// As much as documents hold: 75 interfaces, 16 WANs, 128 access points, all of everything.
export const full = () => new Scene({ wans: 16, lans: 5, vaps: [1, 2, 3, 4, 5, 6, 7, 8], aps: 128, slots: [1, 2], bonds: [0, 1, 2], cores: 4 },
    Array.from({ length: 75 }, (_, i) => (i === 7 ? device('longest_name_15', 'Wireless LAN', 400000, 7)
        : device(`${['eth', 'vlan', 'ra', 'br', 'usbnet'][i % 5]}${i}`, ['Ethernet', 'Ethernet', 'Wireless LAN', 'Ethernet', 'Cellular'][i % 5],
            4000000 / (1 + i), i))));

// Switched on, and nothing there to measure.
export function nothing() {
    const router = new Scene({ wans: 0, lans: 0, vaps: [], aps: 0, slots: [], bonds: [], cores: 0 }, []);
    for (const stem of ['wan_traffic', 'lan_traffic', 'wifi_24g_traffic', 'wifi_5g_traffic', 'sim_strquality', 'cpu_usage', 'mem_usage']) {
        for (const series of ['sec', 'min', 'hour']) router.write(`${stem}_${series}_0.xml`, '<?xml version="1.0" ?>\n<datalist>\n</datalist>\n');
    }
    router.sample = () => null;
    return router;
}

// One WAN whose counters a test gives: `bytes(seconds since the start)` of what is received; a tenth is sent.
export function one_wan(bytes) {
    const router = new Router((key, time, own) => {
        if (key !== 'wan') return null;
        const rx = bytes(time - start, own);
        return rx === null ? null : { wan1_tx: rx / 10n, wan1_rx: rx, wan1_txrx: rx + rx / 10n };
    });
    router.devices = [{ name: 'eth1', tx: 0n, rx: 0n }];
    return router;
}
