// From cumulative counters to rates that never lie. No document object model, no clock: arrays in, arrays out.
//
// Every result is { x, y, why }: `x` are times in seconds, strictly ascending; `y` is a number or null (a gap); `why`
// says for a gap the reason, one of
//   start        the first of a stretch: nothing to compare it with
//   next         the newest average: its rate is known with the next one
//   missing      more than three seconds (or one and a half intervals) since the sample before
//   clock_back   the clock was set back; what was drawn for later times is taken away
//   same_second  two samples bear the same time: the second one is dropped
//   no_value     the document has no number here
//   restarted    the counter fell
//   began        the counter was 0 for as long as anybody knows: when it began to count is not known
//   came_back    the counter rose from 0 to what it had before, or faster than the link can carry
//   too_fast     faster than the link can carry
//   first_wrap   the average spans the moment at which the finer series was full for the first time
// and null for a value. Counters are BigInt or null, rates are bytes a second.

const longest_step = 3;

// The reasons that a person should hear of, rather than only see as a gap.
export const notable = new Set(['clock_back', 'restarted', 'came_back', 'too_fast']);

// Lays samples out on a time axis. Result: { x, sample, why }; `sample` is the index into `times`, or of the sample that
// was dropped; `why` is null where a difference to the sample before may be taken.
export function timeline(times, longest = longest_step) {
    const line = { x: [], sample: [], why: [] };
    const put = (x, sample, why) => {
        line.x.push(x);
        line.sample.push(sample);
        line.why.push(why);
    };
    for (let i = 0; i < times.length; i++) {
        const step = i === 0 ? null : times[i] - times[i - 1];
        if (step === null) put(times[i], i, 'start');
        else if (step > longest) put(times[i], i, 'missing');
        else if (step > 0) put(times[i], i, null);
        else if (step === 0) put(Math.max(times[i], line.x.at(-1)) + 0.25, i, 'same_second');
        else {
            while (line.x.length > 0 && line.x.at(-1) >= times[i]) {
                for (const column of Object.values(line)) column.pop();
            }
            put(times[i], i, 'clock_back');
        }
    }
    return line;
}

// One step of a counter: { rate, why }. `before` is what the counter last showed other than 0, or null.
export function step_rate(from, to, seconds, ceiling, before) {
    if (from === null || to === null) return { rate: null, why: 'no_value' };
    if (to < from) return { rate: null, why: 'restarted' };
    if (from === 0n && to > 0n) {
        if (before === null) return { rate: null, why: 'began' };
        if (to >= before) return { rate: null, why: 'came_back' };
    }
    const rate = Number(to - from) / seconds;
    if (rate > ceiling) return { rate: null, why: from === 0n ? 'came_back' : 'too_fast' };
    return { rate, why: null };
}

// Rates of one counter over seconds, on a timeline of the same samples.
export function second_rates(line, times, counters, ceiling) {
    const y = [];
    const why = [];
    let before = null;
    let known = -1;
    for (let k = 0; k < line.x.length; k++) {
        const i = line.sample[k];
        let step = { rate: null, why: line.why[k] };
        for (; known < i - 1; known++) before = nonzero(counters[known + 1], before);
        if (step.why === null) step = step_rate(counters[i - 1], counters[i], times[i] - times[i - 1], ceiling, before);
        y.push(step.rate);
        why.push(step.why);
    }
    return { x: line.x, y, why };
}

function nonzero(value, otherwise) {
    return value !== null && value !== undefined && value !== 0n ? value : otherwise;
}

// The first averages of a series: those that compare an average from before the finer series was full with one from
// after. The third spans the first wrap (it reads half of what was), the fourth does when sampling began late.
const first_sound_average = 4;

// Rates of one counter from averages (minutes, hours) that are `period` seconds apart. Once the finer series is full,
// neighbours lean alternately, so each rate is over two intervals and stands at the middle one: "mean of 2 min".
export function coarse_rates(times, counters, period, ceiling) {
    const line = timeline(times, period * 1.5);
    const y = line.x.map(() => null);
    const why = line.x.map(() => 'start');
    for (let k = 1; k < line.x.length; k++) {
        // An average that was made when the clock jumped stands for fewer or more seconds than the others.
        const broken = [k, k - 1, k - 2].map((j) => line.why[j]).find((reason) => reason && reason !== 'start');
        const i = line.sample[k];
        let step = { rate: null, why: broken ?? 'start' };
        if (!broken && k > 1) step = coarse_step(times, counters, i, ceiling);
        y[k - 1] = step.rate;
        why[k - 1] = step.why;
    }
    if (why.length > 0) why[why.length - 1] = 'next';
    return { x: line.x, y, why };
}

// An average in whose time the interface was down is pulled down by zeros, and so was never a reading of the counter:
// from there up to where the counter had been is no traffic.
function coarse_step(times, counters, i, ceiling) {
    if (i < first_sound_average) return { rate: null, why: 'first_wrap' };
    const [from, to] = [counters[i - 2], counters[i]];
    if (from === null || to === null || counters[i - 1] === null) return { rate: null, why: 'no_value' };
    if (to < from || counters[i - 1] < from) return { rate: null, why: 'restarted' };
    const earlier = [3, 4, 5].map((back) => counters[i - back] ?? null).filter((value) => value !== null);
    if (from > 0n && earlier.slice(0, 2).includes(0n)) return { rate: null, why: 'began' };
    if (to > from && (from === 0n || earlier.some((value) => value > from && to >= value))) {
        return { rate: null, why: 'came_back' };
    }
    const rate = Number(to - from) / (times[i] - times[i - 2]);
    return rate > ceiling ? { rate: null, why: 'too_fast' } : { rate, why: null };
}

// Gauges (percent, kilobytes, decibels) as they are; null is a gap. One timeline for both, so that a clock that was set
// back takes away what it overtook.
export function gauges(times, values, longest = longest_step) {
    const line = timeline(times, longest);
    const y = [];
    const why = [];
    for (let k = 0; k < line.x.length; k++) {
        const value = line.why[k] === 'same_second' ? null : values[line.sample[k]];
        // A value needs no sample before it, but a line must not run through a time without samples.
        const breaks = line.why[k] === 'missing' || line.why[k] === 'clock_back';
        y.push(breaks ? null : value);
        why.push(breaks || line.why[k] === 'same_second' ? line.why[k] : value === null ? 'no_value' : null);
    }
    return { x: line.x, y, why };
}

// The sum of several results over the same samples: a gap wherever one of them has one.
export function sum(results) {
    const [first, ...others] = results;
    const y = first.y.slice();
    const why = first.why.slice();
    for (const other of others) {
        for (let k = 0; k < y.length; k++) {
            if (y[k] !== null && other.y[k] !== null) {
                y[k] += other.y[k];
            } else if (y[k] !== null) {
                y[k] = null;
                why[k] = other.why[k];
            }
        }
    }
    return { x: first.x, y, why };
}

// { now, average, peak, peak_time, count } over the values that exist within [from, to]; nulls when there are none. `now`
// is the newest value, if nothing but the last place of an average (which has no neighbour yet) is behind it.
export function figures({ x, y, why }, from = -Infinity, to = Infinity) {
    let total = 0;
    let count = 0;
    let peak = null;
    let peak_time = null;
    for (let k = 0; k < x.length; k++) {
        if (y[k] === null || x[k] < from || x[k] > to) continue;
        total += y[k];
        count++;
        if (peak === null || y[k] > peak) [peak, peak_time] = [y[k], x[k]];
    }
    const last = y.length - (why.at(-1) === 'next' ? 2 : 1);
    return { now: y[last] ?? null, average: count > 0 ? total / count : null, peak, peak_time, count };
}
