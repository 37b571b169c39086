// The preview of the selected section, as the export draws it, with what a
// person has typed and not applied put over its settings. The pure parts
// (the request, the words under the preview) are apart from the DOM so
// that they are tested on their own.

// Rows a preview shows first, and how many more each "Show more rows"
// asks for; the server answers at most 5,000.
export const FIRST_ROWS = 200;
export const MORE_ROWS = 1000;
export const MOST_ROWS = 5000;

const LISTS = { width: 'widths', align: 'aligns', order: 'orders' };

// The /api/preview request for `path` from typed form fields
// ("width-3" -> "80", "align-0" -> "R", "order-2" -> "1"). A field left
// empty, or a number that is not a whole one, is not typed.
export function previewRequest(path, fields = {}, rows = FIRST_ROWS) {
  const request = { path, rows };
  for (const [name, raw] of Object.entries(fields)) {
    const [prefix, index] = name.split('-');
    const list = LISTS[prefix];
    const column = Number(index);
    if (!list || !Number.isInteger(column) || column < 0 || raw === '' || raw === undefined) continue;
    let value;
    if (prefix === 'align') {
      if (raw !== 'L' && raw !== 'R') continue;
      value = raw;
    } else {
      value = Number(raw);
      if (!Number.isInteger(value) || Math.abs(value) > 2147483647) continue;
    }
    (request[list] ||= []).push([column, value]);
  }
  return request;
}

const count = (n) => n.toLocaleString('en-US');

// What the preview leaves out, in words: "200 of 100,000 rows shown." or
// "" when it shows everything.
export function previewStatus(answer) {
  const parts = [];
  if (answer.rows_total > answer.rows_shown)
    parts.push(`${count(answer.rows_shown)} of ${count(answer.rows_total)} rows shown.`);
  if (answer.columns_total > answer.columns_shown)
    parts.push(`${count(answer.columns_shown)} of ${count(answer.columns_total)} columns shown.`);
  return parts.join(' ');
}

// The rows to ask for after "Show more rows", or null when no more can be shown.
export function moreRows(answer, asked) {
  if (answer.rows_total <= answer.rows_shown || asked >= MOST_ROWS) return null;
  return Math.min(MOST_ROWS, asked + MORE_ROWS);
}

// Answers come back in any order: only the newest request's answer is shown.
export class Latest {
  constructor() {
    this.issued = 0;
  }
  next() {
    this.issued += 1;
    return this.issued;
  }
  isLatest(ticket) {
    return ticket === this.issued;
  }
}
