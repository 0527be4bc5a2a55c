// What the reader of the page chose, kept in this browser: unit, zone, theme, how often seconds are read, hidden names.
// No cookie; nothing of it leaves the browser. A storage that is full, forbidden or damaged means the defaults.

const key = 'dashboard-viewer';
const allowed = {
    unit: ['bit', 'byte'],
    zone: ['browser', 'router', 'utc'],
    theme: ['system', 'light', 'dark'],
    every: [1, 2, 5],
};

function read() {
    const chosen = { unit: 'bit', zone: 'browser', theme: 'system', every: 1, hidden: [] };
    try {
        const kept = JSON.parse(localStorage.getItem(key) ?? '{}');
        for (const [name, values] of Object.entries(allowed)) {
            if (values.includes(kept[name])) chosen[name] = kept[name];
        }
        if (Array.isArray(kept.hidden)) {
            chosen.hidden = kept.hidden.filter((one) => typeof one === 'string' && one.length < 100).slice(0, 500);
        }
    } catch {
        // The defaults.
    }
    return chosen;
}

const chosen = read();
const listeners = new Set();

export const settings = {
    get: (name) => chosen[name],
    set(name, value) {
        chosen[name] = value;
        try {
            localStorage.setItem(key, JSON.stringify(chosen));
        } catch {
            // Not kept then.
        }
        for (const listener of listeners) listener(name);
    },
    is_hidden: (name) => chosen.hidden.includes(name),
    toggle_hidden(name) {
        const others = chosen.hidden.filter((one) => one !== name);
        this.set('hidden', others.length < chosen.hidden.length ? others : [...others, name]);
    },
    // `listener(name)` is called after every change.
    on_change: (listener) => listeners.add(listener),
};
