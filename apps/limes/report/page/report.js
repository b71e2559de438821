"use strict";
const shapes = [
  (c, x, y, r) => c.arc(x, y, r, 0, 7),
  (c, x, y, r) => c.rect(x - r, y - r, 2 * r, 2 * r),
  (c, x, y, r) => { c.moveTo(x, y - r); c.lineTo(x + r, y + r); c.lineTo(x - r, y + r); c.closePath(); },
  (c, x, y, r) => { c.moveTo(x, y - 1.4 * r); c.lineTo(x + r, y); c.lineTo(x, y + 1.4 * r);
    c.lineTo(x - r, y); c.closePath(); }];

// Reads the values of the lines off the drawings themselves, so that the page holds them once.
const read = svg => {
  const numbers = text => text.split(" ").map(Number);
  const [ax, ay] = [numbers(svg.dataset.x), numbers(svg.dataset.y)];
  const value = (a, p) => +(a[0] + (p - a[2]) / (a[3] - a[2]) * (a[1] - a[0])).toPrecision(6);
  const along = p => svg.dataset.dots ? Math.round(value(ax, p)) : value(ax, p);  // numbers of parts
  const points = path => [...path.getAttribute("d").matchAll(/([ML])([-\d.]+),([-\d.]+)/g)]
    .map(m => ({starts: m[1] === "M", p: +m[2], x: along(+m[2]), y: value(ay, +m[3])}));
  return {
    lines: [...svg.querySelectorAll(".line")].map(line => ({
      name: line.dataset.name, points: points(line), stroke: line.getAttribute("stroke"),
      width: +line.getAttribute("stroke-width"),
      dash: (line.getAttribute("stroke-dasharray") ?? "").split(" ").filter(Boolean).map(Number)})),
    band: [...svg.querySelectorAll(".band")].flatMap(points),
    marks: [...svg.querySelectorAll(".mark")].map(mark => {
      const [px, py] = numbers(mark.dataset.at);
      return {shape: shapes[mark.dataset.shape], x: value(ax, px), y: value(ay, py), p: px,
        fill: mark.getAttribute("fill"), stroke: mark.getAttribute("stroke"),
        text: mark.querySelector("title").textContent};
    }),
    regions: [...svg.querySelectorAll(".excess")].map(region => {
      const from = +region.getAttribute("x");
      return [value(ax, from), value(ax, from + +region.getAttribute("width"))];
    }),
    single: svg.dataset.single, dots: svg.dataset.dots, xName: svg.dataset.xName, yName: svg.dataset.yName};
};

const shown = (low, high) =>
  low.toPrecision(5) + (low === high ? "" : " … " + high.toPrecision(5));

const shownX = (plot, x) => plot.dots ? String(x) : x.toPrecision(5);

/// Without the chart library: the values at the pointer below the drawing.
const follow = (svg, plot, out) => svg.addEventListener("pointermove", event => {
  const box = svg.getBoundingClientRect();
  const at = (event.clientX - box.left) / box.width * svg.viewBox.baseVal.width;
  const near = plot.lines.filter(line => line.points.length).map(line => {
    const p = line.points.reduce((a, b) => Math.abs(b.p - at) < Math.abs(a.p - at) ? b : a);
    const ys = line.points.filter(q => q.p === p.p).map(q => q.y);
    return [p.x, line.name + " " + shown(Math.min(...ys), Math.max(...ys))];
  });
  const mark = plot.marks.find(m => Math.abs(m.p - at) < 6);
  out.textContent = (plot.single || !near.length ? "" : plot.xName + " " + near[0][0] + ": ")
    + near.map(n => n[1]).concat(mark ? [mark.text] : []).join(", ");
});

/// One x for all lines, each column twice, as the smallest and the largest value have the same x.
const align = lines => {
  const columns = new Map();
  const put = (x, line, y) => {
    if (!columns.has(x)) columns.set(x, lines.map(() => []));
    columns.get(x)[line].push(y);
  };
  lines.forEach((line, i) => line.points.forEach((point, k) => {
    if (point.starts && k > 0) put((line.points[k - 1].x + point.x) / 2, i, null);  // a gap
    put(point.x, i, point.y);
  }));
  const xs = [...columns.keys()].sort((a, b) => a - b);
  return [xs.flatMap(x => [x, x])].concat(lines.map((line, i) => xs.flatMap(x => {
    const ys = columns.get(x)[i];
    return [ys[0], ys[ys.length - 1]];
  })));
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
  mark.shape(c, u.valToPos(mark.x, "x", true), u.valToPos(mark.y, "y", true), 4 * ratio);
  [c.fillStyle, c.strokeStyle, c.lineWidth] = [mark.fill, mark.stroke, ratio];
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

/// The chart in place of the drawing, which print and readers without scripts still see.
const chart = (svg, plot, out) => {
  const holder = document.createElement("div");
  holder.className = "chart";
  svg.after(holder);
  if (!document.querySelector(".hint")) {
    const hint = document.createElement("p");
    hint.className = "hint note";
    hint.textContent = "Drag along x, or spread two fingers, to zoom; double-click shows all. "
      + "A click on a name hides its line.";
    svg.closest(".plots").before(hint);
  }
  const half = name => ({name, stroke: "#56B4E9", width: 0.7, dash: [], points: []});
  const [high, low] = [half("mean + spread"), half("mean − spread")];
  for (let i = 0; i < plot.band.length;) {  // out along the upper edge, back along the lower one
    let end = i + 1;
    while (end < plot.band.length && !plot.band[end].starts) ++end;
    const run = plot.band.slice(i, end);
    const edges = [run.slice(0, run.length / 2), run.slice(run.length / 2).reverse()];
    [high, low].forEach((line, k) =>
      line.points.push(...edges[k].map((p, n) => ({...p, starts: n === 0}))));
    i = end;
  }
  const lines = plot.band.length ? [high, low, ...plot.lines] : plot.lines;
  const data = align(lines);
  const value = (u, y, series, i) => {
    if (y == null) return "–";
    const twin = data[series][i % 2 ? i - 1 : i + 1] ?? y;
    return shown(Math.min(y, twin), Math.max(y, twin));
  };
  const width = () => holder.parentNode.clientWidth;
  const height = plot.dots ? 260 : 360;
  const whole = [data[0][0], data[0][data[0].length - 1]];
  let zoomed = () => {};
  const axis = {stroke: "#222", grid: {stroke: "#ddd", width: 1}, font: "13px sans-serif",
    labelFont: "14px sans-serif"};
  const u = new uPlot({
    width: width(), height,
    scales: {x: {time: false, range: (u, from, to) => [from, to]}},
    axes: [{...axis, label: plot.xName}, {...axis, label: plot.yName, size: 62}],
    series: [{label: plot.xName, value: (u, x) => x == null ? "–" : shownX(plot, x)}].concat(
      lines.map(line => ({label: line.name, stroke: line.stroke, width: line.width,
        dash: line.dash, value,
        points: {show: Boolean(plot.dots) || data[0].length < 4, size: 6, fill: line.stroke}}))),
    bands: plot.band.length ? [{series: [1, 2], fill: "rgba(86,180,233,.4)"}] : [],
    cursor: {drag: {x: true, y: false}},
    hooks: {
      drawAxes: [drawRegions(plot)],
      draw: [drawMarks(plot)],
      setScale: [(u, key) => key === "x" && zoomed()],
      setCursor: [u => {
        const near = plot.marks.filter(mark => Math.hypot(u.valToPos(mark.x, "x") - u.cursor.left,
          u.valToPos(mark.y, "y") - u.cursor.top) < 14);
        out.textContent = near.map(mark => mark.text).join("; ");
      }]}}, data, holder);
  zoomed = wayBack(u, holder, whole);
  touch(u, whole);
  svg.parentNode.classList.add("charted");
  new ResizeObserver(() => {
    if (width() > 0 && width() !== u.width) u.setSize({width: width(), height});
  }).observe(holder.parentNode);
  return u;
};

const charts = [...document.querySelectorAll("section > svg")].map(svg => {
  const plot = read(svg);
  const out = svg.parentNode.querySelector(".hover");
  if (typeof uPlot === "undefined" || plot.single) return follow(svg, plot, out);
  return chart(svg, plot, out);
});
