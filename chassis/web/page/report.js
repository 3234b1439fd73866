// The report of a run, from the data that the file holds.
"use strict";

(() => {
  const data = JSON.parse(document.getElementById("data").textContent);
  const $ = (id) => document.getElementById(id);
  const ns = "http://www.w3.org/2000/svg";
  const mostRows = 2000;

  function make(tag, properties, ...children) {
    const element = document.createElement(tag);
    Object.assign(element, properties);
    element.append(...children);
    return element;
  }
  const count = (number) => Number(number).toLocaleString("en");
  const agents = data.boards.filter((board) => board.slot > 0);
  const checks = data.events.filter((event) => ["check", "action", "skipped"].includes(event.event));

  function showHead() {
    const { run } = data;
    $("run").textContent = `scenario ${run.scenario} · seed ${run.seed} · ${run.time} time · ${run.version}`;
    const numbers = { Time: Curves.clock(data.now), Boards: agents.length, Checks: run.checks, Failed: run.failed, Skipped: run.skipped,
      Requests: data.boards.reduce((sum, board) => sum + board.requests.answered + board.requests.refused + board.requests.unanswered + board.requests.lost, 0),
      Events: Object.values(data.counts).reduce((sum, each) => sum + each, 0) };
    $("numbers").append(...Object.entries(numbers).map(([name, value]) =>
      make("div", {}, make("dt", { textContent: name }), make("dd", { textContent: typeof value === "number" ? count(value) : value }))));
    const verdict = !run.over ? ["stopped early", "warn"] : run.failed ? [`${run.failed} failed`, "bad"] : ["all checks ok", "good"];
    $("verdict").textContent = verdict[0];
    $("verdict").dataset.mark = verdict[1];
  }

  function showChecks() {
    const row = (event) => {
      const result = event.event === "skipped" ? ["skipped", "warn"] : event.mark === "bad" ? ["FAILED", "bad"] : ["ok", "good"];
      const badge = make("span", { className: "badge", textContent: result[0] });
      badge.dataset.mark = result[1];
      const text = make("td", { className: "wrap", textContent: event.text.trim() });
      return make("tr", {}, make("td", { className: "number", textContent: event.t.toFixed(3) }), make("td", {}, badge), text);
    };
    $("checks").append(...checks.map(row));
  }

  // ---- Timeline: a row for each board, drawn as SVG

  function shape(tag, attributes, text) {
    const element = document.createElementNS(ns, tag);
    for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
    if (text) element.textContent = text;
    return element;
  }

  function spans(slot) {
    const out = [];
    let open = null;
    for (const event of data.events.filter((each) => each.event === "board" && each.slot === slot)) {
      if (open) out.push({ ...open, end: event.t });
      open = { begin: event.t, state: event.text.split(":")[0], text: event.text };
    }
    if (open) out.push({ ...open, end: data.now });
    return out;
  }

  function faultSpans(slot) {
    const out = [];
    const open = new Map();
    for (const event of data.events.filter((each) => each.event === "fault" && each.slot === slot)) {
      const name = event.text.replace(/ (begins|ends)$/, "");
      if (event.text.endsWith(" begins")) open.set(name, event.t);
      else if (open.has(name)) {
        out.push({ begin: open.get(name), end: event.t, text: name });
        open.delete(name);
      }
    }
    for (const [name, begin] of open) out.push({ begin, end: data.now, text: name });
    return out;
  }

  function showTimeline() {
    const width = 1000, left = 60, rowHeight = 26, top = 18;
    const end = Math.max(data.now, 0.001);
    const x = (seconds) => left + (width - left - 10) * seconds / end;
    const svg = shape("svg", { viewBox: `0 0 ${width} ${top + rowHeight * agents.length + 4}`, role: "img", "aria-label": "States and faults of the boards over time", class: "timeline" });
    for (let i = 0; i <= 5; ++i) {
      const at = end * i / 5;
      svg.append(shape("line", { x1: x(at), x2: x(at), y1: top - 4, y2: top + rowHeight * agents.length, class: "grid" }),
        shape("text", { x: x(at), y: 11, "text-anchor": i === 5 ? "end" : "middle" }, Curves.clock(at)));
    }
    agents.forEach((board, i) => {
      const y = top + rowHeight * i;
      svg.append(shape("text", { x: left - 8, y: y + 13, "text-anchor": "end" }, `slot ${board.slot}`));
      for (const span of spans(board.slot)) {
        const bar = shape("rect", { x: x(span.begin), y: y + 2, width: Math.max(x(span.end) - x(span.begin), 1.5), height: 13, class: `state ${span.state}` });
        bar.append(shape("title", {}, `${span.begin.toFixed(3)} s: ${span.text}`));
        svg.append(bar);
      }
      for (const span of faultSpans(board.slot)) {
        const bar = shape("rect", { x: x(span.begin), y: y + 17, width: Math.max(x(span.end) - x(span.begin), 1.5), height: 5, class: "fault" });
        bar.append(shape("title", {}, `${span.begin.toFixed(3)} to ${span.end.toFixed(3)} s: ${span.text}`));
        svg.append(bar);
      }
    });
    $("timeline").append(svg);
  }

  // ---- Sensors of one board

  let curves = [];
  function showSensors() {
    for (const curve of curves) curve.destroy();
    const board = data.boards.find((each) => each.slot === Number($("slot").value));
    const parts = board.sensors.map((sensor) => {
      const canvas = make("canvas");
      canvas.setAttribute("role", "img");
      canvas.setAttribute("aria-label", `${sensor.name} over time`);
      const element = make("div", { className: "sensor" },
        make("div", { className: "heading" }, make("h3", { textContent: sensor.name }),
          make("span", { className: "muted small", textContent: sensor.known ? `at the end ${Curves.shown(sensor, sensor.value)}` : "not read" })),
        make("div", { className: "curve" }, canvas),
        make("p", { className: "muted small", textContent: `normal: ${Curves.shown(sensor, sensor.low)} to ${Curves.shown(sensor, sensor.high)}` }));
      return { element, sensor, canvas };
    });
    $("sensors").replaceChildren(...parts.map((part) => part.element));
    curves = parts.map(({ sensor, canvas }) => {
      const curve = Curves.make(canvas, sensor);
      curve.update(data.courses[board.slot][sensor.name] || [], data.now);
      return curve;
    });
  }

  // ---- Figures and events

  function head(names) {
    return make("tr", {}, ...names.map((name, i) => make("th", { scope: "col", className: i ? "number" : "", textContent: name })));
  }
  function cells(values) {
    return make("tr", {}, ...values.map((value, i) => make("td", { className: i ? "number" : "", textContent: typeof value === "number" ? count(value) : value })));
  }

  function showFigures() {
    const names = ["passed", "dropped", "queue_messages", "queue_bytes", "memory_bytes", "memory_blocks", "memory_failures", "descriptors"];
    $("figures-head").append(head(["process", "starts", "answered", "refused", "unanswered", "lost", "repeats", ...names.map((name) => name.replace("_", " "))]));
    $("figures").append(...data.boards.map((board) => cells([board.slot ? `slot ${board.slot}` : "backup", board.starts,
      board.requests.answered, board.requests.refused, board.requests.unanswered, board.requests.lost, board.requests.repeats,
      ...names.map((name) => (board.figures ? board.figures[name] : "–"))])));
    const staged = data.boards.filter((board) => board.stages.length);
    if (!staged.length) return;
    const microseconds = (value) => (value / 1000).toFixed(1);
    $("stages-head").append(head(["stage of the request path", "slot", "runs", "min µs", "mean µs", "max µs"]));
    $("stages").append(...staged.flatMap((board) => board.stages.map((stage) =>
      cells([stage.stage, String(board.slot), stage.count, microseconds(stage.min), microseconds(stage.avg), microseconds(stage.max)]))));
  }

  function showEvents() {
    const text = $("filter").value.toLowerCase();
    const rows = data.events.filter((event) => !text || event.text.toLowerCase().includes(text) || event.event.includes(text));
    $("log").replaceChildren(...rows.slice(0, mostRows).map((event) => {
      const row = make("li", {}, make("time", { textContent: event.t.toFixed(3) }),
        make("span", { className: "slot-of", textContent: event.slot === undefined ? "" : String(event.slot) }),
        make("span", { className: "kind", textContent: event.event }), make("span", { textContent: event.text.trim() }));
      row.dataset.mark = event.mark;
      return row;
    }));
    if (rows.length > mostRows) {
      $("log").append(make("li", { className: "gap", textContent: `${count(rows.length - mostRows)} more; the filter finds them` }));
    }
  }

  showHead();
  showChecks();
  showTimeline();
  $("slot").append(...agents.map((board) => make("option", { value: board.slot, textContent: `slot ${board.slot}` })));
  if (agents.length) showSensors();
  showFigures();
  showEvents();
  $("left-out").textContent = "Heartbeats, answered requests and readings that stay as they are have no line."
    + (data.left_out ? ` ${count(data.left_out)} events after the first ${count(data.first)} are left out.` : "");
  $("scenario").textContent = data.scenario_text;
  $("slot").addEventListener("change", showSensors);
  $("filter").addEventListener("input", showEvents);
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => curves.forEach((curve) => curve.recolour()));
})();
