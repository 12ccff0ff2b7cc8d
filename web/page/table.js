// The panel LEDs: every LED as a row, for those who read instead of look.
import { askedHex } from "./color.js";
import { el, fill, setText } from "./dom.js";
import { percent } from "./value.js";

export class Table {
  /** @param {HTMLElement} root @param {any} app */
  constructor(root, app) {
    this.app = app;
    this.filter = el("input", { type: "search", placeholder: "Filter LEDs and groups", "aria-label": "Filter LEDs",
      on: { input: () => this.fill() } });
    this.body = el("tbody");
    root.append(el("h2", { text: "LEDs" }), this.filter,
      el("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": "All LEDs" }, el("table", {},
        el("caption", { class: "unseen", text: "All LEDs of the robot with their values now" }),
        el("thead", {}, el("tr", {}, ...["LED", "Channels now",
          "Groups"].map((text) => el("th", { scope: "col", text })))), this.body)));
  }

  /** Rows for the robot's LEDs, as filtered. */
  fill() {
    if (!this.app.live) return;
    const wanted = this.filter.value.trim().toLowerCase();
    this.rows = this.app.model.leds
      .map((led) => ({ led, groups: this.app.groupsOf(led.index).join(", ") }))
      .filter(({ led, groups }) => `${led.label} ${groups}`.toLowerCase().includes(wanted))
      .map(({ led, groups }) => {
        const value = el("td");
        const name = el("button", { type: "button", class: "link", text: led.label,
          on: { click: () => this.app.choose(led.index) } });
        return { led, value, row: el("tr", {}, el("th", { scope: "row" }, name), value, el("td", { text: groups })) };
      });
    fill(this.body, ...this.rows.map(({ row }) => row));
    this.show();
  }

  /** Values as they are now. */
  show() {
    if (!this.app.live || !this.app.isPanelShown("leds")) return;
    if (!this.rows) return this.fill();
    for (const { led, value } of this.rows) {
      const channels = this.app.live.channels(led.index);
      const each = channels.map(({ color,
        value }) => `${color} ${Number.isNaN(value) ? "unknown" : percent(value)}`).join(", ");
      const hex = askedHex(channels);
      setText(value, hex && channels.length > 1 ? `${each} (${hex})` : each);
    }
  }
}
