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
    const { app } = this;
    if (document.hidden || !app.isLive() || !app.isPanelShown("log")) return;
    if (!(await this.xAsk(this.level.value))) return;
    this.lines.replaceChildren();
    this.newest = undefined;
  }

  /** While nobody sees the page no line comes; then those that are new. */
  async rest(isHidden) {
    if (!this.isFollowing) return this.start();
    // What is kept is sent anew, after the reply.
    if (await this.xAsk(isHidden ? "none" : this.level.value)) this.known = this.newest;
  }

  async xAsk(level) {
    this.isFollowing = true;
    this.wrong.textContent = "";
    try {
      return await this.app.request("log", { level });
    } catch (error) {
      this.wrong.textContent = error.message;
    }
  }

  /** Whether a line was not there before the rest. */
  xIsNew(line) {
    const { known } = this;
    const isKnown = known && line.at <= known.at;
    if (!isKnown || (line.at === known.at && line.text === known.text)) this.known = undefined;
    return !isKnown;
  }

  /** @param {{at: number, level: string, category: string, text: string}[]} all */
  add(all) {
    const { lines: list } = this;
    const lines = all.filter((line) => this.xIsNew(line));
    this.newest = lines.at(-1) ?? this.newest;
    const isAtEnd = list.scrollTop + list.clientHeight >= list.scrollHeight - 8;
    list.append(...lines.map(({ at, level, category, text }) =>
      el("li", { class: level }, el("time", { text: clockText(at) }), ` ${level} [${category}] ${text}`)));
    while (list.children.length > MOST) list.firstChild.remove();
    if (isAtEnd) list.scrollTop = list.scrollHeight;
  }
}
