// The viewer's page: the TOC on the left, the selected section on the
// right, the settings file below. The page keeps no state of the library:
// it draws whatever the server last answered.

import { api } from './api.js';
import { renderDetails } from './details.js';
import { isFolder, Toc } from './model.js';
import { TreeView } from './tree.js';

const $ = (id) => document.getElementById(id);

const state = {
  toc: null,
  unsaved: '', // why the last change did not reach the settings file
  settings: null, // the last /api/settings answer
  problem: '', // a request that failed outright
  shownSection: '', // the JSON of the section the details pane shows
};

const tree = new TreeView($('tree'), {
  onSelect: (node) => chosen(node.section.path),
  onMark: (node) => toggleMark(node),
});

// ---- Banner ----------------------------------------------------------------

function showBanner() {
  const lines = [];
  if (state.problem) lines.push(state.problem);
  const settings = state.settings;
  if (settings && settings.exists && !settings.readable) {
    lines.push(`The settings file ${settings.settings_file} exists but cannot be read: changes stay in memory and the file is left untouched.`);
  } else if (state.unsaved) {
    lines.push(`The last change was not saved: ${state.unsaved}. It stays in memory until the viewer stops.`);
  }
  $('banner').textContent = lines.join(' ');
  $('banner').hidden = lines.length === 0;
}

// Runs a request; a failure shows in the banner and is otherwise dropped.
async function attempt(work) {
  try {
    await work();
    state.problem = '';
  } catch (failure) {
    state.problem = failure.status === 401 ? 'This page has no session token: open the address that rpl-toc view printed.' : failure.message;
  }
  showBanner();
}

// ---- Drawing the server's answers ----------------------------------------

function showDetails(force = false) {
  const node = tree.selected();
  const hidden = node !== null && tree.hides(node);
  const json = node ? JSON.stringify(node.section) + hidden : '';
  if (!force && json === state.shownSection) return; // keeps a half-edited form
  state.shownSection = json;
  renderDetails($('details'), node, change, { hidden });
}

function showNotice(text) {
  $('notice').textContent = text;
  $('notice').hidden = !text;
}

function showToc(document) {
  state.toc = new Toc(document);
  $('report-name').textContent = document.report;
  window.document.title = `${document.report} — rpl-toc view`;
  tree.setToc(state.toc);
  showDetails();
  showFilterStatus();
}

// The settings file, the blocks of `rewritten` paths marked and the first
// of them scrolled into view.
async function showSettings(rewritten = []) {
  const { data } = await api.settings();
  state.settings = data;
  $('settings-path').textContent = data.settings_file;
  const pane = $('settings-content');
  if (!data.exists || !data.readable || !data.content) {
    pane.textContent = !data.exists ? '(no settings file yet: the first change writes it)' : data.readable ? '(empty)' : '(cannot be read)';
    return;
  }
  const wanted = new Set(rewritten.map((path) => `[${path}]`));
  if (!wanted.size) {
    pane.textContent = data.content;
    return;
  }
  const parts = [];
  let plain = '';
  let first = null;
  for (const block of data.content.split(/(?=^\[)/m)) {
    const head = block.slice(0, block.indexOf('\n') < 0 ? block.length : block.indexOf('\n'));
    if (!wanted.has(head)) {
      plain += block;
      continue;
    }
    if (plain) parts.push(plain);
    plain = '';
    const mark = document.createElement('mark');
    mark.className = 'rewritten';
    mark.textContent = block;
    parts.push(mark);
    first = first || mark;
  }
  if (plain) parts.push(plain);
  pane.replaceChildren(...parts);
  if (first) pane.scrollTop = first.offsetTop - pane.offsetTop - 8;
  $('settings-title').dataset.rewritten = String(wanted.size);
}

// After a change: its answer's sections merged into the tree, the section
// and the file with the blocks it rewrote marked.
async function changed(answer, drawn = () => {}) {
  state.unsaved = answer.unsaved;
  const data = answer.data;
  if (data.reloaded) showNotice('The settings file changed outside this viewer; the sections now show what it holds.');
  const nodes = state.toc.merge(data.sections);
  tree.refresh(nodes);
  showDetails();
  drawn(); // the tree and the section as they now are; the file follows
  await showSettings(data.reloaded ? [] : data.sections.map((s) => s.path));
  showBanner();
}

// A reload: the whole TOC again.
async function reloaded(answer, why = '') {
  state.unsaved = answer.unsaved;
  showToc(answer.data);
  await showSettings();
  showNotice(why);
  showBanner();
}

// ---- A change that takes a while, and changes of others ------------------------

const WORKING_AFTER_MS = 500;

// Runs `work` (a change); when it takes longer than half a second, says
// what the viewer is doing, the saves it expects and the time so far.
async function working(work) {
  let timer = 0;
  let polling = true;
  const started = performance.now();
  const poll = async () => {
    let text = '';
    try {
      const { data } = await api.progress();
      if (data.busy) {
        const n = (x) => x.toLocaleString('en');
        const done = data.saves_done ? `${n(data.saves_done)} of ` : '';
        const saves = data.expected_saves ? `, ${done}${n(data.expected_saves)} saves expected (one for each section and each of its folders, two for a table or a chart)` : '';
        text = `Working: ${data.what}${saves}, ${(data.elapsed_ms / 1000).toFixed(1)} s so far`;
      }
    } catch {
      text = '';
    }
    if (!polling) return;
    $('working').textContent = text || `Working, ${((performance.now() - started) / 1000).toFixed(1)} s so far`;
    $('working').hidden = false;
    timer = setTimeout(poll, 250);
  };
  timer = setTimeout(poll, WORKING_AFTER_MS);
  try {
    return await work();
  } finally {
    polling = false;
    clearTimeout(timer);
    $('working').hidden = true;
  }
}

// Another program's change to the settings file: the viewer tells, the page
// builds its TOC again from the file (and keeps what is typed in its forms).
async function watchFile() {
  try {
    if (document.body.dataset.busy === '0') {
      const { data } = await api.progress();
      if (data.outside_change && !data.busy)
        await attempt(async () => reloaded(await api.reload(), 'The settings file changed outside this viewer; reloaded.'));
    }
  } catch {
    // the banner tells of a server that is gone at the next request
  }
  setTimeout(watchFile, 1500);
}

// ---- Actions ---------------------------------------------------------------

function select(path) {
  tree.select(path);
  showDetails();
}

// At narrow widths the details are below the tree: a chosen row brings them into view.
function chosen(path) {
  select(path);
  if (window.matchMedia('(max-width: 760px)').matches) $('details').scrollIntoView({ block: 'start' });
}

function toggleMark(node) {
  performance.mark('rpl-mark-start');
  return attempt(async () => {
    await changed(await working(() => api.mark([node.section.path], node.section.marking !== 2)), () =>
      performance.mark('rpl-mark-done'));
    performance.mark('rpl-mark-file-shown');
  });
}

// Sends a settings change; a refusal goes back to the form that made it.
async function change(request) {
  const answer = await working(() => api.set(request));
  await attempt(() => changed(answer));
}

function step(forward) {
  return attempt(async () => {
    const node = tree.selected();
    let target = null;
    if (node) target = (await (forward ? api.next(node.section.path) : api.prev(node.section.path))).data.path;
    else if (forward && state.toc.roots.length) target = state.toc.roots[0].section.path;
    if (target !== null && !node && isFolder(state.toc.node(target).section)) target = (await api.next(target)).data.path;
    if (target !== null) select(target);
  });
}

function openOrClose(open) {
  const node = tree.selected();
  if (!node) return;
  if (isFolder(node.section) && tree.isOpen(node) !== open) tree.setOpen(node, open);
  else if (!open && node.parent) select(node.parent.section.path);
}

function showFilterStatus() {
  const count = tree.matchCount();
  $('tree-status').textContent = count === null ? `${state.toc.nodes.length} sections` : `${count} found`;
}

let filterTimer = 0;
function filterChanged() {
  clearTimeout(filterTimer);
  filterTimer = setTimeout(() => {
    tree.setFilter($('filter').value);
    showFilterStatus();
    showDetails();
  }, 120);
}

// ---- Keyboard ----------------------------------------------------------------

const KEYS = {
  j: () => step(true),
  ArrowDown: () => step(true),
  k: () => step(false),
  ArrowUp: () => step(false),
  ' ': () => tree.selected() && toggleMark(tree.selected()),
  ArrowRight: () => openOrClose(true),
  ArrowLeft: () => openOrClose(false),
  '/': () => $('filter').focus(),
};

function typingIn(target) {
  return target.closest('input, select, textarea, button, a, [contenteditable]') !== null;
}

document.addEventListener('keydown', (event) => {
  if (event.target === $('filter') && (event.key === 'Escape' || event.key === 'Enter')) {
    if (event.key === 'Escape') {
      $('filter').value = '';
      filterChanged();
    }
    $('tree').focus();
    return;
  }
  if (event.ctrlKey || event.metaKey || event.altKey || typingIn(event.target)) return;
  const action = KEYS[event.key];
  if (!action) return;
  event.preventDefault();
  action();
});

// ---- Start -------------------------------------------------------------------

$('filter').addEventListener('input', filterChanged);
$('reload').addEventListener('click', () => attempt(async () => reloaded(await api.reload())));

// The export is saved as a file named after the report, as rpl-toc export
// writes one. The previous file's address is let go when a new one is made.
let exportUrl = '';
function exportAs(format, extension) {
  return attempt(async () => {
    const file = await api.exported(format);
    if (exportUrl) URL.revokeObjectURL(exportUrl);
    exportUrl = URL.createObjectURL(file);
    const link = document.createElement('a');
    link.href = exportUrl;
    link.download = `${(state.toc && state.toc.document.report) || 'report'}.${extension}`;
    link.click();
  });
}
$('export-html').addEventListener('click', () => exportAs('html', 'html'));
$('export-text').addEventListener('click', () => exportAs('txt', 'txt'));

attempt(async () => {
  showToc((await api.toc()).data);
  // The benchmarks time the first paint of the tree from here.
  requestAnimationFrame(() => setTimeout(() => performance.mark('rpl-tree-painted'), 0));
  await showSettings();
}).then(() => {
  $('tree').focus({ preventScroll: true });
  setTimeout(watchFile, 1500);
});
