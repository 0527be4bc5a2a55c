// Pictures of every panel for people to look at, in build/pictures: as usual, with nothing to show and with too much, in
// three widths and both themes. What a machine can say of them is asserted: no wider than the window, nothing cut off,
// nothing for axe to object to with too much and with nothing.
import assert from 'node:assert/strict';
import { mkdirSync } from 'node:fs';
import { after, before, test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { axe_source, finish, launch, open } from './browser.mjs';
import { full, nothing, usual } from './scenes.mjs';

const folder = fileURLToPath(new URL('../../build/pictures/', import.meta.url));
mkdirSync(folder, { recursive: true });

let browser;
before(async () => (browser = await launch()));
after(() => finish(browser));

const panels = ['overview', 'wan', 'bond', 'lan', 'wifi24', 'wifi5', 'ap', 'ap/2', 'sim', 'cpu'];
const scenes = { usual, full, nothing };

// Text that is cut off: a box that is narrower than what stands in it, and does not scroll.
function cut_off() {
    return [...document.querySelectorAll('#app *')].filter((node) => {
        if (node.closest('.device-box, .table-box, canvas, .unseen, svg') || node.children.length > 0 || !node.textContent.trim()) return false;
        const card = node.closest('.card');
        if (card !== null && node.getBoundingClientRect().right > card.getBoundingClientRect().right - 4) return true;
        return node.offsetParent !== null && node.scrollWidth > node.clientWidth + 1 && node.clientWidth > 0 &&
            getComputedStyle(node).display !== 'inline' && node.tagName !== 'SELECT';
    }).map((node) => `${node.tagName}.${node.className} ${node.textContent.slice(0, 40)}`);
}

for (const [name, make] of Object.entries(scenes)) {
    for (const theme of ['light', 'dark']) {
        test(`pictures: ${name}, ${theme}`, async () => {
            const router = make();
            router.advance(name === 'full' ? 400 : 3700, { quietly: true });
            if (name !== 'nothing') router.publish_all();
            const view = await open(browser, router, { theme, width: 1440 });
            for (const panel of panels) {
                await view.page.evaluate((hash) => (location.hash = hash), panel);
                if (name === 'nothing') await view.pass(14);
                await view.until(() => document.querySelector('.card, .without .message:not([hidden])') !== null, null, panel);
                if (name !== 'nothing') await view.is_state('live');
                // Rates of interfaces take two documents.
                if (panel === 'overview') await view.pass(6);
                for (const width of [1440, 768, 320]) {
                    await view.page.setViewportSize({ width, height: 800 });
                    await view.page.evaluate(() => new Promise((resolve) => (new ResizeObserver(resolve)).observe(document.body)));
                    const wide = await view.page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
                    assert.ok(wide <= 0, `${panel} at ${width}: ${wide} too wide`);
                    assert.deepEqual(await view.page.evaluate(cut_off), [], `${panel} at ${width}`);
                    await view.page.screenshot({ path: `${folder}${name}-${panel.replace('/', '-')}-${width}-${theme}.png`, fullPage: true });
                }
            }
            await view.close();
        });
    }
}

test('minutes, hours and tables, as pictures', async () => {
    const router = usual();
    router.advance(30 * 3600, { quietly: true });
    router.publish_all();
    const view = await open(browser, router, { clock: false, width: 1440 });
    for (const panel of ['wan/minutes', 'wan/hours', 'cpu/minutes', 'sim/hours']) {
        await view.page.evaluate((hash) => (location.hash = hash), panel);
        await view.until(() => document.querySelector('.card') !== null, null, panel);
        await view.page.click('.tools >> text=table');
        await view.page.screenshot({ path: `${folder}usual-${panel.replace('/', '-')}-table-1440-light.png`, fullPage: true });
        await view.page.click('.tools >> text=table');
        assert.deepEqual(await view.page.evaluate(cut_off), [], panel);
        await view.page.screenshot({ path: `${folder}usual-${panel.replace('/', '-')}-1440-light.png`, fullPage: true });
    }
    await view.close();
});

for (const [name, make] of [['full', full], ['nothing', nothing]]) {
    test(`axe, with ${name === 'full' ? 'too much' : 'nothing'} to show, in both themes, with tables`, async () => {
        const objections = [];
        for (const theme of ['light', 'dark']) {
            const router = make();
            router.advance(130, { quietly: true });
            if (name === 'full') router.publish_all();
            const view = await open(browser, router, { theme, clock: false });
            await view.page.evaluate(axe_source);
            for (const panel of panels) {
                await view.page.evaluate((hash) => (location.hash = hash), panel);
                await view.until(() => document.querySelector('.card, .without .message:not([hidden])') !== null, null, panel);
                if (panel === 'wan' && name === 'full') await view.page.click('.tools >> text=table');
                const found = await view.page.evaluate(() => axe.run(document, { resultTypes: ['violations'] }));
                objections.push(...found.violations.map((v) => `${theme} ${panel}: ${v.id}: ${v.nodes.map((n) => n.target).slice(0, 3)}`));
            }
            await view.close();
        }
        assert.deepEqual(objections, []);
    });
}

test('at 200 % zoom nothing is wider than the window', async () => {
    const router = usual();
    router.advance(130, { quietly: true });
    router.publish_all();
    const view = await open(browser, router, { clock: false, width: 640, context: { deviceScaleFactor: 2 } });
    for (const panel of panels) {
        await view.page.evaluate((hash) => (location.hash = hash), panel);
        await view.until(() => document.querySelector('.card') !== null, null, panel);
        const wide = await view.page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
        assert.ok(wide <= 0, `${panel}: ${wide} too wide`);
    }
    await view.close();
});

test('the theme follows the system, can be switched, and colours are read anew', async () => {
    const router = usual();
    router.advance(130, { quietly: true });
    router.publish_all();
    const view = await open(browser, router, { hash: '#wan', clock: false });
    await view.until(() => document.querySelector('canvas') !== null);
    const dark_pixels = () => view.page.evaluate(() => {
        const canvas = document.querySelector('canvas');
        const { data } = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
        let sum = 0;
        let count = 0;
        for (let i = 0; i < data.length; i += 4) {
            if (data[i + 3] > 200) {
                sum += data[i] + data[i + 1] + data[i + 2];
                count++;
            }
        }
        return sum / count;
    });
    const light = await dark_pixels();
    await view.page.emulateMedia({ colorScheme: 'dark' });
    await view.page.waitForFunction(() => document.documentElement.dataset.theme === 'dark');
    await view.settle();
    assert.notEqual(Math.round(await dark_pixels()), Math.round(light));
    await view.page.click('#theme button');
    await view.page.waitForFunction(() => document.documentElement.dataset.theme === 'light');
    await view.settle();
    assert.equal(Math.round(await dark_pixels()), Math.round(light));
    await view.close();
});
