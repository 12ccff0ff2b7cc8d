// The panel Point: all about the LED under the pointer or the focus, and the groups.
import { askedHex, toScreen } from "./color.js";
import { el, reconcile, setText, tableOf } from "./dom.js";
import { plainName } from "./model.js";
import { ratioOf } from "./settings.js";
import { clockText, durationText, percent, toNumber } from "./value.js";

const FACTS = ["Short name", "Colour", "Groups", "Ratio", "Set by"];
const EVERY = 250; // ms between two questions about the LED

export class Point {
  /** @param {HTMLElement} root @param {any} app */
  constructor(root, app) {
    this.app = app;
    this.title = el("h2", { text: "Point at an LED" });
    this.hint = el("p", { class: "hint", text: "Hover over one, tap it, or tab to the robot and use the arrow keys." });
    this.swatch = el("span", { class: "swatch" });
    this.values = FACTS.map(() => el("span"));
    this.facts = el("dl", { class: "facts" }, ...FACTS.flatMap((name, i) => [el("dt", { text: name }),
      el("dd", {}, name === "Colour" ? this.swatch : null, this.values[i])]));
    this.channels = el("tbody");
    this.table = tableOf("Channels", ["Channel", "now", "target", "left"], this.channels);
    this.curve = el("button", { type: "button", text: "Show in the timeline",
      on: { click: () => app.addCurve(this.led) } });
    this.groups = el("div", { class: "chips" });
    root.append(this.title, this.hint, this.facts, this.table, el("div", { class: "actions" }, this.curve),
      el("h3", { text: "Groups: point at one to see its LEDs" }), this.groups);
    this.pinned = undefined;
    this.point(undefined);
  }

  /** A robot was found, or has other groups. */
  showGroups() {
    const names = [...this.app.groups.keys()].sort();
    reconcile(this.groups, names, (name) => name, (name) => {
      const button = el("button", { type: "button", "aria-pressed": "false", text: name });
      const light = () => this.app.outline(name);
      const rest = () => this.app.outline(this.pinned);
      button.addEventListener("pointerenter", light);
      button.addEventListener("focus", light);
      button.addEventListener("pointerleave", rest);
      button.addEventListener("blur", rest);
      button.addEventListener("click", () => {
        this.xPin(this.pinned === name ? undefined : name);
        if (this.pinned) this.app.offerName(name);
        else light();
      });
      return button;
    });
    this.xPin(names.includes(this.pinned) ? this.pinned : undefined);
  }

  xPin(name) {
    this.pinned = name;
    for (const button of this.groups.children) button.setAttribute("aria-pressed",
      String(button.textContent === name));
    this.app.outline(name);
  }

  /** @param {number|undefined} led */
  point(led) {
    if (led === this.led && led !== undefined) return;
    this.led = led;
    this.states = this.origins = undefined;
    const isKnown = led !== undefined;
    this.hint.hidden = isKnown;
    this.facts.hidden = this.table.hidden = this.curve.hidden = !isKnown;
    setText(this.title, isKnown ? this.app.model.leds[led].label : "Point at an LED");
    this.show();
    this.ask();
  }

  /** What is known is of a robot that is gone. */
  askAnew() {
    this.states = this.origins = undefined;
    this.show();
    this.ask();
  }

  /** Asks the robot about the LED, now and again while it is looked at. */
  async ask() {
    const { app, led } = this;
    if (document.hidden || led === undefined || !app.isPanelShown("point") || !app.isLive() || this.isAsking) return;
    this.isAsking = true;
    const keys = app.model.leds[led].devices.map((device) => device.key);
    const call = (method) => app.read("HBMotion", method, [keys]).catch(() => undefined);
    const [states, ids] = await Promise.all([call("getLEDStates"), call("getLEDOrigins")]);
    const calls = [...new Set(ids ?? [])].filter((id) => id !== 0);
    const who = calls.length > 0 ? await app.request("who", { calls }).catch(() => undefined) : { calls: [] };
    this.isAsking = false;
    if (led === this.led) {
      this.states = states;
      this.origins = ids?.map((id) => who?.calls[calls.indexOf(id)] ?? id);
      this.show();
    }
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.ask(), EVERY);
  }

  /** Shows what is known of the LED now. */
  show() {
    const { app, led } = this;
    if (led === undefined || !app.live || !app.isPanelShown("point")) return;
    const { short, groups, devices } = app.model.leds[led];
    const channels = app.live.channels(led);
    const allGroups = new Set([...groups, ...devices.flatMap((device) => [...device.groups]), ...app.groupsOf(led)]);
    const { ratio, why } = ratioOf(led, app.model, app.groups, app.latest);
    const shorts = [...new Set(devices.map((device) => device.short))].filter(Boolean).join(", ");
    const facts = [short || shorts || "none", askedHex(channels) || percent(channels[0].value || 0),
      [...allGroups].sort().join(", ") || "none", `${ratio} (${why})`, this.xOrigin()];
    facts.forEach((text, i) => setText(this.values[i], text));
    const light = app.live.light.subarray(3 * led, 3 * led + 3);
    this.swatch.style.background = `rgb(${[...light].map(toScreen).join(" ")})`;
    this.xChannels(channels);
  }

  xChannels(channels) {
    const rows = reconcile(this.channels, channels, ({ device }) => device.name, ({ device }) => el("tr", {},
      el("th", { scope: "row", text: plainName(device.name) }), el("td"), el("td"), el("td")));
    channels.forEach(({ value }, i) => {
      const [, , target, left] = (this.states?.[i] ?? []).map(toNumber);
      const cells = [Number.isNaN(value) ? "–" : value.toFixed(3), target === undefined ? "–" : target.toFixed(3),
        left > 0 ? durationText(left * 1000) : "–"];
      cells.forEach((text, column) => setText(rows[i].cells[column + 1], text));
    });
  }

  /** The call that wrote the LED last. */
  xOrigin() {
    if (!this.origins) return "–";
    const known = this.origins.filter((origin) => typeof origin === "object" && origin !== null);
    const last = known.sort((a, b) => a.when - b.when).at(-1);
    if (last) return `${last.service}.${last.method}, by ${last.client} (${last.transport}) at ${clockText(last.when)}`;
    return this.origins.some((id) => id !== 0) ? "a call that is forgotten by now" : "the robot itself, or nobody yet";
  }
}
