// The panel State: what the robot is, what it does by itself, ratios, modules, and the last calls.
import { el, reconcile, setText, tableOf } from "./dom.js";
import { habits, ratios } from "./settings.js";
import { clockText, durationText } from "./value.js";

const LAST_CALLS = 12;

export class Condition {
  /** @param {HTMLElement} root @param {any} app */
  constructor(root, app) {
    this.app = app;
    this.robot = el("dl", { class: "facts" });
    this.habits = el("dl", { class: "facts" });
    this.ratios = el("dl", { class: "facts" });
    this.modules = el("p", { class: "hint" });
    this.calls = el("tbody");
    root.append(el("h2", { text: "State" }), this.robot,
      el("h3", { text: "By itself, as asked by clients" }), this.habits,
      el("h3", { text: "Intensity ratios, as asked by clients" }), this.ratios,
      el("h3", { text: "Modules" }), this.modules,
      el("h3", { text: "Last calls" }),
      tableOf("Last calls", ["Call", "by", "at"], this.calls));
  }

  /** @param {any} state the robot's reply */
  show(state) {
    const { app } = this;
    if (!app.model || !app.isPanelShown("state")) return;
    const has = (service) => (state.services.includes(service) ? "present" : "absent: nothing moves");
    list(this.robot, [
      ["Robot", `${state.robot}, model ${app.model.name} ${app.model.version}`.trim()],
      ["Ready", state.ready ? "yes" : "not yet"],
      ["Up for", durationText(state.uptime * 1000)],
      ["Software", app.robot.software],
      ["You are", app.robot.role],
      ["Motion", has("HBMotion")],
      ["LEDs", `${app.model.leds.length}, of ${app.model.devices.length} channels`],
    ]);
    list(this.habits, habits(state.latest).map(({ name, text }) => [name, text]));
    const all = ratios(app.model, state.latest).map(({ name, ratio, why }) => [name, `${ratio} (${why})`]);
    list(this.ratios, all.length > 0 ? all : [["All LEDs", "1"]]);
    setText(this.modules, state.modules.join(", ") || "none");
    const latest = [...state.latest].sort((a, b) => b.when - a.when).slice(0, LAST_CALLS);
    reconcile(this.calls, latest, (call) => JSON.stringify(call), (call) => el("tr", {},
      el("th", { scope: "row" }, `${call.service}.${call.method} ${call.args}`,
        call.error ? el("span", { class: "error", text: `\n${call.error}` }) : null),
      el("td", { text: call.client }), el("td", { class: "time", text: clockText(call.when) })));
  }
}

/** Shows facts by their names; those that are there already stay, with the text of now. */
function list(element, facts) {
  const parts = facts.flatMap(([name, text]) => [{ tag: "dt", name, text: name }, { tag: "dd", name, text }]);
  reconcile(element, parts, ({ tag, name }) => `${tag} ${name}`, ({ tag }) => el(tag))
    .forEach((child, i) => setText(child, parts[i].text));
}
