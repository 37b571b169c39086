// The section pane's facts in words.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { contentsWords, kindFacts, outputWords } from '../../tools/view/web/js/facts.js';

test('the output mark and its subtree', () => {
  assert.equal(outputWords({ marked: true, marking: 2 }), 'marked; subtree: all of it');
  assert.equal(outputWords({ marked: true, marking: 1 }), 'marked; subtree: partly');
  assert.equal(outputWords({ marked: false, marking: 0 }), 'not marked; subtree: none of it');
  assert.equal(outputWords({ marked: false, marking: 7 }), 'not marked; subtree: 7', 'a state the page does not know is shown as it is');
});

test('a folder\'s contents count its sections and the marked ones', () => {
  assert.equal(contentsWords([]), '0 sections, 0 marked');
  assert.equal(contentsWords([{ marked: true }]), '1 section, 1 marked');
  assert.equal(contentsWords([{ marked: true }, { marked: false }, { marked: true }]), '3 sections, 2 marked');
});

test('each kind lists its own values', () => {
  assert.deepEqual(kindFacts({ kind: 'text', html: true }), [['HTML', 'yes']]);
  assert.deepEqual(kindFacts({ kind: 'chart', chart_type: 2 }), [['Chart type', '2']]);
  assert.deepEqual(kindFacts({ kind: 'gauges', percentages: [true, false] }), [['Gauges', 'percentage, value']]);
  assert.deepEqual(kindFacts({ kind: 'gauges', percentages: [] }), [['Gauges', 'none']]);
  assert.deepEqual(kindFacts({ kind: 'table', columns: 4 }), [['Columns', '4']]);
  assert.deepEqual(kindFacts({ kind: 'embedded', embedded_type: 3, info: 'x' }), [['Embedded type', '3'], ['Info', 'x']]);
  assert.deepEqual(kindFacts({ kind: 'folder' }), []);
});
