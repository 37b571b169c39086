// The page's model of the TOC document: the nesting rebuilt from depths,
// lookup by path, ancestors and the filter.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { checkedState, isFolder, Toc } from '../../tools/view/web/js/model.js';

const section = (path, depth, objectType = 4) => ({ path, name: path.split('||').pop(), depth, object_type: objectType });

// ||R (folder) > A (folder) > A1, A2; ||R > B; a second root ||S; a path
// that occurs twice (||R||B).
const document = {
  sections: [
    section('||R', 0, 1),
    section('||R||A', 1, 1),
    section('||R||A||A1', 2),
    section('||R||A||Timing a2', 2),
    section('||R||B', 1),
    section('||R||B', 1, 3),
    section('||S', 0, 1),
  ],
};

const paths = (nodes) => [...nodes].map((n) => n.section.path);

test('checkedState words the marking of a subtree for aria-checked', () => {
  for (const [marking, word] of [[2, 'true'], [1, 'mixed'], [0, 'false'], [7, 'false']])
    assert.equal(checkedState(marking), word, `marking ${marking}`);
});

test('isFolder goes by the object type, not the kind', () => {
  assert.equal(isFolder({ object_type: 1 }), true);
  assert.equal(isFolder({ object_type: 4, kind: 'folder' }), false);
});

test('the nesting is rebuilt from the depths in index order', () => {
  const toc = new Toc(document);
  assert.deepEqual(paths(toc.roots), ['||R', '||S']);
  const r = toc.node('||R');
  assert.deepEqual(paths(r.children), ['||R||A', '||R||B', '||R||B']);
  assert.deepEqual(paths(toc.node('||R||A').children), ['||R||A||A1', '||R||A||Timing a2']);
  assert.equal(toc.node('||S').children.length, 0);
  assert.deepEqual(toc.nodes.map((n) => n.index), [0, 1, 2, 3, 4, 5, 6]);
});

test('a path that occurs twice names its first section, as the library looks it up', () => {
  const toc = new Toc(document);
  assert.equal(toc.node('||R||B').index, 4);
  assert.equal(toc.node('||R||nope'), null);
});

test('ancestors are listed nearest first, none for a root', () => {
  const toc = new Toc(document);
  assert.deepEqual(paths(toc.ancestors(toc.node('||R||A||A1'))), ['||R||A', '||R']);
  assert.deepEqual(toc.ancestors(toc.node('||S')), []);
});

test('the filter matches names without regard to case and keeps the ancestors', () => {
  const toc = new Toc(document);
  const cases = [
    ['timing', ['||R', '||R||A', '||R||A||Timing a2']],
    ['A', ['||R', '||R||A', '||R||A||A1', '||R||A||Timing a2']],
    ['s', ['||S']],
    ['nothing of the kind', []],
  ];
  for (const [text, expected] of cases) assert.deepEqual(paths(toc.filtered(text)).sort(), expected.sort(), text);
});

test('an empty document is an empty tree', () => {
  const toc = new Toc({ sections: [] });
  assert.deepEqual(toc.roots, []);
  assert.equal(toc.node('||R'), null);
});

test('merge takes the sections of a change in place of those held', () => {
  const toc = new Toc({ sections: [section('||R', 0, 1), section('||R||A', 1), section('||R||B', 1)] });
  const changed = { ...section('||R||A', 1), marked: false, marking: 0 };
  const touched = toc.merge([changed, { ...section('||R||gone', 1) }]);
  assert.deepEqual(touched.map((n) => n.section.path), ['||R||A']);
  assert.equal(toc.node('||R||A').section, changed);
  assert.equal(toc.document.sections[1], changed);
  assert.equal(toc.node('||R||A').parent, toc.node('||R')); // the nesting stays
});
