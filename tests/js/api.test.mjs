// The page's client of /api/: what it sends, and how it reads answers,
// refusals, a server that is gone, and the event stream. fetch and the page's
// <body> are small fakes.
import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';

globalThis.document = { body: { dataset: {} } };
// The address rpl-toc printed, with the token in its fragment.
const replaced = [];
globalThis.window = {
  location: { pathname: '/', search: '', hash: '#token=00112233445566778899aabbccddeeff' },
  history: { replaceState: (state, title, url) => replaced.push(url) },
};
const { api, ApiError, listen, RECONNECT_MS } = await import('../../tools/view/web/js/api.js');

let sent = [];
let answer = () => reply(200, { format: 1 });

function reply(status, body, headers = {}) {
  const text = typeof body === 'string' ? body : JSON.stringify(body);
  return new Response(text, { status, headers });
}

beforeEach(() => {
  sent = [];
  globalThis.fetch = async (path, init) => {
    sent.push({ path, init, busy: document.body.dataset.busy });
    return answer();
  };
});

test('each call sends its method, address and body', async () => {
  answer = () => reply(200, { format: 1 });
  await api.toc();
  await api.section('||Design Flow||Setup & Hold');
  await api.next('||R||T 1');
  await api.mark({ paths: ['||R||A', '||R||B'], marked: true });
  await api.set({ path: '||R||T1', widths: [[0, 120]] });
  await api.reload();
  const seen = sent.map(({ path, init }) => [init.method, path, init.body]);
  assert.deepEqual(seen, [
    ['GET', '/api/toc', undefined],
    ['GET', '/api/section?path=%7C%7CDesign%20Flow%7C%7CSetup%20%26%20Hold', undefined],
    ['GET', '/api/next?path=%7C%7CR%7C%7CT%201', undefined],
    ['POST', '/api/mark', '{"paths":["||R||A","||R||B"],"marked":true}'],
    ['POST', '/api/set', '{"path":"||R||T1","widths":[[0,120]]}'],
    ['POST', '/api/reload', '{}'],
  ]);
});

test('a body goes as JSON, with the token in a header, no cookie and past any cache', async () => {
  await api.mark({ paths: ['||R'], marked: false });
  const { init } = sent[0];
  assert.equal(init.headers['Content-Type'], 'application/json');
  assert.equal(init.headers['X-RPL-Token'], '00112233445566778899aabbccddeeff');
  assert.equal(init.credentials, 'omit');
  assert.equal(init.cache, 'no-store');
  await api.toc();
  assert.equal(sent[1].init.headers['Content-Type'], undefined);
  assert.equal(sent[1].init.headers['X-RPL-Token'], '00112233445566778899aabbccddeeff');
});

test('the token leaves the address bar as soon as the page has read it', () => {
  assert.deepEqual(replaced, ['/']);
});

test('the export is fetched with the token, as a file to save', async () => {
  answer = () => reply(200, 'the report', { 'Content-Type': 'text/plain; charset=utf-8' });
  const file = await api.exported('txt');
  assert.equal(await file.text(), 'the report');
  assert.equal(sent[0].path, '/api/export.txt');
  assert.equal(sent[0].init.headers['X-RPL-Token'], '00112233445566778899aabbccddeeff');
  answer = () => reply(401, { format: 1, error: 'no token' });
  await assert.rejects(api.exported('html'), (e) => e instanceof ApiError && e.status === 401);
  answer = () => reply(200, { format: 1 });
});

test('the page counts a request as busy until it is answered', async () => {
  await api.toc();
  assert.equal(sent[0].busy, '1');
  assert.equal(document.body.dataset.busy, '0');
  globalThis.fetch = async () => {
    throw new TypeError('network');
  };
  await assert.rejects(api.toc());
  assert.equal(document.body.dataset.busy, '0');
});

test('a refusal becomes an ApiError with the server\'s sentence and status', async () => {
  const cases = [
    [() => reply(404, { format: 1, error: 'No section has the path \'||R||x\'.' }), 404, 'No section has the path \'||R||x\'.'],
    [() => reply(400, { format: 1 }), 400, 'Status 400.'],
    [() => reply(502, '<html>proxy</html>'), 502, 'The server answered 502 without a JSON document.'],
  ];
  for (const [make, status, message] of cases) {
    answer = make;
    await assert.rejects(api.set({ path: '||R||x', orientation: 2 }), (e) => {
      assert.ok(e instanceof ApiError);
      assert.equal(e.status, status);
      assert.equal(e.message, message);
      return true;
    });
  }
});

test('a server that does not answer is status 0 and says so', async () => {
  globalThis.fetch = async () => {
    throw new TypeError('Failed to fetch');
  };
  await assert.rejects(api.settings(), (e) => e instanceof ApiError && e.status === 0 && /does not answer/.test(e.message));
});

// A fake EventSource: the test opens, sends and breaks each stream.
class FakeSource {
  static made = [];
  constructor(url) {
    this.url = url;
    this.listeners = {};
    this.closed = false;
    FakeSource.made.push(this);
  }
  addEventListener(name, listener) {
    this.listeners[name] = listener;
  }
  close() {
    this.closed = true;
  }
  send(name, data) {
    this.listeners[name]?.({ data });
  }
}

test('the stream opens with a ticket, reads its events, and after a break opens again with a new ticket', async () => {
  globalThis.EventSource = FakeSource;
  const timers = [];
  const realTimeout = globalThis.setTimeout;
  globalThis.setTimeout = (run, ms) => timers.push({ run, ms });
  let tickets = 0;
  answer = () => reply(200, { format: 1, ticket: `t${++tickets}` });
  const events = [];
  const opens = [];
  listen(['outside', 'progress'], (name, data) => events.push([name, data]), (again) => opens.push(again));
  const settle = () => new Promise((done) => setImmediate(done));
  await settle();
  assert.deepEqual(sent.map(({ path, init }) => [init.method, path]), [['POST', '/api/events/ticket']]);
  assert.equal(sent[0].busy, '0', 'a ticket is never counted as busy');
  const first = FakeSource.made.at(-1);
  assert.equal(first.url, '/api/events?ticket=t1');
  first.onopen();
  first.send('outside', '{"notice":"n"}');
  first.send('progress', 'not JSON');
  first.send('idle', '{}');
  assert.deepEqual(events, [['outside', { notice: 'n' }]]);
  first.onerror();
  assert.ok(first.closed);
  assert.equal(timers.at(-1).ms, RECONNECT_MS[0]);
  await timers.at(-1).run();
  await settle();
  const second = FakeSource.made.at(-1);
  assert.equal(second.url, '/api/events?ticket=t2');
  second.onopen();
  assert.deepEqual(opens, [false, true], 'the page is told the second stream may have missed events');
  // A server that refuses tickets is asked again later, not in a loop.
  answer = () => reply(500, { format: 1, error: 'no random source' });
  second.onerror();
  await timers.at(-1).run();
  await settle();
  assert.equal(timers.at(-1).ms, RECONNECT_MS[1]);
  globalThis.setTimeout = realTimeout;
});
