// What the page shows of traffic that is known, whatever happens to clocks, interfaces and documents.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { finish, launch, open } from './browser.mjs';
import { full, one_wan, usual } from './scenes.mjs';

let browser;
before(async () => (browser = await launch()));
after(() => finish(browser));

const near = (value, wanted, part, what) =>
    assert.ok(value !== null && Math.abs(value / wanted - 1) <= part, `${what}: ${value}, wanted ${wanted} within ${part * 100} %`);

// 1 Mbit/s received until `last_busy` seconds of sampling, then nothing; a restart of the clock does not disturb it.
function megabit() {
    const router = one_wan((since, own) => 5000000n + 125000n * BigInt(Math.min(own.counted, own.last_busy)));
    router.last_busy = Infinity;
    return router;
}

const remarks = (view) => view.page.evaluate(() => [...document.querySelectorAll('.rows .why')].map((cell) => cell.innerText).filter(Boolean));

test('1 Mbit/s, then nothing: seconds, minutes and hours after both rings have wrapped', async () => {
    const router = megabit();
    router.advance(130 * 3600, { quietly: true });
    assert.equal(router.history('wan').sec.held.length, 119);
    assert.equal(router.history('wan').min.held.length, 119);
    router.publish_all();
    const view = await open(browser, router, { hash: '#wan' });
    for (const [series, part] of [['seconds', 0.05], ['minutes', 0.1], ['hours', 0.1]]) {
        await view.page.click(`.tools >> text=${series}`);
        // The panel that was there stays until the browser has told of the new address.
        await view.until((chosen) => document.querySelector('[aria-label=Series] [aria-pressed=true]').innerText === chosen && document.querySelectorAll('.card').length === 1, series);
        const { down, up } = (await view.figures('WAN 1'));
        for (const which of ['now', 'average', 'peak']) {
            near(down[which], 1e6, part, `${series}, down, ${which}`);
            near(up[which], 1e5, part, `${series}, up, ${which}`);
        }
    }
    // Nothing more: a minute of seconds, then of minutes, then of hours.
    router.last_busy = router.counted;
    for (const [series, seconds] of [['seconds', 80], ['minutes', 400], ['hours', 6 * 3600]]) {
        router.advance(seconds, { quietly: true });
        router.publish_all();
        await view.page.goto('about:blank');
        await view.page.goto(`${view.server.address}#wan/${series}`);
        await view.until(() => document.querySelectorAll('.card').length === 1);
        const { down } = await view.figures('WAN 1');
        assert.equal(down.now, 0, `${series}: 0 is 0`);
        if (series !== 'seconds') near(down.peak, 1e6, 0.1, `${series}: what was before`);
    }
    await view.close();
});

test('seconds grow past what a document spans', async () => {
    const router = megabit();
    router.advance(200, { quietly: true });
    const view = await open(browser, router, { hash: '#wan' });
    await view.is_state('live');
    await view.pass(40);
    await view.page.click('text=table');
    const rows = await view.page.locator('.rows tbody tr').count();
    assert.ok(rows > 72, `${rows} rows`);
    assert.deepEqual(await remarks(view), []);
    near((await view.figures('WAN 1')).down.average, 1e6, 0.01, 'average');
    await view.close();
});

test('an interface deleted and made again: one gap, no spike, and a sentence', async () => {
    const router = one_wan((since, own) => (own.counted < 230 ? 9000000000n + 125000n * BigInt(own.counted) : 125000n * BigInt(own.counted - 230)));
    router.advance(200, { quietly: true });
    const view = await open(browser, router, { hash: '#wan' });
    await view.is_state('live');
    await view.pass(40);
    await view.page.click('text=table');
    assert.deepEqual((await remarks(view)).filter((text) => text !== 'nothing before it to compare with'), ['counter restarted']);
    near((await view.figures('WAN 1')).down.peak, 1e6, 0.05, 'peak');
    await view.has_text('WAN 1: counter restarted at ');
    await view.close();
});

test('an interface that is down for three seconds and comes back with its counter: no spike', async () => {
    const router = one_wan((since, own) => (own.counted >= 220 && own.counted < 223 ? 0n : 90000000n + 125000n * BigInt(own.counted)));
    router.advance(200, { quietly: true });
    const view = await open(browser, router, { hash: '#wan' });
    await view.is_state('live');
    await view.pass(35);
    near((await view.figures('WAN 1')).down.peak, 1e6, 0.05, 'peak');
    await view.has_text('WAN 1: was down, counter came back at ');
    await view.close();
});

for (const [what, jump] of [['back a minute', -60], ['on a day', 86400]]) {
    test(`the clock set ${what}: true rates, and a sentence`, async () => {
        const router = megabit();
        router.advance(200, { quietly: true });
        const view = await open(browser, router, { hash: '#wan' });
        await view.is_state('live');
        await view.pass(5);
        router.time += jump;
        await view.pass(20);
        await view.is_state('live');
        const { down } = await view.figures('WAN 1');
        near(down.now, 1e6, 0.05, 'now');
        near(down.peak, 1e6, 0.05, 'peak');
        await view.page.click('#note-count');
        assert.match(await view.text('#notes'), jump < 0 ? /clock was set back by about (59 s|1 min|1 min 1 s) at/ : /clock was set forth by about (1 d|23 h 59 min) at/);
        await view.close();
    });
}

test('the clock from 1970 to now', async () => {
    const router = megabit();
    router.time = 100;
    router.advance(200, { quietly: true });
    const view = await open(browser, router, { hash: '#wan', browser_time: 1795233386 });
    await view.is_state('live');
    assert.match(await view.text('#skew'), /ahead of the router’s/);
    router.time = await view.page.evaluate(() => Math.round(Date.now() / 1000));
    await view.pass(20);
    await view.is_state('live');
    near((await view.figures('WAN 1')).down.peak, 1e6, 0.05, 'peak');
    near((await view.figures('WAN 1')).down.now, 1e6, 0.05, 'now');
    assert.equal(await view.text('#skew'), '');
    await view.close();
});

test('counters up to 2^64 - 1 are exact', async () => {
    const router = one_wan((since, own) => (1n << 63n) + 125000n * BigInt(own.counted));
    router.advance(100, { quietly: true });
    const view = await open(browser, router, { hash: '#wan' });
    await view.is_state('live');
    assert.equal((await view.figures('WAN 1')).down.text[0], '1.00 M');
    await view.close();
});

test('interfaces that come and go: rates are by name, whatever the document says by place', async () => {
    const router = usual();
    router.advance(30, { quietly: true });
    const view = await open(browser, router);
    await view.is_state('live');
    await view.pass(12);
    const figures = () => view.page.evaluate(() => Object.fromEntries([...document.querySelectorAll('.devices tbody tr')].map((row) =>
        [row.querySelector('.c-name span').innerText, row.querySelector('.c-total .share > span:last-child').innerText])));
    const before = await figures();
    assert.equal(Object.keys(before).length, 9);
    router.list = router.list.slice(1);
    await view.pass(6);
    const now = await figures();
    assert.equal(Object.keys(now).length, 8);
    for (const [name, text] of Object.entries(now)) assert.match(text, /^([\d.]+ [kM]|0)$/, `${name} ${text}`);
    await view.close();
});

test('the overview: kinds, sorting, and what is said of a busy LAN beside an idle WAN', async () => {
    const router = usual();
    const sample = router.sample;
    router.sample = (key, time, own) => (key === 'wan' ? { wan1_tx: 5n, wan1_rx: 7n, wan1_txrx: 12n } : sample(key, time, own));
    router.advance(100, { quietly: true });
    const view = await open(browser, router);
    await view.is_state('live');
    const names = () => view.page.locator('.devices tbody .c-name span').allInnerTexts();
    assert.deepEqual((await names()).slice(3, 6), ['eth0', 'eth1', 'eth10']);
    await view.pass(9);
    await view.page.click('.devices thead >> text=total');
    const totals = await view.page.evaluate(() => [...document.querySelectorAll('.devices tbody .bar')].map((bar) => parseFloat(bar.style.width)));
    assert.deepEqual(totals, [...totals].sort((a, b) => b - a));
    assert.equal(totals[0], 100);
    await view.page.click('.devices thead >> text=interface');
    assert.equal(await view.page.getAttribute('.devices .c-name', 'aria-sort'), 'ascending');
    await view.has_text('traffic handled in hardware is not counted');
    await view.close();
});

test('as much as documents hold: 75 interfaces, 16 WANs, 128 access points', async () => {
    const router = full();
    router.advance(90, { quietly: true });
    router.publish_all();
    const view = await open(browser, router);
    await view.until(() => document.querySelectorAll('.devices tbody tr').length === 75);
    await view.page.click('nav >> text=WAN');
    await view.until(() => document.querySelectorAll('.card canvas').length === 16);
    await view.page.click('nav >> text=AP');
    await view.until(() => document.querySelectorAll('.list tbody tr').length === 32);
    await view.has_text('Access points 33 to 128 are not in this list');
    await view.page.selectOption('.tools select', '128');
    await view.is_state('live');
    assert.deepEqual(router.asked.at(-1).body, 'ap=128');
    await view.until(() => document.querySelector('.card h3')?.innerText.startsWith('Access point 128'));
    await view.close();
});

test('pause keeps the picture, and nothing is lost meanwhile', async () => {
    const router = megabit();
    router.advance(100, { quietly: true });
    const view = await open(browser, router, { hash: '#wan' });
    await view.is_state('live');
    await view.page.click('text=table');
    const newest = () => view.text('.rows tbody th');
    await view.page.click('.tools >> text=pause');
    const at = await newest();
    await view.pass(5);
    assert.equal(await newest(), at);
    assert.equal(await view.text('#state-word'), 'paused');
    await view.page.click('.tools >> text=pause');
    assert.notEqual(await newest(), at);
    assert.deepEqual(await remarks(view), []);
    await view.close();
});

test('one unit at a time: figures, axis, table and download', async () => {
    const router = megabit();
    router.advance(100, { quietly: true });
    const view = await open(browser, router, { hash: '#wan' });
    await view.is_state('live');
    const download = async () => {
        const [file] = await Promise.all([view.page.waitForEvent('download'), view.page.click('.tools >> text=CSV')]);
        const parts = [];
        for await (const part of await file.createReadStream()) parts.push(part);
        return { name: file.suggestedFilename(), lines: Buffer.concat(parts).toString().trimEnd().split('\r\n') };
    };
    const bits = await download();
    assert.match(bits.name, /^wan_seconds_2026-11-21T\d\d-\d\d-\d\d\+01-00\.csv$/);
    assert.equal(bits.lines[0], 'time,epoch,"WAN 1 down, bit/s","WAN 1 up, bit/s",remark');
    assert.match(bits.lines.at(-1), /^2026-11-21T\d\d:\d\d:\d\d\+01:00,17952\d{5},1000000,100000,$/);
    assert.equal(bits.lines.length, 62, 'a head and the 61 rows of a minute');
    await view.page.click('#unit >> text=B/s');
    assert.equal((await view.figures('WAN 1')).down.text[0], '125 k');
    assert.equal(await view.text('.legend .unit'), 'B/s');
    const bytes = await download();
    assert.match(bits.lines[0].replaceAll('bit/s', 'B/s'), new RegExp(`^${bytes.lines[0]}$`));
    assert.match(bytes.lines.at(-1), /,125000,12500,$/);
    await view.page.selectOption('#zone select', 'utc');
    const utc = await download();
    assert.match(utc.lines.at(-1), /^2026-11-21T\d\d:\d\d:\d\d\+00:00,/);
    await view.page.reload();
    await view.is_state('live');
    assert.equal(await view.text('.legend .unit'), 'B/s', 'the unit is remembered');
    await view.close();
});

test('zones: browser, UTC, and the router’s when it tells', async () => {
    const router = megabit();
    router.offset = -5 * 3600;
    router.advance(100, { quietly: true });
    const view = await open(browser, router, { hash: '#wan' });
    await view.is_state('live');
    await view.until(() => document.querySelector('#zone').innerText.includes('router -05:00'));
    await view.page.click('text=table');
    const hours = {};
    for (const zone of ['browser', 'router', 'utc']) {
        await view.page.selectOption('#zone select', zone);
        hours[zone] = Number((await view.text('.rows tbody th')).slice(0, 2));
        assert.match(await view.text('.rows thead th'), { browser: /\+01:00/, router: /-05:00/, utc: /\+00:00/ }[zone]);
    }
    assert.equal((hours.browser - hours.utc + 24) % 24, 1);
    assert.equal((hours.utc - hours.router + 24) % 24, 5);
    await view.close();
});

test('the crosshair follows arrow keys on all charts, and goes with Escape', async () => {
    const router = usual();
    router.advance(100, { quietly: true });
    const view = await open(browser, router, { hash: '#wan' });
    await view.is_state('live');
    await view.page.focus('.plot');
    await view.page.keyboard.press('ArrowLeft');
    await view.page.keyboard.press('ArrowLeft');
    await view.settle();
    const readouts = await view.page.locator('.readout').allInnerTexts();
    assert.match(readouts[0], /^at \d\d:\d\d:\d\d$/);
    assert.equal(readouts[1], readouts[0]);
    assert.equal(await view.text('.legend thead th:nth-child(2)'), 'there');
    await view.page.keyboard.press('ArrowRight');
    await view.settle();
    assert.notEqual(await view.text('.readout'), readouts[0]);
    await view.page.keyboard.press('Escape');
    await view.settle();
    assert.equal(await view.text('.readout'), '');
    assert.equal(await view.text('.legend thead th:nth-child(2)'), 'now');
    await view.close();
});

test('legend entries are buttons that hide a line, and stay so', async () => {
    const router = usual();
    router.advance(100, { quietly: true });
    const view = await open(browser, router, { hash: '#wan' });
    await view.is_state('live');
    const pressed = () => view.page.getAttribute('.key >> nth=0', 'aria-pressed');
    assert.equal(await pressed(), 'true');
    await view.page.click('.key >> nth=0');
    assert.equal(await pressed(), 'false');
    await view.page.reload();
    await view.is_state('live');
    assert.equal(await pressed(), 'false');
    const kept = await view.page.evaluate(() => Object.keys(JSON.parse(localStorage.getItem('dashboard-viewer'))).sort());
    assert.deepEqual(kept, ['every', 'hidden', 'theme', 'unit', 'zone']);
    assert.deepEqual(await view.context.cookies(), []);
    await view.close();
});

test('each canvas is an image with a summary in words', async () => {
    const router = megabit();
    router.advance(100, { quietly: true });
    const view = await open(browser, router, { hash: '#wan' });
    await view.is_state('live');
    assert.equal(await view.page.getAttribute('canvas', 'role'), 'img');
    assert.match(await view.page.getAttribute('canvas', 'aria-label'), /^WAN 1, \d\d:\d\d:\d\d to \d\d:\d\d:\d\d: down now 1\.00 M, average 1\.00 M, peak 1\.00 M bit\/s at /);
    await view.close();
});

test('those who want less motion get a drawing every five seconds', async () => {
    const router = megabit();
    router.advance(100, { quietly: true });
    const view = await open(browser, router, { hash: '#wan', context: { reducedMotion: 'reduce' } });
    await view.is_state('live');
    const drawings = new Set();
    for (let i = 0; i < 20; i++) {
        await view.pass(1);
        drawings.add(await view.page.getAttribute('canvas', 'aria-label'));
    }
    assert.ok(drawings.size >= 3 && drawings.size <= 6, `${drawings.size} drawings in 20 s`);
    await view.close();
});

test('the address names the panel, and the back button works', async () => {
    const router = usual();
    router.advance(100, { quietly: true });
    const view = await open(browser, router);
    await view.page.click('nav >> text=SIM');
    await view.page.click('nav >> text=Bond');
    await view.page.click('.tools >> text=Bond 2');
    assert.match(view.page.url(), /#bond\/2$/);
    for (const title of ['Bond', 'SIM', 'Overview']) {
        await view.page.goBack();
        await view.until((wanted) => document.querySelector('nav [aria-current]').innerText === wanted, title);
    }
    await view.close();
});
