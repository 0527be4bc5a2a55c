// The page as it is installed: what CMake puts where, packed to 60 kB at most, and whole.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdirSync, readdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { after, before, test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { join } from 'node:path';
import { gunzipSync } from 'node:zlib';
import { finish, launch, open } from './browser.mjs';
import { usual } from './scenes.mjs';
import { serve } from './server.mjs';

const root = fileURLToPath(new URL('../../', import.meta.url));
const place = join(root, 'build/viewer/packed');
const page = join(place, 'usr/share/dashboard/viewer');

let browser;
before(async () => {
    rmSync(place, { recursive: true, force: true });
    mkdirSync(place, { recursive: true });
    // The page alone, as a project of its own; uPlot where the target "uplot" would have put it.
    writeFileSync(join(place, 'CMakeLists.txt'), 'cmake_minimum_required(VERSION 3.25)\nproject(page LANGUAGES NONE)\n' +
        `include(GNUInstallDirs)\nadd_subdirectory(${join(root, 'viewer')} viewer)\n`);
    const run = (program, ...words) => execFileSync(program, words, { cwd: place, stdio: 'pipe', env: { ...process.env, DESTDIR: place } });
    run('cmake', '-S', '.', '-B', 'make', '-DCMAKE_INSTALL_PREFIX=/usr');
    run(join(root, 'viewer/fetch-uplot'), join(root, 'build/viewer'));
    run('cp', '-r', join(root, 'build/viewer/uplot'), 'make/viewer/');
    run('cmake', '--install', 'make');
    browser = await launch();
});
after(() => finish(browser));

const files = (folder) => readdirSync(folder, { withFileTypes: true }).flatMap((one) =>
    (one.isDirectory() ? files(join(folder, one.name)) : [join(folder, one.name)]));

test('all of the page, packed, is at most 60 kB', (t) => {
    const packed = files(page).filter((file) => file.endsWith('.gz'));
    const size = packed.reduce((sum, file) => sum + readFileSync(file).length, 0);
    t.diagnostic(`${packed.length} files, ${size} bytes`);
    assert.ok(packed.some((file) => file.endsWith('uplot/uPlot.iife.min.js.gz')));
    assert.ok(packed.length > 20 && size <= 60000, `${size} bytes in ${packed.length} files`);
});

test('what is installed is the page and nothing else', () => {
    const names = files(page).map((file) => file.slice(page.length + 1)).filter((name) => !name.endsWith('.gz'));
    assert.ok(names.includes('index.html') && names.includes('uplot/LICENSE') && names.includes('main.js'));
    assert.deepEqual(names.filter((name) => !/^(uplot\/)?[\w.-]+\.(html|css|js|svg)$|^uplot\/LICENSE$/.test(name)), []);
    for (const name of names.filter((one) => /^[^/]*\.js$/.test(one))) {
        const code = (text) => text.split('\n').map((line) => line.trim()).filter((line) => line !== '' && !line.startsWith('//')).join('\n');
        assert.equal(code(gunzipSync(readFileSync(join(page, `${name}.gz`))).toString()), code(readFileSync(join(page, name), 'utf8')), name);
    }
});

test('the packed page runs', async () => {
    const router = usual();
    router.advance(100, { quietly: true });
    const view = await open(browser, router, { server: await serve(router, { packed: page }) });
    await view.is_state('live');
    await view.until(() => document.querySelector('canvas') !== null);
    await view.close();
});
