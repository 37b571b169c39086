// The settings file pane: the blocks the server sends, in its order, the
// ones a change rewrote to be marked. The page never splits the file: each
// block comes whole, as the library reads it.

// The file to show after `answer`, a SETTINGS the server sent, given the
// one the page holds (or null). A whole file is taken as it is. A change
// sends only the blocks it rewrote, each with the header of the block
// before it: those take their places among the blocks held, and the others
// are no longer marked. Null when the pieces do not fit what the page
// holds: the page then asks for the whole file.
export function mergeSettings(held, answer) {
  if (answer.whole !== false || !answer.readable) return answer;
  if (!held || !held.readable || held.settings_file !== answer.settings_file) return null;
  const blocks = held.blocks.map((block) => ({ header: block.header, text: block.text, rewritten: false }));
  for (const block of answer.blocks) {
    const at = blocks.findIndex((b) => b.header === block.header);
    const shown = { header: block.header, text: block.text, rewritten: block.rewritten };
    if (at >= 0) {
      blocks[at] = shown;
      continue;
    }
    const after = block.after === null ? -1 : blocks.findIndex((b) => b.header === block.after);
    if (block.after !== null && after < 0) return null;
    blocks.splice(after + 1, 0, shown);
  }
  return { settings_file: answer.settings_file, exists: answer.exists, readable: true, whole: true, blocks };
}

// {placeholder, parts, rewritten}: the words that stand for a file that
// shows no block (null when blocks show), the blocks to draw
// ({text, rewritten}) and how many are marked.
export function settingsView(settings) {
  if (!settings.exists) return { placeholder: '(no settings file yet: the first change writes it)', parts: [], rewritten: 0 };
  if (!settings.readable) return { placeholder: '(cannot be read)', parts: [], rewritten: 0 };
  if (!settings.blocks.length) return { placeholder: '(empty)', parts: [], rewritten: 0 };
  const parts = settings.blocks.map((block) => ({ text: block.text, rewritten: block.rewritten }));
  return { placeholder: null, parts, rewritten: parts.filter((p) => p.rewritten).length };
}
