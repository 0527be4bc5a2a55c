// What an engineer changes who takes the page over: where things are served, how often they are read, and what a link
// can carry. Plain constants, read by the other modules; nothing else in the page knows a path or a period.

// Folder of the published documents, relative to the page, with a slash at its end.
export const documents_folder = './';

// The program that takes requests for graphs.
export const request_path = '/cgi-bin/viewer';
export const request_header = 'dashboard-viewer';

// Milliseconds between two reads of a document while it is on screen. Seconds have a choice of their own (settings).
export const read_period = { current: 3000, seconds: 1000, minutes: 15000, hours: 300000 };
export const read_timeout = 4000;
export const second_try = 300;

// Milliseconds between two requests for the same graphs, and what a first answer may take.
export const request_period = 20000;
export const request_retry = 5000;
export const first_data = 7000;

// A series is stale when its newest sample is older than this many seconds.
export const stale_after = { current: 10, seconds: 10, minutes: 150, hours: 7500 };

// Seconds of history that the page keeps, which is more than a document shows.
export const kept_seconds = 600;

// Bytes a second, one way: a rate above it is no traffic but a counter that was set.
export const ceiling = { wired: 10e9 / 8, radio: 2e9 / 8 };

// What the header calls the router; empty: the name in the address.
export const router_name = '';
