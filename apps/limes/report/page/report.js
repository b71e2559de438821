"use strict";
const shapes = [
  (c, x, y, r) => c.arc(x, y, r, 0, 7),
  (c, x, y, r) => c.rect(x - r, y - r, 2 * r, 2 * r),
  (c, x, y, r) => { c.moveTo(x, y - r); c.lineTo(x + r, y + r); c.lineTo(x - r, y + r); c.closePath(); },
  (c, x, y, r) => { c.moveTo(x, y - 1.4 * r); c.lineTo(x + r, y); c.lineTo(x, y + 1.4 * r);
    c.lineTo(x - r, y); c.closePath(); },
  (c, x, y, r) => { c.moveTo(x, y + r); c.lineTo(x + r, y - r); c.lineTo(x - r, y - r); c.closePath(); }];

/// Packed values: floats in base 64, NaN for none.
const unpacked = text => typeof text !== "string" ? text :
  Array.from(new Float32Array(Uint8Array.from(atob(text), c => c.charCodeAt(0)).buffer),
    value => Number.isFinite(value) ? value : null);

/// The values of a drawing; "xs" are its columns, and a line has its ends in each: null without.
/// What it shares with another drawing stands there.
const read = svg => {
  const plot = JSON.parse(svg.parentNode.querySelector("script").textContent);
  if (plot.like) {
    const other = read(document.querySelector("#" + plot.like + " > svg"));
    [plot.xs, plot.band] = [other.xs, other.band];
    plot.lines = [...other.lines.slice(0, plot.shared), ...plot.lines];
  }
  if (plot.even) {
    const {first, last, count} = plot.even;
    plot.xs = Array.from({length: count}, (_, i) => count > 1 ? first + (last - first) * i / (count - 1) : first);
  }
  [...plot.lines, ...(plot.band ? [plot.band] : [])].forEach(line => {
    line.low = unpacked(line.low);
    line.high = line.high ? unpacked(line.high) : line.low;
  });
  return plot;
};

/// Numbers as the program rounds them: four digits, places along an axis six.
const rounded = (value, digits) => String(Number(value.toPrecision(digits)));

const shown = (low, high) => rounded(low, 4) + (low === high ? "" : " … " + rounded(high, 4));

const shownX = (plot, x) => plot.dots ? String(x) : rounded(x, 6);

const timeOf = seconds => new Date(1000 * seconds).toLocaleString([], {hour12: false});

/// Without the chart library: the values at the pointer below the drawing.
const follow = (svg, plot, out) => svg.addEventListener("pointermove", event => {
  const [low, high, left, right] = plot.range;
  const box = svg.getBoundingClientRect();
  const wide = svg.viewBox.baseVal.width;
  const at = low + ((event.clientX - box.left) / box.width * wide - left) / (right - left) * (high - low);
  const near = places => places.reduce((best, x, i) =>
    Math.abs(x - at) < Math.abs(places[best] - at) ? i : best, 0);
  const column = near(plot.xs);
  const values = plot.lines.filter(line => line.low[column] != null)
    .map(line => line.name + " " + shown(line.low[column], line.high[column]));
  const mark = plot.marks[near(plot.marks.map(mark => mark.x))];
  const isNear = mark && Math.abs(mark.x - at) < 6 * (high - low) / (right - left);
  out.textContent = (plot.single || !values.length ? "" : plot.xName + " " + plot.xs[column] + ": ")
    + values.concat(isNear ? [mark.text] : []).join(", ");
});

/// Columns as the chart takes them: where a line has two ends in any, each stands twice, and a line
/// goes from its nearer end to the other one.
const align = (xs, lines) => {
  const twice = lines.some(line => line.low.some((y, i) => y !== line.high[i]));
  if (!twice) return [xs, ...lines.map(line => line.low)];
  return [xs.flatMap(x => [x, x]), ...lines.map(line => {
    let before = null;
    return line.low.flatMap((low, i) => {
      const ends = [low, line.high[i]];
      if (before != null && Math.abs(before - ends[1]) < Math.abs(before - low)) ends.reverse();
      before = ends[1];
      return ends;
    });
  })];
};

const inside = (u, draw) => {
  const {left, top, width, height} = u.bbox;
  u.ctx.save();
  u.ctx.beginPath();
  u.ctx.rect(left, top, width, height);
  u.ctx.clip();
  draw(u.ctx, uPlot.pxRatio, top, height);
  u.ctx.restore();
};

const drawRegions = plot => u => inside(u, (c, ratio, top, height) => {
  c.fillStyle = "rgba(213,94,0,.09)";
  plot.regions.forEach(([from, to]) => {
    const left = u.valToPos(from, "x", true);
    c.fillRect(left, top, Math.max(u.valToPos(to, "x", true) - left, ratio), height);
  });
});

const drawMarks = plot => u => inside(u, (c, ratio) => plot.marks.forEach(mark => {
  c.beginPath();
  shapes[mark.shape](c, u.valToPos(mark.x, "x", true), u.valToPos(mark.y, "y", true), 4 * ratio);
  [c.fillStyle, c.strokeStyle, c.lineWidth] = [mark.filled ? mark.colour : "#fff", mark.colour, ratio];
  c.fill();
  c.stroke();
}));

/// Two fingers zoom: what is below them stays below them. One finger moves the cursor.
const touch = (u, whole) => {
  let held = [];
  const places = event => {
    const left = u.over.getBoundingClientRect().left;
    return [...event.touches].map(t => t.clientX - left).sort((a, b) => a - b);
  };
  u.over.addEventListener("touchstart", event => {
    held = places(event).map(place => u.posToVal(place, "x"));
  }, {passive: true});
  u.over.addEventListener("touchmove", event => {
    const now = places(event);
    if (now.length === 1) {
      const box = u.over.getBoundingClientRect();
      u.setCursor({left: now[0], top: event.touches[0].clientY - box.top});
    } else if (now.length === 2 && held.length === 2 && now[1] - now[0] > 20) {
      event.preventDefault();
      const per = (held[1] - held[0]) / (now[1] - now[0]);
      const min = held[0] - now[0] * per;
      u.setScale("x", {min: Math.max(min, whole[0]),
        max: Math.min(min + u.over.clientWidth * per, whole[1])});
    }
  }, {passive: false});
};

/// A way back that needs neither mouse nor a second tap.
const wayBack = (u, holder, whole) => {
  const button = document.createElement("button");
  [button.className, button.textContent, button.hidden] = ["all", "Show all", true];
  button.addEventListener("click", () => u.setScale("x", {min: whole[0], max: whole[1]}));
  holder.append(button);
  return () => { button.hidden = u.scales.x.min <= whole[0] && u.scales.x.max >= whole[1]; };
};

/// Over the time in place of the number of the part, and back.
const timesButton = (u, holder, svg, plot, out, byTime) => {
  const button = document.createElement("button");
  [button.className, button.textContent] = ["times", byTime ? "By part" : "By time"];
  button.addEventListener("click", () => {
    u.destroy();
    holder.remove();
    chart(svg, plot, out, !byTime);
  });
  holder.append(button);
};

/// The plot over the times of its columns; marks lie at the time of the nearest one.
const overTime = plot => {
  const at = x => plot.times[plot.xs.findIndex(other => other >= x)] ?? plot.times[plot.times.length - 1];
  return {...plot, xName: "time", xs: plot.times, marks: plot.marks.map(mark => ({...mark, x: at(mark.x)})), timed: true};
};

/// The chart in place of the drawing, which print and readers without scripts still see.
const chart = (svg, given, out, byTime) => {
  const plot = byTime ? overTime(given) : given;
  const holder = document.createElement("div");
  holder.className = "chart";
  svg.after(holder);
  if (!document.querySelector(".hint")) {
    const hint = document.createElement("p");
    hint.className = "hint note";
    hint.textContent = "Drag along x, or spread two fingers, to zoom; double-click shows all. "
      + "A click on a name hides its line.";
    svg.closest(".plots")?.before(hint);
  }
  const edge = (name, y) => ({name, colour: "#56B4E9", width: 0.7, low: y, high: y});
  const edges = plot.band ? [edge("mean + spread", plot.band.high), edge("mean − spread", plot.band.low)] : [];
  const lines = [...edges, ...plot.lines];
  const data = align(plot.xs, lines);
  const value = (u, y, series, i) => {
    if (y == null) return "–";
    const [line, column] = [lines[series - 1], data[0].length > plot.xs.length ? i >> 1 : i];
    return shown(line.low[column], line.high[column]);
  };
  const width = () => holder.parentNode.clientWidth;
  const height = plot.dots ? 260 : 360;
  const whole = [data[0][0], data[0][data[0].length - 1]];
  let zoomed = () => {};
  const axis = {stroke: "#222", grid: {stroke: "#ddd", width: 1}, font: "13px sans-serif",
    labelFont: "14px sans-serif"};
  const u = new uPlot({
    width: width(), height,
    scales: {x: {time: !!plot.timed, range: (u, from, to) => [from, to]},
      ...(plot.fixed ? {y: {range: () => plot.fixed}} : {})},
    axes: [{...axis, label: plot.xName}, {...axis, label: plot.yName, size: 62}],
    series: [{label: plot.xName, value: (u, x) => x == null ? "–" : plot.timed ? timeOf(x) : shownX(plot, x)}].concat(
      lines.map(line => ({label: line.name, stroke: line.colour, width: line.width,
        dash: line.dashed ? [7, 3] : [], value, ...(line.loose ? {paths: () => null} : {}),
        points: {show: line.dot > 0 || data[0].length < 4, size: line.dot || 6, fill: line.colour}}))),
    bands: plot.band ? [{series: [1, 2], fill: "rgba(86,180,233,.4)"}] : [],
    cursor: {drag: {x: true, y: false}},
    hooks: {
      drawAxes: [drawRegions(plot)],
      draw: [drawMarks(plot)],
      setScale: [(u, key) => key === "x" && zoomed()],
      setCursor: [u => {
        const near = plot.marks.filter(mark => Math.hypot(u.valToPos(mark.x, "x") - u.cursor.left,
          u.valToPos(mark.y, "y") - u.cursor.top) < 14);
        const here = u.cursor.idx == null || !plot.texts ? [] : [plot.texts[u.cursor.idx]
          + (plot.times ? ", " + timeOf(plot.times[u.cursor.idx]) : "")];
        out.textContent = [...here, ...near.map(mark => mark.text)].join("; ");
      }]}}, data, holder);
  if (given.times) timesButton(u, holder, svg, given, out, byTime);
  zoomed = wayBack(u, holder, whole);
  touch(u, whole);
  svg.parentNode.classList.add("charted");
  new ResizeObserver(() => {
    if (width() > 0 && width() !== u.width) u.setSize({width: width(), height});
  }).observe(holder.parentNode);
  return u;
};

/// Drawings become charts when they come into view; the first ones at once.
const soon = 4;
const charts = [];
const come = svg => {
  if (svg.parentNode.classList.contains("charted") || svg.followed) return null;
  svg.followed = true;
  const plot = read(svg);
  const out = svg.parentNode.querySelector(".hover");
  if (typeof uPlot === "undefined" || plot.single) return follow(svg, plot, out);
  return chart(svg, plot, out);
};
const seen = new IntersectionObserver(entries => entries.filter(entry => entry.isIntersecting)
  .forEach(entry => { seen.unobserve(entry.target); come(entry.target); }), {rootMargin: "600px"});
document.querySelectorAll("section > svg").forEach((svg, i) => {
  if (i < soon) charts.push(come(svg));
  else seen.observe(svg);
});

/// Cells of a table as its lines; numbers as they are shown.
const linesOf = table => [...table.tBodies[0].rows];
const textOf = (row, column) => row.cells[column]?.textContent.trim() ?? "";
const numberOf = text => parseFloat(text.replace("−", "-").replace(/^[^0-9.+-]*/, ""));

/// Rows by a column: numbers by their size where all cells begin with one, else by the alphabet.
const sortBy = (table, column, falling) => {
  const rows = linesOf(table);
  const filled = rows.map(row => textOf(row, column)).filter(text => text);
  const numbers = filled.every(text => !Number.isNaN(numberOf(text)) && /^[−+-]?[0-9.]/.test(text));
  const key = row => numbers ? numberOf(textOf(row, column)) : textOf(row, column);
  const compare = (a, b) => numbers ? (Number.isNaN(a) ? 1 : Number.isNaN(b) ? -1 : a - b)
    : a.localeCompare(b, [], {numeric: true});
  rows.map(row => [key(row), row]).sort((a, b) => (falling ? -1 : 1) * compare(a[0], b[0]))
    .forEach(([, row]) => table.tBodies[0].append(row));
  [...table.tHead.rows[0].cells].forEach((head, i) =>
    head.setAttribute("aria-sort", i !== column ? "none" : falling ? "descending" : "ascending"));
};

/// What begins like a formula is none in a spreadsheet either.
const cellOf = text => {
  const safe = /^[=@\t\r]|^[+-](?![0-9.])/.test(text) ? "'" + text : text;
  return /[",\n]/.test(safe) ? '"' + safe.replaceAll('"', '""') + '"' : safe;
};
const csvOf = table => [...table.tHead.rows, ...linesOf(table).filter(row => !row.hidden)]
  .map(row => [...row.cells].map(cell => cellOf(cell.textContent.trim())).join(",")).join("\r\n") + "\r\n";

document.querySelectorAll("div.table table").forEach(table => {
  [...table.tHead.rows[0].cells].forEach((head, column) => {
    const sort = () => sortBy(table, column, head.getAttribute("aria-sort") === "ascending");
    head.tabIndex = 0;
    head.title = "sort";
    head.addEventListener("click", sort);
    head.addEventListener("keydown", event => event.key === "Enter" && sort());
  });
  if (linesOf(table).length < 2) return;
  const tools = document.createElement("p");
  tools.className = "tools";
  const filter = document.createElement("input");
  const told = document.createElement("span");
  const save = document.createElement("button");
  [filter.type, filter.placeholder, save.textContent] = ["search", "filter rows", "Save as CSV"];
  filter.setAttribute("aria-label", "filter rows");
  filter.addEventListener("input", () => {
    const wanted = filter.value.toLowerCase().split(/\s+/);
    linesOf(table).forEach(row => {
      const text = row.textContent.toLowerCase();
      row.hidden = !wanted.every(word => text.includes(word));
    });
    const shown = linesOf(table).filter(row => !row.hidden).length;
    told.textContent = filter.value ? shown + " of " + linesOf(table).length + " rows" : "";
  });
  save.addEventListener("click", () => {
    const link = document.createElement("a");
    link.href = "data:text/csv;charset=utf-8," + encodeURIComponent("\ufeff" + csvOf(table));
    link.download = (table.dataset.name || "table") + ".csv";
    link.click();
  });
  tools.append(filter, save, told);
  table.parentNode.before(tools);
});
