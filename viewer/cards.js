// One chart with its title and figures, as it stands in a panel.

import { el, set_text } from './dom.js';
import { has_charts, make_chart } from './charts.js';
import { figures_of, make_legend, make_list } from './legend.js';

// `view` is { zone(), unit(line), time(seconds), is_hidden(line), toggle(line) }. The result has
//   node, update(points, list_points, window): points one a line; restyle(); destroy()
export function make_card(chart, view) {
    const readout = el('span', { class: 'readout' });
    const plot = el('div', { class: 'plot', tabindex: '0', role: 'group',
        'aria-label': `${chart.title}: arrow keys move the crosshair` });
    const legend = make_legend(chart, view);
    const list = chart.list ? make_list(chart.list, view, chart.link) : null;
    const node = el('section', { class: `card${chart.small ? ' small' : ''}`, 'aria-label': chart.title },
        el('h3', {}, el('span', { class: 'name' }, chart.title), chart.about ? el('span', { class: 'about' }, chart.about) : null,
            readout),
        has_charts() ? plot : null, legend.node, list ? list.node : null);
    let drawn = null;
    let summary = '';

    const scaled = (i, k) => {
        const value = drawn[i]?.y[k] ?? null;
        return value;
    };
    const card_view = {
        ...view,
        summary: () => summary,
        on_cursor(index) {
            if (!drawn || drawn.length === 0) return;
            set_text(readout, index === null ? '' : `at ${view.time(drawn[0].x[index])}`);
            legend.show(index === null ? null : (i) => scaled(i, index));
        },
    };
    const canvas = has_charts() ? make_chart(plot, chart, card_view) : null;

    plot.addEventListener('keydown', (event) => {
        const steps = { ArrowLeft: -1, ArrowRight: 1, PageUp: -10, PageDown: 10, Home: -1e9, End: 1e9, Escape: null }[event.key];
        if (steps === undefined || event.ctrlKey || event.altKey || event.metaKey) return;
        event.preventDefault();
        canvas?.move(steps);
    });
    plot.addEventListener('blur', () => canvas?.move(null));

    function describe(found, window) {
        const parts = chart.lines.map((line, i) => {
            const { text, name } = view.unit(line);
            const { now, average, peak, peak_time } = found[i];
            if (average === null) return `${line.name} without values`;
            return `${line.name} now ${text(now)}, average ${text(average)}, peak ${text(peak)} ${name} at ${view.time(peak_time)}`;
        });
        return `${chart.title}, ${view.time(window[0])} to ${view.time(window[1])}: ${parts.join('; ')}`;
    }

    return {
        node,
        update(points, list_points, window) {
            const found = chart.lines.map((line, i) => figures_of(points[i], view.unit(line), window));
            drawn = chart.lines.map((line, i) => {
                const { scale } = view.unit(line);
                const y = scale === 1 ? points[i].y : points[i].y.map((value) => (value === null ? null : value * scale));
                return { ...points[i], y, hidden: view.is_hidden(line) };
            });
            legend.update(found, view.is_hidden);
            list?.update(chart.list.map((line, i) => figures_of(list_points[i], view.unit(line), window)));
            summary = describe(found, window);
            canvas?.update(drawn, window);
        },
        restyle: () => canvas?.restyle(),
        destroy: () => canvas?.destroy(),
    };
}
