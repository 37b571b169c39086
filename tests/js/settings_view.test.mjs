// The settings file pane and the requests of a person's changes.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { columnsRequest, markRequest } from '../../tools/view/web/js/requests.js';
import { mergeSettings, settingsView } from '../../tools/view/web/js/settings_view.js';

const file = (members) => ({ settings_file: '/d/r@x.rplset', exists: true, readable: true, blocks: [], ...members });

test('a file with no block shown says why', () => {
  assert.equal(settingsView(file({ exists: false, readable: false })).placeholder, '(no settings file yet: the first change writes it)');
  assert.equal(settingsView(file({ readable: false })).placeholder, '(cannot be read)');
  assert.equal(settingsView(file({})).placeholder, '(empty)');
});

test('blocks are drawn whole, in the server\'s order, the rewritten ones marked', () => {
  const blocks = [
    { header: '[||R]', text: '[||R]\nOUTPUT_SECTION=1\n', rewritten: true },
    { header: '[||R||A]', text: '[||R||A]\nOUTPUT_SECTION=0\n', rewritten: false },
    { header: '[||R||B]', text: '[||R||B]\nx=[not a header]\n', rewritten: true },
  ];
  assert.deepEqual(settingsView(file({ blocks })), {
    placeholder: null,
    parts: blocks.map(({ text, rewritten }) => ({ text, rewritten })),
    rewritten: 2,
  });
});

test('a click marks a section unless all of it is marked', () => {
  assert.deepEqual(markRequest({ path: '||R', marking: 0 }), { paths: ['||R'], marked: true });
  assert.deepEqual(markRequest({ path: '||R', marking: 1 }), { paths: ['||R'], marked: true });
  assert.deepEqual(markRequest({ path: '||R', marking: 2 }), { paths: ['||R'], marked: false });
});

test('the column grid sends the lists touched, widths with alignments, values as typed', () => {
  const fields = { 'width-0': '10', 'width-1': '', 'width-2': '1.5', 'align-0': 'R', 'align-1': 'L', 'align-2': 'L', 'order-0': '2', 'order-1': '0', 'order-2': '-1' };
  assert.deepEqual(columnsRequest('||T', 3, fields, { widths: false, aligns: false, orders: true }), {
    path: '||T',
    orders: [[0, 2], [1, 0], [2, -1]],
  });
  assert.deepEqual(columnsRequest('||T', 3, fields, { widths: false, aligns: true, orders: false }), {
    path: '||T',
    widths: [[0, 10], [2, 1.5]],
    aligns: [[0, 'R'], [1, 'L'], [2, 'L']],
  });
  assert.deepEqual(columnsRequest('||T', 2, fields, { widths: true, aligns: false, orders: false }), { path: '||T', widths: [[0, 10]] });
});

const block = (header, text, rewritten = false) => ({ header, text: `${header}\n${text}\n`, rewritten });

test('a change\'s rewritten blocks take their places among those held, and only they are marked', () => {
  const held = file({ whole: true, blocks: [block('[||A]', 'x=1', true), block('[||C]', 'x=1')] });
  const answer = file({
    whole: false,
    blocks: [
      { ...block('[||C]', 'x=2', true), after: '[||A]' },
      { ...block('[||B]', 'x=3', true), after: '[||A]' },
      { ...block('[||0]', 'x=4', true), after: null },
    ],
  });
  const merged = mergeSettings(held, answer);
  assert.deepEqual(merged.blocks.map((b) => [b.header, b.text, b.rewritten]), [
    ['[||0]', '[||0]\nx=4\n', true],
    ['[||A]', '[||A]\nx=1\n', false],
    ['[||B]', '[||B]\nx=3\n', true],
    ['[||C]', '[||C]\nx=2\n', true],
  ]);
  assert.equal(held.blocks[0].rewritten, true, 'what the page held is not changed');
});

test('pieces that do not fit what the page holds make it ask for the whole file', () => {
  const piece = file({ whole: false, blocks: [{ ...block('[||B]', 'x=1', true), after: '[||gone]' }] });
  assert.equal(mergeSettings(file({ blocks: [block('[||A]', 'x=1')] }), piece), null);
  assert.equal(mergeSettings(null, piece), null);
  assert.equal(mergeSettings(file({ readable: false }), piece), null);
  assert.equal(mergeSettings(file({ settings_file: '/other' }), { ...piece, blocks: [] }), null);
  const whole = file({ whole: true, blocks: [block('[||Z]', 'x=1')] });
  assert.equal(mergeSettings(null, whole), whole, 'a whole file is taken as it is');
  const unreadable = file({ whole: false, readable: false });
  assert.equal(mergeSettings(file({}), unreadable), unreadable);
});
