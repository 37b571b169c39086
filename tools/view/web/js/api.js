// The viewer's server, the only source of truth: every answer is taken as
// the state of the library at that moment.

export class ApiError extends Error {
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

// The session's token, from the address rpl-toc printed
// (http://127.0.0.1:PORT/#token=...): a browser never sends the fragment,
// and no cookie carries the token, so no other server on this machine can
// receive it. It is kept here only and taken out of the address bar and
// the history at once.
function takeToken() {
  const token = new URLSearchParams(window.location.hash.slice(1)).get('token') || '';
  if (window.location.hash) window.history.replaceState(null, '', window.location.pathname + window.location.search);
  return token;
}

const token = takeToken();

let pending = 0;

// Counts requests in flight on <body data-busy>, so that a test or a
// benchmark can wait until the page has settled.
function busy(delta) {
  pending += delta;
  document.body.dataset.busy = String(pending);
}

async function call(method, path, body, quiet = false) {
  const init = { method, headers: { 'X-RPL-Token': token }, credentials: 'omit', cache: 'no-store' };
  if (body !== undefined) {
    init.headers['Content-Type'] = 'application/json';
    init.body = JSON.stringify(body);
  }
  if (!quiet) busy(+1);
  try {
    let response;
    try {
      response = await fetch(path, init);
    } catch {
      throw new ApiError(0, 'The viewer\'s server does not answer; was rpl-toc view stopped?');
    }
    let data = null;
    try {
      data = await response.json();
    } catch {
      throw new ApiError(response.status, `The server answered ${response.status} without a JSON document.`);
    }
    if (!response.ok) throw new ApiError(response.status, (data && data.error) || `Status ${response.status}.`);
    return { data };
  } finally {
    if (!quiet) busy(-1);
  }
}

// A link cannot send a header, so the export is fetched and saved.
async function exportText(format) {
  busy(+1);
  try {
    let response;
    try {
      response = await fetch(`/api/export.${format}`, { headers: { 'X-RPL-Token': token }, credentials: 'omit', cache: 'no-store' });
    } catch {
      throw new ApiError(0, 'The viewer\'s server does not answer; was rpl-toc view stopped?');
    }
    if (!response.ok) throw new ApiError(response.status, `The export failed with status ${response.status}.`);
    return await response.blob();
  } finally {
    busy(-1);
  }
}

const withPath = (endpoint, path) => `${endpoint}?path=${encodeURIComponent(path)}`;

export const api = {
  toc: () => call('GET', '/api/toc'),
  section: (path) => call('GET', withPath('/api/section', path)),
  next: (path) => call('GET', withPath('/api/next', path)),
  prev: (path) => call('GET', withPath('/api/prev', path)),
  mark: (request) => call('POST', '/api/mark', request),
  set: (change) => call('POST', '/api/set', change),
  settings: () => call('GET', '/api/settings'),
  preview: (request) => call('POST', '/api/preview', request),
  reload: () => call('POST', '/api/reload', {}),
  // The export as text, for the page to save as a file.
  exported: (format) => exportText(format),
  // A one-use ticket for the event stream: never counted as busy.
  ticket: () => call('POST', '/api/events/ticket', {}, true),
};

// How long the page waits before it opens a stream again after one broke,
// doubling up to the last.
export const RECONNECT_MS = [250, 500, 1000, 2000, 5000];

// The server's events, for as long as the page is open: `onEvent(name,
// data)` for each, `onOpen(again)` once the stream is open (`again` when
// it broke before: events may have been missed). A stream that breaks is
// opened again with a new ticket, since a ticket opens one stream only.
export function listen(names, onEvent, onOpen) {
  let failures = 0;
  let opened = false;
  const open = async () => {
    let ticket;
    try {
      ticket = (await api.ticket()).data.ticket;
    } catch {
      retry();
      return;
    }
    const source = new EventSource(`/api/events?ticket=${encodeURIComponent(ticket)}`);
    source.onopen = () => {
      failures = 0;
      onOpen(opened);
      opened = true;
    };
    for (const name of names)
      source.addEventListener(name, (event) => {
        let data;
        try {
          data = JSON.parse(event.data);
        } catch {
          return;
        }
        onEvent(name, data);
      });
    source.onerror = () => {
      source.close();
      retry();
    };
  };
  const retry = () => {
    const wait = RECONNECT_MS[Math.min(failures, RECONNECT_MS.length - 1)];
    failures += 1;
    setTimeout(open, wait);
  };
  open();
}
