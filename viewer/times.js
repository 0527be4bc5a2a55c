// Times in the zone of one's choice: "browser", "router" or "utc". All arguments are seconds since 1970.

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
        text: (time, series) => (series === 'hours' ? `${date_text(time)} ${clock_text(time).slice(0, 5)}` : clock_text(time)),
        iso: (time) => `${date_text(time)}T${clock_text(time)}${offset_text(time)}`,
        // A date whose local fields are the wall's: what the charts' axes ask.
        local_date: (time) => {
            const { seconds, own } = { seconds: offset(time), own: -new Date(time * 1000).getTimezoneOffset() * 60 };
            return new Date((time + seconds - own) * 1000);
        },
    };
}
