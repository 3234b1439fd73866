// The page of a chassis that runs. It follows /live and keeps a bounded part of what it was told.
"use strict";

(() => {
  const mostPoints = 600; // of each sensor of the board that is shown
  const mostEvents = 500; // that are kept
  const mostRows = 300;   // that are shown
  const lastSlot = 30;
  const drawEvery = 500;  // milliseconds
  const marks = { online: "good", lost: "bad", starting: "warn", pulled: "plain" };

  const token = location.hash.slice(1);
  const boards = new Map();  // by slot
  const slots = new Map();   // elements of the front
  const courses = new Map(); // points by name of sensor, of the board that is shown
  const cards = new Map();   // by name of sensor
  let events = [];
  let selected = null;
  let faultTypes = [];
  let now = 0;
  let asked = 0; // counts the requests for a history, so that a late answer is ignored

  const $ = (id) => document.getElementById(id);

  function make(tag, properties, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(properties || {})) {
      if (name in element) element[name] = value;
      else element.setAttribute(name, value);
    }
    element.append(...children);
    return element;
  }

  // Only what differs is written, so that an idle page does nothing.
  function set(element, text) {
    if (element.textContent !== text) element.textContent = text;
  }
  function mark(element, value) {
    if (element.dataset.mark !== value) element.dataset.mark = value;
  }
  const count = (number) => Number(number).toLocaleString("en");

  // ---- The front

  function flagsOf(board) {
    const flags = [];
    if (board.state === "online" && board.sensors.some((sensor) => sensor.known && sensor.state !== "normal")) flags.push(["alarm", "!", "a reading is not normal"]);
    if (board.sensors.some((sensor) => sensor.known && sensor.source !== "hardware")) flags.push(["override", "◆", "a reading is overridden"]);
    if (board.faults.length) flags.push(["fault", "✦", "a fault is on"]);
    return flags;
  }

  function makeSlot(slot) {
    const name = make("b", { className: "name", textContent: slot === 0 ? "M" : String(slot) });
    const lamp = make("i", { className: "lamp" });
    const flags = make("span", { className: "flags" });
    const button = make("button", { type: "button", className: "slot", tabIndex: -1 }, name, lamp, flags);
    button.dataset.slot = slot;
    button.addEventListener("click", () => select(slot));
    return { button, lamp, flags, text: "" };
  }

  function buildFront() {
    const front = $("front");
    const parts = [];
    slots.clear();
    for (let slot = 0; slot <= lastSlot; ++slot) {
      if (boards.has(slot)) {
        const entry = makeSlot(slot);
        slots.set(slot, entry);
        parts.push(entry.button);
      } else {
        parts.push(make("div", { className: "slot empty", ariaHidden: "true", textContent: String(slot) }));
      }
    }
    front.replaceChildren(...parts);
    const choice = $("log-slot");
    const chosen = choice.value;
    choice.replaceChildren(make("option", { value: "", textContent: "all" }),
      ...[...boards.keys()].sort((a, b) => a - b).map((slot) => make("option", { value: slot, textContent: String(slot) })));
    choice.value = chosen;
  }

  function showSlot(board) {
    const entry = slots.get(board.slot);
    const flags = flagsOf(board);
    const text = JSON.stringify([board.state, flags, board.slot === selected]);
    if (entry.text === text) return;
    entry.text = text;
    entry.button.dataset.state = board.state;
    entry.lamp.dataset.state = board.state;
    entry.flags.replaceChildren(...flags.map(([flag, sign]) => {
      const element = make("b", { className: "flag", textContent: sign });
      element.dataset.flag = flag;
      return element;
    }));
    const what = board.slot === 0 ? "Slot 0, backup management process" : `Slot ${board.slot}`;
    entry.button.setAttribute("aria-label", [`${what}: ${board.state}`, ...flags.map((flag) => flag[2])].join(", "));
    entry.button.title = entry.button.getAttribute("aria-label");
    entry.button.setAttribute("aria-pressed", String(board.slot === selected));
    entry.button.tabIndex = board.slot === selected ? 0 : -1;
  }

  function moveFocus(event) {
    const order = [...slots.keys()];
    const at = order.indexOf(Number(document.activeElement.dataset.slot));
    const steps = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1, Home: -at, End: order.length - 1 - at };
    if (at < 0 || !(event.key in steps)) return;
    event.preventDefault();
    const next = order[Math.min(Math.max(at + steps[event.key], 0), order.length - 1)];
    slots.get(next).button.focus();
    select(next);
  }

  // ---- The board

  function select(slot) {
    if (selected === slot) return;
    selected = slot;
    for (const board of boards.values()) showSlot(board);
    buildSensors(boards.get(slot));
    showBoard();
    loadHistory();
    say("", "plain");
  }

  async function loadHistory() {
    const mine = ++asked;
    courses.clear();
    try {
      const answer = await fetch(`/history?slot=${selected}`);
      const histories = answer.ok ? await answer.json() : {};
      if (mine !== asked) return;
      for (const [name, points] of Object.entries(histories)) {
        const last = points.length ? points[points.length - 1][0] : -1;
        const newer = (courses.get(name) || []).filter((point) => point[0] > last);
        courses.set(name, points.concat(newer).slice(-mostPoints));
      }
      drawSoon();
    } catch {
      // the connection is lost; the page says so already
    }
  }

  function makeCard(sensor) {
    const value = make("p", { className: "reading" });
    const state = make("span", { className: "badge" });
    const beside = make("p", { className: "beside" });
    const input = make("input", { inputMode: "decimal", autocomplete: "off",
      "aria-label": `Value for ${sensor.name} in ${Curves.unit(sensor).name}`, placeholder: Curves.unit(sensor).name });
    const act = (how) => override(sensor, how, input);
    const button = (text, how, label) => make("button", { type: "button", textContent: text, "aria-label": `${label} ${sensor.name}`, onclick: () => act(how) });
    const buttons = [button("Simulate", "sensor", "Simulate"), button("Clear", "clear", "Stop overriding")];
    if (sensor.stub) buttons.unshift(button("Stub", "stub", "Set the stub of"));
    const form = make("form", {}, make("fieldset", { className: "row", disabled: !token }, input, ...buttons));
    form.addEventListener("submit", (event) => { event.preventDefault(); act(sensor.stub ? "stub" : "sensor"); });
    const canvas = make("canvas", { role: "img", "aria-label": `${sensor.name} over time` });
    const element = make("div", { className: "sensor" },
      make("div", { className: "heading" }, make("h4", { textContent: sensor.name }), state), value, beside,
      make("div", { className: "curve" }, canvas),
      make("p", { className: "muted small", textContent: `normal: ${Curves.shown(sensor, sensor.low)} to ${Curves.shown(sensor, sensor.high)}` }), form);
    element.dataset.sensor = sensor.name;
    return { element, value, state, beside, sensor, canvas, curve: Curves.make(canvas, sensor) };
  }

  function buildSensors(board) {
    for (const card of cards.values()) card.curve.destroy();
    cards.clear();
    for (const sensor of board.sensors) cards.set(sensor.name, makeCard(sensor));
    $("sensors").replaceChildren(...[...cards.values()].map((card) => card.element));
    $("fault-sensor").replaceChildren(...board.sensors.map((sensor) => make("option", { textContent: sensor.name })));
    showFaultForm();
  }

  function showSensor(sensor) {
    const card = cards.get(sensor.name);
    const overridden = sensor.source !== "hardware";
    set(card.value, sensor.known ? Curves.shown(sensor, sensor.value) : "–");
    set(card.state, !sensor.known ? "not read yet" : sensor.state + (overridden ? ` · ${sensor.source}` : ""));
    mark(card.state, overridden ? "over" : sensor.state === "normal" ? (sensor.known ? "good" : "plain") : "warn");
    mark(card.element, overridden ? "over" : "plain");
    set(card.beside, overridden ? `the hardware says ${Curves.shown(sensor, sensor.hardware)}` : "");
  }

  function describe(board) {
    const parts = [];
    if (board.slot === 0) parts.push("the backup management process");
    if (board.type) parts.push(`type 0x${board.type.toString(16).toUpperCase().padStart(5, "0")}`);
    if (board.address) parts.push(board.address);
    if (board.process) parts.push(`process ${board.process}${board.process === "ended" ? `, status ${board.status}` : ""}, start ${board.starts}`);
    if (board.beat) parts.push(`heartbeat ${count(board.beat.beat)}, up ${Curves.clock(board.beat.uptime)}${board.beat.warm ? ", warm start" : ""}`);
    if (board.beat && board.beat.online_pair) parts.push(`says ${board.beat.online ? "online" : "offline"}, as its online pair has it`);
    if (board.reason) parts.push(board.reason);
    return parts.join(" · ");
  }

  function showBoard() {
    const board = boards.get(selected);
    set($("board-title"), board.slot === 0 ? "Slot 0 (main board)" : `Slot ${board.slot}`);
    set($("board-state"), board.state);
    mark($("board-state"), marks[board.state] || "plain");
    set($("board-text"), describe(board));
    $("board-actions").disabled = !token || board.slot === 0;
    $("fault-form").querySelector("fieldset").disabled = !token || board.slot === 0;
    for (const sensor of board.sensors) showSensor(sensor);
    showFaults(board);
    showRequests(board.requests);
    showStages(board.stages);
    drawSoon();
  }

  function showFaults(board) {
    const list = $("faults");
    const text = JSON.stringify(board.faults);
    if (list.dataset.text === text && list.dataset.slot === String(board.slot)) return;
    list.dataset.text = text;
    list.dataset.slot = board.slot;
    list.replaceChildren(...board.faults.map((fault) => make("li", {},
      make("span", { className: "badge", "data-mark": "bad", textContent: fault.text || fault.fault }),
      make("button", { type: "button", textContent: "End", disabled: !token, "aria-label": `End ${fault.text || fault.fault}`,
        onclick: () => command("fault", "end", board.slot, fault.fault, fault.sensor) }))));
  }

  function showRequests(requests) {
    const list = $("requests");
    const names = ["answered", "refused", "unanswered", "lost", "repeats"];
    if (!list.children.length) {
      list.replaceChildren(...names.map((name) => make("div", {}, make("dt", { textContent: name }), make("dd"))));
    }
    names.forEach((name, i) => set(list.children[i].lastChild, count(requests[name])));
  }

  // Rows of cells in place; a row is made only when there are more than before.
  function showRows(body, rows, numbersFrom) {
    while (body.children.length > rows.length) body.lastChild.remove();
    rows.forEach((cells, i) => {
      if (!body.children[i]) {
        body.append(make("tr", {}, ...cells.map((_, j) => make("td", { className: j >= numbersFrom ? "number" : "" }))));
      }
      cells.forEach((cell, j) => set(body.children[i].children[j], cell));
    });
  }

  function showStages(stages) {
    const microseconds = (ns) => (ns / 1000).toFixed(1);
    showRows($("stages"), stages.map((stage) => [stage.stage, count(stage.count), microseconds(stage.min), microseconds(stage.avg), microseconds(stage.max)]), 1);
  }

  function showProcesses(manager) {
    const row = (name, starts, figures) => [name, starts, ...["passed", "dropped", "queue_messages", "queue_bytes", "memory_bytes", "memory_blocks", "memory_failures", "descriptors"]
      .map((figure) => (figures ? count(figures[figure]) : "–"))];
    const rows = manager ? [row("manager", "1", manager)] : [];
    for (const board of [...boards.values()].sort((a, b) => a.slot - b.slot)) {
      rows.push(row(board.slot === 0 ? "backup" : `slot ${board.slot}`, String(board.starts), board.figures));
    }
    const body = $("processes");
    showRows(body, rows, 1);
    rows.forEach((cells, i) => [3, 8].forEach((j) => {
      body.children[i].children[j].classList.toggle("more", cells[j] !== "0" && cells[j] !== "–");
    }));
  }

  // ---- Curves: drawn at most twice a second, and not while nobody sees the page

  let drawTimer = 0;
  function drawSoon() {
    if (!drawTimer) drawTimer = setTimeout(draw, drawEvery);
  }
  function draw() {
    drawTimer = 0;
    if (document.hidden) return;
    for (const [name, card] of cards) card.curve.update(courses.get(name) || [], now);
  }
  document.addEventListener("visibilitychange", drawSoon);

  function extendCourses(board) {
    for (const sensor of board.sensors) {
      if (!sensor.known) continue;
      const points = courses.get(sensor.name) || [];
      const last = points[points.length - 1];
      const overridden = sensor.source === "hardware" ? 0 : 1;
      if (last && last[1] === sensor.value && last[2] === sensor.hardware && last[3] === overridden) continue;
      points.push([now, sensor.value, sensor.hardware, overridden]);
      if (points.length > mostPoints) points.splice(0, points.length - mostPoints);
      courses.set(sensor.name, points);
    }
  }

  // ---- Events

  function wanted(event) {
    const kind = $("log-kind").value;
    const slot = $("log-slot").value;
    const text = $("log-text").value.toLowerCase();
    return (!kind || event.event === kind) && (!slot || event.slot === Number(slot)) && (!text || event.text.toLowerCase().includes(text));
  }

  function rowOf(event) {
    if (event.gap) return make("li", { className: "gap", textContent: "some events are not shown here" });
    const row = make("li", {},
      make("time", { textContent: event.t.toFixed(3) }),
      make("span", { className: "slot-of", textContent: event.slot === undefined ? "" : String(event.slot) }),
      make("span", { className: "kind", textContent: event.event }),
      make("span", { textContent: event.text.trim() }));
    row.dataset.mark = event.mark;
    return row;
  }

  function showEvents(fresh) {
    const list = $("log");
    list.append(...fresh.filter((event) => event.gap || wanted(event)).slice(-mostRows).map(rowOf));
    while (list.children.length > mostRows) list.firstChild.remove();
    if ($("follow").checked) $("log-box").scrollTop = $("log-box").scrollHeight;
  }

  function takeEvents(fresh, gap) {
    const last = events.length ? events[events.length - 1].n : 0;
    fresh = fresh.filter((event) => event.n > last);
    if (gap && fresh.length) fresh.unshift({ gap: true, n: fresh[0].n });
    events = events.concat(fresh).slice(-mostEvents);
    showEvents(fresh);
  }

  function filterAgain() {
    $("log").replaceChildren();
    showEvents(events);
  }

  // ---- Commands

  function say(text, how) {
    set($("feedback"), text);
    mark($("feedback"), how);
  }

  async function command(...words) {
    const sent = words.filter((word) => word !== "" && word !== undefined && word !== null).map(String);
    say(`${sent.join(" ")} …`, "plain");
    try {
      const answer = await fetch("/command", {
        method: "POST", headers: { "Content-Type": "application/json", "X-Orva-Token": token },
        body: JSON.stringify({ words: sent }),
      });
      const reply = answer.headers.get("Content-Type") === "application/json" ? await answer.json() : { status: 1, text: await answer.text() };
      const done = reply.status === 0;
      say(`${sent.join(" ")}: ${reply.text.trim().split("\n")[0] || "done"}`, done ? "plain" : "bad");
    } catch {
      say(`${sent.join(" ")}: the chassis does not answer`, "bad");
    }
  }

  function override(sensor, how, input) {
    if (how === "clear") {
      const source = boards.get(selected).sensors.find((each) => each.name === sensor.name).source;
      if (source === "stub") command("stub", "clear", selected, `${selected}_${sensor.number}_${sensor.stub}`);
      else command("sensor", "clear", selected, sensor.name);
      return;
    }
    const number = Number(input.value.replace(",", "."));
    if (input.value.trim() === "" || !Number.isFinite(number)) {
      say(`${sensor.name}: a number is needed`, "bad");
      input.focus();
      return;
    }
    const raw = Math.round(number * Curves.unit(sensor).divisor);
    if (how === "stub") command("stub", "set", selected, `${selected}_${sensor.number}_${sensor.stub}`, raw);
    else command("sensor", "set", selected, sensor.name, raw);
  }

  function showFaultForm() {
    const type = faultTypes.find((each) => each.name === $("fault-kind").value);
    if (!type) return;
    $("fault-sensor-label").hidden = !type.sensor;
    $("fault-value-label").hidden = type.value_help === null;
    set($("fault-value-name"), type.value_help ? type.value_help : "Value");
    $("fault-value").placeholder = String(type.value);
    set($("fault-help"), type.help);
  }

  function beginFault(event) {
    event.preventDefault();
    const type = faultTypes.find((each) => each.name === $("fault-kind").value);
    const value = type.value_help === null ? "" : $("fault-value").value.trim();
    command("fault", "start", selected, type.name, type.sensor ? $("fault-sensor").value : "", value);
  }

  // ---- What the server tells

  function takeState(state) {
    now = state.now;
    const before = boards.size;
    for (const board of state.boards) boards.set(board.slot, board);
    if (boards.size !== before) buildFront();
    for (const board of state.boards) showSlot(board);
    if (selected === null && boards.size) select([...boards.keys()].sort((a, b) => a - b).find((slot) => slot > 0) || 0);
    const shown = state.boards.find((board) => board.slot === selected);
    if (shown) {
      extendCourses(shown);
      showBoard();
    }
    showRun(state.run);
    showProcesses(state.manager);
    drawSoon();
  }

  function showRun(run) {
    set($("run"), `scenario ${run.scenario} · seed ${run.seed} · ${run.time} time · ${run.version}`);
    set($("step"), run.step);
    set($("now"), Curves.clock(now));
    const agents = [...boards.values()].filter((board) => board.slot > 0);
    set($("online"), `${agents.filter((board) => board.state === "online").length} of ${agents.length}`);
    set($("checks"), `${count(run.checks - run.failed)} of ${count(run.checks)} ok`);
    if (run.over) end();
  }

  function takeSnapshot(state) {
    boards.clear();
    events = [];
    $("log").replaceChildren();
    faultTypes = state.faults;
    if (!$("fault-kind").children.length) {
      $("fault-kind").replaceChildren(...faultTypes.map((type) => make("option", { textContent: type.name })));
      $("log-kind").append(...Object.keys(state.counts).filter((kind) => !["heartbeat", "figures", "trace", "packet"].includes(kind))
        .map((kind) => make("option", { value: kind, textContent: kind })));
    }
    takeState(state);
    if (selected !== null) {
      showFaultForm();
      loadHistory();
    }
    takeEvents(state.events, state.left_out > 0);
  }

  let source = null;
  function status(text, how) {
    set($("link"), text);
    mark($("link"), how);
  }
  function end() {
    if (source) source.close();
    source = null;
    status("the run is over", "plain");
    for (const set of document.querySelectorAll("fieldset")) set.disabled = true;
  }
  function connect() {
    source = new EventSource("/live");
    source.addEventListener("open", () => status("live", "good"));
    source.addEventListener("error", () => source && status("reconnecting", "warn"));
    source.addEventListener("snapshot", (event) => takeSnapshot(JSON.parse(event.data)));
    source.addEventListener("change", (event) => {
      const state = JSON.parse(event.data);
      takeState(state);
      takeEvents(state.events, state.left_out > 0);
    });
  }

  $("locked").hidden = token !== "";
  $("front").addEventListener("keydown", moveFocus);
  for (const button of $("board-actions").querySelectorAll("button")) {
    button.addEventListener("click", () => command(button.dataset.command, selected));
  }
  $("fault-kind").addEventListener("change", showFaultForm);
  $("fault-form").addEventListener("submit", beginFault);
  for (const id of ["log-kind", "log-slot"]) $(id).addEventListener("change", filterAgain);
  $("log-text").addEventListener("input", filterAgain);
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => {
    for (const card of cards.values()) card.curve.recolour();
  });
  // What a test asks: how much the page holds.
  window.orvaPage = () => ({
    events: events.length, rows: $("log").children.length, boards: boards.size, now,
    points: Math.max(0, ...[...courses.values()].map((points) => points.length)),
  });
  connect();
})();
