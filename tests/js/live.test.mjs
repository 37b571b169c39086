// What the page makes of the server's events and of the answers to its
// own changes.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { answerAction, applyWritten, eventAction, OwnChanges } from '../../tools/view/web/js/live.js';
import { Toc } from '../../tools/view/web/js/model.js';

const section = (path, depth, extra = {}) => ({ path, name: path.split('||').at(-1), depth, object_type: depth ? 3 : 1, marked: false, marking: 0, ...extra });

function toc() {
  return new Toc({ report: 'r', sections: [section('||R', 0), section('||R||A', 1), section('||R||B', 1)] });
}

const settings = { settings_file: '/d/r.rplset', exists: true, readable: true, blocks: [] };

test('progress shows the server\'s sentence and the sections its saves have written', () => {
  const own = new OwnChanges();
  const written = { paths: ['||R||A'], marked: true, marking: 2 };
  assert.deepEqual(eventAction('progress', { change: 3, sentence: 'marking ||R, 2 of 5 saves, 1.4 s so far', written }, own), {
    working: 'marking ||R, 2 of 5 saves, 1.4 s so far',
    written,
  });
  assert.deepEqual(eventAction('progress', { change: 3, sentence: 's' }, own), { working: 's' });
  assert.deepEqual(eventAction('idle', { change: 3 }, own), { working: null });
});

test('a change from another page is taken in; the page\'s own is not taken twice', () => {
  const own = new OwnChanges(2);
  const data = { change: 7, reloaded: false, sections: [section('||R||A', 1)], settings };
  assert.deepEqual(eventAction('changed', data, own), { sections: data.sections, settings, notice: null });
  own.add(7);
  assert.deepEqual(eventAction('changed', data, own), {});
  own.add(8);
  own.add(9);
  assert.ok(!own.has(7), 'only the latest few numbers are kept');
  assert.deepEqual(eventAction('changed', { ...data, notice: 'Another program saved…' }, own).notice, 'Another program saved…');
});

test('another program\'s save: its notice goes up, and one that changed nothing leaves the notice as it is', () => {
  const own = new OwnChanges();
  const told = eventAction('outside', { change: 2, notice: '1 section now shows…', sections: [section('||R||B', 1)], settings }, own);
  assert.equal(told.notice, '1 section now shows…');
  assert.equal(told.sections.length, 1);
  const quiet = eventAction('outside', { change: 3, sections: [], settings }, own);
  assert.ok(!('notice' in quiet));
  assert.deepEqual(quiet.settings, settings);
});

test('a page that fell behind reads everything again; an unknown event does nothing', () => {
  const own = new OwnChanges();
  own.add(5);
  assert.deepEqual(eventAction('resync', {}, own), { resync: true });
  assert.deepEqual(eventAction('resync', { change: 6 }, own), { resync: true });
  assert.deepEqual(eventAction('resync', { change: 5 }, own), {}, 'the page has its own change\'s answer');
  assert.deepEqual(eventAction('later', { x: 1 }, new OwnChanges()), {});
});

test('the answer to the page\'s own change ends its working line and takes the notice down unless it brings one', () => {
  const data = { change: 4, reloaded: false, sections: [], settings };
  assert.deepEqual(answerAction(data), { working: null, sections: [], settings, notice: null, unsaved: '' });
  assert.equal(answerAction({ ...data, notice: 'n', unsaved: '/d/r.rplset: Permission denied' }).unsaved, '/d/r.rplset: Permission denied');
  assert.equal(answerAction({ ...data, notice: 'n' }).notice, 'n');
});

test('written sections take the mark the server says, and unknown paths are passed over', () => {
  const t = toc();
  const nodes = applyWritten(t, { paths: ['||R||B', '||R||gone'], marked: true, marking: 2 });
  assert.deepEqual(nodes.map((n) => n.section.path), ['||R||B']);
  assert.equal(t.node('||R||B').section.marking, 2);
  assert.equal(t.node('||R||B').section.marked, true);
  assert.equal(t.document.sections[2].marking, 2, 'the document follows, for a later merge');
  assert.equal(t.node('||R||A').section.marking, 0);
});
