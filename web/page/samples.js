// The last half minute of some values, one common row of times: what a plot draws. No DOM.

export const SPAN = 30; // seconds
const GAP = 0.12; // seconds without a change after which a value is known to have stood still

export class Samples {
  /** Keeps nothing yet. `keys` name the rows. */
  constructor() {
    this.keys = [];
    this.times = [];
    this.rows = [];
    this.last = [];
  }

  /** Other rows: what was kept of those that stay remains. @param {any[]} keys */
  keep(keys) {
    const empty = () => this.times.map(() => null);
    this.rows = keys.map((key) => this.rows[this.keys.indexOf(key)] ?? empty());
    this.last = keys.map((key) => this.last[this.keys.indexOf(key)] ?? null);
    this.keys = keys;
  }

  /** From now on nothing is known, until values are added again. @param {number} now seconds */
  gap(now) {
    if (this.isGap) return;
    this.add(now, this.last);
    this.add(now, this.keys.map(() => null));
    this.isGap = true;
  }

  /**
   * @param {number} now seconds @param {number[]} values one a key
   * @param {boolean} isMerged whether what was between these and the last ones is not known
   */
  add(now, values, isMerged = false) {
    this.isGap = false;
    const before = this.times.at(-1);
    if (before !== undefined && now <= before) now = before + 1e-4;
    if (before !== undefined && now - before > GAP && !isMerged) this.xPush(now - 1e-3, this.last);
    this.xPush(now, values);
    this.last = values;
    let old = 0;
    while (this.times.length - old > 2 && this.times[old + 1] < now - SPAN) ++old;
    if (old > 200) for (const row of [this.times, ...this.rows]) row.splice(0, old);
  }

  xPush(time, values) {
    this.times.push(time);
    this.rows.forEach((row, i) => row.push(Number.isNaN(values[i]) ? null : values[i]));
  }

  /** What a plot takes: times, then each row, up to now. */
  until(now) {
    if (this.times.length === 0) return [[now], ...this.keys.map((_, i) => [this.last[i]])];
    return [[...this.times, Math.max(now, this.times.at(-1) + 1e-4)],
      ...this.rows.map((row, i) => [...row, this.last[i]])];
  }
}
