// What the page was made of: columns of numbers, one entry an event, that point into lists of what repeats. In every
// list, entry 0 stands for "none". Times are microseconds; each event's is the distance from the one before. A latency is
// one more than it is, so that 0 is none.
const capture = (() => {
  const data = JSON.parse(document.getElementById("capture").textContent);
  const columns = data.columns;
  const count = columns.kind.length;
  const at = new Float64Array(count);
  let time = 0;
  for (let i = 0; i < count; ++i) {
    time += columns.at[i];
    at[i] = time / 1e6;
  }
  const session = new Set(["open", "close", "error"]);
  const broken = new Set(["error", "unanswered", "late", "unmatched", "torn"]);

  const kind = i => data.kinds[columns.kind[i]];
  const command = i => data.commands[columns.command[i]];
  const status = i => data.statuses[columns.status[i]];
  // A response may be too short for a status.
  const failed = i => kind(i) === "exchange" && columns.responseFrame[i] !== 0 && status(i)?.number !== 0;
  const bad = Uint8Array.from(columns.kind, (_, i) => broken.has(kind(i)) || failed(i));
  // A frame's first two bytes are the id, which has a column of its own: without it, equal frames are stored once.
  const frame = (column, i) => {
    const body = data.frames[column[i]];
    if (!body) return null;
    const hex = body.startsWith("+") ? idBytes(columns.id[i]) + body.slice(1) : body;
    return Uint8Array.from(hex.match(/../g) ?? [], pair => parseInt(pair, 16));
  };
  // Microseconds since 1970 at the start of the capture. Date knows milliseconds only.
  const startOf = ({ time, at }) => Date.parse(`${time.slice(0, 23)}Z`) * 1000 + Number(time.slice(23, 26)) - at;
  const idBytes = id => [id & 0xff, id >> 8].map(byte => byte.toString(16).padStart(2, "0")).join("");

  return {
    file: data.file, start: data.start?.time ? startOf(data.start) : NaN, damage: data.damage, count, at, bad,
    adapters: data.adapters, commands: data.commands, statuses: data.statuses, texts: data.texts, columns,
    end: at.reduce((latest, value, i) => Math.max(latest, value + Math.max(0, columns.latency[i] - 1) / 1e6), 0),
    kind, command, status,
    adapter: i => data.adapters[columns.adapter[i]] ?? "",
    text: i => data.texts[columns.text[i]] ?? "",
    latency: i => (columns.latency[i] > 0 ? (columns.latency[i] - 1) / 1e6 : NaN),
    isSession: i => session.has(kind(i)),
    family: i => command(i)?.family ?? (session.has(kind(i)) ? "" : "unknown"),
    requestFields: i => data.fields[columns.request[i]],
    responseFields: i => data.fields[columns.response[i]],
    requestFrame: i => frame(columns.requestFrame, i),
    responseFrame: i => frame(columns.responseFrame, i),
    result: i => (kind(i) === "exchange" ? status(i)?.name ?? "" : kind(i)),
  };
})();

// Texts for times. A capture without wall-clock time has seconds only.
const format = {
  clock: false,
  seconds: value => value.toFixed(6),
  timeOfDay: at => {
    const microseconds = Math.round(at * 1e6) + capture.start % 86400e6;
    const seconds = Math.floor(microseconds / 1e6) % 86400;
    const two = number => String(number).padStart(2, "0");
    return `${two(Math.floor(seconds / 3600))}:${two(Math.floor(seconds / 60) % 60)}:${two(seconds % 60)}.` +
      String(microseconds % 1000000).padStart(6, "0");
  },
  time: at => (format.clock ? format.timeOfDay(at) : format.seconds(at)),
  duration: seconds => {
    if (Number.isNaN(seconds)) return "";
    for (const [unit, size] of [["s", 1], ["ms", 1e-3]]) {
      if (seconds >= size) return `${Number((seconds / size).toPrecision(3))} ${unit}`;
    }
    return `${Math.round(seconds * 1e6)} µs`;
  },
  number: value => value.toLocaleString("en"),
};

// An element with text or children; text is never read as HTML, since a capture's may be anybody's.
function element(name, attributes = {}, ...children) {
  const node = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
  node.append(...children);
  return node;
}

function percentile(sorted, share) {
  return sorted.length === 0 ? NaN : sorted[Math.max(0, Math.ceil(sorted.length * share) - 1)];
}
