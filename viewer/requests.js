// Asking for graphs: the names of the modules on screen, at once and every twenty seconds, nothing while the page is
// hidden, and never a 0 (somebody else may look).
//
// The answer says which modules are on. { status, word, time, modules: Map name -> { on }, enabled, may_enable, offset }
// is the state of the last answer; status 0 is no answer.

import { request_header, request_path, request_period, request_retry, read_timeout } from './site.js';

async function post(body) {
    const attempt = new AbortController();
    const timer = setTimeout(() => attempt.abort(), read_timeout);
    try {
        const answer = await fetch(request_path, {
            method: 'POST', cache: 'no-store', signal: attempt.signal, body,
            headers: { 'X-Requested-With': request_header, 'Content-Type': 'application/x-www-form-urlencoded' },
        });
        const said = await answer.json().catch(() => ({}));
        return { status: answer.status, said: said !== null && typeof said === 'object' ? said : {} };
    } catch {
        return { status: 0, said: {} };
    } finally {
        clearTimeout(timer);
    }
}

function state_of({ status, said }) {
    const modules = new Map();
    for (const one of Array.isArray(said.modules) ? said.modules : []) {
        if (typeof one?.name === 'string') modules.set(one.name, { on: one.on === true, left: Number(one.left) || 0 });
    }
    return {
        status, modules,
        ok: status === 200 && said.ok === true,
        word: typeof said.error === 'string' ? said.error : '',
        enabled: said.enabled !== false,
        may_enable: said.stand_in === true && said.may_enable === true,
        // Seconds east of UTC, where the router tells its zone.
        offset: Number.isInteger(said.offset) && Math.abs(said.offset) <= 86400 ? said.offset : null,
    };
}

// `on_answer(state)` is called after every request.
export function make_requests(on_answer) {
    let wanted = new Map();
    let timer = 0;
    let asking = false;
    let again = false;

    async function ask() {
        clearTimeout(timer);
        if (document.visibilityState === 'hidden') return;
        if (asking) {
            again = true;
            return;
        }
        asking = true;
        const body = [...wanted].map(([name, number]) => `${name}=${number}`).join('&');
        const state = state_of(await post(body));
        asking = false;
        on_answer(state);
        if (again) {
            again = false;
            ask();
        } else {
            timer = setTimeout(ask, state.status === 0 ? request_retry : request_period);
        }
    }

    document.addEventListener('visibilitychange', () => {
        clearTimeout(timer);
        ask();
    });

    return {
        // What is on screen from now on: a Map of names and numbers. Asked for at once.
        want(modules) {
            wanted = modules;
            ask();
        },
        // Switches a module on, where the answers say that this is allowed.
        async enable(name) {
            on_answer(state_of(await post(`enable=${name}`)));
            ask();
        },
    };
}
