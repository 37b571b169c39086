// The viewer's page: the TOC on the left, the selected section on the
// right, the settings file below. The page keeps no state of the library:
// it draws whatever the server last answered.

import { api, listen } from './api.js';
import { renderDetails } from './details.js';
import { answerAction, applyWritten, eventAction, OwnChanges } from './live.js';
import { isFolder, Toc } from './model.js';
import { markRequest } from './requests.js';
import { mergeSettings, settingsView } from './settings_view.js';
import { TreeView } from './tree.js';

const $ = (id) => document.getElementById(id);

const state = {
  toc: null,
  unsaved: '', // why the last change did not reach the settings file
  settings: null, // the settings file as the server last sent it
  problem: '', // a request that failed outright
  shownSection: '', // the JSON of the section the details pane shows
  own: new OwnChanges(),
  marking: false, // a mark of this page runs
  resyncWanted: false, // the page is to read everything again once no change runs
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
// A refusal because the viewer is busy is the working line's to show.
async function attempt(work) {
  try {
    await work();
    state.problem = '';
  } catch (failure) {
    if (failure.status === 503) showWorking(failure.message);
    else state.problem = failure.status === 401 ? 'This page has no session token: open the address that rpl-toc view printed.' : failure.message;
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
  $('notice').textContent = text || '';
  $('notice').hidden = !text;
}

// The one line that says what the viewer is busy with, in the server's words.
function showWorking(text) {
  $('working').textContent = text || '';
  $('working').hidden = !text;
}

function showToc(document) {
  state.toc = new Toc(document);
  $('report-name').textContent = document.report;
  window.document.title = `${document.report} — rpl-toc view`;
  tree.setToc(state.toc);
  showDetails();
  showFilterStatus();
}

// The settings file, block by block; the first block rewritten scrolled
// into view. A change's answer brings only the blocks it rewrote.
async function showSettings(answer) {
  let settings = mergeSettings(state.settings, answer);
  if (settings === null) settings = (await api.settings()).data;
  state.settings = settings;
  $('settings-path').textContent = settings.settings_file;
  const pane = $('settings-content');
  const view = settingsView(settings);
  $('settings-title').dataset.rewritten = String(view.rewritten);
  if (view.placeholder !== null) {
    pane.textContent = view.placeholder;
    return;
  }
  let first = null;
  pane.replaceChildren(
    ...view.parts.map((part) => {
      if (!part.rewritten) return part.text;
      const mark = document.createElement('mark');
      mark.className = 'rewritten';
      mark.textContent = part.text;
      first = first || mark;
      return mark;
    }),
  );
  if (first) pane.scrollTop = first.offsetTop - pane.offsetTop - 8;
}

// Carries out an action of live.js.
async function act(action, drawn = () => {}) {
  if (action.resync) return resync();
  if ('working' in action) showWorking(action.working);
  if (action.working === null && state.resyncWanted) resync();
  if (action.written) tree.refresh(applyWritten(state.toc, action.written));
  if (action.sections) {
    tree.refresh(state.toc.merge(action.sections));
    showDetails();
  }
  drawn(); // the tree and the section as they now are; the file follows
  if (action.settings) await showSettings(action.settings);
  if ('notice' in action) showNotice(action.notice);
  if ('unsaved' in action) state.unsaved = action.unsaved;
  showBanner();
}

// The whole TOC and the settings file again: after the stream broke, or
// when the server says the page fell behind. While a change runs the
// viewer would only say it is busy: the page reads once it has ended.
async function resync() {
  if (state.marking || !$('working').hidden) {
    state.resyncWanted = true;
    return;
  }
  state.resyncWanted = false;
  await attempt(async () => {
    showToc((await api.toc()).data);
    state.settings = null;
    await showSettings((await api.settings()).data);
  });
}

// A change of this page: its answer is the whole of what the page shows after it.
async function changed(request, drawn) {
  const { data } = await request();
  state.own.add(data.change);
  await act(answerAction(data), drawn);
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

// One mark at a time from this page: while one runs, the tree says it is
// busy, a click on a box does nothing, and the working line says why.
function toggleMark(node) {
  if (state.marking) return undefined;
  state.marking = true;
  $('tree').setAttribute('aria-busy', 'true');
  performance.mark('rpl-mark-start');
  return attempt(async () => {
    try {
      await changed(() => api.mark(markRequest(node.section)), () => performance.mark('rpl-mark-done'));
    } finally {
      state.marking = false;
      $('tree').setAttribute('aria-busy', 'false');
      if (state.resyncWanted) resync();
    }
    performance.mark('rpl-mark-file-shown');
  });
}

// Sends a settings change; a refusal goes back to the form that made it.
async function change(request) {
  try {
    await changed(() => api.set(request));
  } catch (failure) {
    if (failure.status !== 503) throw failure;
    showWorking(failure.message);
  }
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
$('reload').addEventListener('click', () =>
  attempt(async () => {
    const { data } = await api.reload();
    showToc(data.toc);
    await showSettings(data.settings);
    showNotice(data.notice || '');
    state.unsaved = '';
  }),
);

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

const EVENTS = ['progress', 'idle', 'changed', 'outside', 'resync'];

attempt(async () => {
  showToc((await api.toc()).data);
  // The benchmarks time the first paint of the tree from here.
  requestAnimationFrame(() => setTimeout(() => performance.mark('rpl-tree-painted'), 0));
  await showSettings((await api.settings()).data);
}).then(() => {
  $('tree').focus({ preventScroll: true });
  // What the page did not ask for comes on the stream; one that broke may
  // have missed some, so the page reads everything again.
  listen(
    EVENTS,
    (name, data) => {
      const action = eventAction(name, data, state.own);
      if (name === 'outside') performance.mark('rpl-outside-shown-start');
      act(action).then(() => {
        if (name === 'outside') performance.mark('rpl-outside-shown');
      });
    },
    (again) => {
      document.body.dataset.live = 'open';
      if (again) resync();
    },
  );
});
