// What time it is on the router. The browser's own clock is compared with it and never used for it.
//
// Servers date their answers in whole seconds, so the truth lies between a date and a second after it: the latest of what
// was heard is kept, carried on by a clock that nobody sets (performance.now).

const set_forth = 2000;
const set_back = 5000;

// `monotonic` gives milliseconds that only grow.
export function make_clock(monotonic = () => performance.now()) {
    let offset = null;
    return {
        // Takes the date of an answer (milliseconds since 1970). Returns by how many milliseconds the router's clock was
        // set since the answer before, 0 if it was not.
        hear(date) {
            if (!Number.isFinite(date)) return 0;
            const heard = date - monotonic();
            const change = offset === null ? 0 : heard - offset;
            if (offset === null || change > 0 || change < -set_back) offset = heard;
            // An answer that came late looks earlier; one second is what a date leaves open. The rest is drift.
            else if (change < -1000) offset += (change + 1000) / 5;
            return change > set_forth || change < -set_back ? change : 0;
        },
        is_known: () => offset !== null,
        // Milliseconds since 1970 by the router's clock; NaN before anything was heard.
        now: () => (offset === null ? NaN : offset + monotonic()),
        // By how many milliseconds this browser's clock is ahead; NaN before anything was heard.
        browser_ahead: () => (offset === null ? NaN : Date.now() - (offset + monotonic())),
    };
}
