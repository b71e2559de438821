"use strict";
const one = selector => document.querySelector(selector);
const words = {"OK": ["OK", "✓", "OK"], "NOK": ["NOK", "✗", "NOK"],
  "not judged": ["unjudged", "?", "NOT JUDGED"]};
let state = null;
let heard = 0;       // when the bench was last heard, by this page's clock
let broken = false;  // the connection, since then
let shownPart = null;
let run = null;

const put = (list, items) => list.replaceChildren(...items);
const element = (name, text, className) => {
  const made = document.createElement(name);
  if (text !== undefined) made.textContent = text;
  if (className) made.className = className;
  return made;
};
const timeText = ms => new Date(ms).toLocaleTimeString([], {hour12: false});

/// What stands in the large field. Only a connected bench that judges shows a verdict.
const showVerdict = () => {
  const lost = !state || broken || Date.now() - heard > 4000;
  const last = state?.last;
  const [kind, sign, word] = !state && !heard ? ["waiting", "…", "CONNECTING"]
    : lost ? ["lost", "✕", "NO CONNECTION"]
    : state.trouble ? ["trouble", "!", "NOT JUDGING"]
    : !last ? ["waiting", "…", "WAITING"]
    : words[last.verdict];
  document.body.className = kind;
  one("#sign").textContent = sign;
  one("#word").textContent = word;
  const shows = !lost && !state.trouble && last;
  one("#part").textContent = shows ? last.part.replace(/^.*\//, "") : "";
  one("#variant").textContent = !shows || !last.variant ? ""
    : last.variant + (last.limit_of && last.limit_of !== last.variant ? ", by the limit of " + last.limit_of : "");
  one("#why").textContent = lost ? "This page no longer knows what the bench measures."
    : state.trouble ? state.trouble
    : !last ? "No part has come today."
    : last.verdict === "not judged" ? last.reason.trim()
    : last.worst ? last.worst.quantity + ": " + last.worst.text : "";
  one("#when").textContent = lost && heard ? "Last heard at " + timeText(heard)
    : shows && last.at ? timeText(last.at) : "";
  document.title = (word === "OK" || word === "NOK" ? word + " " + (last.part.replace(/^.*\//, "")) : word)
    + " – limes";
};

/// The curves of the last part, drawn as in a report.
const showPlots = last => {
  const holder = one("#plots");
  put(holder, last.plots.map(({quantity}) => {
    const section = element("section");
    section.append(element("h3", quantity),
      document.createElementNS("http://www.w3.org/2000/svg", "svg"), element("p", "", "hover note"));
    return section;
  }));
  if (typeof uPlot === "undefined") return;
  last.plots.forEach(({plot}, i) => {
    const section = holder.children[i];
    [...plot.lines, ...(plot.band ? [plot.band] : [])].forEach(line => line.high ??= line.low);
    if (!plot.single) chart(section.querySelector("svg"), plot, section.querySelector(".hover"));
    else section.querySelector(".hover").textContent = plot.marks.map(mark => mark.text).join("; ");
  });
};

/// Distances to the limit. Parts beyond it and those not judged differ in shape, too.
const showMargins = margins => {
  if (typeof uPlot === "undefined") return;
  const marks = kind => margins.map(m => kind(m) ? m.margin ?? 0 : null);
  const data = [margins.map((m, i) => i + 1 - margins.length),
    marks(m => m.verdict === "OK"), marks(m => m.verdict === "NOK"),
    marks(m => m.verdict === "not judged"), marks(m => m.drift)];
  const holder = one("#run");
  if (run) { run.setData(data); return; }
  const draw = shape => (u, series) => {
    const values = u.data[series];
    u.ctx.save();
    values.forEach((value, i) => {
      if (value == null) return;
      u.ctx.beginPath();
      shapes[shape](u.ctx, u.valToPos(u.data[0][i], "x", true), u.valToPos(value, "y", true),
        4 * uPlot.pxRatio);
      [u.ctx.fillStyle, u.ctx.strokeStyle] = [u.series[series].stroke(u, series), "#000"];
      u.ctx.fill();
      if (shape) u.ctx.stroke();
    });
    u.ctx.restore();
    return false;
  };
  const series = (label, stroke, shape) => ({label, stroke, paths: () => null,
    points: {show: draw(shape)}});
  run = new uPlot({width: holder.clientWidth - 12, height: 200, legend: {live: false},
    scales: {x: {time: false}, y: {range: (u, low, high) => [Math.min(low ?? 0, -1), Math.max(high ?? 0, 1)]}},
    axes: [{label: "parts ago", values: (u, xs) => xs.map(x => x % 1 ? "" : String(-x))}, {label: "spreads"}],
    series: [{}, series("OK", "#0072b2", 0), series("NOK", "#d55e00", 1),
      series("not judged", "#999", 3), series("drift alarm", "#000", 2)],
    hooks: {drawAxes: [u => {
      const y = u.valToPos(0, "y", true);
      u.ctx.fillStyle = "rgba(213,94,0,.12)";
      u.ctx.fillRect(u.bbox.left, y, u.bbox.width, u.bbox.top + u.bbox.height - y);
      u.ctx.fillStyle = "#000";
      u.ctx.fillRect(u.bbox.left, y - 1, u.bbox.width, 2);
    }]}}, data, holder);
  new ResizeObserver(() => run.setSize({width: holder.clientWidth - 12, height: 200})).observe(holder);
};

/// Accepting and forgetting ask for a reason, which the store keeps.
const decide = async (accepts, part, because) => {
  const answer = await fetch(accepts ? "held/accept" : "held/forget", {method: "POST",
    headers: {"Content-Type": "application/json"}, body: JSON.stringify({part, because})});
  const told = await answer.json();
  one("#decided").textContent = told.done ?? told.error;
};

const showHeld = held => {
  const known = new Map([...one("#held ul").children].map(item => [item.dataset.part, item]));
  put(one("#held ul"), held.map(({part, text}) => {
    if (known.has(part)) return known.get(part);  // somebody may be writing in it
    const item = element("li");
    item.dataset.part = part;
    item.append(element("b", part.replace(/^.*\//, "")), element("p", text, "note"));
    if (state.actions) {
      const reason = element("input");
      reason.placeholder = "reason";
      reason.setAttribute("aria-label", "reason");
      const accept = element("button", "Accept");
      const forget = element("button", "Forget");
      accept.addEventListener("click", () => decide(true, part, reason.value));
      forget.addEventListener("click", () => decide(false, part, reason.value));
      item.append(reason, accept, forget);
    }
    return item;
  }));
  one("#held").hidden = !held.length && !one("#decided").textContent;
};

const showLists = () => {
  put(one("#alarms ul"), state.alarms.map(text => element("li", text.replace(/^drift: /, ""))));
  one("#alarms").hidden = !state.alarms.length;
  const most = Math.max(1, ...state.defects.map(kind => kind.parts));
  put(one("#defects ol"), state.defects.map(kind => {
    const item = element("li");
    const bar = element("span", "", "bar");
    bar.style.width = 100 * kind.parts / most + "%";
    item.append(element("b", kind.quantity), " " + (kind.side === "upper" ? "above" : "below")
      + " the limit" + (kind.place ? " at " + kind.place : "") + ": "
      + kind.parts + (kind.parts === 1 ? " part" : " parts"), bar);
    return item;
  }));
  one("#defects").hidden = !state.defects.length;
  const begin = {hour: "2-digit", minute: "2-digit", hour12: false};
  showShares("#hours", state.hours, begin);
  showShares("#shifts", state.shifts, {weekday: "short", ...begin});
  one("#shifts").hidden = !state.shifts.length;
  const {ok, nok, not_judged} = state.today;
  one("#today").textContent = `Today ${ok + nok + not_judged} parts: ${ok} OK, ${nok} NOK, ${not_judged} not judged`;
  one("#promise").textContent = state.promise.join(" ");
  one("#store").textContent = "Limits of " + state.store;
};

/// How many parts of each stretch of time were OK, the latest one first.
const showShares = (section, stretches, begin) => {
  put(one(section + " tbody"), [...stretches].reverse().map(hour => {
    const parts = hour.ok + hour.nok + hour.not_judged;
    const row = element("tr");
    const share = element("td");
    const bar = element("span", "", "share");
    const line = element("i");
    const percent = 100 * hour.ok / parts;
    line.style.setProperty("--ok", percent + "%");
    bar.append(line, (percent === 100 || percent === 0 ? percent : percent.toFixed(1)) + " %");
    share.append(bar);
    row.append(element("td", new Date(1000 * hour.begins)
      .toLocaleTimeString([], begin)),
      element("td", parts, "n"), element("td", hour.ok, "n"), share);
    return row;
  }));
};

const show = () => {
  showVerdict();
  const part = state.last && [state.last.id, state.last.at, state.last.part].join();
  if (part !== shownPart) {
    shownPart = part;
    one("#verdict").classList.remove("new");
    requestAnimationFrame(() => one("#verdict").classList.add("new"));
    if (state.last) showPlots(state.last);
  }
  showMargins(state.margins);
  showHeld(state.held);
  showLists();
};

/// The browser connects anew by itself; where it gave up, this page does.
let events = null;
const connect = () => {
  events?.close();
  events = new EventSource("events");
  events.addEventListener("state", event => {
    [heard, broken] = [Date.now(), false];
    state = JSON.parse(event.data);
    show();
  });
  events.addEventListener("alive", () => {
    [heard, broken] = [Date.now(), false];
    showVerdict();
  });
  events.onerror = () => {
    broken = true;
    showVerdict();
  };
};
connect();
setInterval(() => {
  showVerdict();
  if (events.readyState === EventSource.CLOSED) connect();
}, 1000);
