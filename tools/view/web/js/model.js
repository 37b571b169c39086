// The TOC document as a tree. The document lists the sections in the
// library's index order (each folder before its contents) with their
// depth, which is all it takes to rebuild the nesting.

export const FOLDER_TYPE = 1;

export function isFolder(section) {
  return section.object_type === FOLDER_TYPE;
}

// "true", "mixed" or "false" for the marking state of a subtree (2, 1, 0).
export function checkedState(marking) {
  if (marking === 2) return 'true';
  if (marking === 1) return 'mixed';
  return 'false';
}

export class Toc {
  constructor(document) {
    this.document = document;
    this.nodes = document.sections.map((section, index) => ({
      section,
      index,
      parent: null,
      children: [],
      lowerName: section.name.toLowerCase(),
    }));
    this.roots = [];
    this.byPath = new Map();
    const open = []; // open[d]: the latest section at depth d
    for (const node of this.nodes) {
      const depth = node.section.depth;
      open.length = depth;
      node.parent = depth > 0 && open[depth - 1] ? open[depth - 1] : null;
      (node.parent ? node.parent.children : this.roots).push(node);
      open[depth] = node;
      // A path that occurs twice names its first section, as in the library's lookup.
      if (!this.byPath.has(node.section.path)) this.byPath.set(node.section.path, node);
    }
  }

  // Takes the SECTIONs of a change's answer in place of those held; the
  // nodes they belong to, for redrawing.
  merge(sections) {
    const touched = [];
    for (const section of sections) {
      const node = this.byPath.get(section.path);
      if (!node) continue;
      node.section = section;
      this.document.sections[node.index] = section;
      touched.push(node);
    }
    return touched;
  }

  node(path) {
    return this.byPath.get(path) || null;
  }

  // The node's ancestors, nearest first.
  ancestors(node) {
    const out = [];
    for (let p = node.parent; p; p = p.parent) out.push(p);
    return out;
  }

  // Every node whose name contains `text` (case-insensitive), with their
  // ancestors: the nodes a filtered tree shows.
  filtered(text) {
    const needle = text.toLowerCase();
    const shown = new Set();
    for (const node of this.nodes) {
      if (!node.lowerName.includes(needle)) continue;
      for (let n = node; n && !shown.has(n); n = n.parent) shown.add(n);
    }
    return shown;
  }
}
