// Reading published documents while they are on screen: one request at a time for each, none while the page is hidden.
//
// watch(file, period, on_reading) reads `file` every `period()` milliseconds and returns a function that ends it. Each
// attempt calls on_reading with one of
//   { state: 'ok', elements, salvaged, changed, modified, received }   times in milliseconds; modified NaN if not told
//   { state: 'missing' | 'unreachable' | 'timeout' | 'status' | 'cut' | 'malformed', wait, count, status }
// `count` is how often the file was malformed so far, `wait` the milliseconds to the next attempt. A malformed document
// is `salvaged` (read line by line) when there is no good picture, or none that is still fresh.

import { documents_folder, read_timeout, second_try, stale_after } from './site.js';
import { parse_elements, read_by_line } from './parse.js';

const back_off = [1000, 2000, 4000, 8000];
// A document that was just asked for may not be there yet: so many attempts go on in step.
const patient_attempts = 8;

function pause(milliseconds, signal) {
    return new Promise((resolve) => {
        const done = () => {
            clearTimeout(timer);
            signal.removeEventListener('abort', done);
            resolve();
        };
        const timer = setTimeout(done, milliseconds);
        signal.addEventListener('abort', done);
    });
}

// One answer: { status, text, modified, date }. Status 0 is none, `late` when it took too long; a text that is missing
// from a good answer ended early.
async function fetch_once(file, cache, signal) {
    const attempt = new AbortController();
    const give_up = () => attempt.abort();
    const timer = setTimeout(give_up, read_timeout);
    signal.addEventListener('abort', give_up);
    const began = performance.now();
    let status = 0;
    try {
        const answer = await fetch(documents_folder + file, { cache, signal: attempt.signal });
        const time_of = (name) => Date.parse(answer.headers.get(name) ?? '');
        const [modified, date] = [time_of('Last-Modified'), time_of('Date')];
        status = answer.status;
        return { status, text: await answer.text(), modified, date };
    } catch {
        const late = performance.now() - began >= read_timeout;
        return { status: late ? 0 : status, late, text: '', date: NaN, modified: NaN };
    } finally {
        clearTimeout(timer);
        signal.removeEventListener('abort', give_up);
    }
}

// Reads a document, once more where the first answer may be of the moment of its replacement.
async function read(file, signal, on_date) {
    let answer = await fetch_once(file, 'no-cache', signal);
    on_date(answer.date);
    if (answer.status === 404) {
        await pause(second_try, signal);
        if (!signal.aborted) answer = await fetch_once(file, 'no-cache', signal);
    } else if (answer.status === 200 && parse_elements(answer.text).state === 'cut') {
        // Not from the cache, which would confirm the cut one.
        answer = await fetch_once(file, 'reload', signal);
    }
    if (answer.status === 404) return { state: 'missing' };
    if (answer.status === 0) return { state: answer.late ? 'timeout' : 'unreachable' };
    if (answer.status !== 200) return { state: 'status', status: answer.status };
    return { ...parse_elements(answer.text), text: answer.text, modified: answer.modified };
}

// `clock` hears the date of every answer; `on_clock_set(milliseconds)` is told of a jump.
export function make_documents(clock, on_clock_set) {
    function hear(date) {
        const change = clock.hear(date);
        if (change !== 0) on_clock_set(change);
    }

    function watch(file, period, on_reading) {
        const ended = new AbortController();
        const state = { failures: 0, malformed: 0, good_at: -Infinity, last_text: null, wake: () => {} };

        function judge(result) {
            const now = performance.now();
            if (result.state === 'malformed') {
                state.malformed++;
                if (now - state.good_at > stale_after.seconds * 1000) {
                    return { ...result, elements: read_by_line(result.text), salvaged: true };
                }
            }
            if (result.state === 'ok') state.good_at = now;
            return { ...result, salvaged: false };
        }

        function wait_after(result) {
            if (result.state === 'ok' || result.state === 'malformed') {
                state.failures = 0;
                return period();
            }
            const patient = result.state === 'missing' ? patient_attempts : 0;
            const step = state.failures++ - patient;
            if (step < 0) return period();
            return back_off[Math.min(step, back_off.length - 1)] * (0.8 + 0.4 * Math.random());
        }

        function report(result, wait) {
            const readable = result.state === 'ok' || result.salvaged;
            const changed = readable && result.text !== state.last_text;
            if (readable) state.last_text = result.text;
            on_reading({
                state: result.state, salvaged: result.salvaged, elements: readable ? result.elements : null, changed, wait,
                modified: result.modified ?? NaN, received: performance.now(), count: state.malformed,
                status: result.status ?? 0,
            });
        }

        const until_visible = () => new Promise((resolve) => {
            if (document.visibilityState !== 'hidden') resolve();
            else state.wake = resolve;
        });
        const on_visibility = () => document.visibilityState !== 'hidden' && state.wake();
        document.addEventListener('visibilitychange', on_visibility, { signal: ended.signal });

        async function run() {
            while (!ended.signal.aborted) {
                await until_visible();
                const began = performance.now();
                const result = judge(await read(file, ended.signal, hear));
                if (ended.signal.aborted) return;
                const wait = wait_after(result);
                report(result, wait);
                // In step with the beginning of the attempt, so that a slow answer does not slow the page down further.
                await pause(Math.max(100, wait - (performance.now() - began)), ended.signal);
            }
        }
        run();
        return () => {
            ended.abort();
            state.wake();
        };
    }

    return { watch };
}
