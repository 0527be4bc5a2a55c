// What the daemon's history promises, in the plainest words: seconds feed minutes feed hours; a ring keeps the newest 119
// of 120 samples; an average runs over slot numbers but takes them for positions. Written apart from the page's rate
// rules, to judge them.

class Ring {
    held = [];
    end = 0;
    constructor(slots) {
        this.slots = slots;
    }
    push(sample) {
        this.held.push(sample);
        if (this.held.length >= this.slots) this.held.shift();
        this.end = (this.end + 1) % this.slots;
        return this.end;
    }
    averaged(from, to) {
        const found = [];
        for (let i = from; i !== to; i = (i + 1) % this.slots) {
            if (i < this.held.length) found.push(this.held[i]);
        }
        return found;
    }
}

// The mean of each value, truncated; values are BigInt, by name.
function mean(samples, time) {
    const values = {};
    for (const name of Object.keys(samples[0].values)) {
        let sum = 0n;
        for (const sample of samples) sum += sample.values[name] ?? 0n;
        values[name] = BigInt.asUintN(64, sum) / BigInt(samples.length);
    }
    return { time, values };
}

// The three series of one module that began at `start` (seconds).
export class History {
    constructor(start, slots = 120) {
        this.sec = new Ring(slots);
        this.min = new Ring(slots);
        this.hour = new Ring(slots);
        this.last_minute = start;
        this.last_hour = start;
        this.minute_from = 0;
        this.hour_from = 0;
    }

    // One second's sample, taken at `time`.
    feed(time, values) {
        const end = this.sec.push({ time, values });
        if (time - this.last_minute < 60 && time - this.last_minute > -60) return;
        const seconds = this.sec.averaged(this.minute_from, end);
        if (seconds.length === 0) return;
        this.minute_from = end;
        this.last_minute = time;
        const minutes_end = this.min.push(mean(seconds, time));
        if (time - this.last_hour < 3600 && time - this.last_hour > -1800) return;
        const minutes = this.min.averaged(this.hour_from, minutes_end);
        if (minutes.length === 0) return;
        this.hour_from = minutes_end;
        this.last_hour = time;
        this.hour.push(mean(minutes, time));
    }

    // The newest samples of one series ("sec", "min", "hour").
    newest(series, span) {
        return this[series].held.slice(-span);
    }
}
