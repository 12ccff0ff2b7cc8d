// Frames on their way to the stage: one picture at a time, only what changed, and nothing while frozen.
import { announce, byId, setText } from "./dom.js";

const METER_EVERY = 500; // ms
const PAINT_EVERY = 20; // ms

export class Show {
  /** @param {any} app */
  constructor(app) {
    this.app = app;
    this.button = byId("pause");
    this.isFrozen = matchMedia("(prefers-reduced-motion: reduce)").matches;
    this.painted = this.due = 0;
    this.begin();
    this.button.addEventListener("click", () => this.xFreeze(!this.isFrozen));
    this.xTellFrozen();
    setInterval(() => this.xMeter(), METER_EVERY);
    this.xPaint = this.xPaint.bind(this);
  }

  /** A new watch. */
  begin() {
    this.quickest = Infinity;
    this.unseen = undefined;
    this.dropped = 0;
  }

  /** Takes a frame over; it is painted with the next picture. */
  take(frame) {
    const { app } = this;
    const isChange = app.live.take(frame);
    if (isChange) app.timeline.record(frame.dropped > (this.dropped ?? 0));
    this.lag = performance.now() - frame.at; // of clocks that do not start together
    this.dropped = frame.dropped;
    this.unseen = frame.frame;
    if (this.isFrozen && frame.keys.length === 0) return this.xSeen(); // what is new is shown all the same
    this.xAsk();
  }

  xAsk() {
    if (!this.isAsked) {
      this.isAsked = true;
      requestAnimationFrame(this.xPaint);
    }
  }

  xPaint(now) {
    this.isAsked = false;
    const { app } = this;
    if (!app.live) return;
    if (now < this.due) return this.xAsk();
    this.due = Math.max(this.due, now - PAINT_EVERY) + PAINT_EVERY;
    const { changed, isMoving } = app.live.step(now);
    if (changed.length > 0) {
      app.stage.paint(changed);
      this.painted += 1;
    }
    this.xSeen();
    this.xTellFlashes();
    if (isMoving && !this.isFrozen) this.xAsk();
  }

  /** Lets the robot send on. */
  xSeen() {
    if (this.unseen === undefined) return;
    this.app.link.tell("seen", { frame: this.unseen });
    this.unseen = undefined;
    this.quickest = Math.min(this.quickest, this.lag);
  }

  xFreeze(isFrozen) {
    this.isFrozen = isFrozen;
    this.xTellFrozen();
    announce(isFrozen ? "The picture is frozen" : "The picture is live");
    if (!isFrozen) this.xAsk();
    this.app.timeline.run();
  }

  xTellFrozen() {
    this.button.classList.toggle("primary", this.isFrozen);
    setText(this.button, this.isFrozen ? "Go live" : "Pause");
    byId("frozen").hidden = !this.isFrozen;
  }

  xTellFlashes() {
    setText(byId("flash-notice"), this.app.live.guard.isLimiting
      ? "More than three flashes a second: shown steadily." : "");
  }

  /** Pictures a second, frames that were merged, and how much later this one came than the quickest. */
  xMeter() {
    setText(byId("meter-rate"), String(Math.round((this.painted * 1000) / METER_EVERY)));
    setText(byId("meter-dropped"), String(this.dropped ?? 0));
    const delay = Math.round(this.lag - this.quickest);
    setText(byId("meter-delay"), Number.isFinite(delay) ? `${delay} ms` : "–");
    this.painted = 0;
  }
}
