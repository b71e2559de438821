#!/usr/bin/env bash
# A page in headless Chromium: opens, draws a part where it lies, shows values at the pointer, with
# and without the chart library, and runs nothing that a file's name holds.
# usage: page_test.sh PROGRAM (exit 77: no Chromium here, or none that starts)
set -eu
browser=$(command -v chromium || command -v chromium-browser || command -v google-chrome || true)
[ -n "$browser" ] || { echo "skipped: no Chromium found (scripts/setup browser)"; exit 77; }
limes=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
browse() {
  timeout 60 "$browser" --headless --no-sandbox --disable-gpu --disable-dev-shm-usage \
    --user-data-dir="$work/profile" --virtual-time-budget=3000 --dump-dom "$1" 2>log
}

browse about:blank | grep -q '<body>' || { cat log; echo "skipped: Chromium does not start"; exit 77; }

rows() { for part in 1 2 3 4; do echo "p$part,$part,5,$part,5,$part,5,$part,5,$part$1"; done; }
hostile='"><img src=x onerror="hacked=1"><script>hacked=1<&'"'"'.csv'
{ echo id,a,b,c,d,e,f,g,h,i; rows ""; } >learn.csv
{ echo id,a,b,c,d,e,f,g,h,i; echo "p9,2,5,2,90,40,5,2,5,2"; } >"$hostile"
for run in 1 2; do
  "$limes" learn a.limes learn.csv --rows --part-column id --name noise --unit Pa --x-unit s --again --factor 3 >/dev/null 2>&1
done
"$limes" test a.limes "$hostile" --report r.html >/dev/null || [ $? -eq 1 ]

cat >checks.js <<'END'
(async () => {
const failed = [];
const check = (what, holds) => { if (!holds) failed.push(what); };
const svg = document.querySelector("#q0 > svg");
const part = read(svg).lines.find(line => line.name.endsWith("p9"));
check("the part's values", part?.low.join() === "2,5,2,90,40,5,2,5,2" && part.high === part.low);
const out = svg.parentNode.querySelector(".hover");
const u = charts[1];
const drift = read([...document.querySelectorAll("section > svg")].pop());
check("the drift of the mean", drift.xName === "parts learnt" &&
  drift.xs.join() === "4,8" && drift.lines[0].low.map(y => y.toFixed(2)).join() === "3.61,3.61");
if (typeof uPlot === "undefined") {
  const box = svg.getBoundingClientRect();
  svg.dispatchEvent(new PointerEvent("pointermove",
    {clientX: box.left + box.width * (70 + 478 * 4 / 8) / 560, clientY: box.top + 9}));
  check("hover " + out.textContent, /^x \[s\] 4: mean 2\.5.*p9 40$/.test(out.textContent));
} else {
  check("the drawing is hidden", getComputedStyle(svg).display === "none");
  const series = u.series.findIndex(s => s.label.endsWith("p9"));
  const [x, y] = [u.valToPos(3.5, "x", true), u.valToPos(65, "y", true)];
  const near = u.ctx.getImageData(x - 3, y - 3, 7, 7).data;
  const [r, g, b] = [0, 1, 2].map(k => Math.min(...near.filter((v, i) => i % 4 === k)));
  check("drawn in black between its points: " + [r, g, b], r < 90 && g < 90 && b < 90);
  const box = u.over.getBoundingClientRect();
  u.over.dispatchEvent(new MouseEvent("mousemove", {bubbles: true,
    clientX: box.left + u.valToPos(4, "x"), clientY: box.top + u.valToPos(40, "y")}));
  const cells = [...u.root.querySelectorAll(".u-legend .u-series")].map(row => row.textContent);
  check("hover " + cells, cells[series].endsWith("p940") && cells[0].endsWith("]4"));
  const mouse = (type, x) => u.over.dispatchEvent(new MouseEvent(type,
    {bubbles: true, movementX: 9, clientX: box.left + u.valToPos(x, "x"), clientY: box.top + 50}));
  [["mousemove", 5], ["mousedown", 5], ["mousemove", 7], ["mouseup", 7]].forEach(e => mouse(...e));
  await new Promise(done => setTimeout(done));
  const {x: along, y: up} = u.scales;
  check("zoom " + [along.min, along.max, up.max],
    Math.abs(along.min - 5) < 0.1 && Math.abs(along.max - 7) < 0.1 && up.max < 20);
  const all = u.root.parentNode.querySelector(".all");
  check("the way back is there", !all.hidden);
  all.click();
  await new Promise(done => setTimeout(done));
  check("all is shown " + along.max, along.min === 0 && along.max === 8 && all.hidden);
  const pinch = (type, ...xs) => u.over.dispatchEvent(new TouchEvent(type, {cancelable: true,
    touches: xs.map((x, identifier) => new Touch({identifier, target: u.over,
      clientX: box.left + u.over.clientWidth * x / 8, clientY: box.top + 50}))}));
  pinch("touchstart", 3, 5);
  pinch("touchmove", 2, 6);
  await new Promise(done => setTimeout(done));
  check("two fingers zoom " + [along.min, along.max],
    Math.abs(along.min - 2) < 0.1 && Math.abs(along.max - 6) < 0.1);
  check("the drift's dots", charts[3].data[0].join() === "4,8");
}
const runs = document.querySelector("table[data-name=runs]");
check("rows as CSV", linesOf(runs).length === 3 && csvOf(runs).split("\r\n").length === 5);
sortBy(runs, 3, true);
check("sorted", linesOf(runs).map(row => textOf(row, 3)).join() === "8,8,4");
check("cells of a spreadsheet", cellOf('=1,"2"') === '"\'=1,""2"""' && cellOf("-3.5") === "-3.5");
const filter = runs.parentNode.previousElementSibling.querySelector("input");
filter.value = "LEARN";
filter.dispatchEvent(new Event("input"));
check("filtered", linesOf(runs).filter(row => !row.hidden).length === 2);
const nok = document.querySelector("details section > svg");
check("curves of a NOK part", read(nok).lines.length === 4 && read(nok).lines[3].low[3] === 90 &&
  read(nok).xs.length === 9);
check("no script of a name", typeof hacked === "undefined" && !document.querySelector("img"));
check("the name is shown", document.querySelector("td.t").textContent.length > 0 &&
  document.body.textContent.includes('"><img src=x onerror="hacked=1"><script>hacked=1<&\'.csv:p9'));
document.title = failed.length ? "failed: " + failed.join("; ") : "good";
})();
END

try() {
  { cat "$1"; echo "<script>"; cat checks.js; echo "</script>"; } >"page-$1"
  browse "file://$work/page-$1" >dom.html || true
  grep -q '<title>good</title>' dom.html || { grep -o '<title>[^<]*' dom.html || cat log; exit 1; }
}
sed '/^\/\*The MIT License/,/<\/script>/c</script>' r.html >plain.html
try plain.html
try r.html
