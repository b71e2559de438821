// What the search page asks, as if it were a server: best matches first, those of names before those
// of texts. All words must occur.
(() => {
  const given = new URL(document.currentScript.src).searchParams;
  const fragment = (text, body, words) => {
    const at = Math.max(0, Math.min(...words.map(word => body.indexOf(word)).filter(i => i >= 0), text.length) - 60);
    const start = at > 0 ? text.indexOf(" ", at) + 1 : 0;
    const shown = text.slice(start, start + 200).replace(/[&<>]/g, c => `&#${c.charCodeAt(0)};`);
    const escaped = words.map(word => word.replace(/[^\p{L}\p{N}]/gu, c => "\\" + c));
    return shown.replace(new RegExp(escaped.join("|"), "giu"), '<span class="hl">$&</span>');
  };
  const words = given.get("q").toLowerCase().split(/\s+/).filter(Boolean);
  const wanted = words.join(" ");
  const found = [];
  for (const [type, name, url, text] of limesPages) {
    const title = name.toLowerCase(), body = text.toLowerCase();
    if (!words.every(word => title.includes(word) || body.includes(word))) continue;
    const last = title.split(/[.:\s]+/).pop();
    let score = title === wanted || last === wanted ? 100 : title.includes(wanted) ? 30 : 0;
    for (const word of words) score += (title.includes(word) ? 10 : 0) + Math.min(body.split(word).length, 5);
    found.push({score, type, name, url, tag: "", fragments: [fragment(text, body, words)]});
  }
  found.sort((a, b) => b.score - a.score || a.name.length - b.name.length);
  const page = Number(given.get("p")), count = Number(given.get("n")), first = page * count;
  window[given.get("cb")]({query: given.get("q"), hits: found.length, first, count, page,
    pages: Math.ceil(found.length / count), items: found.slice(first, first + count)});
})();
