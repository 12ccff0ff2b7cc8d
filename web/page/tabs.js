// The row of tabs and the panels that they show. On wide screens some panels have a place of their own and no tab.
import { byId, el } from "./dom.js";

const WIDE = "(min-width: 1200px)";

/** What a panel is called and whether wide screens show it always. */
const PANELS = [
  { id: "play", title: "Play", isDocked: true },
  { id: "point", title: "Point" },
  { id: "state", title: "State" },
  { id: "timeline", title: "Timeline", isDocked: true },
  { id: "leds", title: "LEDs" },
  { id: "log", title: "Log" },
];

export class Tabs {
  /** @param {HTMLElement} row @param {(id: string) => void} onShow told of each panel that comes to be seen */
  constructor(row, onShow) {
    this.row = row;
    this.onShow = onShow;
    this.wide = matchMedia(WIDE);
    this.active = "play";
    for (const { id, title } of PANELS) {
      row.append(el("button", {
        type: "button", role: "tab", id: `tab-${id}`, "aria-controls": id, text: title,
          on: { click: () => this.show(id) },
      }));
    }
    row.addEventListener("keydown", (event) => this.xKey(event));
    this.wide.addEventListener("change", () => this.show(this.active));
    this.show("play");
  }

  show(id) {
    const isWide = this.wide.matches;
    const isDocked = PANELS.find((panel) => panel.id === id).isDocked;
    if (!(isWide && isDocked)) this.active = id;
    else if (PANELS.find((panel) => panel.id === this.active).isDocked) this.active = "point";
    for (const panel of PANELS) this.xArrange(panel, isWide && panel.isDocked === true);
  }

  /** Whether a panel can be seen now. */
  isShown(id) {
    return !byId(id).hidden;
  }

  xArrange({ id, title }, isDocked) {
    const [panel, tab] = [byId(id), byId(`tab-${id}`)];
    const isActive = id === this.active;
    const isNew = panel.hidden && (isDocked || isActive);
    tab.hidden = isDocked;
    tab.setAttribute("aria-selected", String(isActive));
    tab.tabIndex = isActive ? 0 : -1;
    panel.hidden = !isDocked && !isActive;
    panel.setAttribute("role", isDocked ? "region" : "tabpanel");
    if (isDocked) panel.setAttribute("aria-label", title);
    else panel.removeAttribute("aria-label");
    if (isDocked) panel.removeAttribute("aria-labelledby");
    else panel.setAttribute("aria-labelledby", tab.id);
    panel.tabIndex = 0;
    if (isNew) this.onShow(id);
  }

  xKey(event) {
    const tabs = [...this.row.children].filter((tab) => !tab.hidden);
    const at = tabs.indexOf(document.activeElement);
    const to = { ArrowRight: at + 1, ArrowLeft: at - 1, Home: 0, End: tabs.length - 1 }[event.key];
    if (to === undefined || at < 0) return;
    const tab = tabs[(to + tabs.length) % tabs.length];
    this.show(tab.getAttribute("aria-controls"));
    tab.focus();
    event.preventDefault();
  }
}
