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
  onSelect: (node) => select(node.section.path),
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
  const json = node ? JSON.stringify(node.section) : '';
  if (!force && json === state.shownSection) return; // keeps a half-edited form
  state.shownSection = json;
  renderDetails($('details'), node, change);
}

function showToc(document) {
  state.toc = new Toc(document);
  $('report-name').textContent = document.report;
  window.document.title = `${document.report} — rpl-toc view`;
  tree.setToc(state.toc);
  showDetails();
  showFilterStatus();
}

async function showSettings() {
  const { data } = await api.settings();
  state.settings = data;
  $('settings-path').textContent = data.settings_file;
  $('settings-content').textContent = !data.exists
    ? '(no settings file yet: the first change writes it)'
    : data.readable
      ? data.content || '(empty)'
      : '(cannot be read)';
}

// After a change: the tree, the section and the file as they now are.
async function changed(answer) {
  state.unsaved = answer.unsaved;
  showToc(answer.data);
  await showSettings();
  showBanner();
}

// ---- Actions ---------------------------------------------------------------

function select(path) {
  tree.select(path);
  showDetails();
}

function toggleMark(node) {
  performance.mark('rpl-mark-start');
  return attempt(async () => {
    await changed(await api.mark([node.section.path], node.section.marking !== 2));
    performance.mark('rpl-mark-done');
  });
}

// Sends a settings change; a refusal goes back to the form that made it.
async function change(request) {
  const answer = await api.set(request);
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
$('reload').addEventListener('click', () => attempt(async () => changed(await api.reload())));

attempt(async () => {
  showToc((await api.toc()).data);
  // The benchmarks time the first paint of the tree from here.
  requestAnimationFrame(() => setTimeout(() => performance.mark('rpl-tree-painted'), 0));
  await showSettings();
}).then(() => $('tree').focus({ preventScroll: true }));
