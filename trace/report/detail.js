// All that is known of one event, with its bytes.
const detail = (() => {
  const box = document.getElementById("detail");

  function table(entries) {
    const rows = element("dl");
    for (const [name, value, style] of entries) {
      if (value === undefined || value === null || value === "") continue;
      const text = typeof value === "object" ? JSON.stringify(value) : String(value);
      rows.append(element("dt", {}, name), element("dd", style ? { class: style } : {}, text));
    }
    return rows;
  }

  function section(title, ...content) {
    return [element("h3", {}, title), ...content];
  }

  // Sixteen bytes a line would not fit beside the list: eight, with what they are in the frame's head by colour.
  function dump(bytes, isResponse) {
    const part = offset => (offset < 2 ? "id" : offset < 4 ? "code" : isResponse && offset < 6 ? "state" : "");
    const text = element("pre", { tabindex: 0, "aria-label": "Bytes of the frame" });
    for (let start = 0; start < bytes.length; start += 8) {
      const line = Array.from(bytes.subarray(start, start + 8));
      text.append(element("span", { class: "offset" }, start.toString(16).padStart(4, "0") + "  "));
      line.forEach((byte, i) => {
        text.append(element("span", { class: part(start + i) }, byte.toString(16).padStart(2, "0")), " ");
      });
      const ascii = line.map(byte => (byte >= 0x20 && byte < 0x7f ? String.fromCharCode(byte) : ".")).join("");
      text.append("   ".repeat(8 - line.length), element("span", { class: "ascii" }, ` ${ascii}\n`));
    }
    return text;
  }

  function draw() {
    const i = selection.chosen;
    if (i < 0) {
      box.replaceChildren(element("p", { class: "hint" }, "Choose an event to see its fields and bytes."));
      return;
    }
    const command = capture.command(i);
    const status = capture.status(i);
    const bad = capture.bad[i] ? "bad" : "";
    const id = capture.columns.id[i];
    const parts = [element("h2", { class: bad }, capture.text(i)), table([
      ["kind", capture.kind(i), bad],
      ["result", status && `${status.name} (${status.number})`, bad],
      ["latency", format.duration(capture.latency(i))],
      ["since start", `${format.seconds(capture.at[i])} s`],
      ["time of day", Number.isNaN(capture.start) ? "" : `${format.timeOfDay(capture.at[i])} UTC`],
      ["adapter", capture.adapter(i)],
      ["code", command?.code],
      ["id", id > 0 ? `${id} (0x${id.toString(16).padStart(4, "0")})` : ""],
    ])];
    for (const [title, fields, bytes, isResponse] of [
      ["Request", capture.requestFields(i), capture.requestFrame(i), false],
      [capture.kind(i) === "notification" ? "Notification" : "Response", capture.responseFields(i),
        capture.responseFrame(i), true],
    ]) {
      if (!fields && !bytes) continue;
      parts.push(...section(bytes ? `${title}, ${format.number(bytes.length)} bytes` : title));
      if (fields) parts.push(table(Object.entries(fields)));
      if (bytes) parts.push(dump(bytes, isResponse));
    }
    box.replaceChildren(...parts);
    box.scrollTop = 0;
  }

  return { draw };
})();
