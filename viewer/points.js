// From kept samples to what a chart draws: applies the rate rules to the elements that a line is made of. No document
// object model.
//
// A line (see catalogue.js) has { elements, ceiling } when it counts bytes, or { element, range } when it is a gauge.
// The result of points_of() is one { x, y, why } a line, all of the same `x`.

import { coarse_rates, gauges, second_rates, sum, timeline } from './rates.js';
import { counter, gauge } from './parse.js';

const period = { minutes: 60, hours: 3600 };

// The counter of a sample; each is read from its text once.
function counter_of(sample, element) {
    sample.counters ??= new Map();
    let value = sample.counters.get(element);
    if (value === undefined) {
        value = counter(sample.values.get(element));
        sample.counters.set(element, value);
    }
    return value;
}

export function make_points(samples, series) {
    const times = samples.map((sample) => sample.time);
    const line = series === 'seconds' ? timeline(times) : null;

    function rates(element, ceiling) {
        const counters = samples.map((sample) => counter_of(sample, element));
        return line ? second_rates(line, times, counters, ceiling) : coarse_rates(times, counters, period[series], ceiling);
    }

    return {
        of({ elements, ceiling, element, range }) {
            if (elements) return sum(elements.map((one) => rates(one, ceiling)));
            const values = samples.map((sample) => gauge(sample.values.get(element), range[0], range[1]));
            return gauges(times, values, line ? 3 : period[series] * 1.5);
        },
    };
}

// The stretch of time that a chart shows, [from, to]: what a document spans at first, then the longest of a few stretches
// that what was seen fills, so that curves move and do not stretch.
const second_windows = [60, 75, 120, 180, 300, 450, 600];
const coarse_windows = { minutes: 72 * 60, hours: 72 * 3600 };

export function window_of(x, series) {
    const to = x.length > 0 ? x[x.length - 1] : 0;
    if (series !== 'seconds') return [to - coarse_windows[series], to];
    const first = x.find((time) => time >= to - second_windows.at(-1)) ?? to;
    const filled = second_windows.filter((length) => length <= to - first);
    return [to - (filled.at(-1) ?? second_windows[0]), to];
}

// ---- Samples that were seen, beyond those that a document still shows

// Whether two samples are one: same time, and the same text for every element that both have. An interface that the
// daemon came to know later is shown with 0 in older samples, which must not make them others.
function is_same(one, other) {
    if (one.time !== other.time) return false;
    for (const [name, text] of one.values) {
        const its = other.values.get(name);
        if (its !== undefined && its !== text) return false;
    }
    return true;
}

// The kept samples with the new ones of a document behind them, oldest first, `limit` at most. Where the newest kept
// sample is not in the document, all of the document follows: the series began anew, or was not looked at for long.
export function merge(kept, fresh, limit) {
    if (fresh.length === 0) return kept;
    let from = 0;
    if (kept.length > 0) {
        const last = kept[kept.length - 1];
        for (let i = fresh.length - 1; i >= 0 && from === 0; i--) {
            if (is_same(last, fresh[i])) from = i + 1;
        }
    }
    if (from === fresh.length) return kept;
    return kept.concat(fresh.slice(from)).slice(-limit);
}
