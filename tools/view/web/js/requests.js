// The requests the page sends for a person's changes, from what they
// clicked or typed. Values go as typed: the server checks them and says
// what it refuses.

// A click on a section's box: marks it and its subtree, unless all of it
// is marked, then unmarks it.
export function markRequest(section) {
  return { paths: [section.path], marked: section.marking !== 2 };
}

// The /api/set request of a table's column grid. `fields` are the grid's
// values by field name ("width-3" -> "80", "align-0" -> "R", "order-2" ->
// "1"), `touched` which lists a person changed. Only those lists go, each
// with every column that has a value; alignments go with the widths, which
// the library stores together.
export function columnsRequest(path, columns, fields, touched) {
  const collect = (prefix, read) => {
    const list = [];
    for (let i = 0; i < columns; i++) {
      const value = fields[`${prefix}-${i}`];
      if (value !== undefined && value !== '') list.push([i, read(value)]);
    }
    return list;
  };
  const out = { path };
  if (touched.widths || touched.aligns) out.widths = collect('width', Number);
  if (touched.aligns) out.aligns = collect('align', String);
  if (touched.orders) out.orders = collect('order', Number);
  return out;
}
