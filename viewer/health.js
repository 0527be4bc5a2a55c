// What is the matter with a series, judged from all that is known. No document object model: plain data in and out.
//
// judge() takes
//   { module, series, file, reading, newest, now, request, asked, runs, text }
//   reading   the last one of documents.js, or null       newest  seconds of the newest sample, or null
//   now       the router's time in seconds, or NaN        request the last answer of requests.js, or null
//   asked     milliseconds since it was first asked for   runs    whether the daemon is known to run: true, false, null
//   text(time) prints a time
// and returns { state, message, enable }: state is live, waiting, stale, off, offline or empty; message { text, command } or
// null; enable the name of a module that may be switched on from here, or null.

import { first_data, stale_after } from './site.js';
import { all_off, document_trouble, is_off, no_news, not_running, refused, waiting } from './words.js';

// Minutes are rewritten with the next average only, current traffic every third second.
const first_minutes = 60000 + first_data;
const first_current = 3000 + first_data;

export function is_fresh(series, newest, now) {
    return newest !== null && Number.isFinite(now) && now - newest <= stale_after[series];
}

// Where minutes and hours have nothing to show yet.
const not_yet = {
    minutes: 'No minute was averaged since the module started; rates come after five (a rate is a difference over two).',
    hours: 'No hour was averaged since the module started; rates come after five (a rate is a difference over two).',
};

function trouble({ reading, file }) {
    const wait = Math.max(1, Math.round(reading.wait / 1000));
    return { text: document_trouble[reading.state](file, wait, reading.status), command: null };
}

export function judge(known) {
    const { module, series, reading, newest, now, request, asked, runs, text } = known;
    const result = (state, message = null, enable = null) => ({ state, message, enable });
    if (is_fresh(series, newest, now)) return result('live');
    if (reading === null) return result('waiting');
    if (['unreachable', 'timeout', 'status'].includes(reading.state)) return result('offline', trouble(known));

    if (request !== null && request.ok) {
        const on = request.modules.get(module)?.on;
        if (!request.enabled) return result('off', all_off);
        if (on === false) return result('off', is_off(module), request.may_enable ? module : null);
    }
    if (request !== null && !request.ok) return result('stale', refused(request.status, request.word));

    if (reading.state === 'ok' && newest === null && series !== 'seconds' && runs !== false) return result('empty', { text: not_yet[series], command: null });
    const allowed = series === 'minutes' ? first_minutes : module === 'current' ? first_current : first_data;
    if (asked < allowed && series !== 'hours') {
        const left = Math.ceil((allowed - asked) / 1000);
        return result('waiting', { text: waiting(left, allowed / 1000, series === 'minutes'), command: null });
    }
    const since = newest === null ? null : text(newest);
    if (runs === false) return result('stale', not_running(since));
    if (reading.state === 'missing' || reading.state === 'cut') return result('stale', trouble(known));
    return result('stale', no_news(module, since, runs === true));
}
