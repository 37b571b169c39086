// The table of contents as an ARIA tree. Rows are made only for folders
// that are open, and at most CHUNK children of a folder at first, so a
// report of ten thousand sections draws as fast as one of a hundred.

import { checkedState, isFolder } from './model.js';

const CHUNK = 500;

export class TreeView {
  // `onSelect(node)` when a row is chosen, `onMark(node)` when its checkbox is.
  constructor(element, { onSelect, onMark }) {
    this.element = element;
    this.onSelect = onSelect;
    this.onMark = onMark;
    this.toc = null;
    this.expanded = new Set(); // paths of open folders
    this.shownChildren = new Map(); // folder path -> rows made beyond the first CHUNK
    this.selectedPath = null;
    this.filterText = '';
    this.filterShown = null; // nodes a filter leaves, or null
    element.addEventListener('click', (event) => this.click(event));
  }

  setToc(toc) {
    const first = this.toc === null;
    this.toc = toc;
    if (first) for (const root of toc.roots) this.expanded.add(root.section.path);
    if (this.filterText) this.filterShown = toc.filtered(this.filterText);
    this.render();
  }

  // Redraws the marks of `nodes` whose rows are drawn.
  refresh(nodes) {
    for (const node of nodes) {
      const row = this.row(node);
      if (!row) continue;
      row.setAttribute('aria-checked', checkedState(node.section.marking));
      const box = row.querySelector(':scope > .line > input[type="checkbox"]');
      box.checked = node.section.marking === 2;
      box.indeterminate = node.section.marking === 1;
    }
  }

  // Whether the filter leaves `node` out of the tree.
  hides(node) {
    return this.filterShown !== null && !this.filterShown.has(node);
  }

  selected() {
    return this.selectedPath === null ? null : this.toc.node(this.selectedPath);
  }

  // Selects the section of `path`, opening its folders so that its row shows.
  select(path) {
    const node = this.toc.node(path);
    if (!node) return;
    if (this.filterShown && !this.filterShown.has(node)) this.setFilter('');
    let opened = false;
    for (const folder of this.toc.ancestors(node)) {
      if (this.expanded.has(folder.section.path)) continue;
      this.expanded.add(folder.section.path);
      opened = true;
    }
    opened = this.reach(node) || opened;
    const previous = this.selected();
    this.selectedPath = path;
    if (opened || !this.row(node)) {
      this.render();
    } else {
      if (previous && this.row(previous)) this.row(previous).setAttribute('aria-selected', 'false');
      this.row(node).setAttribute('aria-selected', 'true');
      this.element.setAttribute('aria-activedescendant', `row-${node.index}`);
    }
    this.row(node).querySelector('.line').scrollIntoView({ block: 'nearest' });
  }

  setOpen(node, open) {
    if (!isFolder(node.section)) return;
    if (open) this.expanded.add(node.section.path);
    else this.expanded.delete(node.section.path);
    this.render();
  }

  isOpen(node) {
    return this.filterShown !== null || this.expanded.has(node.section.path);
  }

  setFilter(text) {
    this.filterText = text.trim();
    this.filterShown = this.filterText ? this.toc.filtered(this.filterText) : null;
    this.render();
  }

  // How many names contain the filter's text, or null without a filter.
  matchCount() {
    if (!this.filterShown) return null;
    const needle = this.filterText.toLowerCase();
    let count = 0;
    for (const node of this.filterShown) if (node.lowerName.includes(needle)) count++;
    return count;
  }

  // Makes sure the chunks of each folder above `node` reach it; true when
  // a folder shows more rows now.
  reach(node) {
    let grown = false;
    for (let n = node; n.parent; n = n.parent) {
      const position = n.parent.children.indexOf(n);
      if (position < this.limit(n.parent)) continue;
      this.shownChildren.set(n.parent.section.path, position + 1 - CHUNK);
      grown = true;
    }
    return grown;
  }

  limit(folder) {
    return CHUNK + (this.shownChildren.get(folder.section.path) || 0);
  }

  row(node) {
    return document.getElementById(`row-${node.index}`);
  }

  render() {
    const scroll = this.element.scrollTop;
    const fragment = document.createDocumentFragment();
    this.appendRows(fragment, this.toc.roots, 0, null);
    this.element.replaceChildren(fragment);
    this.element.scrollTop = scroll;
    const selected = this.selected();
    if (selected && this.row(selected)) this.element.setAttribute('aria-activedescendant', `row-${selected.index}`);
    else this.element.removeAttribute('aria-activedescendant');
  }

  appendRows(parentElement, nodes, depth, folder) {
    const visible = this.filterShown ? nodes.filter((n) => this.filterShown.has(n)) : nodes;
    const limit = folder && !this.filterShown ? this.limit(folder) : Infinity;
    const count = Math.min(visible.length, limit);
    for (let i = 0; i < count; i++) parentElement.appendChild(this.makeRow(visible[i], depth));
    if (count < visible.length) parentElement.appendChild(this.moreButton(folder, visible.length - count, depth));
  }

  makeRow(node, depth) {
    const section = node.section;
    const folder = isFolder(section);
    const open = folder && this.isOpen(node);
    const row = document.createElement('div');
    row.id = `row-${node.index}`;
    row.className = folder ? 'row folder' : 'row';
    row.setAttribute('role', 'treeitem');
    row.setAttribute('aria-level', String(depth + 1));
    row.setAttribute('aria-checked', checkedState(section.marking));
    row.setAttribute('aria-selected', String(node === this.selected()));
    if (folder) row.setAttribute('aria-expanded', String(open));
    row.dataset.path = section.path;

    const line = document.createElement('div');
    line.className = 'line';
    line.style.setProperty('--depth', depth);
    line.append(this.twisty(folder, open), this.checkbox(section), this.name(section), badge(section.kind));
    if (section.row_test_failed) line.append(badge('row test failed', 'warn'));
    row.appendChild(line);

    if (open && node.children.length) {
      const group = document.createElement('div');
      group.setAttribute('role', 'group');
      this.appendRows(group, node.children, depth + 1, node);
      row.appendChild(group);
    }
    return row;
  }

  twisty(folder, open) {
    const twisty = document.createElement('span');
    twisty.className = folder ? 'twisty' : 'twisty leaf';
    twisty.setAttribute('aria-hidden', 'true');
    twisty.textContent = open ? '▾' : '▸';
    return twisty;
  }

  checkbox(section) {
    const box = document.createElement('input');
    box.type = 'checkbox';
    box.tabIndex = -1;
    box.checked = section.marking === 2;
    box.indeterminate = section.marking === 1;
    box.setAttribute('aria-label', `Mark ${section.name} for output`);
    return box;
  }

  name(section) {
    const name = document.createElement('span');
    name.className = 'name';
    name.title = section.path;
    const at = this.filterText ? section.name.toLowerCase().indexOf(this.filterText.toLowerCase()) : -1;
    if (at < 0) {
      name.textContent = section.name;
    } else {
      const hit = document.createElement('mark');
      hit.textContent = section.name.slice(at, at + this.filterText.length);
      name.append(section.name.slice(0, at), hit, section.name.slice(at + this.filterText.length));
    }
    return name;
  }

  moreButton(folder, left, depth) {
    const more = document.createElement('div');
    more.className = 'more';
    more.style.setProperty('--depth', depth);
    const button = document.createElement('button');
    button.type = 'button';
    button.dataset.more = folder.section.path;
    button.textContent = `Show ${Math.min(left, CHUNK)} more of ${left}`;
    more.appendChild(button);
    return more;
  }

  click(event) {
    const more = event.target.closest('button[data-more]');
    if (more) {
      const path = more.dataset.more;
      this.shownChildren.set(path, (this.shownChildren.get(path) || 0) + CHUNK);
      this.render();
      return;
    }
    const row = event.target.closest('[role="treeitem"]');
    if (!row) return;
    const node = this.toc.nodes[Number(row.id.slice(4))];
    if (event.target.matches('input[type="checkbox"]')) {
      // The box shows what the server answers, not what the click made of it.
      event.preventDefault();
      this.onMark(node);
    } else if (event.target.closest('.twisty') && isFolder(node.section)) {
      this.setOpen(node, !this.isOpen(node));
    } else {
      this.onSelect(node);
    }
    this.element.focus({ preventScroll: true });
  }
}

export function badge(text, style = `kind-${text}`) {
  const span = document.createElement('span');
  span.className = `badge ${style}`;
  span.textContent = text;
  return span;
}
