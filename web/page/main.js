// The page: connects to the robot, finds out what it is, and lets stage and panels show it.
import { Condition } from "./condition.js";
import { announce, byId, setText } from "./dom.js";
import { Link } from "./link.js";
import { Live } from "./live.js";
import { Logbook } from "./logbook.js";
import { ALL_KEYS, ledsNamed, parseModel, plainName } from "./model.js";
import { Play } from "./play.js";
import { Point } from "./point.js";
import { Show } from "./show.js";
import { Stage } from "./stage.js";
import { Table } from "./table.js";
import { Tabs } from "./tabs.js";
import { Timeline } from "./timeline.js";

const EVERY = 1000; // ms between two questions about the robot's state
const GROUPING = ["createGroup", "loadModule", "unloadModule"];
const TOKEN = "token"; // its place in the session's storage

class Page {
  constructor() {
    this.clientName = `page-${Math.random().toString(36).slice(2, 6)}`;
    this.latest = [];
    this.groups = new Map();
    this.stage = new Stage(byId("stage"), { onHover: (led) => this.point.point(led),
      onSelect: (led) => this.choose(led) });
    this.play = new Play(byId("play"), this);
    this.point = new Point(byId("point"), this);
    this.condition = new Condition(byId("state"), this);
    this.timeline = new Timeline(byId("timeline"), this);
    this.table = new Table(byId("leds"), this);
    this.logbook = new Logbook(byId("log"), this);
    this.show = new Show(this);
    this.tabs = new Tabs(byId("tabs"), (id) => this.xShown(id));
    document.addEventListener("visibilitychange", () => this.xVisible());
    byId("token-dialog").querySelector("form").addEventListener("submit", () => this.xToken());
    byId("token-dialog").addEventListener("close", () => this.xNoToken());
    byId("give-token").addEventListener("click", () => this.xOpenQuestion());
    const scheme = location.protocol === "https:" ? "wss" : "ws";
    this.link = new Link({
      name: this.clientName,
      token: sessionStorage.getItem(TOKEN) ?? undefined,
      open: () => new WebSocket(`${scheme}://${location.host}/socket`),
      onState: (state, detail) => this.xLinkState(state, detail),
      onEvent: (message) => this.xEvent(message),
    });
  }

  // What panels ask for.
  request(op, fields) {
    return this.link.request(op, fields);
  }
  /** Calls a method that only reads, and gives its value. */
  async read(service, method, args = []) {
    return (await this.request("call", { service, method, args })).value;
  }
  isLive() {
    return this.link?.state === "live" && this.live !== undefined;
  }
  isPanelShown(id) {
    return this.tabs?.isShown(id) ?? false;
  }
  get isFrozen() {
    return this.show.isFrozen;
  }
  /** Why a method, or any, cannot be called now, or "". */
  whyNot(method) {
    if (this.link?.state !== "live") return "There is no robot now.";
    const isAllowed = this.robot.role === "operator" || method?.isReading;
    return isAllowed ? "" : "You are a viewer: only operators may call this.";
  }
  /** Names to complete a field with. */
  names(of) {
    const groups = [...this.groups.keys()];
    if (of === "group") return groups;
    if (of === "module") return this.modules ?? [];
    if (of !== "led" || !this.model) return [];
    const shorts = this.model.devices.map((device) => device.short).filter(Boolean);
    return [...new Set([...groups, ...shorts, ...this.model.devices.map((device) => `${device.name}/Actuator/Value`)])];
  }
  groupsOf(led) {
    return this.memberships?.[led] ?? [];
  }
  outline(group) {
    this.stage.outline(group ? ledsNamed(this.model, group, this.groups) : new Set());
  }
  choose(led) {
    this.tabs.show("point");
    this.point.point(led);
    this.stage.select(led);
  }
  addCurve(led) {
    this.tabs.show("timeline");
    this.timeline.choose(led);
  }
  offerName(name) {
    this.play.form?.offer(name);
  }

  xLinkState(state, detail) {
    const wasKnown = this.robot !== undefined;
    byId("link-state").dataset.state = state;
    byId("stage").toggleAttribute("data-stale", state !== "live");
    byId("give-token").hidden = state !== "token" || !this.isPutAside;
    if (state === "live") this.xWelcome(detail);
    if (state === "token") this.xAskToken(detail);
    if (state === "lost") {
      const why = detail ? ` (${detail})` : "";
      setText(byId("link-state"), wasKnown ? `The robot is gone; looking for it…${why}`
        : `Looking for the robot…${why}`);
      clearTimeout(this.timer);
      this.timeline.gap();
      this.play.form?.refresh();
      this.play.showRunning([]);
    }
  }

  xWelcome(robot) {
    const before = this.robot;
    this.robot = robot;
    setText(byId("robot-name"), robot.robot);
    document.title = robot.robot;
    byId("role").hidden = robot.role === "operator";
    setText(byId("role"), robot.role);
    this.news = !before ? "Live" : before.start === robot.start ? "Live again" : "Live: the robot restarted";
    this.xSettle();
  }

  /** Finds out what there is; a robot that has just started may not have it yet. */
  async xSettle() {
    if (this.link.state !== "live") return;
    try {
      await this.xMeet();
    } catch (error) {
      if (error.kind === "lost") return;
      setText(byId("link-state"), error.message);
      setTimeout(() => this.xSettle(), EVERY / 2);
      return;
    }
    setText(byId("link-state"), this.news);
    this.xWatch();
    this.xPoll();
    this.logbook.isFollowing = false; // the robot knows nothing of what was asked before
    this.logbook.start();
    this.point.askAnew();
    this.timeline.run();
  }

  /** Reads the model and the groups; another robot than before is shown anew. */
  async xMeet() {
    // A call may take its time; what services there are is told at once, or the robot is silent.
    const [xml] = await Promise.all([this.read("HBRobotModel", "getConfig"),
      this.link.requestSoon("services")]);
    if (xml !== this.xml) {
      this.model = parseModel(xml);
      const areas = this.stage.show(this.model);
      this.live = new Live(this.model, areas);
      this.stage.follow(this.live);
      await this.xReadGroups();
      this.timeline.showRobot();
      this.point.point(undefined);
      this.xml = xml; // last: whoever is interrupted before begins again
    } else {
      await this.xReadGroups();
    }
    await this.play.showServices((await this.link.requestSoon("services")).services); // those of now
  }

  /** Groups as the LED service has them, those that clients made included; the model's own without that service. */
  async xReadGroups() {
    const groups = new Map();
    for (const { name, groups: all } of this.model.devices) {
      for (const group of all) {
        if (!groups.has(group)) groups.set(group, []);
        groups.get(group).push(name);
      }
    }
    try {
      const names = await this.read("HBLeds", "listGroups");
      const made = names.filter((name) => !groups.has(name));
      const members = await Promise.all(made.map((name) => this.read("HBLeds", "listGroup", [name])));
      made.forEach((name, i) => groups.set(name, members[i]));
    } catch (error) {
      if (error.kind === "lost") throw error;
    }
    const byDevice = new Map(this.model.devices.map((device) => [device.name, device.led]));
    const memberships = this.model.leds.map(() => new Set());
    for (const [group, members] of groups) {
      for (const name of members) memberships[byDevice.get(plainName(name))]?.add(group);
    }
    this.memberships = memberships.map((set) => [...set].sort());
    this.groups = groups;
    this.point.showGroups();
    this.table.fill();
  }

  async xWatch() {
    if (document.hidden || !this.isLive()) return;
    try {
      await this.request("watch", { pattern: ALL_KEYS });
      // Frames before this reply were of the watch before.
      this.live.forget();
      this.show.begin();
    } catch (error) {
      if (error.kind !== "lost") setTimeout(() => this.xWatch(), EVERY);
    }
  }

  async xPoll() {
    clearTimeout(this.timer);
    if (document.hidden || this.link.state !== "live") return;
    try {
      const state = await this.link.requestSoon("state");
      this.latest = state.latest;
      this.modules = state.modules;
      // What makes and unmakes groups.
      const made = JSON.stringify([state.services, ...state.latest.filter(({ method, error }) =>
        GROUPING.includes(method) && !error).map(({ method, when }) => method + when)]);
      if (made !== this.made) await this.xReadGroups();
      this.made = made;
      await this.play.showServices(state.services);
      this.play.showRunning(state.running);
      this.condition.show(state);
      this.point.show();
      this.table.show();
    } catch (error) {
      if (error.kind === "lost") return;
    }
    this.timer = setTimeout(() => this.xPoll(), EVERY);
  }

  xEvent(message) {
    if (message.event === "frame" && this.live) this.show.take(message);
    if (message.event === "log") this.logbook.add(message.lines);
    if (message.event === "ended") {
      this.timeline.gap();
      setTimeout(() => this.xWatch(), EVERY);
    }
  }

  xShown(id) {
    if (id === "log" && !this.logbook.isFollowing) this.logbook.start();
    if (id === "timeline") this.timeline.run();
    if (id === "leds") this.table.show();
    if (id === "point") this.point.ask();
    if (id === "state") this.xPoll();
  }

  xVisible() {
    if (this.link.state !== "live") return;
    this.logbook.rest(document.hidden);
    if (document.hidden) {
      this.request("unwatch").then(() => this.timeline.gap(), () => {});
      return;
    }
    this.xWatch();
    this.xPoll();
    this.point.ask();
    this.timeline.run();
  }

  xAskToken(reason) {
    sessionStorage.removeItem(TOKEN);
    setText(byId("link-state"), "The robot asks who you are");
    setText(byId("token-reason"), reason);
    if (!this.isPutAside) this.xOpenQuestion();
  }

  xOpenQuestion() {
    this.isPutAside = this.isGiven = false;
    byId("give-token").hidden = true;
    if (!byId("token-dialog").open) byId("token-dialog").showModal();
  }

  /** A question that is closed without a token is put aside: it does not come back by itself. */
  xNoToken() {
    if (this.isGiven || byId("token-dialog").open) return;
    this.isPutAside = true;
    byId("token").value = "";
    byId("give-token").hidden = this.link.state !== "token";
    announce("Without a token the robot lets nobody in");
  }

  xToken() {
    const token = byId("token").value;
    byId("token").value = "";
    this.isGiven = true;
    sessionStorage.setItem(TOKEN, token);
    this.link.useToken(token);
  }
}

new Page();
