// Samples that were seen, beyond those that a document still shows. Pure functions.

// Whether two samples are one: same time, and the same text for every element that both have. An interface that the
// daemon came to know later is shown with 0 in older samples, which must not make them others.
function is_same(one, other) {
    if (one.time !== other.time) return false;
    for (const [name, text] of one.values) {
        const its = other.values.get(name);
        if (its !== undefined && its !== text) return false;
    }
    return true;
}

// The kept samples with the new ones of a document behind them, oldest first, `limit` at most. Where the newest kept
// sample is not in the document, all of the document follows: the series began anew, or was not looked at for long.
export function merge(kept, fresh, limit) {
    if (fresh.length === 0) return kept;
    let from = 0;
    if (kept.length > 0) {
        const last = kept[kept.length - 1];
        for (let i = fresh.length - 1; i >= 0 && from === 0; i--) {
            if (is_same(last, fresh[i])) from = i + 1;
        }
    }
    if (from === fresh.length) return kept;
    return kept.concat(fresh.slice(from)).slice(-limit);
}
