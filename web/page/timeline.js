// The panel Timeline: the last 30 s of chosen LEDs as curves.
import { el, fill, furnish, reconcile } from "./dom.js";
import { Samples, SPAN } from "./samples.js";

const MOST = 4; // LEDs at once
const MOST_OFFERED = 1000; // to choose from; the panel Point has every LED
const EVERY = 66; // ms between two drawings
/** Where keys move the cursor. */
const WAYS = { ArrowLeft: -1, ArrowDown: -1, ArrowRight: 1, ArrowUp: 1, Home: -Infinity, End: Infinity };
const DASHES = [[], [6, 4], [2, 3], [10, 3, 2, 3]];
const STROKES = {
  dark: { red: "#ff7a70", green: "#5fdb8f", blue: "#6db3ff", white: "#e8edf4", amber: "#ffc04d", infrared: "#c58bd8",
    axis: "#a3b1c2", grid: "#232c38" },
  light: { red: "#c22b20", green: "#1a7f45", blue: "#1b5fc4", white: "#3b4654", amber: "#a06000", infrared: "#7d3c98",
    axis: "#4d5b6c", grid: "#dde3ea" },
};

export class Timeline {
  /** @param {HTMLElement} root @param {any} app */
  constructor(root, app) {
    this.app = app;
    this.chosen = [];
    this.samples = new Samples();
    this.isPaused = false;
    this.at = 0;
    this.add = el("select", { "aria-label": "Add an LED to the timeline",
      on: { change: () => this.choose(Number(this.add.value)) } });
    this.pause = el("button", { type: "button", class: "quiet", "aria-pressed": "false", text: "Pause curves",
      on: { click: () => this.xPause() } });
    this.chips = el("div", { class: "chips" });
    this.place = el("div", { class: "plot" });
    root.append(el("div", { class: "bar" }, el("h2", { text: "Timeline" }), this.add, this.pause, this.chips),
      this.place);
    this.theme = matchMedia("(prefers-color-scheme: light)");
    this.theme.addEventListener("change", () => this.build());
    this.sizes = new ResizeObserver(() => this.xSize());
    this.sizes.observe(this.place);
    this.xLoop = this.xLoop.bind(this);
  }

  /** Another robot: its LEDs to choose from. */
  showRobot() {
    const labels = this.chosen.map((led) => this.labels?.[led]);
    this.labels = this.app.model.leds.map((led) => led.label);
    fill(this.add, el("option", { value: "-1", text: "Add an LED…" }),
      ...this.labels.slice(0, MOST_OFFERED).map((text, i) => el("option", { value: i, text })));
    this.chosen = labels.map((label) => this.labels.indexOf(label)).filter((led) => led >= 0);
    this.samples = new Samples();
    if (this.chosen.length === 0) this.chosen = [0];
    this.build();
    this.run();
  }

  choose(led) {
    this.add.value = "-1";
    if (!(led >= 0) || this.chosen.includes(led)) return;
    this.chosen = [...this.chosen, led].slice(-MOST);
    this.build();
  }

  /** Makes the plot anew: other LEDs or colours. */
  build() {
    if (!this.app.model || !this.labels) return;
    this.devices = this.chosen.flatMap((led) => this.app.model.leds[led].devices);
    this.samples.keep(this.devices);
    if (!this.samples.isGap) this.record();
    reconcile(this.chips, this.chosen, (led) => `${led} ${this.labels[led]}`, (led) => el("button", {
      type: "button", "aria-label": `Take ${this.labels[led]} off the timeline`, text: `${this.labels[led]} ×`,
      on: { click: () => this.xTakeOff(led) },
    }));
    if (this.legend) this.sizes.unobserve(this.legend);
    this.plot?.destroy();
    const colors = STROKES[this.theme.matches ? "light" : "dark"];
    const axis = { stroke: colors.axis, grid: { stroke: colors.grid, width: 1 }, ticks: { stroke: colors.grid },
      font: "12px system-ui, sans-serif" };
    this.plot = new uPlot({
      ...this.xRoom(),
      scales: { x: { time: false, range: () => [this.now - SPAN, this.now] }, y: { range: [-0.03, 1.03] } },
      axes: [
        { ...axis, size: 30, splits: () => [30, 20, 10, 0].map((ago) => this.now - ago),
          values: (_, ticks) => ticks.map((tick) => this.xAgo(tick)) },
        { ...axis, size: 38, splits: [0, 0.5, 1] },
      ],
      cursor: { y: false, drag: { x: false, y: false }, points: { size: 6 } },
      legend: { live: true },
      series: [
        { label: "time", value: (_, time) => (time == null ? "–" : this.xAgo(time)) },
        ...this.devices.map((device) => ({
          label: `${this.labels[device.led]} ${device.color}`, stroke: colors[device.color] ?? colors.white, width: 2,
            points: { show: false },
          dash: DASHES[this.chosen.indexOf(device.led) % DASHES.length],
            value: (_, value) => (value == null ? "–" : value.toFixed(3)),
        })),
      ],
    }, this.samples.until(this.now), this.place);
    this.plot.root.querySelector("canvas").setAttribute("aria-hidden", "true");
    this.legend = this.plot.root.querySelector(".u-legend");
    furnish(this.legend, { tabindex: "0", "aria-label": "Curves and their values at the cursor" }); // it may scroll
    this.sizes.observe(this.legend); // it takes its height from the curves
    furnish(this.plot.over, { tabindex: "0", role: "slider", "aria-label": "Cursor of the timeline, in seconds",
      "aria-valuemin": -SPAN, "aria-valuemax": 0, "aria-valuenow": 0,
      on: { keydown: (event) => this.xKey(event), focus: ({ target }) => this.xFocus(target),
        blur: () => this.plot.setCursor({ left: -9, top: 0 }) } });
  }

  /** By keyboard: a pointer has its own place. */
  xFocus(over) {
    if (over.matches(":focus-visible")) this.xCursor(this.at);
  }

  xKey(event) {
    const way = WAYS[event.key];
    if (!way) return;
    event.preventDefault();
    this.xCursor(Math.min(0, Math.max(-SPAN, this.at + way * (event.shiftKey ? 1 : 0.1))));
  }

  /** Reads values off the curves, for the eye and for the ear. @param {number} at seconds, of now */
  xCursor(at) {
    const { over } = this.plot;
    this.at = Math.round(at * 10) / 10;
    this.plot.setCursor({ left: (1 + at / SPAN) * over.clientWidth, top: 0 });
    const told = [...this.legend.rows].map(({ cells: [name, value] }) => `${name.textContent} ${value.textContent}`);
    furnish(over, { "aria-valuenow": at.toFixed(1), "aria-valuetext": told.join(", ") });
  }

  xTakeOff(led) {
    const at = this.chosen.indexOf(led);
    this.chosen = this.chosen.filter((one) => one !== led);
    this.build();
    (this.chips.children[at] ?? this.chips.lastChild ?? this.add).focus();
  }

  /** What the LEDs do now cannot be seen. */
  gap() {
    this.samples.gap(performance.now() / 1000);
  }

  xAgo(time) {
    const ago = time - this.now;
    return Math.abs(ago) < 0.05 ? "now" : `${ago.toFixed(Number.isInteger(Math.round(ago * 10) / 10) ? 0 : 1)} s`;
  }

  /** Seconds on the page's clock; stands still while paused. */
  get now() {
    return this.stopped ?? performance.now() / 1000;
  }

  /** Notes the values of the chosen LEDs. */
  record(isMerged) {
    if (!this.app.live || !this.devices) return;
    const values = this.devices.map((device) => this.app.live.valueOf(device));
    this.samples.add(performance.now() / 1000, values, isMerged);
  }

  xPause() {
    this.isPaused = !this.isPaused;
    this.pause.setAttribute("aria-pressed", String(this.isPaused));
    this.run();
  }

  /** Draws on while somebody looks and nothing is paused. */
  run() {
    const isStill = this.isPaused || this.app.isFrozen;
    if (isStill && !this.stopped) {
      this.stopped = this.now;
      this.plot?.setData(this.samples.until(this.now));
    }
    if (!isStill) this.stopped = undefined;
    if (!this.isRunning && !isStill) {
      this.isRunning = true;
      this.xLoop();
    }
  }

  xLoop() {
    this.isRunning = !this.stopped && this.app.isPanelShown("timeline") && !document.hidden && this.app.isLive();
    if (!this.isRunning) return;
    this.plot.setData(this.samples.until(this.now));
    setTimeout(() => requestAnimationFrame(this.xLoop), EVERY);
  }

  xRoom() {
    const legend = this.plot?.root.querySelector(".u-legend")?.offsetHeight ?? 24;
    return { width: Math.max(200, this.place.clientWidth), height: Math.max(86, this.place.clientHeight - legend - 4) };
  }

  xSize() {
    if (this.plot && this.place.clientWidth > 0) this.plot.setSize(this.xRoom());
  }
}
