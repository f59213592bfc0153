// The WebSocket to the program that served this page. It is opened again whenever it is lost.
const kFirstDelay = 500; // ms
const kLongestDelay = 5000;
const kBase = new URL(".", location.href.replace(/^http/, "ws"));
kBase.hash = "";

export class Connection {
  #socket = null;
  #delay = kFirstDelay;
  #handlers;

  // `news` gets each news object; `opened` and `lost` are told about the connection.
  constructor(handlers) {
    this.#handlers = handlers;
    this.#open();
  }

  // Sends one command. Without a connection it is dropped, because a late press would do harm.
  send(command) {
    if (this.#socket.readyState === WebSocket.OPEN) this.#socket.send(command);
  }

  #open() {
    this.#socket = new WebSocket(new URL("page", kBase));
    this.#socket.onopen = () => {
      this.#delay = kFirstDelay;
      this.#handlers.opened();
    };
    this.#socket.onmessage = (event) => this.#handlers.news(JSON.parse(event.data));
    this.#socket.onclose = () => {
      this.#handlers.lost();
      setTimeout(() => this.#open(), this.#delay);
      this.#delay = Math.min(this.#delay * 2, kLongestDelay);
    };
  }
}
