// The settings file pane: the blocks the server sends, in its order, the
// ones a change rewrote to be marked. The page never splits the file: each
// block comes whole, as the library reads it.

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
