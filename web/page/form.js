// One method as a form: an input for each parameter, the call as text to copy, and what came of it.
import { NAMED, parseRgb, rgbHash, rgbText } from "./color.js";
import { announce, copyButton, el, fill, newId, setText } from "./dom.js";
import { fieldFor, firstText, readField } from "./fields.js";
import { ledctlLine, pythonProgram } from "./quote.js";
import { parseSignature } from "./signature.js";
import { durationText, valueText } from "./value.js";

const MOST = 500; // names offered

/** The parameter's name, or one that Python's callers see too. */
export const parameterName = (parameter, index) => parameter.name || `arg${index + 1}`;

export class Form {
  /**
   * @param {string} service @param {any} method as described
   * @param {{call: Function, names: (of: string) => string[], whyNot: (method: any) => string}} robot `call(service,
   *        method, argsJson)` begins a call; `whyNot` says why the method cannot be called, or ""
   */
  constructor(service, method, robot) {
    Object.assign(this, { service, method, robot });
    const { parameters, result } = parseSignature(method.signature);
    this.isFuture = result.kind === "future";
    this.fields = parameters.map((type, i) => this.xField(type, method.parameters[i] ?? {}, i));
    this.error = el("p", { class: "error", role: "alert" });
    this.outcome = el("div", { class: "result", role: "status" });
    this.play = el("button", { type: "submit", class: "primary", text: "Play" });
    this.whyNot = el("p", { class: "hint" });
    this.shell = el("code");
    this.python = el("code");
    const title = newId("method");
    this.element = el("form", { class: "form", "aria-labelledby": title, novalidate: true,
      on: { submit: (event) => this.xSubmit(event) } },
      el("h2", { id: title, class: "mono", text: method.name }),
      el("p", { class: "hint", text: method.description }),
      ...this.fields.map((field) => field.element),
      el("div", { class: "actions" }, this.play, this.whyNot),
      this.error, this.outcome,
      el("h3", { text: "The same in a shell and in Python" }),
      codeBox("the ledctl line", this.shell), codeBox("the Python program", this.python),
      ...examplesOf(method),
    );
    this.refresh();
  }

  /** Puts a name into the form's first field that takes it. */
  offer(name) {
    const field = this.fields.find(({ field }) => field.of === "led" || field.of === "group");
    if (!field) return;
    field.input.value = name;
    this.refresh();
  }

  /** Shows the call as it stands, what is wrong with it, and whether it may be made. */
  refresh() {
    const args = this.fields.map((field) => this.xRead(field));
    const isWhole = args.every(Boolean);
    setText(this.shell, isWhole ? ledctlLine(this.service, this.method.name, args, this.isFuture) : "…");
    setText(this.python, isWhole ? pythonProgram(this.service, this.method.name, args, this.isFuture) : "…");
    const reason = this.robot.whyNot(this.method);
    setText(this.whyNot, reason);
    this.play.disabled = reason !== "" || !isWhole;
    return isWhole ? args : undefined;
  }

  xRead({ field, type, input, wrong }) {
    try {
      const argument = readField(field, type, input.type === "checkbox" ? String(input.checked) : input.value);
      mark(input, wrong, input === this.blamed?.input ? this.blamed.text : "");
      return argument;
    } catch (error) {
      mark(input, wrong, error.message);
      return undefined;
    }
  }

  xField(type, parameter, index) {
    const name = parameterName(parameter, index);
    const text = parameter.description ?? "";
    const field = fieldFor(type, name, text);
    const first = firstText(field, parameter.name ?? "", type, this.method.examples ?? []);
    const [id, hintId, wrongId] = [newId("field"), newId("hint"), newId("wrong")];
    const { input, extras } = inputFor(field, first, id, name, this.robot.names);
    input.setAttribute("aria-describedby", `${hintId} ${wrongId}`);
    const inputs = [input, ...extras];
    for (const one of inputs) one.addEventListener("input", () => this.xChanged());
    const wrong = el("p", { class: "error", id: wrongId });
    const element = el("div", { class: "field" },
      el("label", { for: id }, name, " ", el("span", { class: "type", text: typeText(type, field) })),
      el("div", { class: "inputs" }, ...inputs, field.unit ? el("span", { class: "unit", text: field.unit }) : null,
        input.list ?? null, input.names ?? null),
      wrong, el("p", { class: "hint", id: hintId, text }));
    return { field, type, name, input, inputs, wrong, element };
  }

  xChanged() {
    this.blamed = undefined;
    setText(this.error, "");
    this.refresh();
  }

  async xSubmit(event) {
    event.preventDefault();
    const args = this.refresh();
    if (!args || this.play.disabled) return;
    this.xChanged();
    announce("");
    setText(this.outcome, "");
    const begun = performance.now();
    try {
      const calling = this.robot.call(this.service, this.method.name, `[${args.map(({ json }) => json).join(",")}]`);
      setText(this.outcome, "Running…");
      const reply = await calling;
      const value = reply.value === null ? "" : `${valueText(reply.value)}\n`;
      fill(this.outcome, value, el("small", { class: "good",
        text: `Done in ${durationText(performance.now() - begun)}` }));
    } catch (error) {
      setText(this.outcome, "");
      this.xBlame(error.message, args);
    }
  }

  /** Puts the robot's words to the field they are about: the one whose text they quote, else whose name they say. */
  xBlame(text, args) {
    const words = text.toLowerCase();
    const quoted = this.fields.find((_, i) => args[i].shell.length > 1 && words.includes(args[i].shell.toLowerCase()));
    const named = this.fields.find(({ name }) => words.includes(name.toLowerCase()));
    const { input } = quoted ?? named ?? {};
    this.blamed = { input, text };
    this.refresh();
    if (!input) return setText(this.error, text);
    announce(text);
    input.scrollIntoView({ block: "nearest" });
  }
}

function mark(input, wrong, text) {
  setText(wrong, text);
  if (text) input.setAttribute("aria-invalid", "true");
  else input.removeAttribute("aria-invalid");
}

const typeText = (type, field) => (type.kind === "list" ? "list" : field.kind === "json" ? "value" : type.kind);

/** The input that holds the text, and what stands beside it. */
function inputFor(field, first, id, name, names) {
  switch (field.kind) {
    case "switch": {
      const input = el("input", { type: "checkbox", id });
      input.checked = first === "true";
      return { input, extras: [] };
    }
    case "json": return { input: el("textarea", { id, spellcheck: "false", rows: "2", text: first }), extras: [] };
    case "color": return colorInputs(first, id, name);
    case "slider": return sliderInputs(field, first, id, name);
    default: {
      const input = el("input", { type: "text", id, value: first, spellcheck: "false", autocomplete: "off",
        autocapitalize: "off",
        inputmode: field.kind === "text" ? undefined : "decimal" });
      const choices = () => (field.choices?.length ? field.choices : field.of === "color" ? Object.keys(NAMED)
        : names(field.of));
      if (field.kind === "text" && choices().length > 0) {
        input.names = el("datalist", { id: `${id}-names` });
        input.setAttribute("list", `${id}-names`);
        const offer = () => fill(input.names, ...fewOf(choices(), input.value).map((value) => el("option", { value })));
        for (const event of ["focus", "input"]) input.addEventListener(event, offer);
        offer();
      }
      return { input, extras: [] };
    }
  }
}

/** All names to choose from; of very many those that have what is typed. */
const fewOf = (names, typed) =>
  names.length > MOST ? names.filter((name) => name.includes(typed)).slice(0, MOST) : names;

function colorInputs(first, id, name) {
  const input = el("input", { type: "text", id, value: first, spellcheck: "false", autocomplete: "off" });
  const picker = el("input", { type: "color", "aria-label": `${name}: pick a colour`,
    value: rgbHash(parseRgb(first) ?? 0) });
  picker.addEventListener("input", () => (input.value = rgbText(parseRgb(picker.value))));
  input.addEventListener("input", () => {
    const number = parseRgb(input.value);
    if (number !== undefined) picker.value = rgbHash(number);
  });
  return { input, extras: [picker] };
}

function sliderInputs(field, first, id, name) {
  const { least, most } = field;
  const input = el("input", { type: "text", class: "short", id, value: first, inputmode: "decimal",
    autocomplete: "off" });
  const slider = el("input", { type: "range", "aria-label": `${name}: slide`, min: least, max: most,
    step: most > 10 ? 1 : 0.01, value: first });
  slider.addEventListener("input", () => (input.value = slider.value));
  input.addEventListener("input", () => (slider.value = input.value));
  return { input, extras: [slider] };
}

const codeBox = (what, code) => el("div", { class: "code" }, copyButton(what, () => code.textContent),
  el("pre", { tabindex: "0", "aria-label": what }, code));

function examplesOf(method) {
  const examples = method.examples ?? [];
  if (examples.length === 0) return [];
  return [el("details", {}, el("summary", { text: "Published examples" }), ...examples.map(({ language, text }) => {
    const code = el("code", { text: text.trimEnd() });
    return codeBox(`the ${language} example`, code);
  }))];
}
