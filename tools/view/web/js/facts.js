// The facts the section pane lists, in words: what the library holds for a
// section, read from its SECTION document.

const MARKING_WORDS = ['none of it', 'partly', 'all of it'];

// "marked; subtree: partly".
export function outputWords(section) {
  return `${section.marked ? 'marked' : 'not marked'}; subtree: ${MARKING_WORDS[section.marking] ?? section.marking}`;
}

// A folder's contents in a few words, from its children's SECTIONs: "4 sections, 3 marked".
export function contentsWords(children) {
  const marked = children.filter((c) => c.marked).length;
  return `${children.length} ${children.length === 1 ? 'section' : 'sections'}, ${marked} marked`;
}

// The kind's own values, as [label, text] pairs.
export function kindFacts(section) {
  switch (section.kind) {
    case 'text':
      return [['HTML', section.html ? 'yes' : 'no']];
    case 'chart':
      return [['Chart type', String(section.chart_type)]];
    case 'embedded':
      return [['Embedded type', String(section.embedded_type)], ['Info', section.info]];
    case 'gauges':
      return [['Gauges', section.percentages.length ? section.percentages.map((p) => (p ? 'percentage' : 'value')).join(', ') : 'none']];
    case 'table':
      return [['Columns', String(section.columns)]];
    default:
      return [];
  }
}
