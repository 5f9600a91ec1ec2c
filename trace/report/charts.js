// The two pictures. uPlot draws axes and keeps the zoom; the events in the timeline are ours to draw.
const colour = name => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();

function axis(options) {
  return { stroke: () => colour("soft"), grid: { stroke: () => colour("grid"), width: 1 },
    ticks: { stroke: () => colour("grid"), width: 1 }, font: "12px system-ui, sans-serif", ...options };
}

function fitToBox(chart, box, height) {
  new ResizeObserver(() => chart.setSize({ width: box.clientWidth, height })).observe(box);
}

const timeline = (() => {
  const box = document.querySelector("#timeline .chart");
  const tip = element("div", { class: "tip" });
  const marker = element("div", { class: "marker" });
  const lanes = [];
  const laneOf = new Int16Array(capture.count).fill(-1);
  const several = new Set(capture.columns.adapter).size > 1;
  findLanes();
  const laneCount = Math.max(lanes.length, 1);
  const height = Math.max(150, 44 + laneCount * Math.min(56, Math.max(26, Math.floor(180 / laneCount))));
  const end = Math.max(capture.end, 1e-3);
  // A bar's height is its latency on a logarithmic scale, from a quarter of the lane to all of it.
  const longest = Math.max(1e-4, capture.columns.latency.reduce((most, value) => Math.max(most, value), 0) / 1e6);

  function findLanes() {
    const names = new Map();
    for (let i = 0; i < capture.count; ++i) {
      const family = capture.family(i);
      if (family) names.set(`${capture.adapter(i)}\n${family}`, { adapter: capture.adapter(i), family });
    }
    const keys = [...names.keys()].sort();
    for (const key of keys) lanes.push(names.get(key));
    for (let i = 0; i < capture.count; ++i) laneOf[i] = keys.indexOf(`${capture.adapter(i)}\n${capture.family(i)}`);
  }

  // Seconds on the time axis.
  function lasting(i) {
    return capture.latency(i) || 0;
  }

  function share(latency) {
    if (Number.isNaN(latency)) return 1;
    const low = 1e-5;
    return 0.25 + 0.75 * Math.max(0, Math.log(latency / low) / Math.log(longest / low));
  }

  // Where things are on the canvas, in its own pixels.
  function geometry(u) {
    const { min, max } = u.scales.x;
    const { left, top, width, height: tall } = u.bbox;
    const perSecond = width / (max - min);
    const lane = tall / laneCount;
    return { min, max, left, top, width, tall, lane, perSecond, x: at => left + (at - min) * perSecond };
  }

  function drawEvents(u) {
    const place = geometry(u);
    const context = u.ctx;
    const visible = [];
    for (let i = 0; i < capture.count; ++i) {
      if (capture.at[i] + lasting(i) >= place.min && capture.at[i] <= place.max) visible.push(i);
    }
    context.save();
    context.beginPath();
    context.rect(place.left, place.top, place.width, place.tall);
    context.clip();
    const isPlain = i => !capture.bad[i] && !capture.isSession(i);
    const isNotification = i => capture.kind(i) === "notification";
    const bars = [
      ["line", 1.5, false, i => isPlain(i) && !selection.passes[i]],
      ["bar", 1.5, false, i => isPlain(i) && selection.passes[i] && !isNotification(i)],
      ["note", 2, true, i => isPlain(i) && selection.passes[i] && isNotification(i)],
      ["bad", 2.5, false, i => capture.bad[i] && !capture.isSession(i)],
    ];
    for (const [name, least, hangs, belongs] of bars) {
      drawBars(context, place, visible.filter(belongs), colour(name), least, hangs);
    }
    const marks = visible.filter(capture.isSession);
    drawMarks(context, place, marks.filter(i => !capture.bad[i]), colour("note"), [4, 4]);
    drawMarks(context, place, marks.filter(i => capture.bad[i]), colour("bad"), []);
    context.restore();
    placeMarker(u);
  }

  // Most of a long capture falls on pixels that are painted already: such bars are left out. Bars stand on the bottom of
  // their lane, or hang from its top.
  function drawBars(context, place, events, style, least, hangs) {
    const reach = new Float64Array(laneCount).fill(-1);
    const painted = new Float64Array(laneCount);
    context.fillStyle = style;
    for (const i of events) {
      const lane = laneOf[i];
      const x = Math.floor(place.x(capture.at[i]));
      const tall = hangs ? 0.3 : share(capture.latency(i));
      const width = Math.max(least, lasting(i) * place.perSecond);
      if (x === reach[lane] && tall <= painted[lane] && width === least) continue;
      reach[lane] = x;
      painted[lane] = tall;
      const pixels = (place.lane - 6) * tall;
      const top = hangs ? place.top + lane * place.lane + 4 : place.top + (lane + 1) * place.lane - 2 - pixels;
      context.fillRect(place.x(capture.at[i]), top, width, pixels);
    }
  }

  // Across all lanes of the adapter.
  function drawMarks(context, place, events, style, dashes) {
    context.strokeStyle = style;
    context.lineWidth = 2;
    context.setLineDash(dashes);
    context.beginPath();
    for (const i of events) {
      const x = Math.round(place.x(capture.at[i]));
      lanes.forEach((lane, number) => {
        if (lane.adapter !== capture.adapter(i)) return;
        context.moveTo(x, place.top + number * place.lane);
        context.lineTo(x, place.top + (number + 1) * place.lane);
      });
    }
    context.stroke();
  }

  // Of the chosen event: an element of its own, so that going through the list paints nothing anew.
  function placeMarker(u) {
    const at = capture.at[selection.chosen];
    marker.hidden = !(at >= u.scales.x.min && at <= u.scales.x.max);
    if (!marker.hidden) marker.style.left = `${u.valToPos(at, "x")}px`;
  }

  // The event under the pointer, or one close by in its lane; an error wins over others. -1 for none.
  function eventAt(u, x, y) {
    const lane = Math.floor(y / (u.over.clientHeight / laneCount));
    const time = u.posToVal(x, "x");
    const near = 6 * (u.scales.x.max - u.scales.x.min) / u.over.clientWidth;
    let best = -1;
    let distance = Infinity;
    for (let i = 0; i < capture.count; ++i) {
      if (laneOf[i] !== lane && !(capture.isSession(i) && lanes[lane]?.adapter === capture.adapter(i))) continue;
      const after = capture.at[i] + lasting(i);
      const away = Math.max(capture.at[i] - time, time - after, 0) - (capture.bad[i] ? near / 2 : 0);
      if (away <= near && away < distance) {
        best = i;
        distance = away;
      }
    }
    return best;
  }

  function showTip(u) {
    const { left, top } = u.cursor;
    const i = left >= 0 ? eventAt(u, left, top) : -1;
    tip.hidden = i < 0;
    if (i < 0) return;
    tip.textContent = [format.time(capture.at[i]), format.duration(capture.latency(i)), capture.text(i)]
      .filter(Boolean).join("  ");
    const room = u.over.clientWidth - tip.offsetWidth - 4;
    tip.style.left = `${Math.max(0, Math.min(left + 12, room))}px`;
    tip.style.top = `${top + (top > u.over.clientHeight / 2 ? -30 : 16)}px`;
  }

  const chart = new uPlot({
    width: box.clientWidth || 600, height, legend: { show: false }, padding: [4, 12, 0, 0],
    cursor: { y: false, points: { show: false }, drag: { x: true, y: false, dist: 4 } },
    scales: { x: { time: false, range: (_, min, max) => [min, max] }, y: { range: [0, laneCount], dir: -1 } },
    axes: [
      axis({ size: 34, values: (_, splits) => splits.map(value => axisTime(value, splits)) }),
      axis({ size: several ? 150 : 88, grid: { show: false }, ticks: { show: false }, gap: 8,
        splits: () => lanes.map((_, number) => number + 0.5),
        values: () => lanes.map(lane => (several ? `${lane.adapter.slice(-14)} ${lane.family}` : lane.family)) }),
    ],
    series: [{}, { paths: () => null, points: { show: false } }],
    hooks: { draw: [drawEvents], setCursor: [showTip], setScale: [(u, scale) => scale === "x" && scaled(u)] },
  }, [[0, end], [0, 0]], box);
  chart.over.append(tip, marker);
  tip.hidden = true;
  fitToBox(chart, box, height);

  // As few decimals as tell the marks of the axis apart.
  function axisTime(value, splits) {
    if (format.clock && !Number.isNaN(capture.start)) {
      return format.timeOfDay(value).slice(0, splits[1] - splits[0] >= 1 ? 8 : 12);
    }
    const step = splits.length > 1 ? splits[1] - splits[0] : 1;
    return `${value.toFixed(Math.max(0, Math.min(6, -Math.floor(Math.log10(step)))))} s`;
  }

  function scaled(u) {
    const { min, max } = u.scales.x;
    viewChanged(min <= 0 && max >= end ? null : [min, max]);
  }

  function setView(min, max) {
    const span = Math.min(end, Math.max(max - min, 1e-5));
    const first = Math.max(0, Math.min(min, end - span));
    chart.setScale("x", { min: first, max: first + span });
  }

  function zoom(factor, around = (chart.scales.x.min + chart.scales.x.max) / 2) {
    const { min, max } = chart.scales.x;
    setView(around - (around - min) * factor, around + (max - around) * factor);
  }

  function pan(share) {
    const { min, max } = chart.scales.x;
    setView(min + (max - min) * share, max + (max - min) * share);
  }

  chart.over.addEventListener("wheel", event => {
    event.preventDefault();
    zoom(event.deltaY < 0 ? 0.8 : 1.25, chart.posToVal(event.offsetX, "x"));
  }, { passive: false });
  // Before uPlot takes it for the start of a zoom.
  chart.root.addEventListener("mousedown", event => {
    if (!event.shiftKey) return;
    event.stopPropagation();
    event.preventDefault();
    const { min, max } = chart.scales.x;
    const perPixel = (max - min) / chart.over.clientWidth;
    const move = now => setView(min - (now.clientX - event.clientX) * perPixel, max - (now.clientX - event.clientX) * perPixel);
    window.addEventListener("mousemove", move);
    window.addEventListener("mouseup", () => window.removeEventListener("mousemove", move), { once: true });
  }, true);
  chart.over.addEventListener("click", event => {
    const i = eventAt(chart, event.offsetX, event.offsetY);
    if (i >= 0) choose(i);
  });

  return {
    zoom, pan, height,
    all: () => setView(0, end),
    closeUp: i => {
      const span = (chart.scales.x.max - chart.scales.x.min) / 8;
      setView(capture.at[i] - span / 2, capture.at[i] + span / 2);
    },
    draw: () => chart.redraw(false, true),
    markChosen: () => placeMarker(chart),
  };
})();

const histogram = (() => {
  const box = document.querySelector("#latency .chart");
  const perDecade = 8;
  const lowest = -6; // a microsecond
  const bars = uPlot.paths.bars({ size: [0.9, 40], align: 1 });
  const series = name => ({ paths: bars, points: { show: false }, stroke: () => colour(name), fill: () => colour(name), width: 0 });
  const chart = new uPlot({
    width: box.clientWidth || 300, height: timeline.height, legend: { show: false }, cursor: { show: false }, padding: [4, 8, 0, 0],
    scales: { x: { time: false, range: (_, min, max) => [min, max] }, y: { range: (_, min, max) => [0, Math.max(1, max) * 1.05] } },
    axes: [
      axis({ size: 34, splits: decades, values: (_, splits) => splits.map(bin => format.duration(latencyOf(bin))) }),
      axis({ size: 52, values: (_, splits) => splits.map(value => (Number.isInteger(value) ? format.number(value) : "")) }),
    ],
    series: [{}, series("bad"), series("bar")],
  }, [[], [], []], box);
  fitToBox(chart, box, timeline.height);

  function latencyOf(bin) {
    return 10 ** (lowest + bin / perDecade);
  }

  // A mark at each power of ten, and between them where the range is short.
  function decades(u) {
    const { min, max } = u.scales.x;
    const step = max - min > 2 * perDecade ? perDecade : perDecade / 2;
    const marks = [];
    for (let bin = Math.ceil(min / step) * step; bin <= max; bin += step) marks.push(bin);
    return marks;
  }

  // The bars of errors stand behind those of all others, as high as both together.
  function draw() {
    const all = [];
    const good = [];
    const latencies = [];
    for (const i of selection.events) {
      const latency = capture.latency(i);
      if (Number.isNaN(latency)) continue;
      latencies.push(latency);
      const bin = Math.max(0, Math.floor((Math.log10(Math.max(latency, 1e-6)) - lowest) * perDecade));
      all[bin] = (all[bin] ?? 0) + 1;
      if (!capture.bad[i]) good[bin] = (good[bin] ?? 0) + 1;
    }
    const used = Object.keys(all).map(Number);
    const first = used.length ? Math.min(...used) - 1 : 0;
    const last = used.length ? Math.max(...used) + 2 : perDecade;
    const bins = Array.from({ length: last - first + 1 }, (_, offset) => first + offset);
    chart.setData([bins, bins.map(bin => all[bin] ?? 0), bins.map(bin => good[bin] ?? 0)]);
    latencies.sort((a, b) => a - b);
    document.getElementById("percentiles").textContent = latencies.length === 0 ? "none in view"
      : [["p50", 0.5], ["p99", 0.99], ["max", 1]]
        .map(([name, share]) => `${name} ${format.duration(percentile(latencies, share))}`).join(" · ");
  }

  return { draw, redraw: () => chart.redraw(false, true) };
})();
