// The page's one connection to its robot: requests and their replies, events, and coming back after a loss.
// No DOM: the socket and the clock are given, so that tests can be the robot.

/** What a robot answered instead of a value, in its own words. */
export class RobotError extends Error {
  constructor({ kind, text }) {
    super(text);
    this.kind = kind;
  }
}

const OPENING = 0; // the state of a socket whose handshake goes on
const FIRST_PAUSE = 250; // ms
const LONGEST_PAUSE = 2000;
const LONGEST_SILENCE = 5000; // ms
const SILENT = "The robot does not answer.";

/**
 * States: `connecting` (the first time), `token` (the robot asks who we are), `live`, `lost` (and looking again).
 * `onState(state, detail)` tells each change, with the reply to hello or the reason; `onEvent(message)` each event.
 */
export class Link {
  /** @param {{open: () => WebSocket, name: string, onState: Function, onEvent: Function, token?: string,
   *          setTimer?: Function}} options */
  constructor(options) {
    this.options = options;
    this.token = options.token;
    this.state = "connecting";
    this.setTimer = options.setTimer ?? ((run, ms) => setTimeout(run, ms));
    this.pause = FIRST_PAUSE;
    this.xOpen();
  }

  /** Asks; resolves to the reply, rejects with a RobotError, or with one of kind "lost" when the robot goes. */
  request(op, fields = {}) {
    return this.begin(op, fields).reply;
  }

  /**
   * The same, with the id to stop a call by. `onFuture` tells that the method returned a future. A field
   * `argsJson` is JSON text already, for floats that must stay floats.
   */
  begin(op, { argsJson, ...fields } = {}, onFuture = undefined) {
    const id = ++this.lastId;
    const reply = new Promise((resolve, reject) => {
      if (!this.isOpen()) return reject(new RobotError({ kind: "lost", text: "The robot is gone." }));
      this.asked.set(id, { resolve, reject, onFuture });
      let text = JSON.stringify({ id, op, ...fields });
      if (argsJson !== undefined) text = `${text.slice(0, -1)},"args":${argsJson}}`;
      this.socket.send(text);
    });
    return { id, reply };
  }

  /** The same of what is answered at once: a robot that stays silent is taken as gone, though nobody hung up. */
  async requestSoon(op, fields = {}) {
    const { socket } = this;
    let isAnswered = false;
    this.setTimer(() => {
      if (!isAnswered && this.socket === socket) this.xDrop(SILENT);
    }, LONGEST_SILENCE);
    try {
      return await this.request(op, fields);
    } finally {
      isAnswered = true;
    }
  }

  /** Says something that has no reply. */
  tell(op, fields) {
    if (this.isOpen()) this.socket.send(JSON.stringify({ op, ...fields }));
  }

  isOpen() {
    return this.socket?.readyState === 1;
  }

  /** Tries again to come in, with a token. */
  useToken(token) {
    this.token = token;
    if (this.isOpen()) this.xHello();
  }

  xOpen() {
    this.lastId = 0;
    this.asked = new Map();
    this.reason = "";
    const socket = this.options.open();
    this.socket = socket;
    socket.onopen = () => this.socket === socket && this.xHello();
    socket.onmessage = ({ data }) => this.socket === socket && this.xReceive(JSON.parse(data));
    socket.onclose = () => this.socket === socket && this.xLost();
    this.setTimer(() => this.socket === socket && socket.readyState === OPENING && this.xDrop(SILENT), LONGEST_SILENCE);
  }

  async xHello() {
    try {
      const token = this.token ? { token: this.token } : {};
      const robot = await this.requestSoon("hello", { name: this.options.name, ...token });
      this.pause = FIRST_PAUSE;
      this.xBecome("live", robot);
    } catch (error) {
      if (error.kind === "token") this.xBecome("token", error.message);
      else if (error.kind !== "lost") {
        this.reason = error.message;
        this.socket.close();
      }
    }
  }

  xReceive(message) {
    if (message.event === "goodbye") this.reason = message.text;
    if (message.event) return this.options.onEvent(message);
    const waiting = this.asked.get(message.id);
    if (!waiting) return;
    if (message.future) return waiting.onFuture?.();
    this.asked.delete(message.id);
    if (message.error) waiting.reject(new RobotError(message.error));
    else waiting.resolve(message);
  }

  xDrop(reason) {
    const { socket } = this;
    this.reason = reason;
    this.socket = undefined; // its close may take its time, and is not waited for
    socket.close();
    this.xLost();
  }

  xLost() {
    const asked = [...this.asked.values()];
    this.asked.clear();
    this.xBecome("lost", this.reason);
    for (const one of asked) one.reject(new RobotError({ kind: "lost", text: "The robot is gone." }));
    this.setTimer(() => this.xOpen(), this.pause);
    this.pause = Math.min(this.pause * 2, LONGEST_PAUSE);
  }

  xBecome(state, detail) {
    this.state = state;
    this.options.onState(state, detail);
  }
}
