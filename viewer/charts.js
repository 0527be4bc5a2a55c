// One chart: a canvas drawn by uPlot, with one crosshair for all charts of the page.
//
// make_chart(host, chart, view) → { update(lines, window), restyle(), move(steps), destroy() }
//   lines   [{ x, y, why, hidden }] in the unit's own scale, all of one x; null is a gap and breaks the line
//   window  [from, to] in seconds: the x axis, fixed, so that curves move and do not stretch
//   view    { zone(), unit(line), on_cursor(index or null), summary() }
// `host` is watched for its width: it must not hold the legend, which would grow with it. Without uPlot there are no
// charts: has_charts() says so.

import { axis_of, binary_axis_of, tick } from './words.js';

export const has_charts = () => typeof globalThis.uPlot === 'function';

// Colours are asked for with every line that is drawn, so they are kept until the theme changes.
const colours = new Map();
export const forget_colours = () => colours.clear();

function colour(name) {
    if (!colours.has(name)) colours.set(name, getComputedStyle(document.documentElement).getPropertyValue(name).trim());
    return colours.get(name);
}

// Values between two gaps, which a line alone would not show.
function lonely(u, series) {
    const y = u.data[series];
    const found = [];
    for (let k = 0; k < y.length; k++) {
        if (y[k] !== null && (y[k - 1] ?? null) === null && (y[k + 1] ?? null) === null) found.push(k);
    }
    return found;
}

function y_axis(unit, most, steps) {
    if (unit.range) return { from: unit.range[0], to: unit.range[1], step: axis_of(unit.range[1] - unit.range[0], steps).step };
    const { step, top } = (unit.binary ? binary_axis_of : axis_of)(Math.max(most, unit.floor), steps);
    return { from: 0, to: top, step };
}

function steps_of({ from, to, step }) {
    const ticks = [];
    for (let at = Math.ceil(from / step - 1e-9) * step; at <= to + step * 1e-9; at += step) ticks.push(at);
    return ticks;
}

// Times on the axis, as precise as their distance.
function time_ticks(view) {
    return (u, splits, axis, space, distance) => splits.map((time) => {
        const zone = view.zone();
        // No room for half a text at the right edge.
        if (u.valToPos(time, 'x') > u.bbox.width / devicePixelRatio - 18) return '';
        if (distance < 60) return zone.clock_text(time);
        const text = zone.minute_text(time);
        return text === '00:00' || distance >= 86400 ? zone.date_text(time).slice(5) : text;
    });
}

export function make_chart(host, chart, view) {
    const height = chart.small ? 112 : 220;
    const steps = chart.small ? 4 : 5;
    let y = y_axis(view.unit(chart.lines[0]), 0, steps);
    let window = [0, 1];
    const axis = { stroke: () => colour('--muted'), font: `11px ${colour('--family')}`, ticks: { show: false },
        grid: { stroke: () => colour('--grid'), width: 1 } };
    const line_of = (line) => ({
        label: line.name, spanGaps: false, width: 1.5,
        stroke: () => colour(`--hue${line.hue}`),
        fill: line.hue === 1 && chart.lines.length < 3 && !line.quality ? () => colour('--fill') : undefined,
        points: { show: true, filter: lonely, size: 4, fill: () => colour(`--hue${line.hue}`) },
    });
    const plot = new globalThis.uPlot({
        width: Math.max(120, host.clientWidth), height,
        padding: [8, 10, 0, 0],
        legend: { show: false },
        tzDate: (time) => view.zone().local_date(time),
        cursor: { y: false, drag: { x: false, y: false, setScale: false }, points: { size: 7 },
            sync: { key: 'dashboard', setSeries: false, scales: ['x', null] } },
        scales: { x: { time: true, range: () => window }, y: { range: () => [y.from, y.to] } },
        axes: [
            { ...axis, size: 22, gap: 5, space: 76, values: time_ticks(view) },
            { ...axis, size: 50, gap: 4, splits: () => steps_of(y),
                values: (u, splits) => splits.map((value) => tick(view.unit(chart.lines[0]).text(value))) },
        ],
        series: [{}, ...chart.lines.map(line_of)],
        hooks: { setCursor: [(u) => view.on_cursor(u.cursor.left < 0 ? null : u.cursor.idx ?? null)] },
    }, [[0], ...chart.lines.map(() => [null])], host);
    plot.ctx.canvas.setAttribute('role', 'img');

    const watcher = new ResizeObserver(() => {
        const width = Math.floor(host.clientWidth);
        if (width > 0 && width !== plot.width) plot.setSize({ width, height });
    });
    watcher.observe(host);

    return {
        update(lines, on_screen) {
            window = on_screen;
            let most = 0;
            for (const line of lines) {
                if (line.hidden) continue;
                for (let k = 0; k < line.x.length; k++) {
                    if (line.y[k] > most && line.x[k] >= window[0]) most = line.y[k];
                }
            }
            y = y_axis(view.unit(chart.lines[0]), most, steps);
            plot.batch(() => {
                lines.forEach((line, i) => {
                    if (plot.series[i + 1].show === Boolean(line.hidden)) plot.setSeries(i + 1, { show: !line.hidden });
                });
                plot.setData(lines.length > 0 ? [lines[0].x, ...lines.map((line) => line.y)] : [[], []]);
            });
            plot.ctx.canvas.setAttribute('aria-label', view.summary());
        },
        // After a change of theme or zone: colours and texts are read anew.
        restyle() {
            plot.redraw(false, true);
        },
        // Moves the crosshair, on all charts, by so many samples; null takes it away.
        move(steps) {
            if (steps === null) {
                plot.setCursor({ left: -10, top: -10 }, true, true);
                return;
            }
            const x = plot.data[0];
            const first = x.findIndex((time) => time >= window[0]);
            if (first < 0) return;
            const at = plot.cursor.left >= 0 && plot.cursor.idx !== null ? plot.cursor.idx + steps
                : steps < 0 ? x.length - 1 : first;
            const index = Math.min(x.length - 1, Math.max(first, at));
            plot.setCursor({ left: plot.valToPos(x[index], 'x'), top: plot.bbox.height / devicePixelRatio / 2 }, true, true);
        },
        destroy() {
            watcher.disconnect();
            plot.destroy();
        },
    };
}
