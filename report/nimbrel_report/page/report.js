"use strict";
// Makes the details of a drive when it is opened, draws charts, filters the drives, and opens the drive that a link leads
// to. What a drive says becomes text nodes: nothing here parses markup.
(() => {
  document.documentElement.classList.add("scripted");
  const drawn = new Map();  // the configuration and the chart of each canvas that has one
  const style = () => getComputedStyle(document.documentElement);
  const colour = (name) => style().getPropertyValue("--" + name).trim();
  const day = (seconds) => new Date(seconds * 1000).toISOString().slice(0, 10);
  const minute = (seconds) => new Date(seconds * 1000).toISOString().slice(0, 16).replace("T", " ") + " UTC";

  function axis(extra, ticks) {
    return { grid: { color: colour("line") }, ticks: { color: colour("quiet"), maxRotation: 40, ...ticks }, ...extra };
  }

  const integers = { precision: 0 };
  // Ends where the data does, not at the next round number of seconds.
  const timeAxis = (seconds) => axis({ type: "linear", min: Math.min(...seconds), max: Math.max(...seconds) },
    { callback: day, maxTicksLimit: 6, includeBounds: false });
  const KINDS = {
    bar: (spec) => ({
      type: "bar",
      data: { labels: spec.labels, datasets: spec.series.map((row, place) => ({
        label: row.name, data: row.values, backgroundColor: colour("series" + (place + 1)) })) },
      options: { scales: { x: axis(), y: axis({ beginAtZero: true }, integers) } }
    }),
    line: (spec) => ({
      type: "line",
      data: { datasets: [{ data: spec.values.map((y, place) => ({ x: spec.times[place], y })), pointRadius: 0,
                           borderWidth: 2, borderColor: colour("series1"), spanGaps: false }] },
      options: { interaction: { mode: "nearest", axis: "x", intersect: false },
                 scales: { x: timeAxis(spec.times),
                           y: axis({ title: { display: true, text: spec.unit, color: colour("quiet") } }, integers) } }
    }),
    timeline: (spec) => ({
      type: "scatter",
      data: { datasets: [{ pointRadius: 5, backgroundColor: colour("series1"),
                           data: spec.points.map(([x, y]) => ({ x, y })) }] },
      options: { scales: {
        x: timeAxis(spec.points.map(([x]) => x)),
        y: axis({ min: -1, max: spec.labels.length },
                { stepSize: 1, autoSkip: false, callback: (value) => spec.labels[value] || "" }) } }
    })
  };

  // The time of a point, and of an event its name, in place of the numbers.
  function tooltip(spec) {
    if (spec.kind === "bar") return {};
    return { callbacks: {
      title: (items) => items.length ? minute(items[0].parsed.x) : "",
      label: (item) => spec.kind === "timeline" ? spec.labels[item.parsed.y] : item.parsed.y + " " + spec.unit
    } };
  }

  function draw(canvas, spec) {
    const config = KINDS[spec.kind](spec);
    const legend = spec.kind === "bar" && spec.series.length > 1;
    config.options = { ...config.options, animation: false, maintainAspectRatio: false,
      plugins: { legend: { display: legend, labels: { color: colour("ink") } }, tooltip: tooltip(spec),
                 title: { display: spec.kind === "line", text: spec.name, color: colour("ink") } } };
    if (drawn.has(canvas)) drawn.get(canvas).chart.destroy();
    drawn.set(canvas, { spec, chart: new Chart(canvas, config) });
  }
  function redraw() {
    for (const [canvas, { spec }] of drawn) draw(canvas, spec);
  }

  // An element; its children are elements, or texts that stay texts.
  function make(name, attributes, ...children) {
    const element = document.createElement(name);
    for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
    element.append(...children);
    return element;
  }

  function table(block) {
    const flush = (place) => block.numbers.includes(place) ? { class: "number" } : {};
    const cells = (name, row, more) => row.map((cell, place) => make(name, { ...flush(place), ...more }, String(cell ?? "")));
    return make("div", { class: "scroll", role: "region", tabindex: "0", "aria-label": block.title },
      make("table", {}, make("caption", {}, block.title),
        make("thead", {}, make("tr", {}, ...cells("th", block.columns, { scope: "col" }))),
        make("tbody", {}, ...block.rows.map((row) => make("tr", {}, ...cells("td", row, {}))))));
  }

  // Several series over one time are a chart each: their units differ.
  const single = (spec) => spec.kind !== "lines" ? [spec]
    : spec.series.map((row) => ({ kind: "line", times: spec.times, ...row }));

  function figure(block) {
    const charts = block.specs.flatMap(single).map((spec) => {
      const canvas = make("canvas", { role: "img", "aria-label": spec.name + ". " + block.text });
      waiting.push([canvas, spec]);
      return make("div", { class: "chart" }, canvas);
    });
    return make("figure", {}, make("h3", {}, block.title), make("div", { class: "columns" }, ...charts),
      make("figcaption", {}, block.text,
        make("details", { class: "small" }, make("summary", {}, "Numbers: " + block.table.title), table(block.table))));
  }

  const BLOCKS = {
    findings: (block) => make("ul", { class: "findings" }, ...block.rows.map(([level, text, advice]) =>
      make("li", { class: level }, make("b", {}, text), " " + advice))),
    facts: (block) => make("section", {}, make("h3", {}, block.title), make("dl", { class: "facts" },
      ...block.rows.map(([label, value]) => make("div", {}, make("dt", {}, label), make("dd", {}, value))))),
    list: (block) => make("section", {}, make("h3", {}, block.title),
      make("ul", {}, ...block.lines.map((line) => make("li", {}, line)))),
    text: (block) => make("p", { class: "quiet" }, block.text),
    columns: (block) => make("div", { class: "columns" }, ...block.blocks.map(render)),
    figure, table
  };
  const render = (block) => BLOCKS[block.kind](block);

  // The details of a drive are made when it is opened: those of 500 drives at once would take seconds.
  let waiting = [];
  function fill(drive) {
    const source = drive.querySelector(":scope > script");
    if (!source) return;
    const body = make("div", { class: "body" });
    body.append(...JSON.parse(source.textContent).map(render));
    source.replaceWith(body);
    for (const [canvas, spec] of waiting) draw(canvas, spec);  // A chart has the size of what it is in.
    waiting = [];
  }

  const drives = [...document.querySelectorAll(".drive")];
  function filter(words) {
    let count = 0;
    for (const drive of drives) {
      const text = drive.querySelector("summary").textContent.toLowerCase();
      drive.hidden = !words.every((word) => text.includes(word));
      count += drive.hidden ? 0 : 1;
    }
    document.getElementById("shown").textContent = count + " of " + drives.length + " drives";
  }
  function openAll(open) {
    for (const drive of drives) if (!drive.hidden) drive.open = open;
  }
  function openTarget() {
    const target = document.getElementById(decodeURIComponent(location.hash.slice(1)));
    if (!target || !target.matches(".drive")) return;
    target.hidden = false;
    target.open = true;
    fill(target);
    target.scrollIntoView();
    target.querySelector("summary").focus({ preventScroll: true });
  }

  const field = document.getElementById("filter");
  field.addEventListener("input", () => filter(field.value.toLowerCase().split(/\s+/).filter(Boolean)));
  field.form.addEventListener("submit", (event) => event.preventDefault());
  document.getElementById("open-all").addEventListener("click", () => openAll(true));
  document.getElementById("close-all").addEventListener("click", () => openAll(false));
  document.addEventListener("toggle", (event) => { if (event.target.open && event.target.matches(".drive")) fill(event.target); }, true);
  window.addEventListener("hashchange", openTarget);
  // A link that leads where the page already is changes no hash.
  document.addEventListener("click", (event) => {
    const link = event.target.closest("a[href^='#']");
    if (link && link.hash === location.hash) openTarget();
  });
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", redraw);
  matchMedia("print").addEventListener("change", redraw);
  for (const element of document.querySelectorAll("#fleet .chart"))
    draw(element.querySelector("canvas"), JSON.parse(element.querySelector("script").textContent));
  openTarget();
})();
