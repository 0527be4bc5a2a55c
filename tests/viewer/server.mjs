// Serves the page, uPlot and a Router's documents on loopback, as busybox httpd does: Date, Last-Modified and ETag (time
// and size), 304 for a known ETag, no Content-Type for documents, connections that are closed.

import { createServer } from 'node:http';
import { readFile } from 'node:fs/promises';
import { fileURLToPath } from 'node:url';
import { join, normalize } from 'node:path';

const root = fileURLToPath(new URL('../../', import.meta.url));
const types = { html: 'text/html', js: 'application/javascript', css: 'text/css', svg: 'image/svg+xml' };

// `behave(name, request)` of the result may be set to a function that returns what happens to a document instead:
// { status }, { text }, { cut: bytes }, { hang: true }, or null for nothing special. `packed` names a folder whose .gz files are the page.
export async function serve(router, { charts = true, packed = null } = {}) {
    const state = { router, behave: () => null, log: [], charts };

    async function page_file(path) {
        if (path.startsWith('/uplot/') && !state.charts) throw new Error('not fetched');
        if (packed !== null) return readFile(join(packed, `${path === '/' ? 'index.html' : path}.gz`));
        const file = path.startsWith('/uplot/') ? join(root, 'build/viewer', path) : join(root, 'viewer', path === '/' ? 'index.html' : path);
        return readFile(file);
    }

    function document_answer(name, request, response) {
        const odd = state.behave(name, request);
        if (odd?.hang) return;
        const file = state.router.files.get(name);
        const date = new Date(state.router.time * 1000).toUTCString();
        if (odd?.status || !file) {
            response.writeHead(odd?.status ?? 404, { Date: date, Connection: 'close' });
            response.end();
            return;
        }
        const text = Buffer.from(odd?.text ?? file.text);
        const etag = `"${file.modified.toString(16)}-${text.length.toString(16)}"`;
        const headers = { Date: date, 'Last-Modified': new Date(file.modified * 1000).toUTCString(), ETag: etag, Connection: 'close' };
        if (request.headers['if-none-match'] === etag) {
            response.writeHead(304, headers);
            response.end();
            return;
        }
        const body = odd?.cut ? text.subarray(0, text.length - odd.cut) : text;
        response.writeHead(200, { ...headers, 'Content-Length': odd?.promise ? text.length : body.length });
        if (odd?.promise) {
            response.write(body, () => response.destroy());
        } else {
            response.end(body);
        }
    }

    async function answer(request, response) {
        const path = normalize(new URL(request.url, 'http://localhost').pathname);
        state.log.push({ method: request.method, path, at: performance.now(), time: state.router.time });
        if (path === '/cgi-bin/viewer') {
            const parts = [];
            for await (const part of request) parts.push(part);
            const [status, said] = state.router.ask(Buffer.concat(parts).toString(), request.headers);
            response.writeHead(status, { 'Content-Type': 'application/json', Date: new Date(state.router.time * 1000).toUTCString() });
            response.end(JSON.stringify(said));
        } else if (path.endsWith('.xml')) {
            document_answer(path.slice(1), request, response);
        } else {
            const body = await page_file(path).catch(() => null);
            response.writeHead(body ? 200 : 404, { 'Content-Type': types[path.split('.').pop()] ?? 'text/html',
                ...(packed !== null && body ? { 'Content-Encoding': 'gzip' } : {}) });
            response.end(body ?? '');
        }
    }

    const server = createServer({ sendDate: false }, (request, response) => answer(request, response).catch(() => response.destroy()));
    await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
    state.port = server.address().port;
    state.address = `http://127.0.0.1:${state.port}/`;
    state.listen_again = () => new Promise((resolve) => server.listen(state.port, '127.0.0.1', resolve));
    state.close = () => new Promise((resolve) => {
        server.close(resolve);
        server.closeAllConnections?.();
    });
    return state;
}
