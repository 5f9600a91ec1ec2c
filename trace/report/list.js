// The list of events. Only the rows in sight exist, so its length costs nothing.
const list = (() => {
  const box = document.getElementById("list");
  const rows = document.getElementById("rows");
  const rowHeight = 24;
  const tallest = 8e6; // browsers limit how tall an element may be; beyond it, a step of the scroll bar is many rows
  let scale = 1; // pixels of content for each pixel of the scroll bar

  const inSight = () => Math.ceil(box.clientHeight / rowHeight) + 1;
  const contentTop = () => box.scrollTop * scale;

  function row(i, position) {
    const node = element("div", { role: "row", class: "row", id: `event-${i}`, "aria-rowindex": position + 2,
      "aria-selected": i === selection.chosen, "data-event": i });
    if (capture.bad[i]) node.classList.add("bad");
    else node.classList.add(capture.kind(i) === "exchange" ? "fine" : "aside");
    for (const text of [format.time(capture.at[i]), format.duration(capture.latency(i)), capture.adapter(i),
      capture.text(i), capture.result(i)]) {
      node.append(element("span", { role: "gridcell" }, text));
    }
    node.children[3].title = capture.text(i);
    return node;
  }

  // Before scrolling, so that there is something to scroll.
  function fit() {
    const content = selection.events.length * rowHeight;
    const height = Math.min(content, tallest);
    const hidden = Math.max(1, height - box.clientHeight + rowHeight);
    scale = content > height ? (content - box.clientHeight + rowHeight) / hidden : 1;
    rows.style.height = `${Math.max(height, 60)}px`;
    box.setAttribute("aria-rowcount", selection.events.length + 1);
  }

  function draw() {
    fit();
    const total = selection.events.length;
    const top = contentTop();
    const first = Math.min(Math.floor(top / rowHeight), Math.max(0, total - 1));
    const last = Math.min(total, first + inSight());
    const nodes = [];
    for (let position = first; position < last; ++position) {
      const node = row(selection.events[position], position);
      node.style.top = `${box.scrollTop + position * rowHeight - top}px`;
      nodes.push(node);
    }
    if (total === 0) nodes.push(element("p", { class: "empty" }, "Nothing matches. Esc clears the filter."));
    rows.replaceChildren(...nodes);
    if (document.getElementById(`event-${selection.chosen}`)) {
      box.setAttribute("aria-activedescendant", `event-${selection.chosen}`);
    } else {
      box.removeAttribute("aria-activedescendant");
    }
  }

  // Scrolls no further than it must to a row close by, and brings one from afar to the middle.
  function reveal(position) {
    fit();
    const top = position * rowHeight;
    const room = box.clientHeight - 2 * rowHeight; // beside the row itself, below the head
    const above = contentTop() - top;
    const below = top - contentTop() - room;
    const hidden = Math.max(above, below);
    if (hidden <= 0) return;
    const wanted = hidden > room ? top - room / 2 : above > 0 ? top : top - room;
    box.scrollTop = Math.ceil(Math.max(0, wanted) / scale);
  }

  let waiting = false;
  box.addEventListener("scroll", () => {
    if (waiting) return;
    waiting = true;
    requestAnimationFrame(() => {
      waiting = false;
      draw();
    });
  });
  new ResizeObserver(draw).observe(box);
  rows.addEventListener("click", event => {
    const target = event.target.closest("[data-event]");
    if (target) choose(Number(target.dataset.event));
  });

  return { box, draw, reveal, page: () => Math.max(1, inSight() - 3), toTop: () => { box.scrollTop = 0; } };
})();
