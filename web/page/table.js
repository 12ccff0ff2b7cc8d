// The panel LEDs: every LED as a row, for those who read instead of look.
import { el, reconcile, setText, tableOf } from "./dom.js";
import { valuesText } from "./value.js";

const MOST = 500; // rows

export class Table {
  /** @param {HTMLElement} root @param {any} app */
  constructor(root, app) {
    this.app = app;
    this.filter = el("input", { type: "search", placeholder: "Filter LEDs and groups", "aria-label": "Filter LEDs",
      on: { input: () => this.fill() } });
    this.body = el("tbody");
    this.more = el("p", { class: "hint", role: "status" });
    root.append(el("h2", { text: "LEDs" }), this.filter, this.more,
      tableOf("All LEDs with their values now", ["LED", "Channels now", "Groups"], this.body));
  }

  /** Rows for the robot's LEDs, as filtered, once somebody looks. */
  fill() {
    this.rows = undefined;
    this.show();
  }

  /** Values as they are now. */
  show() {
    if (!this.app.live || !this.app.isPanelShown("leds")) return;
    this.rows ??= this.xRows();
    for (const row of this.rows) setText(row.cells[1], valuesText(this.app.live.channels(row.index)));
  }

  xRows() {
    const { app } = this;
    const wanted = this.filter.value.trim().toLowerCase();
    const groupsOf = ({ index }) => app.groupsOf(index).join(", ");
    const found = app.model.leds.filter((led) => `${led.label} ${groupsOf(led)}`.toLowerCase().includes(wanted));
    const shown = found.slice(0, MOST);
    setText(this.more, found.length > MOST ? `${MOST} of ${found.length} LEDs: filter for the others` : "");
    return reconcile(this.body, shown, ({ index, label }) => `${index} ${label}`, ({ index, label }) => {
      const name = el("button", { type: "button", class: "link", text: label, on: { click: () => app.choose(index) } });
      return el("tr", {}, el("th", { scope: "row" }, name), el("td"), el("td"));
    }).map((row, i) => {
      row.index = shown[i].index;
      setText(row.cells[2], groupsOf(shown[i]));
      return row;
    });
  }
}
