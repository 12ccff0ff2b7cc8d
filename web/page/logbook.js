// The panel Log: the robot's messages, from a level on.
import { el } from "./dom.js";
import { clockText } from "./value.js";

const LEVELS = ["debug", "verbose", "info", "warning", "error", "fatal"];
const MOST = 1000; // lines kept

export class Logbook {
  /** @param {HTMLElement} root @param {any} app */
  constructor(root, app) {
    this.app = app;
    this.level = el("select", { "aria-label": "Least level", on: { change: () => this.start() } },
      ...LEVELS.map((level) => el("option", { value: level, text: level, selected: level === "info" })));
    this.lines = el("ol", { class: "log-lines mono", tabindex: "0", "aria-label": "Messages, the newest last" });
    this.wrong = el("p", { class: "error" });
    root.append(el("div", { class: "chooser" }, el("h2", { text: "Log" }), this.level), this.wrong, this.lines);
  }

  /** Asks for the tail and what follows, once somebody looks. */
  async start() {
    if (!this.app.isLive() || !this.app.isPanelShown("log")) return;
    this.isFollowing = true;
    this.lines.replaceChildren();
    this.wrong.textContent = "";
    try {
      await this.app.request("log", { level: this.level.value });
    } catch (error) {
      this.wrong.textContent = error.message;
    }
  }

  /** @param {{at: number, level: string, category: string, text: string}[]} lines */
  add(lines) {
    const { lines: list } = this;
    const isAtEnd = list.scrollTop + list.clientHeight >= list.scrollHeight - 8;
    list.append(...lines.map(({ at, level, category, text }) =>
      el("li", { class: level }, el("time", { text: clockText(at) }), ` ${level} [${category}] ${text}`)));
    while (list.children.length > MOST) list.firstChild.remove();
    if (isAtEnd) list.scrollTop = list.scrollHeight;
  }
}
