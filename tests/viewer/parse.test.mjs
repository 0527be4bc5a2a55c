// Documents as they are, cut, with a tail, and with names that are no XML; the samples that the documentation shows.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';
import { merge } from '../../viewer/points.js';
import { counter, gauge, parse_elements, read_by_line, series_of, snapshot_of } from '../../viewer/parse.js';

const sample = (name) => readFileSync(new URL(`../../docs/samples/${name}`, import.meta.url), 'utf8');
const datalist = (body) => `<?xml version="1.0" ?>\n<datalist>\n${body}</datalist>\n`;

test('a series document', () => {
    const { state, elements } = parse_elements(sample('wan_traffic_sec_0.xml'));
    assert.equal(state, 'ok');
    const { samples } = series_of(elements);
    assert.equal(samples[0].time, 1795233386);
    assert.equal(samples[0].values.get('wan16_tx'), '18446744073709551615');
    assert.deepEqual([...samples[0].values.keys()].slice(0, 3), ['wan1_tx', 'wan1_rx', 'wan1_txrx']);
});

test('names stand before the first time', () => {
    const { names, samples } = series_of(parse_elements(sample('bond_traffic_sec_1.xml')).elements);
    assert.deepEqual([...names], [['namemap_bond', 'office'], ['namemap_slave0', 'WAN-1(slave1)'],
        ['namemap_slave1', 'WAN-2(slave2)']]);
    assert.equal(samples.length, 1);
    assert.equal(samples[0].values.get('bond1_txrx'), '4096');
});

test('current traffic', () => {
    const { devices, usage, ports } = snapshot_of(parse_elements(sample('current_traffic_sec_0.xml')).elements);
    assert.deepEqual(devices.map((d) => [d.name, d.kind, d.rx]), [['eth0', 'Ethernet', 118551211n],
        ['rai0', 'Wireless LAN', 0n]]);
    assert.deepEqual(usage, { cpu: 12, memory: 63, connections: 0 });
    assert.equal(ports.get('port_power'), '-1');
});

test('an empty document is sound', () => {
    const { state, elements } = parse_elements(sample('wan_traffic_hour_0.xml'));
    assert.deepEqual([state, elements.length], ['ok', 0]);
});

test('every prefix of a document is cut, and none is taken for a whole one', () => {
    const text = sample('cpu_usage_sec_0.xml').trimEnd();
    for (let length = 0; length < text.length; length++) assert.equal(parse_elements(text.slice(0, length)).state, 'cut');
});

test('what follows the first end is a tail of an older file', () => {
    const text = datalist('    <time>1000</time>\n    <a>1</a>\n') + 'me>\n    <a>2</a>\n</datalist>\n';
    const { state, elements } = parse_elements(text);
    assert.deepEqual([state, elements.length], ['ok', 2]);
});

for (const bad of ['a<b&c', 'a&b', '<img onerror=x>', '</datalist>', '<!--', 'a\u0001', '&none;']) {
    test(`a name that is no XML: ${JSON.stringify(bad)}`, () => {
        const text = datalist(` <item name="device_0">${bad}</item>\n <item name="type_0">Ethernet</item>\n` +
            ' <item name="tx_0">7</item>\n <item name="rx_0">8</item>\n');
        assert.equal(parse_elements(text).state, 'malformed');
        const { devices } = snapshot_of(read_by_line(text));
        assert.deepEqual(devices, [{ name: bad, kind: 'Ethernet', tx: 7n, rx: 8n }]);
    });
}

test('an escaped name is what it stands for', () => {
    const text = datalist(' <item name="device_0">&lt;img src=x onerror=&quot;a()&quot;&gt; &#65;&#x42;&amp;</item>\n');
    assert.equal(snapshot_of(parse_elements(text).elements).devices[0].name, '<img src=x onerror="a()"> AB&');
});

test('elements that do not match, and text between them, are malformed', () => {
    assert.equal(parse_elements(datalist('<a>1</b>\n')).state, 'malformed');
    assert.equal(parse_elements(datalist('<a>1</a> x\n')).state, 'malformed');
    assert.equal(parse_elements('<html></datalist>').state, 'malformed');
});

test('counters and gauges out of range are none', () => {
    assert.equal(counter('18446744073709551615'), 18446744073709551615n);
    for (const text of ['18446744073709551616', '-1', '', '1.5', '0x10', ' 1', undefined]) assert.equal(counter(text), null);
    assert.equal(gauge('0', 0, 100), 0);
    assert.equal(gauge('-75', -120, -1), -75);
    for (const text of ['-1', '101', '-0', '--5', '', undefined, '1e2']) assert.equal(gauge(text, 0, 100), null);
});

const series = (...pairs) => pairs.map(([time, value]) => ({ time, values: new Map([['a', String(value)]]) }));
const shown = (samples) => samples.map((s) => [s.time, s.values.get('a')].join(':')).join(' ');

test('history grows past a document', () => {
    let kept = merge([], series([1, 10], [2, 20], [3, 30]), 600);
    kept = merge(kept, series([2, 20], [3, 30], [4, 40]), 600);
    kept = merge(kept, series([2, 20], [3, 30], [4, 40]), 600);
    assert.equal(shown(kept), '1:10 2:20 3:30 4:40');
    assert.equal(shown(merge(kept, series([4, 40], [5, 50]), 3)), '3:30 4:40 5:50');
});

test('history: a clock that was set back, a module that began anew, an empty document', () => {
    const kept = series([100, 1], [101, 2]);
    assert.equal(shown(merge(kept, series([100, 1], [101, 2], [41, 3], [42, 4]), 600)), '100:1 101:2 41:3 42:4');
    assert.equal(shown(merge(kept, series([100, 7]), 600)), '100:1 101:2 100:7');
    assert.equal(shown(merge(kept, [], 600)), '100:1 101:2');
});

test('history: an interface that became known later does not make old samples new', () => {
    const kept = series([1, 10], [2, 20]);
    const fresh = series([1, 10], [2, 20], [3, 30]);
    for (const one of fresh) one.values.set('b', '0');
    assert.equal(shown(merge(kept, fresh, 600)), '1:10 2:20 3:30');
});
