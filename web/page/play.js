// The panel Play: every method of every service, made from what they publish, and the calls that run.
import { announce, el, fill, reconcile, setText } from "./dom.js";
import { Form, parameterName } from "./form.js";
import { durationText } from "./value.js";

const FIRST_SERVICE = "HBLeds";
const FIRST_METHOD = "fadeRGB";

export class Play {
  /** @param {HTMLElement} root @param {any} app the page: link, names, role */
  constructor(root, app) {
    this.app = app;
    this.described = new Map();
    this.own = new Map(); // calls of this page by the id of their request
    this.service = el("select",
      { "aria-label": "Service", on: { change: () => this.chooseService(this.service.value) } });
    this.filter = el("input", { type: "search", placeholder: "Filter methods", "aria-label": "Filter methods",
      on: { input: () => this.xList() } });
    this.list = el("div", { class: "methods", role: "group", "aria-label": "Methods" });
    this.formPlace = el("div", { class: "form" });
    this.running = el("ul", { class: "running" });
    this.runningTitle = el("h3", { text: "Running calls" });
    root.append(el("div", { class: "chooser" }, this.service, this.filter), this.list, this.formPlace,
      el("div", {}, this.runningTitle, this.running));
    this.showRunning([]);
  }

  /** @param {string[]} services that stand now; the one that is shown stays when it goes, until it is back */
  async showServices(services) {
    if (services.join() !== this.services) {
      this.services = services.join();
      this.described.clear();
      const shown = this.form?.service ?? FIRST_SERVICE;
      const isGone = this.form !== undefined && !services.includes(shown);
      fill(this.service, ...(isGone ? [el("option", { value: shown, text: `${shown} (gone)` })] : []),
        ...services.map((name) => el("option", { value: name, text: name })));
      this.service.value = shown;
      if (!isGone) await this.chooseService(services.includes(shown) ? shown : services[0]);
    }
    this.form?.refresh();
  }

  async chooseService(name) {
    if (!name) return fill(this.list);
    this.service.value = name;
    try {
      if (!this.described.has(name)) {
        this.described.set(name, (await this.app.request("describe", { service: name })).service);
      }
    } catch (error) {
      this.services = undefined; // asked again with the next ones
      return fill(this.list, el("p", { class: "error", text: error.message }));
    }
    if (this.service.value !== name) return;
    this.xList();
    const methods = this.xSorted();
    const chosen = methods.find((method) => this.form?.service === name &&
      method.signature === this.form.method.signature && method.name === this.form.method.name);
    if (chosen) {
      this.form.method = chosen;
      return this.xMark();
    }
    const first = methods.find((method) => method.name === FIRST_METHOD &&
      method.parameters.some((one) => one.name === "rgb"));
    this.choose(first ?? methods[0]);
  }

  /** Public methods first, otherwise in the service's order. */
  xSorted() {
    const methods = this.described.get(this.service.value)?.methods ?? [];
    return [...methods].sort((a, b) => Number(a.name.startsWith("_")) - Number(b.name.startsWith("_")));
  }

  xList() {
    const wanted = this.filter.value.trim().toLowerCase();
    const has = ({ name, description }) => `${name} ${description}`.toLowerCase().includes(wanted);
    const methods = this.xSorted().filter(has);
    const takes = (method) => method.parameters.map(parameterName).join(", ");
    const keyOf = (method) => [this.service.value, method.name, method.signature, takes(method)].join();
    reconcile(this.list, methods, keyOf, (method) => el("button",
      { type: "button", on: { click: ({ currentTarget }) => this.choose(currentTarget.method) } },
      method.name, " ", el("span", { class: "takes", text: takes(method) }),
    )).forEach((button, i) => (button.method = methods[i]));
    if (methods.length === 0) this.list.append(el("p", { class: "hint",
      text: "No method has that in its name or text." }));
    this.xMark();
  }

  choose(method) {
    if (!method) return;
    const form = new Form(this.service.value, method, {
      call: (...args) => this.call(...args), names: (of) => this.app.names(of),
      whyNot: (one) => this.app.whyNot(one),
    });
    this.formPlace.replaceWith(form.element);
    this.formPlace = form.element;
    this.form = form;
    this.xMark();
  }

  xMark() {
    for (const button of this.list.querySelectorAll("button")) {
      const isChosen = button.method === this.form?.method;
      button.setAttribute("aria-current", String(isChosen));
      // Into the list's view, and not the page's.
      const top = button.offsetTop - this.list.offsetTop;
      const isOut = top < this.list.scrollTop ||
        top + button.offsetHeight > this.list.scrollTop + this.list.clientHeight;
      if (isChosen && isOut) this.list.scrollTop = top - this.list.clientHeight / 2;
    }
  }

  /** Begins a call and follows it. */
  async call(service, method, argsJson) {
    const { id, reply } = this.app.link.begin("call", { service, method, argsJson }, () => {
      own.isFuture = true;
      this.showRunning(this.others);
    });
    const own = { service, method, begun: performance.now(), isFuture: false };
    this.own.set(id, own);
    try {
      setTimeout(() => this.own.has(id) && this.showRunning(this.others), 150);
      return await reply;
    } finally {
      this.own.delete(id);
      this.showRunning(this.others);
    }
  }

  /** @param {any[]} others calls that run, as the robot tells; those of this page's own are known already */
  showRunning(others) {
    this.others = others;
    const own = [...this.own].map(([id, call]) => ({
      key: `own ${id}`, isOwn: true, what: `${call.service}.${call.method}`,
      who: call.isFuture ? "this page, its future runs" : "this page",
      ms: performance.now() - call.begun, stop: () => this.app.request("stop", { call: id }),
    }));
    const rest = others.filter((call) => !call.client.startsWith(this.app.clientName)).map((call) => ({
      key: `call ${call.call}`, what: `${call.service}.${call.method}`, who: `${call.client} by ${call.transport}`,
      ms: call.ms, stop: () => this.app.request("stopCall", { call: call.call }),
    }));
    this.xRows([...own, ...rest]);
  }

  xRows(calls) {
    reconcile(this.running, calls, ({ key }) => key, (call) => this.xRow(call)).forEach((row, i) => {
      const { who, ms, isOwn } = calls[i];
      setText(row.querySelector("small"), `${who}, for ${durationText(ms)}`);
      row.querySelector("button").disabled = this.app.whyNot({ isReading: isOwn }) !== "";
    });
    this.runningTitle.hidden = calls.length === 0;
  }

  xRow(call) {
    const stop = async () => {
      try {
        const { found } = await call.stop();
        announce(found ? `Asked ${call.what} to stop` : `${call.what} had ended`);
      } catch (error) {
        announce(error.message);
      }
    };
    return el("li", {}, el("span", { class: "what" }, call.what, el("small")),
      el("button", { type: "button", class: "stop", "aria-label": `Stop ${call.what}`, text: "Stop",
        on: { click: stop } }));
  }
}
