// The note line: what happened, one sentence at a time, spoken to those who cannot see it, at most one in five seconds.
// Earlier ones are kept in a list that can be opened.

import { el, set_text } from './dom.js';
import { document_trouble, milestone } from './words.js';

const distance = 5000;
const kept = 30;

// `line` is the live region, `list` the list, `count` the text that opens it.
export function make_notes(line, list, count) {
    const waiting = [];
    const said = new Map();
    let last = -Infinity;
    let timer = 0;
    let total = 0;
    let on_line = null;

    // What was said of this no longer holds: it goes from the line, and may be said again.
    function forget(about) {
        said.delete(about);
        const at = waiting.findIndex((note) => note.about === about);
        if (at >= 0) waiting.splice(at, 1);
        if (on_line === about) {
            on_line = null;
            line.replaceChildren();
        }
    }

    function show() {
        timer = 0;
        const note = waiting.shift();
        if (!note) return;
        last = performance.now();
        on_line = note.about;
        line.replaceChildren(note.text, note.command ? ' ' : '', note.command ? el('code', {}, note.command) : '');
        if (waiting.length > 0) timer = setTimeout(show, distance);
    }

    return {
        // Says a note; `about` names what it is about: a newer one of the same takes the place of one that waits, and a
        // text that was said of it last is not said again; `same` is what is compared, where the text itself counts seconds.
        say(about, { text, command = null }, time = '', same = text) {
            if (said.get(about) === same) return;
            said.set(about, same);
            total++;
            set_text(count, `${total} ${total === 1 ? 'note' : 'notes'}`);
            list.prepend(el('li', {}, time ? `${time}  ` : '', text, command ? ' ' : '', command ? el('code', {}, command) : ''));
            while (list.children.length > kept) list.lastElementChild.remove();
            const at = waiting.findIndex((note) => note.about === about);
            if (at >= 0) waiting.splice(at, 1);
            waiting.push({ about, text, command });
            if (waiting.length > 8) waiting.shift();
            const left = last + distance - performance.now();
            if (timer === 0) timer = setTimeout(show, Math.max(0, left));
        },
        // Says what is the matter with a module, or that nothing is (see health.js).
        judge(module, { state, message }) {
            const about = `state ${module}`;
            // Documents without an answer are said as such.
            if (message === null || state === 'waiting' || state === 'offline') forget(about);
            else this.say(about, message, '', message.text.replace(/\d+ s\b/g, ''));
        },
        // What a document's reading came to (see documents.js). One that was no XML is counted, and said again now and then;
        // one that failed is said when it fails again.
        reading(file, { state, count, salvaged, wait, status }) {
            if (state === 'ok') forget(file);
            else if (state === 'malformed') {
                this.say(file, { text: document_trouble.malformed(file, count, !salvaged) }, '', `${milestone(count)} ${salvaged}`);
            } else if (state !== 'missing' && wait > 1500) {
                this.say(file, { text: document_trouble[state](file, Math.round(wait / 1000), status) }, '', state);
            }
        },
        forget,
    };
}

