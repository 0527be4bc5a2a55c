// A panel: its tools (series, what to choose, pause, download, table) over one or more groups of charts.

import { choice, el } from './dom.js';
import { make_group } from './group.js';
import { save } from './rows.js';
import { series_words } from './words.js';

// `chosen` is { series, option } as the address has it; `page` is what groups share, with go(option, series).
export function make_panel(panel, chosen, page) {
    const groups_wanted = panel.groups(chosen.option);
    const offered = ['seconds', 'minutes', 'hours'].filter((series) => groups_wanted[0].files[series] !== undefined);
    const series = offered.includes(chosen.series) ? chosen.series : 'seconds';
    const groups = groups_wanted.map((group) => make_group(group, series, page));
    const shown = { paused: false, table: false };

    const pressable = (text, title, on_press) => {
        const button = el('button', { type: 'button', title, 'aria-pressed': 'false', onclick: () => {
            const pressed = button.getAttribute('aria-pressed') !== 'true';
            button.setAttribute('aria-pressed', String(pressed));
            on_press(pressed);
        } }, text);
        return button;
    };

    function chooser() {
        if (!panel.choose) return null;
        const { label, options, many } = panel.choose;
        if (!many) return choice(label, options, chosen.option, (value) => page.go(value, series));
        const select = el('select', { 'aria-label': label, onchange: () => page.go(select.value, 'seconds') },
            ...options.map(([value, text]) => el('option', { value, selected: value === chosen.option }, text)));
        return select;
    }

    function series_choice() {
        if (offered.length < 2) return null;
        return choice('Series', offered.map((one) => [one, one, series_words[one].note]), series, (one) => page.go(chosen.option, one));
    }

    function every_choice() {
        const select = el('select', { 'aria-label': 'Read every', onchange: () => page.settings.set('every', Number(select.value)) },
            ...[1, 2, 5].map((n) => el('option', { value: n, selected: n === page.settings.get('every') }, `every ${n} s`)));
        return select;
    }

    function download() {
        for (const group of groups) {
            const text = group.csv();
            const time = page.view.zone().iso(group.newest() ?? 0).replaceAll(':', '-');
            if (text !== null) save(`${group.module}${group.number > 1 ? group.number : ''}_${series}_${time}.csv`, text);
        }
    }

    const why_seconds_only = panel.id === 'bond' ? 'Bonds have no minutes and hours.'
        : panel.id === 'ap' && chosen.option === 'all' ? 'Minutes and hours of all access points together hold no figures: ' +
            'choose one for them. Access points 33 to 128 are not in this list: choose one by its number.' : '';
    const heading = el('h2', { tabindex: '-1' }, panel.overview ? 'WAN' : panel.title);
    const tools = el('div', { class: 'tools' }, heading, chooser(), series_choice(),
        series === 'seconds' ? every_choice() : el('span', { class: 'mean' }, panel.id === 'sim' || panel.id === 'cpu' ? `averages of ${series_words[series].one}` : series_words[series].note),
        el('span', { class: 'grow' }),
        pressable('pause', 'Let the picture stand still; reading goes on', (pressed) => {
            shown.paused = pressed;
            for (const group of groups) group.pause(pressed);
            page.changed();
        }),
        el('button', { type: 'button', onclick: download }, el('span', { class: 'wide' }, 'download '), 'CSV'),
        pressable('table', 'Show the figures as rows', (pressed) => {
            shown.table = pressed;
            for (const group of groups) group.set_table(pressed);
        }));
    const node = el('section', { class: 'panel', 'aria-label': `${panel.title}, graphs` }, tools,
        why_seconds_only ? el('p', { class: 'aside' }, why_seconds_only) : null, ...groups.map((group) => group.node));

    return {
        node,
        modules: groups.map((group) => [group.module, group.number]),
        newest: () => Math.max(...groups.map((group) => group.newest() ?? -Infinity)),
        is_paused: () => shown.paused,
        some_fresh: () => groups.some((group) => group.is_fresh()),
        judge: () => groups.map((group) => group.judge())[0],
        now_total: () => groups[0].now_total(),
        restyle: () => groups.forEach((group) => group.restyle()),
        end: () => groups.forEach((group) => group.end()),
    };
}
