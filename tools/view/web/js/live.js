// What the page does with what the server tells it: the events of its
// stream (another program's save, a change's progress, a change made from
// another page) and the answers to its own changes. Each becomes an
// action, a plain object the page carries out; nothing here touches the
// DOM, so every rule of it is tested on its own.
//
// An action's members, each optional:
//   working   the server's sentence for the change that runs; null: none runs
//   written   {paths, marked, marking}: sections a long change has written
//   sections  SECTION documents to put in place of those held
//   settings  the settings file, block by block, as the server read it
//   notice    what changed that the page did not ask for; null: take the
//             notice down; absent: leave it as it is
//   unsaved   why the page's change did not reach the file ("" when it did)
//   resync    read the whole TOC and the settings file again

// The page's own changes, by the number the server gave them, so that
// their "changed" event (sent to every page) is not taken twice.
export class OwnChanges {
  constructor(kept = 32) {
    this.kept = kept;
    this.numbers = [];
  }
  add(number) {
    this.numbers.push(number);
    if (this.numbers.length > this.kept) this.numbers.shift();
  }
  has(number) {
    return this.numbers.includes(number);
  }
}

// An action for the event `name` with its parsed `data`.
export function eventAction(name, data, own) {
  switch (name) {
    case 'progress': {
      const action = { working: data.sentence };
      if (data.written) action.written = data.written;
      return action;
    }
    case 'idle':
      return { working: null };
    case 'changed':
      if (own.has(data.change)) return {};
      return { sections: data.sections, settings: data.settings, notice: data.notice || null };
    case 'outside': {
      const action = { sections: data.sections, settings: data.settings };
      if (data.notice) action.notice = data.notice;
      return action;
    }
    case 'resync':
      // A change too large to send whole: the page that made it has its answer.
      return own.has(data.change) ? {} : { resync: true };
    default:
      return {};
  }
}

// An action for the answer to the page's own mark or settings change: the
// change is done, so nothing runs; the notice of an earlier outside save
// gives way to this answer's own, or goes.
export function answerAction(data) {
  return {
    working: null,
    sections: data.sections,
    settings: data.settings,
    notice: data.notice || null,
    unsaved: data.unsaved || '',
  };
}

// Takes `written` into the TOC: every section it names now shows `marked`
// and `marking`. Returns the nodes changed, for redrawing.
export function applyWritten(toc, written) {
  const nodes = [];
  for (const path of written.paths) {
    const node = toc.node(path);
    if (!node) continue;
    node.section = { ...node.section, marked: written.marked, marking: written.marking };
    toc.document.sections[node.index] = node.section;
    nodes.push(node);
  }
  return nodes;
}
