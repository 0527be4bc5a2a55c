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

// ---- Times in the zone of one's choice: "browser", "router" or "utc". All arguments are seconds since 1970.

const two = (number) => String(Math.floor(number)).padStart(2, '0');

// `router_offset` gives the router's seconds east of UTC, or null while it has not told.
export function make_zone(name, router_offset = () => null) {
    function offset(time) {
        if (name === 'utc') return 0;
        const told = router_offset();
        if (name === 'router' && told !== null) return told;
        return -new Date(time * 1000).getTimezoneOffset() * 60;
    }

    // A date whose UTC fields are the wall's.
    const wall = (time) => new Date((time + offset(time)) * 1000);

    function offset_text(time) {
        const seconds = offset(time);
        const away = Math.abs(seconds) / 60;
        return `${seconds < 0 ? '-' : '+'}${two(away / 60)}:${two(away % 60)}`;
    }

    const date_text = (time) => wall(time).toISOString().slice(0, 10);
    const clock_text = (time) => wall(time).toISOString().slice(11, 19);
    return {
        name,
        offset_text,
        clock_text,
        date_text,
        minute_text: (time) => clock_text(time).slice(0, 5),
        // As precise as the series: an hour has its date.
        text: (time, series) => (series === 'hours' ? `${date_text(time).slice(5)} ${clock_text(time).slice(0, 5)}` : clock_text(time)),
        iso: (time) => `${date_text(time)}T${clock_text(time)}${offset_text(time)}`,
        // A date whose local fields are the wall's: what the charts' axes ask.
        local_date: (time) => {
            const { seconds, own } = { seconds: offset(time), own: -new Date(time * 1000).getTimezoneOffset() * 60 };
            return new Date((time + seconds - own) * 1000);
        },
    };
}
