// What an open page costs, the server and the browser; started by bench/viewer.
import { execFileSync, spawn } from 'node:child_process';
import { existsSync, mkdirSync, readFileSync, readdirSync, renameSync, rmdirSync, rmSync, statSync, writeFileSync } from 'node:fs';
import { connect, createServer } from 'node:net';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { finish, launch, open } from '../tests/viewer/browser.mjs';
import { full, usual } from '../tests/viewer/scenes.mjs';

const root = fileURLToPath(new URL('../', import.meta.url));
const folder = join(root, 'build/viewer/bench');
const seconds = (count) => new Promise((resolve) => setTimeout(resolve, count * 1000));
const round = (value, digits = 1) => value.toFixed(digits);

// ---- The packed page

function install() {
    rmSync(folder, { recursive: true, force: true });
    mkdirSync(join(folder, 'cgi-bin'), { recursive: true });
    for (const name of readdirSync(join(root, 'viewer')).filter((one) => /\.(html|css|js|svg)$/.test(one))) {
        execFileSync('cp', [join(root, 'viewer', name), folder]);
    }
    execFileSync('cp', ['-r', join(root, 'build/viewer/uplot'), folder]);
    execFileSync(join(root, 'viewer/pack'), [folder]);
    // Stands for the request program, whose one call in twenty seconds does not weigh.
    const modules = ['cpu', 'mem', 'wan', 'bond', 'lan', 'wifi24', 'wifi5', 'ap', 'allap', 'current', 'sim'].map((name) => ({ name, on: true, left: 60 }));
    const said = JSON.stringify({ ok: true, time: 0, stand_in: true, enabled: true, modules });
    writeFileSync(join(folder, 'cgi-bin/viewer'), `#!/bin/sh\nprintf 'Content-Type: application/json\\r\\n\\r\\n%s' '${said}'\n`, { mode: 0o755 });
    const packed = [folder, join(folder, 'uplot')].flatMap((place) => readdirSync(place).filter((one) => one.endsWith('.gz')).map((one) => statSync(join(place, one)).size));
    console.log(`packed page: ${packed.reduce((sum, size) => sum + size, 0)} bytes in ${packed.length} files`);
}

// ---- The serving side

// A control group whose processor time can be read, or null.
function make_group() {
    const place = `/sys/fs/cgroup/cpuacct/dashboard_bench_${process.pid}`;
    try {
        mkdirSync(place);
        return { place, nanoseconds: () => Number(readFileSync(join(place, 'cpuacct.usage'), 'utf8')) };
    } catch {
        return null;
    }
}

// Passes connections on to `port` and counts them and their bytes.
async function make_counter(port) {
    const counted = { connections: 0, bytes: 0 };
    const server = createServer((client) => {
        const behind = connect(port, '127.0.0.1');
        counted.connections++;
        for (const end of [client, behind]) {
            end.on('data', (part) => (counted.bytes += part.length));
            end.on('error', () => (client.destroy(), behind.destroy()));
        }
        client.pipe(behind).pipe(client);
    });
    await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
    return { counted, port: server.address().port, close: () => server.close() };
}

async function serving(browser, name, router, hash) {
    const group = make_group();
    const port = 18000 + (process.pid % 1000);
    const into = group ? `echo 0 >${group.place}/cgroup.procs; ` : '';
    const httpd = spawn('sh', ['-c', `${into}exec busybox httpd -f -p 127.0.0.1:${port} -h ${folder}`], { stdio: 'ignore' });
    const counter = await make_counter(port);
    // The daemon replaces what is looked at, once a second; its time is not counted here.
    let writes = 0;
    router.time = Math.floor(Date.now() / 1000) - 130;
    router.histories.clear();
    router.advance(129, { quietly: true });
    const write = () => {
        router.advance(1, { quietly: true });
        const due = ['wan_traffic_sec_0.xml', ...(writes++ % 3 === 0 ? ['current_traffic_sec_0.xml'] : [])];
        router.publish_all();
        for (const file of due) {
            writeFileSync(join(folder, 'new.tmp'), router.files.get(file).text);
            renameSync(join(folder, 'new.tmp'), join(folder, file));
        }
    };
    write();
    const writer = setInterval(write, 1000);
    for (const count of [0, 1, 5]) {
        const contexts = [];
        for (let i = 0; i < count; i++) {
            const context = await browser.newContext();
            const page = await context.newPage();
            await page.goto(`http://127.0.0.1:${counter.port}/${hash}`);
            await page.waitForFunction(() => document.querySelector('#state').dataset.state === 'live');
            contexts.push(context);
        }
        const before = { ...counter.counted, time: group?.nanoseconds() ?? 0, at: performance.now() };
        await seconds(20);
        const passed = (performance.now() - before.at) / 1000;
        const time = group ? `${round((group.nanoseconds() - before.time) / 1e6 / passed, 2)} ms of the server's processor a second` : 'processor time not measured (no control group)';
        console.log(`${name}, ${count} pages: ${round((counter.counted.connections - before.connections) / passed, 2)} requests and ` +
            `${round((counter.counted.bytes - before.bytes) / passed / 1000)} kB a second, ${time}`);
        for (const context of contexts) await context.close();
    }
    clearInterval(writer);
    counter.close();
    const ended = new Promise((resolve) => httpd.on('exit', resolve));
    httpd.kill();
    await ended;
    await seconds(0.5);
    if (group && existsSync(group.place)) rmdirSync(group.place);
}

// ---- The browser

// Processor time of the page's main thread in a second of its life, without style and layout: reading, rates, drawing.
// The least of six stretches: what else the machine does can only add to it.
async function script_time(view, what) {
    const session = await view.context.newCDPSession(view.page);
    await session.send('Performance.enable', { timeDomain: 'threadTicks' });
    const read = async () => Object.fromEntries((await session.send('Performance.getMetrics')).metrics.map(({ name, value }) => [name, value]));
    const stretches = [];
    for (let i = 0; i < 6; i++) {
        const before = await read();
        await view.pass(9);
        const after = await read();
        const each = (name) => ((after[name] - before[name]) * 1000) / 9;
        const layout = each('LayoutDuration') + each('RecalcStyleDuration');
        stretches.push({ script: each('TaskDuration') - each('DevToolsCommandDuration') - layout, layout });
    }
    const { script, layout } = stretches.reduce((least, one) => (one.script < least.script ? one : least));
    console.log(`${what}: ${round(script)} ms, style and layout ${round(layout)} ms`);
    await session.detach();
}

async function drawing(browser) {
    const router = full();
    router.advance(130, { quietly: true });
    router.publish_all();
    const view = await open(browser, router, { hash: '#wan', width: 1440 });
    await view.is_state('live');
    await view.pass(10);
    await script_time(view, 'a second of 16 WANs, a minute of points');
    await view.pass(560);
    await script_time(view, 'a second of 16 WANs, ten minutes of points');
    await view.page.evaluate(() => (location.hash = 'overview'));
    await view.pass(10);
    await script_time(view, 'a second of the overview with 75 interfaces (redrawn every third) and 16 WANs together');
    await view.close();
}

async function first_paint(browser) {
    const router = full();
    router.advance(130, { quietly: true });
    router.publish_all();
    const watch = () => {
        new MutationObserver(() => {
            if (globalThis.painted === undefined && document.querySelector('.devices tbody tr') && document.querySelector('canvas')) {
                requestAnimationFrame(() => setTimeout(() => (globalThis.painted = performance.now()), 0));
            }
        }).observe(document, { childList: true, subtree: true });
    };
    const times = [];
    for (let i = 0; i < 5; i++) {
        const view = await open(browser, router, { clock: false, script: watch });
        await view.until(() => globalThis.painted !== undefined);
        times.push(await view.page.evaluate(() => globalThis.painted - Math.max(...performance.getEntriesByType('resource')
            .filter((one) => one.name.endsWith('.xml') && one.responseEnd <= globalThis.painted).map((one) => one.responseEnd))));
        await view.close();
    }
    console.log(`first paint of the overview (75 interfaces, 16 WANs) after the documents' arrival: ${times.map((time) => round(time, 0)).join(', ')} ms`);
}

install();
const browser = await launch();
try {
    await drawing(browser);
    await first_paint(browser);
    await serving(browser, 'overview (9 interfaces, 2 WANs)', usual(), '');
    await serving(browser, 'WAN panel (16 WANs)', full(), '#wan');
} finally {
    await finish(browser);
}
