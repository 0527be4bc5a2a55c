// Chromium, driven by playwright-core, with a page on a Router. Nothing here sleeps: tests wait for conditions, and the
// page's own clock moves when a test moves it.

import assert from 'node:assert/strict';
import { existsSync, readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { fileURLToPath } from 'node:url';
import { serve } from './server.mjs';

const root = fileURLToPath(new URL('../../', import.meta.url));
const require = createRequire(`${root}build/npm/any.js`);
const { chromium } = require('playwright-core');
export const axe_source = readFileSync(require.resolve('axe-core/axe.min.js'), 'utf8');
const program = process.env.CHROMIUM ?? '/usr/bin/chromium';

export async function launch() {
    assert.ok(existsSync(program), `no ${program}: install the Debian package chromium`);
    return chromium.launch({
        executablePath: program,
        // Only root, who may not have a sandbox, goes without.
        chromiumSandbox: process.getuid() !== 0,
        args: ['--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
            '--disable-component-update', '--disable-sync', '--disable-dev-shm-usage'],
    });
}

// Ends everything, also what a failed test left open.
const servers = new Set();

export async function finish(browser) {
    await browser.close();
    for (const server of servers) await server.close();
}

// Opens the page on `router`. Options: hash, width, theme ("light", "dark"), clock (false: the browser's own time), charts,
// javascript, script (run before the page's own), context (more options of playwright's).
export async function open(browser, router, options = {}) {
    const server = options.server ?? await serve(router, { charts: options.charts ?? true });
    servers.add(server);
    const context = await browser.newContext({
        viewport: { width: options.width ?? 1024, height: options.height ?? 800 }, colorScheme: options.theme ?? 'light',
        javaScriptEnabled: options.javascript ?? true, timezoneId: options.zone ?? 'Europe/Berlin', locale: 'en-GB',
        acceptDownloads: true, ...options.context,
    });
    const page = await context.newPage();
    const seen = { errors: [], reports: [], outside: [] };
    page.on('pageerror', (error) => seen.errors.push(String(error)));
    page.on('console', (message) => {
        if (/Content Security Policy/.test(message.text())) seen.reports.push(message.text());
        else if (message.type() === 'error' && !/Failed to load resource/.test(message.text())) seen.errors.push(message.text());
    });
    page.on('request', (request) => {
        if (!request.url().startsWith(server.address) && !request.url().startsWith('blob:')) seen.outside.push(request.url());
    });
    const open_requests = new Set();
    page.on('request', (request) => open_requests.add(request));
    for (const end of ['requestfinished', 'requestfailed']) page.on(end, (request) => open_requests.delete(request));
    // Until nothing is being asked for, or what is being asked for gets no answer.
    async function settle() {
        for (let i = 0; i < 100 && (i < 2 || open_requests.size > 0); i++) await page.evaluate(() => Promise.resolve());
    }
    if (options.clock !== false) await page.clock.install({ time: (options.browser_time ?? router.time) * 1000 });
    if (options.script) await page.addInitScript(options.script);
    await page.goto(`${server.address}${options.hash ?? ''}`);
    const view = {
        page, router, server, seen, context,
        settle,
        // Lets seconds pass, on the router and in the page, a second at a time, and waits each time until the page is
        // done with what it asked for.
        async pass(seconds) {
            for (let i = 0; i < seconds; i++) {
                router.advance(1);
                await page.clock.runFor(1000);
                await settle();
            }
        },
        // Waits until `check(...)` in the page is true; while it is not, seconds pass.
        async until(check, argument, what, limit = 40) {
            for (let i = 0; i < limit; i++) {
                if (await page.evaluate(check, argument)) return i;
                if (options.clock === false) await page.waitForTimeout(100);
                else await view.pass(1);
            }
            assert.fail(`${what ?? check}: never, the page says: ${await page.evaluate(() => document.body.innerText)}`);
        },
        text: (selector) => page.locator(selector).first().innerText(),
        has_text: (text, limit) => view.until((wanted) => document.body.innerText.includes(wanted), text, `"${text}" on the page`, limit),
        is_state: (word, limit) => view.until((wanted) => document.querySelector('#state').dataset.state === wanted, word, `state ${word}`, limit),
        // The figures of a card's legend: { name: { now, average, peak } } in the unit's own scale.
        figures: (title) => page.evaluate(read_legend, title),
        async hide(hidden) {
            await page.evaluate((value) => {
                Object.defineProperty(document, 'visibilityState', { configurable: true, get: () => (value ? 'hidden' : 'visible') });
                document.dispatchEvent(new Event('visibilitychange'));
            }, hidden);
        },
        async close({ clean = true } = {}) {
            await context.close();
            if (!options.server) await server.close();
            if (!clean) return;
            assert.deepEqual(seen.errors, []);
            assert.deepEqual(seen.reports, [], 'reports of the content security policy');
            assert.deepEqual(seen.outside, [], 'requests that left the host');
        },
    };
    return view;
}

function read_legend(title) {
    const card = [...document.querySelectorAll('.card')].find((one) => one.getAttribute('aria-label') === title);
    if (!card) return null;
    const number = (text) => {
        const [, figure, prefix] = /^(−?[\d.]+)(?: ([kMGTPE]))?/.exec(text) ?? [];
        return figure === undefined ? null : Number(figure.replace('−', '-')) * 1000 ** ' kMGTPE'.indexOf(prefix ?? ' ');
    };
    const rows = [...card.querySelectorAll('.legend tbody tr')].map((row) => {
        const cells = [...row.children].map((cell) => cell.innerText.trim());
        return [cells[0], { now: number(cells[1]), average: number(cells[2]), peak: number(cells[3]), text: cells.slice(1) }];
    });
    return Object.fromEntries(rows);
}
