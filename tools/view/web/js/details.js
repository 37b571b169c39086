// The selected section: what the library holds for it, and the layout
// settings a person may change (page orientation, a chart's type, a table's
// columns). Every change goes to the server as one /api/set.

import { api } from './api.js';
import { FIRST_ROWS, Latest, moreRows, previewRequest, previewStatus } from './preview.js';
import { contentsWords, kindFacts, outputWords } from './facts.js';
import { columnsRequest } from './requests.js';
import { badge } from './tree.js';

const ORIENTATIONS = [
  [1, 'Portrait'],
  [2, 'Landscape'],
];
const KNOWN_CHART_TYPES = [1, 2];

// What a person typed into a section's column grid and has not applied,
// by path: field name -> value. It outlives a redraw of the form (after a
// change of the orientation, a mark, a reload) and goes on Apply.
const drafts = new Map();

export function unappliedEdits(path) {
  return drafts.has(path) ? { ...drafts.get(path) } : null;
}

function element(tag, properties = {}, ...children) {
  const node = document.createElement(tag);
  Object.assign(node, properties);
  node.append(...children);
  return node;
}

function facts(pairs) {
  const list = element('dl', { className: 'facts' });
  for (const [label, value] of pairs) {
    if (value === undefined || value === null || value === '') continue;
    list.append(element('dt', {}, label), element('dd', {}, value));
  }
  return list;
}

// A form whose submit sends `change()` and shows a refusal under it.
function changeForm(name, legend, onSet, change, ...content) {
  const error = element('p', { className: 'form-error', hidden: true });
  error.setAttribute('role', 'alert');
  const form = element('form', { className: name }, element('fieldset', {}, element('legend', {}, legend), ...content, error));
  form.addEventListener('submit', (event) => event.preventDefault());
  form.send = async () => {
    error.hidden = true;
    try {
      await onSet(change());
    } catch (failure) {
      error.textContent = failure.message;
      error.hidden = false;
      error.scrollIntoView({ block: 'nearest' });
    }
  };
  return form;
}

function orientationForm(section, onSet) {
  const choices = element('div', { className: 'choices' });
  let chosen = section.orientation;
  const form = changeForm('orientation', 'Page orientation', onSet, () => ({ path: section.path, orientation: chosen }), choices);
  for (const [value, label] of ORIENTATIONS) {
    const input = element('input', { type: 'radio', name: 'orientation', value: String(value), checked: section.orientation === value });
    input.addEventListener('change', () => {
      chosen = value;
      form.send();
    });
    choices.append(element('label', {}, input, `${label} (${value})`));
  }
  return form;
}

function chartForm(section, onSet) {
  const select = element('select', { name: 'chart_type' });
  select.setAttribute('aria-label', 'Chart type');
  const types = KNOWN_CHART_TYPES.includes(section.chart_type) ? KNOWN_CHART_TYPES : [...KNOWN_CHART_TYPES, section.chart_type];
  for (const type of types) select.append(element('option', { value: String(type), selected: type === section.chart_type }, `Type ${type}`));
  const form = changeForm('chart', 'Chart type', onSet, () => ({ path: section.path, chart_type: Number(select.value) }), select);
  select.addEventListener('change', () => form.send());
  return form;
}

function numberInput(name, value, label) {
  const input = element('input', { type: 'number', name, step: '1', value: value === undefined ? '' : String(value) });
  input.setAttribute('aria-label', label);
  return input;
}

const latestPreview = new Latest();

// The section as the export draws it. `update(fields)` draws it again
// with typed, unapplied fields put over its settings; nothing is saved.
function previewPanel(section) {
  const body = element('div', { className: 'preview-body' });
  const status = element('p', { className: 'preview-status muted' });
  status.setAttribute('aria-live', 'polite');
  const more = element('button', { type: 'button', hidden: true }, 'Show more rows');
  const heading = element('h3', { id: 'preview-title' }, 'Preview');
  const panel = element('section', { className: 'preview' }, heading, body, element('div', { className: 'preview-foot' }, status, more));
  panel.setAttribute('aria-labelledby', 'preview-title');
  let rows = FIRST_ROWS;
  let fields = {};
  const show = async () => {
    const ticket = latestPreview.next();
    try {
      const { data } = await api.preview(previewRequest(section.path, fields, rows));
      if (!latestPreview.isLatest(ticket)) return;
      // The server's renderer has escaped every text of the report and
      // sanitized its HTML; the page's policy runs no inline script besides.
      body.innerHTML = data.html;
      status.textContent = previewStatus(data);
      const next = moreRows(data, rows);
      more.hidden = next === null;
      more.onclick = () => {
        rows = next;
        show();
      };
      panel.dataset.shown = String(ticket);
    } catch (failure) {
      if (latestPreview.isLatest(ticket)) status.textContent = failure.message;
    }
  };
  panel.update = (typed) => {
    fields = typed || {};
    return show();
  };
  return panel;
}

// One row per column: width, alignment and display column. Only the lists
// a person touched are sent (requests.js); the server says what it refuses.
function columnsForm(section, onSet, onTyped = () => {}) {
  const body = element('tbody');
  const touched = { widths: false, aligns: false, orders: false };
  const draft = drafts.get(section.path) || {};
  for (let i = 0; i < section.columns; i++) {
    const align = element('select', { name: `align-${i}` });
    align.setAttribute('aria-label', `Alignment of column ${i}`);
    for (const letter of ['L', 'R'])
      align.append(element('option', { value: letter, selected: (section.alignments[i] || 'L') === letter }, letter === 'L' ? 'Left' : 'Right'));
    body.append(
      element(
        'tr',
        {},
        element('td', {}, String(i)),
        element('td', {}, numberInput(`width-${i}`, section.widths[i], `Width of column ${i}`)),
        element('td', {}, align),
        element('td', {}, numberInput(`order-${i}`, section.order[i], `Display column of column ${i}`)),
      ),
    );
  }
  const head = element('thead', {}, element('tr', {}, ...['Column', 'Width', 'Alignment', 'Display column'].map((t) => element('th', { scope: 'col' }, t))));
  const grid = element('div', { className: 'grid-wrap' }, element('table', { className: 'columns' }, head, body));
  const lists = { width: 'widths', align: 'aligns', order: 'orders' };
  for (const [name, value] of Object.entries(draft)) {
    const field = body.querySelector(`[name="${name}"]`);
    if (!field) continue;
    field.value = value;
    touched[lists[name.split('-')[0]]] = true;
  }
  const edited = Object.keys(draft).length > 0;
  const apply = element('button', { type: 'submit', className: 'primary', disabled: !edited }, 'Apply');
  const pending = element('p', { className: 'unsaved', hidden: !edited }, 'Unsaved edits: Apply saves them to the settings file.');
  pending.setAttribute('role', 'status');
  // Every field of the grid, as typed.
  const fields = () => Object.fromEntries([...body.querySelectorAll('input, select')].map((field) => [field.name, field.value]));
  const change = () => columnsRequest(section.path, section.columns, fields(), touched);
  const form = changeForm('columns', 'Columns', async (request) => {
    // Applied, what is typed is what the file holds; refused, it stays typed.
    const kept = drafts.get(section.path);
    drafts.delete(section.path);
    try {
      await onSet(request);
    } catch (failure) {
      if (kept) drafts.set(section.path, kept);
      throw failure;
    }
  }, change, grid, element('div', { className: 'form-actions' }, apply, pending));
  const touch = (event) => {
    const list = lists[event.target.name.split('-')[0]];
    touched[list] = true;
    apply.disabled = false;
    pending.hidden = false;
    drafts.set(section.path, { ...(drafts.get(section.path) || {}), [event.target.name]: event.target.value });
    onTyped(drafts.get(section.path));
  };
  body.addEventListener('input', touch);
  body.addEventListener('change', touch);
  form.addEventListener('submit', () => form.send());
  return form;
}

// `node` is the selected section's node of the tree (its "section" is the
// SECTION document), or null.
export function renderDetails(container, node, onSet, { hidden = false } = {}) {
  const section = node ? node.section : null;
  if (!section) {
    container.replaceChildren(element('p', { className: 'muted' }, 'Select a section in the table of contents.'));
    return;
  }
  const title = element('header', {}, element('h2', {}, section.name), badge(section.kind));
  if (section.row_test_failed) title.append(badge('row test failed', 'warn'));
  const parts = [title];
  if (hidden) {
    const note = element('p', { className: 'filter-note' }, 'The filter hides this section in the table of contents.');
    note.setAttribute('role', 'status');
    parts.push(note);
  }
  const preview = section.kind === 'folder' ? null : previewPanel(section);
  if (preview) parts.push(preview);
  parts.push(orientationForm(section, onSet));
  if (section.kind === 'chart') parts.push(chartForm(section, onSet));
  if (section.kind === 'table' && section.columns > 0) parts.push(columnsForm(section, onSet, (typed) => preview.update(typed)));
  parts.push(
    facts([
      ['Path', element('span', { className: 'path' }, section.path)],
      ['Kind', `${section.kind} (object type ${section.object_type})`],
      ['Output', outputWords(section)],
      ['Contents', section.kind === 'folder' ? contentsWords(node.children.map((child) => child.section)) : ''],
      ['Header', section.header],
      ['Footer', section.footer],
      ...kindFacts(section),
      ['Settings', section.settings_changed ? 'changed: written with every save' : 'as read from the file'],
    ]),
  );
  container.replaceChildren(...parts);
  if (preview) preview.update(drafts.get(section.path));
}
