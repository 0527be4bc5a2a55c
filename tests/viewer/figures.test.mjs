// Figures as people read them, axes, the router's clock, zones, and the interfaces of current traffic.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { make_clock, make_zone } from '../../viewer/clock.js';
import { make_devices, port_words, sort_rows } from '../../viewer/devices.js';
import { age, axis_of, binary_axis_of, memory_unit, milestone, si, signal_word, span, tick, with_unit } from '../../viewer/words.js';

const tables = [
    ['si', si, [[null, '–'], [0, '0'], [0.4, '0.4'], [640, '640'], [999, '999'], [1000, '1.00 k'], [12345, '12.3 k'], [999600, '1.00 M'],
        [1.5e9, '1.50 G'], [1.8e19, '18.0 E'], [-2000, '−2.00 k']]],
    ['with its unit', (value) => with_unit(value, 'bit/s'), [[0, '0 bit/s'], [640, '640 bit/s'], [1e6, '1.00 Mbit/s']]],
    ['a tick', (value) => tick(si(value)), [[5000, '5 k'], [1.5e6, '1.5 M'], [100, '100'], [20e6, '20 M']]],
    ['memory', memory_unit.text, [[81264 * 1024, '79.4 Mi'], [512, '512'], [null, '–']]],
    ['an axis', (most) => axis_of(most).top, [[10000, 10000], [12000, 15000], [1.02e6, 1.5e6], [52e6, 60e6], [1, 1]]],
    ['a binary axis', (most) => binary_axis_of(most).top, [[81264 * 1024, 80 * 2 ** 20], [2 ** 20, 2 ** 20]]],
    ['a span', span, [[0, '0 s'], [59.6, '1 min'], [3661, '1 h 1 min'], [90000, '1 d 1 h'], [86400, '1 d']]],
    ['an age', age, [[-1, '0.0 s'], [0.84, '0.8 s'], [75, '1 min 15 s']]],
    ['a milestone', milestone, [[1, 1], [4, 2], [9, 5], [49, 20], [100, 100], [250, 200]]],
    ['a signal', (value) => signal_word(value, { good: -90, fair: -105 }), [[-90, 'good'], [-91, 'fair'], [-106, 'poor'], [null, 'none']]],
];

for (const [name, print, rows] of tables) {
    test(`figures: ${name}`, () => {
        for (const [value, text] of rows) assert.equal(print(value), text, String(value));
    });
}

test('the router’s clock is as late as its latest date says, and a jump is told from a slow answer', () => {
    let now = 0;
    const clock = make_clock(() => now);
    assert.ok(Number.isNaN(clock.now()));
    const hear = (at, date) => ((now = at), clock.hear(date));
    assert.equal(hear(0, 1795233386000), 0);
    assert.equal(hear(900, 1795233387000), 0, 'the second began in between');
    assert.equal(clock.now(), 1795233387000);
    assert.equal(hear(4900, 1795233387000), 0, 'an answer that took four seconds');
    assert.equal(hear(6000, NaN), 0);
    assert.ok(Math.abs(clock.now() - 1795233392100) < 1000);
    assert.ok(Math.abs(hear(7000, 1795233333000) + 60000) < 1500, 'set back a minute');
    assert.ok(hear(8000, 1795319734000) > 86390000, 'set on a day');
});

test('zones: offsets and dates across midnight and half hours', () => {
    const time = Date.UTC(2026, 10, 21, 23, 30, 5) / 1000;
    assert.equal(make_zone('utc').iso(time), '2026-11-21T23:30:05+00:00');
    assert.equal(make_zone('router', () => 19800).iso(time), '2026-11-22T05:00:05+05:30');
    assert.equal(make_zone('router', () => -12600).iso(time), '2026-11-21T20:00:05-03:30');
    assert.equal(make_zone('router', () => 19800).text(time, 'hours'), '11-22 05:00');
    const local = make_zone('router', () => 19800).local_date(time);
    assert.deepEqual([local.getDate(), local.getHours(), local.getMinutes()], [22, 5, 0]);
});

const device = (name, rx, tx = 0n, kind = 'Ethernet') => ({ name, kind, rx: BigInt(rx), tx: BigInt(tx) });

test('interfaces: rates by name, over up to ten seconds', () => {
    const devices = make_devices();
    assert.deepEqual(devices.take([device('eth0', 100), device('eth1', 5000)], 10).map((row) => row.rx), [null, null]);
    assert.deepEqual(devices.take([device('eth1', 5300), device('eth0', 400)], 13).map((row) => [row.name, row.rx]), [['eth1', 100], ['eth0', 100]]);
    assert.deepEqual(devices.take([device('ra0', 9), device('eth0', 700)], 16).map((row) => [row.rx, row.why]), [[null, 'start'], [100, null]]);
    assert.deepEqual(devices.take([device('ra0', 8), device('eth0', 700)], 19).map((row) => [row.rx, row.why]), [[null, 'restarted'], [0, null]]);
    assert.deepEqual(devices.take([device('eth0', 800)], 30).map((row) => row.why), ['start'], 'too long ago');
    assert.deepEqual(devices.take([device('eth0', 900)], 25).map((row) => row.why), ['start'], 'the clock went back');
});

test('interfaces: what a radio cannot carry is no rate', () => {
    const devices = make_devices();
    devices.take([device('ra0', 1, 1, 'Wireless LAN')], 10);
    assert.equal(devices.take([device('ra0', 900000001, 1, 'Wireless LAN')], 13)[0].why, 'too_fast');
});

test('interfaces: sorted as people count, without a rate last', () => {
    const rows = [{ name: 'eth10', total: 5 }, { name: 'eth2', total: null }, { name: 'eth1', total: 9 }];
    const names = (order) => sort_rows(rows, order).map((row) => row.name).join(' ');
    assert.equal(names({ column: 'name', ascending: true }), 'eth1 eth2 eth10');
    assert.equal(names({ column: 'total', ascending: false }), 'eth1 eth10 eth2');
    assert.equal(names({ column: 'total', ascending: true }), 'eth10 eth1 eth2');
});

test('ports in words', () => {
    const ports = new Map(Object.entries({ port_eth1: '1', port_eth2: '0', port_eth3: '7', port_3g1: '0', port_3g2: '1', port_use3g1: '0',
        port_use3g2: '1', port_wifi2g: '1', port_wifi5g: '0', port_power: '-1' }));
    assert.deepEqual(port_words(ports), [['eth1', 'up'], ['eth2', '–'], ['eth3', '7'], ['3g2', 'up, in use'], ['Wi-Fi 2.4', 'up'],
        ['Wi-Fi 5', '–'], ['power', 'unknown']]);
    ports.set('port_3g2', '0').set('port_use3g2', '0');
    assert.deepEqual(port_words(ports)[3], ['3g', '–']);
});
