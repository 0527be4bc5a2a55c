// One pass in a real browser over golden documents: every panel shows the figures that the documents hold, in every width
// and both themes, without a report of the content security policy, a request that leaves the host or an objection of axe.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { after, before, test } from 'node:test';
import { axe_source, finish, launch, open } from './browser.mjs';
import { Router } from './router.mjs';
import { usual } from './scenes.mjs';

let browser;
before(async () => (browser = await launch()));
after(() => finish(browser));

// The samples of the documentation, as if they had been written just now.
function documented() {
    const router = new Router(() => null, { begin: 1795233387 });
    for (const name of ['wan_traffic_sec_0', 'lan_traffic_sec_0', 'bond_traffic_sec_1', 'wifi_24g_traffic_sec_0', 'wifi_5g_traffic_sec_0',
        'aptraffic_sec_2', 'aptraffic_allap_sec', 'sim_strquality_sec_0', 'cpu_usage_sec_0', 'mem_usage_sec_0', 'current_traffic_sec_0']) {
        router.write(`${name}.xml`, readFileSync(new URL(`../../docs/samples/${name}.xml`, import.meta.url), 'utf8'));
    }
    return router;
}

test('golden documents: the figures that they hold', async () => {
    const view = await open(browser, documented());
    await view.has_text('eth0');
    assert.equal(await view.text('.meter .figure'), '12 %');
    assert.deepEqual(await view.page.locator('.devices tbody .c-name span').allInnerTexts(), ['eth0', 'rai0']);
    assert.match(await view.text('.ports'), /eth1\s+up\s+eth2\s+–/);

    await view.page.click('nav >> text=WAN');
    await view.until(() => document.querySelectorAll('.card').length === 2);
    // 397 bytes sent and 88,807 received in a second; WAN 16 began anew.
    assert.deepEqual((await view.figures('WAN 1')).up.text.slice(0, 2), ['3.18 k', '3.18 k']);
    assert.deepEqual((await view.figures('WAN 1')).down.text.slice(0, 2), ['710 k', '710 k']);
    assert.equal((await view.figures('WAN 16')).up.now, null);
    await view.has_text('WAN 16: counter restarted at 04:56:27');

    await view.page.click('nav >> text=LAN >> nth=0');
    await view.until(() => document.querySelector('.card')?.getAttribute('aria-label') === 'LAN 1');
    assert.equal((await view.figures('LAN 1'))['to clients'].text[0], '11.7 k');

    await view.page.click('nav >> text=SIM');
    await view.until(() => document.querySelectorAll('.card').length === 6);
    assert.equal((await view.figures('RSRP'))['SIM 1'].text[0], '−104 fair');
    assert.equal((await view.figures('RSRP'))['SIM 2'].text[0], '–');

    await view.page.click('nav >> text=CPU/Memory');
    await view.until(() => document.querySelectorAll('.card').length === 4);
    assert.equal((await view.figures('CPU')).usage.average, 56);
    assert.equal((await view.figures('Core 2')).usage.average, 100, 'a core that was not measured is no value');
    assert.equal((await view.figures('Memory')).used.text[1], '79.4 Mi');

    await view.page.goto(`${view.server.address}#bond/1`);
    await view.has_text('WAN-1(slave1)');
    await view.page.goto(`${view.server.address}#ap/3`);
    await view.has_text('Access point 3');
    await view.close();
});

const panels = ['overview', 'wan', 'bond', 'lan', 'wifi24', 'wifi5', 'ap', 'ap/2', 'sim', 'cpu'];

for (const theme of ['light', 'dark']) {
    test(`every panel, ${theme}: live, no wider than the window, nothing for axe to object to`, async () => {
        const router = usual();
        router.advance(200, { quietly: true });
        router.publish_all();
        const view = await open(browser, router, { theme, width: 320, clock: false });
        await view.page.evaluate(axe_source);
        const objections = [];
        for (const panel of panels) {
            await view.page.evaluate((hash) => (location.hash = hash), panel);
            await view.until(() => document.querySelector('.card, .without .advice') !== null, null, `something on ${panel}`);
            // The theme changes no width.
            for (const width of theme === 'light' ? [1440, 768, 320] : []) {
                await view.page.setViewportSize({ width, height: 800 });
                await view.page.evaluate(() => new Promise((resolve) => (new ResizeObserver(resolve)).observe(document.body)));
                const wide = await view.page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
                assert.ok(wide <= 0, `${panel} at ${width}: ${wide} too wide`);
            }
            const found = await view.page.evaluate(() => axe.run(document, { resultTypes: ['violations'] }));
            objections.push(...found.violations.map((v) => `${panel}: ${v.id}: ${v.nodes.map((n) => n.target).slice(0, 3)}`));
        }
        assert.deepEqual(objections, []);
        assert.equal(await view.page.evaluate(() => document.documentElement.dataset.theme), theme);
        await view.close();
    });
}
