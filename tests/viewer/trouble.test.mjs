// What the page says and does when something is wrong: documents, requests, modules, the daemon, the network, names.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { finish, launch, open } from './browser.mjs';
import { nothing, one_wan, usual } from './scenes.mjs';
import { serve } from './server.mjs';

let browser;
before(async () => (browser = await launch()));
after(() => finish(browser));

const megabit = () => one_wan((since, router) => 5000000n + 125000n * BigInt(router.counted));

async function wan(options = {}, router = megabit()) {
    router.advance(100, { quietly: true });
    const view = await open(browser, router, { hash: '#wan', ...options });
    if (options.wait !== false) await view.is_state('live');
    return view;
}

const wan_file = 'wan_traffic_sec_0.xml';

// Lets `behave` decide about the next answers for the WAN document, so many of them.
function upset(view, times, what) {
    let left = times;
    view.server.behave = (name) => (name === wan_file && left-- > 0 ? what : null);
    return () => left <= 0;
}

const notes = async (view) => (await view.page.locator('#notes li').allTextContents()).join('\n');
const requests = (view, path) => view.server.log.filter((one) => one.path === path);

// Before the page's own scripts: notes what is fetched, when by the page's clock, and past the cache or not.
function watch_fetches() {
    const own_fetch = globalThis.fetch;
    globalThis.fetched = [];
    globalThis.fetch = (address, options) => {
        globalThis.fetched.push({ file: String(address).replace('./', ''), at: performance.now(), cache: options.cache });
        return own_fetch(address, options);
    };
}

const fetches = (view) => view.page.evaluate((file) => globalThis.fetched.filter((one) => one.file === file), wan_file);

test('the moment without a file: tried again after 300 ms, and not worth a word', async () => {
    const view = await wan({ script: watch_fetches });
    const done = upset(view, 1, { status: 404 });
    await view.pass(6);
    assert.ok(done());
    const times = (await fetches(view)).map((one) => one.at);
    const soonest = Math.min(...times.slice(1).map((time, i) => time - times[i]));
    assert.ok(soonest >= 299 && soonest < 600, `${soonest} ms`);
    assert.equal(await notes(view), '');
    assert.equal(await view.page.locator('.message:visible').count(), 0);
    await view.close();
});

test('a file that stays away is named, with what may keep it away', async () => {
    const view = await wan();
    upset(view, Infinity, { status: 404 });
    await view.has_text('wan_traffic_sec_0.xml is not there: it was not published');
    await view.has_text('the server may not read it');
    view.server.behave = () => null;
    await view.is_state('live');
    await view.close();
});

test('a document that was cut short is read again at once', async () => {
    for (const cut of [{ cut: 40 }, { cut: 40, promise: true }]) {
        const view = await wan({ script: watch_fetches });
        const done = upset(view, 1, cut);
        await view.pass(5);
        assert.ok(done());
        const again = (await fetches(view)).filter((one) => one.cache === 'reload');
        assert.equal(again.length, 1, 'past the cache, which would confirm the cut one');
        assert.equal(await view.text('#state-word'), 'live');
        assert.equal(await notes(view), '');
        await view.page.click('text=table');
        assert.equal(await view.page.locator('.rows .why:not(:empty)').count(), 0);
        await view.close();
    }
});

test('a document that is always cut short is named', async () => {
    const view = await wan();
    upset(view, Infinity, { cut: 40 });
    await view.has_text('wan_traffic_sec_0.xml was cut short; next try in');
    await view.is_state('stale');
    assert.equal((await view.figures('WAN 1')).down.text[0], '1.00 M', 'the last good picture stays');
    view.server.behave = () => null;
    await view.is_state('live', 20);
    assert.equal(await view.text('#note'), '', 'and nothing is said any more');
    await view.close();
});

test('a tail of an older file behind the end is not read', async () => {
    const router = megabit();
    const view = await wan({}, router);
    view.server.behave = (name) => (name === wan_file ? { text: `${router.files.get(name).text}9</wan1_tx>\n    <time>1000</time>\n</datalist>\n` } : null);
    await view.pass(5);
    assert.equal(await view.text('#state-word'), 'live');
    assert.equal((await view.figures('WAN 1')).down.text[0], '1.00 M');
    await view.close();
});

test('failures are said, and tried again after 1, 2, 4 and 8 seconds', async () => {
    const view = await wan();
    view.server.behave = (name) => (name === wan_file ? { status: 503 } : null);
    const from = view.server.log.length;
    await view.is_state('offline');
    await view.has_text('the server answered 503; next try in');
    await view.pass(30);
    const times = view.server.log.slice(from).filter((one) => one.path === `/${wan_file}`).map((one) => one.time);
    const gaps = times.slice(1).map((time, i) => time - times[i]);
    assert.ok(gaps.length >= 4 && gaps.length <= 16, gaps.join(' '));
    assert.ok(gaps.at(-1) >= 6, `the last ones are far apart: ${gaps.join(' ')}`);
    view.server.behave = () => null;
    await view.is_state('live', 20);
    await view.close();
});

test('an answer that does not come is given up after four seconds', async () => {
    const view = await wan();
    upset(view, Infinity, { hang: true });
    await view.is_state('offline');
    await view.has_text('took longer than 4 s');
    const before = requests(view, `/${wan_file}`).length;
    await view.page.clock.runFor(3000);
    assert.ok(requests(view, `/${wan_file}`).length <= before + 1, 'never two at a time');
    await view.close();
});

test('offline, and back', async () => {
    const view = await wan();
    await view.server.close();
    await view.is_state('offline');
    await view.has_text('No answer for wan_traffic_sec_0.xml; next try in');
    await view.server.listen_again();
    await view.is_state('live', 20);
    await view.close();
});

// ---- Names

test('a<b&c: the last good picture stays, the document is counted and named', async () => {
    const router = usual();
    router.advance(30, { quietly: true });
    const view = await open(browser, router);
    await view.is_state('live');
    await view.pass(7);
    const picture = await view.text('.devices tbody');
    router.list = [{ name: 'a<b&c', kind: 'Ethernet', mean: 1000, seed: 1 }, ...router.list];
    await view.has_text('current_traffic_sec_0.xml is not well-formed (');
    assert.equal(await view.text('.devices tbody'), picture);
    assert.match(await view.text('#note'), /the last good picture stays/);
    // When that picture is stale, what can be read is better than nothing.
    await view.until(() => document.querySelector('.devices .c-name span').innerText === 'a<b&c');
    await view.is_state('live');
    await view.close();
});

test('an interface called <img onerror=x> shows as such', async () => {
    for (const name of ['<img onerror=x>', '&lt;img src=x onerror=alert(1)&gt;']) {
        const router = usual();
        router.list = [{ name, kind: 'Ethernet', mean: 1000, seed: 1 }];
        router.advance(30, { quietly: true });
        const view = await open(browser, router);
        await view.until(() => document.querySelector('.devices .c-name span')?.innerText.startsWith('<img'));
        assert.equal(await view.page.locator('img').count(), 0);
        await view.close();
    }
});

test('a name map that is no XML does not hide a bond', async () => {
    const router = usual();
    router.names.set('bond0', [['namemap_bond', '<b>R&D'], ['namemap_slave0', 'WAN-1(slave1)']]);
    router.advance(30, { quietly: true });
    const view = await open(browser, router, { hash: '#bond/0' });
    await view.is_state('live');
    await view.has_text('<b>R&D');
    await view.has_text('bond_traffic_sec_0.xml is not well-formed');
    await view.close();
});

// ---- Requests

test('what is on screen is asked for, at once and every twenty seconds, and never a 0', async () => {
    const router = usual();
    router.advance(30, { quietly: true });
    const view = await open(browser, router);
    await view.is_state('live');
    assert.equal(router.asked[0].body, 'current=1&wan=1');
    await view.pass(41);
    const times = router.asked.map((one) => one.time);
    assert.equal(times.length, 3, times.join(' '));
    for (let i = 1; i < 3; i++) assert.ok(Math.abs(times[i] - times[i - 1] - 20) <= 1, times.join(' '));
    const bodies = { lan: 'lan=1', wifi24: 'wifi24=1', wifi5: 'wifi5=1', sim: 'sim=1', cpu: 'cpu=1&mem=1', ap: 'allap=1', 'ap/5': 'ap=5', 'bond/2': 'bond=3' };
    for (const [hash, body] of Object.entries(bodies)) {
        await view.page.evaluate((to) => (location.hash = to), hash);
        await view.settle();
        assert.equal(router.asked.at(-1).body, body);
    }
    await view.close();
    assert.ok(router.asked.every((one) => !/=0/.test(one.body)));
});

test('only what is on screen is read', async () => {
    const router = usual();
    router.advance(200, { quietly: true });
    const view = await open(browser, router, { hash: '#sim' });
    await view.is_state('live');
    const from = view.server.log.length;
    await view.pass(10);
    const read = new Set(view.server.log.slice(from).map((one) => one.path));
    assert.deepEqual([...read].sort(), ['/sim_strquality_sec_0.xml']);
    const count = requests(view, '/sim_strquality_sec_0.xml').length;
    assert.ok(count >= 10 && count <= 20, `${count} in some ten seconds`);
    await view.page.selectOption('.tools select', '5');
    const before = requests(view, '/sim_strquality_sec_0.xml').length;
    await view.pass(20);
    assert.ok(requests(view, '/sim_strquality_sec_0.xml').length - before <= 6);
    await view.close();
});

test('a first look: waiting with a countdown, then data', async () => {
    const router = megabit();
    router.advance(100, { quietly: true });
    router.write(wan_file, '<?xml version="1.0" ?>\n<datalist>\n</datalist>\n');
    const view = await open(browser, router, { hash: '#wan' });
    await view.has_text('waiting for fresh data, up to 7 s: ', 2);
    const seconds = await view.until(() => document.querySelector('#state').dataset.state === 'live');
    assert.ok(seconds <= 7, `${seconds} s`);
    assert.equal(await view.page.locator('.message:visible').count(), 0);
    await view.close();
});

for (const [answer, text] of [
    [[403, { ok: false, error: 'origin' }], 'The request for graphs was refused (403 origin).'],
    [[500, { ok: false, error: 'store' }], 'The configuration store cannot be written'],
    [[404, {}], 'This server has no program at /cgi-bin/viewer'],
    [[200, 'no object'], 'The request for graphs was refused (200).'],
]) {
    test(`a request that is refused: ${JSON.stringify(answer)}`, async () => {
        const router = megabit();
        router.refuse = answer;
        const view = await wan({ wait: false }, router);
        await view.has_text(text);
        assert.equal(await view.text('#state-word'), 'stale');
        router.refuse = null;
        await view.is_state('live');
        await view.close();
    });
}

test('a module that is off, and the command that mends it', async () => {
    const router = megabit();
    router.on.delete('wan');
    const view = await wan({ wait: false }, router);
    await view.has_text('WAN traffic: the module is off.');
    assert.equal(await view.text('.message code'), 'csmanctl set wan.enable 1');
    assert.equal(await view.page.locator('.message button').count(), 0, 'no switch unless the operator said so');
    await view.close();
});

test('a module is switched on from the page where the operator allows it', async () => {
    const router = megabit();
    router.on.delete('wan');
    router.may_enable = true;
    const view = await wan({ wait: false }, router);
    await view.until(() => document.querySelector('.message button') !== null);
    await view.page.click('.message button');
    await view.is_state('live');
    assert.ok(router.asked.some((one) => one.body === 'enable=wan'));
    await view.close();
});

test('all modules off', async () => {
    const router = megabit();
    router.enabled = false;
    const view = await wan({ wait: false }, router);
    await view.has_text('The daemon’s main switch is off');
    await view.has_text('csmanctl set dashboard.enable 1');
    await view.close();
});

test('a daemon that stops and comes back', async () => {
    const router = usual();
    router.advance(100, { quietly: true });
    const view = await open(browser, router);
    await view.is_state('live');
    await view.pass(4);
    router.runs = false;
    const seconds = await view.until(() => document.querySelector('#state').dataset.state === 'stale');
    assert.ok(seconds >= 7 && seconds <= 15, `stale after ${seconds} s`);
    await view.has_text('The daemon does not run, or has stopped: nothing was written since');
    router.runs = true;
    await view.is_state('live', 20);
    assert.equal(await view.page.locator('.message:visible').count(), 0);
    await view.close();
});

test('on a panel of its own, the page looks whether the daemon runs at all', async () => {
    const router = usual();
    router.advance(100, { quietly: true });
    const view = await open(browser, router, { hash: '#wan' });
    await view.is_state('live');
    const sample = router.sample;
    router.sample = (key, ...rest) => (key === 'wan' ? null : sample(key, ...rest));
    await view.has_text('WAN traffic: no new samples since');
    await view.until(() => !document.body.innerText.includes('Or the daemon does not run'));
    router.runs = false;
    await view.has_text('The daemon does not run, or has stopped');
    router.runs = true;
    router.sample = sample;
    await view.is_state('live', 20);
    await view.pass(3);
    const from = view.server.log.length;
    await view.pass(5);
    assert.ok(!view.server.log.slice(from).some((one) => one.path.includes('current')), 'and stops looking');
    await view.close();
});

test('nothing to measure is said on every panel', async () => {
    const router = nothing();
    router.advance(10);
    const view = await open(browser, router, { hash: '#lan' });
    await view.has_text('No bridge (br0 to br4) is up.');
    for (const [hash, text] of [['wan', 'No WAN interface is up'], ['sim', 'Neither SIM slot is alive'], ['ap/7', 'aptraffic_sec_6.xml is not there'],
        ['wan/minutes', 'No minute was averaged'], ['wan/hours', 'No hour was averaged']]) {
        await view.page.evaluate((to) => (location.hash = to), hash);
        await view.has_text(text);
    }
    await view.close();
});

// ---- Viewers

test('two viewers, one closes: the other one’s graphs go on', async () => {
    const router = megabit();
    router.advance(100, { quietly: true });
    const server = await serve(router);
    const one = await open(browser, router, { hash: '#wan', server });
    const two = await open(browser, router, { hash: '#wan', server });
    await one.is_state('live');
    await two.is_state('live');
    await one.close();
    await two.pass(75);
    await two.is_state('live', 0 + 1);
    assert.ok(router.asked.every((ask) => ask.body === 'wan=1'));
    await two.close();
});

test('a hidden tab asks for nothing and reads nothing, and the files rest within 70 s', async () => {
    const view = await wan();
    const { router, server } = view;
    await view.pass(3);
    await view.hide(true);
    await view.settle();
    const from = server.log.length;
    await view.pass(70);
    assert.deepEqual(server.log.slice(from).map((one) => one.path), []);
    const writes = router.writes;
    await view.pass(10);
    assert.equal(router.writes, writes, 'the daemon rests');
    await view.hide(false);
    await view.settle();
    assert.ok(server.log.slice(from).some((one) => one.path === '/cgi-bin/viewer'), 'asked again at once');
    await view.has_text('waiting for fresh data', 3);
    await view.is_state('live');
    await view.close();
});

test('a tab that is closed while another page asks leaves no 0 behind', async () => {
    const view = await wan();
    await view.page.close({ runBeforeUnload: true });
    assert.ok(view.router.asked.every((one) => one.body === 'wan=1'));
    await view.close();
});

// ---- Browsers and parts that are missing

test('without JavaScript there is a list of the documents', async () => {
    const router = megabit();
    const view = await open(browser, router, { javascript: false, clock: false });
    const links = view.page.locator('#plain a:visible');
    assert.ok(await links.count() > 25);
    assert.equal(await view.page.locator('#app:visible').count(), 0);
    await view.close();
});

test('a browser without BigInt, and a page that is not whole, have it, too', async () => {
    const router = megabit();
    const old = await open(browser, router, { clock: false, script: 'delete globalThis.BigInt' });
    await old.page.locator('#plain a').first().waitFor({ state: 'visible' });
    await old.close({ clean: false });
    const context = await browser.newContext();
    const page = await context.newPage();
    const server = await serve(router);
    await page.route('**/rates.js', (route) => route.fulfill({ status: 404 }));
    await page.goto(server.address);
    await page.locator('#plain a').first().waitFor({ state: 'visible' });
    await context.close();
    await server.close();
});

test('every document of the plain list is one that is published', async () => {
    const router = usual();
    router.advance(60, { quietly: true });
    router.publish_all();
    const view = await open(browser, router, { javascript: false, clock: false });
    const names = await view.page.locator('#plain a').evaluateAll((links) => links.map((link) => link.getAttribute('href')));
    const unknown = names.filter((name) => !/^(bond_traffic_sec_[12])\.xml$/.test(name) && !router.files.has(name));
    assert.deepEqual(unknown, []);
    await view.close();
});

test('without uPlot the page says so, and shows tables', async () => {
    const view = await wan({ charts: false });
    await view.has_text('Charts are missing');
    assert.ok(await view.page.locator('.rows:visible tbody tr').count() > 50);
    assert.equal(await view.page.locator('canvas').count(), 0);
    assert.equal((await view.figures('WAN 1')).down.text[0], '1.00 M');
    await view.close();
});

test('notes are spoken one in five seconds at most', async () => {
    const view = await wan();
    await view.page.evaluate(() => {
        globalThis.spoken = [];
        new MutationObserver(() => globalThis.spoken.push(performance.now())).observe(document.querySelector('#note'), { childList: true });
    });
    for (let i = 0; i < 6; i++) {
        view.router.time += i % 2 ? 600 : -600;
        await view.pass(2);
    }
    await view.pass(30);
    const times = await view.page.evaluate(() => globalThis.spoken);
    assert.ok(times.length >= 2);
    for (let i = 1; i < times.length; i++) assert.ok(times[i] - times[i - 1] >= 4999, times.join(' '));
    await view.close();
});
