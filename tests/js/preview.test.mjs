// The preview's pure parts: the request from typed fields, the words under
// the preview, the next row count and the newest-answer rule.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { FIRST_ROWS, Latest, MOST_ROWS, moreRows, previewRequest, previewStatus } from '../../tools/view/web/js/preview.js';

test('previewRequest puts typed fields into the lists of /api/set', () => {
  const request = previewRequest('||R||T', { 'width-0': '80', 'align-1': 'R', 'order-0': '1', 'order-1': '0' });
  assert.deepEqual(request, {
    path: '||R||T',
    rows: FIRST_ROWS,
    widths: [[0, 80]],
    aligns: [[1, 'R']],
    orders: [[0, 1], [1, 0]],
  });
});

test('previewRequest leaves out what is not typed or not a value', () => {
  const cases = [
    [{ 'width-0': '' }, {}],
    [{ 'width-0': '1.5' }, {}],
    [{ 'width-0': 'abc' }, {}],
    [{ 'align-0': 'X' }, {}],
    [{ 'bogus-0': '3' }, {}],
    [{ 'width-x': '3' }, {}],
    [{ 'order-2': '99999999999' }, {}],
    [{ 'width-3': '-5' }, { widths: [[3, -5]] }],
  ];
  for (const [fields, lists] of cases)
    assert.deepEqual(previewRequest('||P', fields, 10), { path: '||P', rows: 10, ...lists }, JSON.stringify(fields));
});

test('previewStatus says what is left out, and nothing when all is shown', () => {
  const answer = (rows_shown, rows_total, columns_shown = 3, columns_total = 3) => ({ rows_shown, rows_total, columns_shown, columns_total });
  assert.equal(previewStatus(answer(5, 5)), '');
  assert.equal(previewStatus(answer(200, 100000)), '200 of 100,000 rows shown.');
  assert.equal(previewStatus(answer(2, 2, 256, 1000000)), '256 of 1,000,000 columns shown.');
});

test('moreRows grows by a thousand up to the most the server answers', () => {
  assert.equal(moreRows({ rows_shown: 200, rows_total: 100000 }, 200), 1200);
  assert.equal(moreRows({ rows_shown: 4200, rows_total: 100000 }, 4200), MOST_ROWS);
  assert.equal(moreRows({ rows_shown: MOST_ROWS, rows_total: 100000 }, MOST_ROWS), null);
  assert.equal(moreRows({ rows_shown: 30, rows_total: 30 }, 200), null);
});

test('Latest shows only the newest answer', () => {
  const latest = new Latest();
  const first = latest.next();
  const second = latest.next();
  assert.equal(latest.isLatest(first), false);
  assert.equal(latest.isLatest(second), true);
});
