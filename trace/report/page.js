// Puts the parts together: summary, errors, filter, keys.
const byId = id => document.getElementById(id);

function drawAll() {
  list.draw();
  histogram.draw();
  timeline.draw();
  drawCount();
}

function drawCount() {
  const shown = selection.events.length;
  byId("count").textContent = shown === capture.count ? `${format.number(shown)} events`
    : `${format.number(shown)} of ${format.number(capture.count)} events` + (selection.view ? ", in view" : "");
}

// Where the list is when other events are in it.
function showChosen() {
  const position = rowOf(selection.chosen);
  if (selection.events[position] === selection.chosen) list.reveal(position);
  else list.toTop();
}

function choose(i) {
  selection.chosen = i;
  showChosen();
  list.draw();
  detail.draw();
  timeline.markChosen();
}

// By rows of the list.
function step(distance) {
  const total = selection.events.length;
  if (total === 0) return;
  const row = rowOf(selection.chosen);
  const from = selection.chosen < 0 ? (distance > 0 ? -1 : 0) : row;
  const missing = selection.events[row] !== selection.chosen && distance > 0 && selection.chosen >= 0 ? 1 : 0;
  choose(selection.events[Math.max(0, Math.min(total - 1, from + distance - missing))]);
}

function stepToError(direction) {
  for (let row = rowOf(selection.chosen + (direction > 0 ? 1 : 0)) - (direction > 0 ? 0 : 1);
    row >= 0 && row < selection.events.length; row += direction) {
    if (capture.bad[selection.events[row]]) {
      choose(selection.events[row]);
      return;
    }
  }
}

function viewChanged(view) {
  selection.view = view;
  updateEvents();
  showChosen();
  list.draw();
  histogram.draw();
  drawCount();
}

function filterChanged() {
  for (const name of ["kind", "adapter", "command", "status"]) selection.filter[name] = byId(name).value;
  selection.filter.words = byId("search").value.toLowerCase().split(/\s+/).filter(Boolean);
  updateFilter();
  showChosen();
  for (const button of document.querySelectorAll("#problems button")) button.setAttribute("aria-pressed", "false");
  drawAll();
}

function setFilter(values) {
  for (const name of ["search", "kind", "adapter", "command", "status"]) byId(name).value = values[name] ?? "";
  filterChanged();
}

function clearFilter() {
  setFilter({});
  timeline.all();
}

function fillFilter() {
  const add = (id, values) => values.forEach(([value, text]) => byId(id).append(element("option", { value }, text)));
  const kinds = new Set(Array.from({ length: capture.count }, (_, i) => capture.kind(i)));
  add("kind", ["unanswered", "late", "unmatched", "torn"].filter(kind => kinds.has(kind)).map(kind => [kind, kind]));
  add("adapter", capture.adapters.map((name, i) => [i, name]).slice(1));
  add("command", capture.commands.map((command, i) => [i, command?.name]).slice(1));
  const statusText = ({ name, number }) => (number === 0 ? name : `${name} (${number})`);
  add("status", capture.statuses.slice(1).map((status, i) => [i + 1, statusText(status)]));
}

function drawSummary() {
  const counts = {};
  let errors = 0;
  const latencies = [];
  for (let i = 0; i < capture.count; ++i) {
    counts[capture.kind(i)] = (counts[capture.kind(i)] ?? 0) + 1;
    errors += capture.bad[i];
    if (!Number.isNaN(capture.latency(i))) latencies.push(capture.latency(i));
  }
  latencies.sort((a, b) => a - b);
  const adapters = capture.adapters.slice(1);
  const cards = [
    ["Errors", format.number(errors), errors > 0 ? "bad" : ""],
    ["Exchanges", format.number(counts.exchange ?? 0)],
    ["Notifications", format.number(counts.notification ?? 0)],
    ["Opens, closes", `${counts.open ?? 0}, ${counts.close ?? 0}`],
    ["Duration", format.duration(capture.end) || "0 s"],
    ["Median latency", format.duration(percentile(latencies, 0.5)) || "–"],
    [adapters.length === 1 ? "Adapter" : `${adapters.length} adapters`,
      adapters.slice(0, 3).join(", ") + (adapters.length > 3 ? " …" : "") || "–"],
  ];
  byId("summary").append(...cards.map(([name, value, style]) =>
    element("div", style ? { class: style } : {}, element("dt", {}, name), element("dd", {}, value))));
  byId("file").textContent = capture.file;
  document.title = `Trace ${capture.file}`;
  byId("when").textContent = Number.isNaN(capture.start) ? ""
    : new Date(capture.start / 1000).toISOString().slice(0, 19).replace("T", " ") + " UTC";
}

// Equal errors of the same command are one button, which shows them.
function drawProblems() {
  const groups = new Map();
  for (let i = 0; i < capture.count; ++i) {
    if (!capture.bad[i]) continue;
    const { kind, command, status, adapter } = capture.columns;
    const failed = capture.kind(i) === "exchange";
    const name = [capture.result(i), capture.command(i)?.name ?? (capture.isSession(i) ? capture.text(i) : "")];
    const key = JSON.stringify([...name, kind[i], adapter[i]]);
    const filter = { kind: failed || capture.kind(i) === "error" ? "bad" : capture.kind(i),
      adapter: adapter[i] || "", command: command[i] || "", status: failed ? status[i] : "" };
    const group = groups.get(key) ?? { name, filter, first: i, count: 0 };
    group.count += 1;
    groups.set(key, group);
  }
  const several = capture.adapters.length > 2;
  const buttons = [...groups.values()].sort((a, b) => b.count - a.count).map(({ name, filter, first, count }) => {
    const where = several && filter.adapter ? ` · ${capture.adapter(first)}` : "";
    const button = element("button", { type: "button", "aria-pressed": "false" }, element("b", {}, `${format.number(count)} × `),
      name.filter(Boolean).join(" · ") + where);
    button.addEventListener("click", () => {
      timeline.all();
      setFilter(filter);
      button.setAttribute("aria-pressed", "true");
      choose(first);
    });
    return element("li", {}, button);
  });
  const damage = capture.damage.map(text => element("li", { class: "mono" }, text));
  const none = element("li", { class: "none" }, "None: every request was answered with success.");
  document.querySelector("#problems ul").append(...damage, ...(buttons.length ? buttons : [none]));
}

const system = matchMedia("(prefers-color-scheme: dark)");
function setTheme(theme) {
  document.documentElement.dataset.theme = theme;
  byId("theme").textContent = theme === "dark" ? "Light" : "Dark";
}

function switchTheme() {
  setTheme(document.documentElement.dataset.theme === "dark" ? "light" : "dark");
  timeline.draw();
  histogram.redraw();
}

function switchClock() {
  format.clock = !format.clock && !Number.isNaN(capture.start);
  byId("clock").textContent = format.clock ? "Seconds" : "Time of day";
  byId("time-title").textContent = format.clock ? "Time (UTC)" : "Seconds";
  fitTimes();
  list.draw();
  timeline.draw();
}

function fitTimes() {
  list.box.style.setProperty("--time-width", `${format.time(capture.end).length}ch`);
}

const keys = {
  "/": () => byId("search").select(),
  j: () => step(1), ArrowDown: () => step(1),
  k: () => step(-1), ArrowUp: () => step(-1),
  PageDown: () => step(list.page()), PageUp: () => step(-list.page()),
  Home: () => step(-Infinity), End: () => step(Infinity),
  n: () => stepToError(1), p: () => stepToError(-1),
  Enter: () => selection.chosen >= 0 && timeline.closeUp(selection.chosen),
  ArrowLeft: () => timeline.pan(-0.25), ArrowRight: () => timeline.pan(0.25),
  "+": () => timeline.zoom(0.5), "=": () => timeline.zoom(0.5), "-": () => timeline.zoom(2), 0: () => timeline.all(),
  e: () => setFilter({ kind: selection.filter.kind === "bad" ? "" : "bad" }),
  t: switchClock, d: switchTheme,
  "?": () => byId("help").showModal(),
  Escape: clearFilter,
};

document.addEventListener("keydown", event => {
  const inField = event.target.matches("input, select");
  if (byId("help").open || event.ctrlKey || event.metaKey || event.altKey) return;
  if (inField && (event.key === "Escape" || (event.key === "Enter" && event.target.id === "search"))) {
    list.box.focus();
    event.preventDefault();
    return;
  }
  if (inField || !Object.hasOwn(keys, event.key) || (event.key === "Enter" && event.target.matches("button"))) return;
  event.preventDefault();
  keys[event.key]();
});

setTheme(system.matches ? "dark" : "light");
system.addEventListener("change", () => {
  setTheme(system.matches ? "dark" : "light");
  drawAll();
});
byId("theme").addEventListener("click", switchTheme);
byId("clock").addEventListener("click", switchClock);
byId("keys").addEventListener("click", keys["?"]);
byId("filter").addEventListener("input", filterChanged);
byId("filter").addEventListener("submit", event => event.preventDefault());
byId("filter").addEventListener("reset", event => {
  event.preventDefault();
  clearFilter();
});
for (const [name, action] of [["in", () => timeline.zoom(0.5)], ["out", () => timeline.zoom(2)], ["all", timeline.all]]) {
  document.querySelector(`[data-view="${name}"]`).addEventListener("click", () => action());
}
const widest = (texts, most) => Math.min(most, Math.max(...texts.map(text => (text ?? "").length), 10));
list.box.style.setProperty("--adapter-width", `${widest(capture.adapters, 18)}ch`);
list.box.style.setProperty("--result-width", `${widest([...capture.statuses.map(status => status?.name), "notification"], 24)}ch`);
fitTimes();
drawSummary();
drawProblems();
fillFilter();
updateFilter();
detail.draw();
drawAll();
