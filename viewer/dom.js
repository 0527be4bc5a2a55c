// Building the page's elements. Texts become text nodes and nothing else, so that no name can be markup.

// el('button', { class: 'x', 'aria-pressed': 'true', onclick: f }, 'text', child, ...)
export function el(tag, attributes = {}, ...children) {
    const node = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (typeof value === 'function') node[name] = value;
        else if (value === true) node.setAttribute(name, '');
        else if (value !== false && value !== null && value !== undefined) node.setAttribute(name, String(value));
    }
    node.append(...children.filter((child) => child !== null && child !== undefined && child !== ''));
    return node;
}

// Sets a text only where it differs, so that nothing is laid out anew for nothing.
export function set_text(node, text) {
    if (node.textContent !== text) node.textContent = text;
}

// A row of buttons of which one is pressed: options [[value, text, title?]], chosen value, on_choose(value).
export function choice(label, options, chosen, on_choose) {
    const buttons = options.map(([value, text, title]) =>
        el('button', { type: 'button', title, 'aria-pressed': String(value === chosen), onclick: () => on_choose(value) }, text));
    return el('div', { class: 'choice', role: 'group', 'aria-label': label }, ...buttons);
}

// A sentence with the command that mends it.
export function advice({ text, command }, ...more) {
    return el('p', { class: 'advice' }, text, command ? ' ' : '', command ? el('code', {}, command) : '', ...more);
}
