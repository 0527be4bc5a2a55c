// The rate rules, over tables of counters and times, and over the daemon's own history as the model has it.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { coarse_rates, figures, gauges, second_rates, sum, timeline } from '../../viewer/rates.js';
import { ceiling } from '../../viewer/site.js';
import { History } from './model.mjs';

const counters = (values) => values.map((value) => (value === null ? null : BigInt(value)));

function seconds(times, values, most = ceiling.wired) {
    return second_rates(timeline(times), times, counters(values), most);
}

// name | times | counters | rates | reasons
const tables = [
    ['steady', [10, 11, 12], [100, 200, 300], [null, 100, 100], ['start', null, null]],
    ['a difference of 0 is 0', [10, 11, 12], [100, 100, 150], [null, 0, 50], ['start', null, null]],
    ['a missing value is not', [10, 11, 12, 13], [100, null, 300, 400], [null, null, null, 100],
        ['start', 'no_value', 'no_value', null]],
    ['two and three seconds are one step', [10, 12, 15], [100, 300, 600], [null, 100, 100], ['start', null, null]],
    ['four seconds are a gap', [10, 11, 15, 16], [100, 200, 600, 700], [null, 100, null, 100],
        ['start', null, 'missing', null]],
    ['a counter that falls', [10, 11, 12, 13], [500, 600, 20, 30], [null, 100, null, 10],
        ['start', null, 'restarted', null]],
    ['a wrap of 32 bits falls, too', [10, 11, 12], [4294967290, 4294967295, 4], [null, 5, null],
        ['start', null, 'restarted']],
    ['up to 2^64 - 1, exactly', [10, 11, 12], ['18446744073709551613', '18446744073709551614', '18446744073709551615'],
        [null, 1, 1], ['start', null, null]],
    ['past 2^64 - 1', [10, 11, 12], ['18446744073709551615', 4, 5], [null, null, 1], ['start', 'restarted', null]],
    ['a counter set to 2^64 - 1', [10, 11, 12], [5, '18446744073709551615', '18446744073709551615'], [null, null, 0],
        ['start', 'too_fast', null]],
    ['deleted and made again: no spike', [10, 11, 12, 13, 14, 15], [9000, 9100, 0, 0, 40, 60],
        [null, 100, null, 0, 40, 20], ['start', null, 'restarted', null, null, null]],
    ['down for a second and back with its counter', [10, 11, 12, 13, 14], [9000, 9100, 0, 9300, 9400],
        [null, 100, null, null, 100], ['start', null, 'restarted', 'came_back', null]],
    ['a rise from 0 above what the link carries', [10, 11, 12, 13], [7, 0, 1300000000, 1300000001],
        [null, null, null, 1], ['start', 'restarted', 'came_back', null]],
    ['a rise from 0 of which nothing is known', [10, 11, 12], [0, 4000000, 4000100], [null, null, 100],
        ['start', 'began', null]],
    ['anything else above what the link carries', [10, 11, 12], [1, 1300000001, 1300000002], [null, null, 1],
        ['start', 'too_fast', null]],
    ['the same second twice', [10, 11, 11, 12], [100, 200, 250, 350], [null, 100, null, 100],
        ['start', null, 'same_second', null]],
    ['the clock set forth', [10, 11, 86411, 86412], [100, 200, 300, 400], [null, 100, null, 100],
        ['start', null, 'missing', null]],
    ['from 1970 to now', [5, 6, 1795233386, 1795233387], [100, 200, 300, 400], [null, 100, null, 100],
        ['start', null, 'missing', null]],
];

for (const [name, times, values, rates, reasons] of tables) {
    test(`seconds: ${name}`, () => {
        const result = seconds(times, values);
        assert.deepEqual(result.y, rates);
        assert.deepEqual(result.why, reasons);
    });
}

test('seconds: the clock set back takes away what it overtook, and begins a new stretch', () => {
    const result = seconds([100, 101, 102, 103, 101, 102, 103, 104], [0, 1, 2, 3, 4, 6, 8, 10].map((v) => v + 50));
    assert.deepEqual(result.x, [100, 101, 102, 103, 104]);
    assert.deepEqual(result.y, [null, null, 2, 2, 2]);
    assert.deepEqual(result.why, ['start', 'clock_back', null, null, null]);
});

test('seconds: what a radio carries is less', () => {
    assert.deepEqual(seconds([1, 2], [1, 300000001], ceiling.radio).why, ['start', 'too_fast']);
    assert.deepEqual(seconds([1, 2], [1, 200000001], ceiling.radio).why, ['start', null]);
});

test('times are strictly ascending, whatever the clock does', () => {
    const times = [5, 6, 6, 6, 7, 3, 4, 4, 90, 2, 1, 1, 8];
    const { x } = timeline(times);
    for (let k = 1; k < x.length; k++) assert.ok(x[k] > x[k - 1], x.join(' '));
});

// ---- The daemon's averages

const start = 1795233386;

// A day and more of a counter that grows evenly; `keep` says which seconds give a sample.
function steady(bytes, length, keep = () => true) {
    const history = new History(start);
    for (let i = 1; i <= length; i++) {
        if (keep(i)) history.feed(start + i, { bytes: 5000000n + BigInt(i * bytes) });
    }
    return history;
}

function coarse(history, series, period, span = 72) {
    const held = history.newest(series, span);
    return coarse_rates(held.map((s) => s.time), held.map((s) => s.values.bytes), period, ceiling.wired);
}

const existing = (values) => values.filter((value) => value !== null);

test('the model leans as the daemon does: 8, 1992, 8, 1992 by neighbours', () => {
    const held = steady(1000, 3600).newest('min', 6);
    const leaning = held.slice(1).map((s, i) => Math.round(Number(s.values.bytes - held[i].values.bytes) / 60));
    assert.deepEqual(leaning, [1992, 8, 1992, 8, 1992]);
});

for (const [series, period, length] of [['min', 60, 6 * 3600], ['hour', 3600, 90 * 3600]]) {
    test(`${series}: a steady rate reads as it is once both rings have wrapped`, () => {
        const { y } = coarse(steady(1000, length), series, period);
        assert.equal(y.length, 72);
        const values = existing(y);
        assert.ok(values.length >= 67, `${values.length} values`);
        for (const value of values) assert.ok(Math.abs(value - 1000) <= 10, `${value}`);
    });

    test(`${series}: one second in 97 missing reads 979 to 1023`, () => {
        const values = existing(coarse(steady(1000, length, (i) => i % 97 !== 0), series, period).y);
        assert.ok(values.length >= 60, `${values.length} values`);
        for (const value of values) assert.ok(value >= 979 && value <= 1023, `${value}`);
    });

    test(`${series}: the average that spans the first wrap is a gap with its reason`, () => {
        const history = steady(104200, 10 * period);
        const held = history.newest(series, 72);
        const lie = Number(held[2].values.bytes - held[0].values.bytes) / (held[2].time - held[0].time);
        assert.ok(lie > 50000 && lie < 56000, `the model's own third average: ${lie}`);
        const { x, y, why } = coarse(history, series, period);
        assert.deepEqual(why.slice(0, 4), ['start', 'first_wrap', 'first_wrap', null]);
        assert.equal(x[1], held[1].time);
        for (const value of existing(y)) assert.ok(Math.abs(value / 104200 - 1) < 0.01, `${value}`);
    });

    test(`${series}: an interface deleted and made again is a gap, and no spike`, () => {
        const history = new History(start);
        const again = 7.3 * period;
        for (let i = 1; i <= 20 * period; i++) {
            const counted = i < again ? 9e9 + i * 1000 : (i - Math.ceil(again)) * 1000;
            history.feed(start + i, { bytes: BigInt(counted) });
        }
        const { y, why } = coarse(history, series, period);
        assert.ok(why.includes('restarted'));
        for (const value of existing(y)) assert.ok(Math.abs(value - 1000) <= 10, `${value}`);
    });

    test(`${series}: an interface that was down and came back with its counter is a gap, and no spike`, () => {
        for (const from of [7.2, 7.6, 8.1, 8.7]) {
            for (const length of [0.1, 0.3, 1.2, 3.4]) {
                const history = new History(start);
                for (let i = 1; i <= 20 * period; i++) {
                    const down = i >= from * period && i < (from + length) * period;
                    history.feed(start + i, { bytes: down ? 0n : BigInt(9e9 + i * 1000) });
                }
                const { y } = coarse(history, series, period);
                assert.ok(y.includes(null));
                for (const value of existing(y)) assert.ok(value <= 1010, `${value} after ${from} ${length}`);
            }
        }
    });
}

test('minutes: the clock set forth by an hour is a gap', () => {
    const history = new History(start);
    for (let i = 1; i <= 1200; i++) history.feed(start + i + (i > 600 ? 3600 : 0), { bytes: BigInt(5e6 + i * 1000) });
    const { y, why } = coarse(history, 'min', 60);
    assert.ok(why.includes('missing'));
    for (const value of existing(y)) assert.ok(Math.abs(value - 1000) <= 20, `${value}`);
});

test('minutes: the clock set back keeps the times in order', () => {
    const history = new History(start);
    for (let i = 1; i <= 1800; i++) history.feed(start + i - (i > 900 ? 300 : 0), { bytes: BigInt(5e6 + i * 1000) });
    const { x, y, why } = coarse(history, 'min', 60);
    assert.ok(why.includes('clock_back'));
    for (let k = 1; k < x.length; k++) assert.ok(x[k] > x[k - 1]);
    for (const value of existing(y)) assert.ok(Math.abs(value - 1000) <= 10, `${value}`);
});

test('minutes: 1 Mbit/s, then nothing', () => {
    const history = new History(start);
    for (let i = 1; i <= 7200; i++) history.feed(start + i, { bytes: BigInt(1e6 + Math.min(i, 5400) * 125000) });
    const { x, y } = coarse(history, 'min', 60);
    const during = y.filter((value, k) => value !== null && x[k] < start + 5400 - 180);
    const after = y.filter((value, k) => value !== null && x[k] > start + 5400 + 180);
    assert.ok(during.length > 30 && after.length > 20);
    for (const value of during) assert.ok(Math.abs(value / 125000 - 1) < 0.02, `${value}`);
    for (const value of after) assert.equal(value, 0);
});

// ---- Gauges, sums, figures

test('gauges: values as they are, gaps where there is none, where seconds are missing and where the clock goes back', () => {
    const result = gauges([1, 2, 3, 9, 10, 10, 5, 6], [40, null, 41, 42, 43, 44, 45, 46]);
    assert.deepEqual(result.x, [1, 2, 3, 5, 6]);
    assert.deepEqual(result.y, [40, null, 41, null, 46]);
    assert.deepEqual(result.why, [null, 'no_value', null, 'clock_back', null]);
});

test('a sum has a gap wherever one of its parts has one', () => {
    const times = [1, 2, 3, 4];
    const total = sum([seconds(times, [10, 20, 30, 40]), seconds(times, [10, 30, 5, 6])]);
    assert.deepEqual(total.y, [null, 30, null, 11]);
    assert.deepEqual(total.why, ['start', null, 'restarted', null]);
});

test('averages are over the points that exist, and the peak has its time', () => {
    const result = seconds([1, 2, 3, 4, 5, 6], [100, 200, 500, 10, 20, 220]);
    assert.deepEqual(figures(result), { now: 200, average: 152.5, peak: 300, peak_time: 3, count: 4 });
    assert.deepEqual(figures(result, 4), { now: 200, average: 105, peak: 200, peak_time: 6, count: 2 });
});

test('no points have no average, and no peak', () => {
    assert.deepEqual(figures(seconds([1, 2], [5, 1])), { now: null, average: null, peak: null, peak_time: null, count: 0 });
    assert.deepEqual(figures(seconds([], [])), { now: null, average: null, peak: null, peak_time: null, count: 0 });
});

test('a gap at the end is no value now', () => {
    assert.equal(figures(seconds([1, 2, 3], [5, 6, 1])).now, null);
});
