// Which events the page shows: filter, search and the part of the timeline in view, in the order of the capture.
const selection = {
  filter: { words: [], kind: "", adapter: "", command: "", status: "" },
  view: null, // [first, last] second, or null for all
  passes: new Uint8Array(capture.count), // the filter, each event
  events: new Uint32Array(0), // those in view that pass, in order
  chosen: -1, // an event, not a row
};

// The distinct texts are searched, not the events: most of a long capture repeats.
function matchingTexts(words) {
  return capture.texts.map(text => {
    const lower = (text ?? "").toLowerCase();
    return words.map(word => lower.includes(word));
  });
}

function shownKind(i, wanted) {
  switch (wanted) {
    case "": return true;
    case "bad": return capture.bad[i] === 1;
    case "session": return capture.isSession(i);
    default: return capture.kind(i) === wanted;
  }
}

// Tells which events pass the filter, wherever they are.
function updateFilter() {
  const { words, kind, adapter, command, status } = selection.filter;
  const inText = matchingTexts(words);
  const inAdapter = capture.adapters.map(name => words.map(word => (name ?? "").toLowerCase().includes(word)));
  const inStatus = capture.statuses.map(entry => words.map(word => (entry?.name ?? "").toLowerCase().includes(word)));
  const { columns } = capture;
  for (let i = 0; i < capture.count; ++i) {
    const text = inText[columns.text[i]];
    const hasWord = (word, w) => text[w] || inAdapter[columns.adapter[i]][w] || inStatus[columns.status[i]][w] ||
      capture.kind(i) === word;
    selection.passes[i] = (!adapter || columns.adapter[i] === Number(adapter)) &&
      (!command || columns.command[i] === Number(command)) && (!status || columns.status[i] === Number(status)) &&
      shownKind(i, kind) && words.every(hasWord);
  }
  updateEvents();
}

// Of those that pass, the ones in view.
function updateEvents() {
  const [first, last] = selection.view ?? [-Infinity, Infinity];
  const found = new Uint32Array(capture.count);
  let count = 0;
  for (let i = 0; i < capture.count; ++i) {
    if (selection.passes[i] && capture.at[i] >= first && capture.at[i] <= last) found[count++] = i;
  }
  selection.events = found.subarray(0, count);
}

// The row of an event, or of the first one shown after it.
function rowOf(event) {
  let low = 0;
  let high = selection.events.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (selection.events[middle] < event) low = middle + 1;
    else high = middle;
  }
  return low;
}
