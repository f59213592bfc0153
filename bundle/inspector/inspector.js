// The page that the host shows beside a selected key or dial. It stores the key name with the key's
// settings, and tells the program the name at once.
//
// The host doesn't tell a page whether the program runs, and the program sends nothing to a page.
// So the page says only what it knows: whether the host answers, and whether it has stored the
// name.
"use strict";

const kPatience = 3000; // ms; a host that answers does so at once
const kFallback = "en";

const part = (id) => document.getElementById(id);
const field = part("key-name");

// Finds the nearest language that there is: another kind of Chinese rather than English, and "de"
// for "de_AT".
function findLanguage(wanted = kFallback) {
  const known = Object.keys(globalThis.kPageWords);
  const start = wanted.slice(0, 2);
  return (
    known.find((each) => each === wanted) ??
    known.find((each) => each.startsWith(start)) ??
    kFallback
  );
}

function showWords(language) {
  const words = globalThis.kPageWords[language];
  document.documentElement.lang = language.replace("_", "-");
  document.querySelector("label").textContent = words.label;
  part("hint").textContent = words.hint;
  return words;
}

function offerNames(controller) {
  const names = globalThis.namesOfPanels?.(controller === "Encoder" ? "dial" : "key") ?? [];
  const options = names.map((value) => Object.assign(document.createElement("option"), { value }));
  part("names").replaceChildren(...options);
}

function say(text, isBad = false) {
  part("answer").textContent = text;
  part("answer").toggleAttribute("data-bad", isBad);
}

const nameOf = (settings) => (typeof settings?.KeyName === "string" ? settings.KeyName : "");

// The selected key's or dial's settings, as the field shows them and the host stores them.
class Settings {
  #words;
  #action;
  #send;
  #settings = {};
  #isStored = false;
  #timer;

  // `send(event, members)` sends to the host, and returns whether it could.
  constructor(words, action, send) {
    this.#words = words;
    this.#action = action;
    this.#send = send;
  }

  take(settings) {
    this.#settings = settings ?? {};
    field.value = nameOf(this.#settings);
  }

  // Says so if the host is silent for a while.
  expectAnswer() {
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => say(this.#words.silent, true), kPatience);
  }

  ask() {
    this.expectAnswer();
    this.#send("getSettings");
  }

  store() {
    const KeyName = field.value.trim();
    const settings = { ...this.#settings, KeyName };
    if (KeyName === nameOf(this.#settings)) return;
    if (!this.#send("setSettings", { action: this.#action, payload: settings })) return;
    this.#settings = settings;
    this.#isStored = true;
    this.#send("sendToPlugin", { action: this.#action, payload: { KeyName } });
    this.ask();
  }

  // Takes the settings that the host has.
  answer(settings) {
    clearTimeout(this.#timer);
    const name = nameOf(settings);
    const isOurs = this.#isStored && name === nameOf(this.#settings);
    say(isOurs ? this.#words.stored + name : this.#words.ready);
    if (document.activeElement !== field) this.take(settings);
  }

  lose() {
    clearTimeout(this.#timer);
    say(this.#words.silent, true);
  }
}

// A name is stored when it is finished: with Enter, by a choice from the list, or when the user
// leaves the field, the window or the page. Until then it may be half typed.
function storeWhenFinished(store) {
  for (const event of ["change", "blur"]) field.addEventListener(event, store);
  for (const event of ["blur", "pagehide"]) window.addEventListener(event, store);
  document.addEventListener("visibilitychange", () => document.hidden && store());
}

/* exported connectElgatoStreamDeckSocket */

// The host calls this when the page has loaded, with its port and the selected key or dial.
function connectElgatoStreamDeckSocket(port, uuid, registerEvent, info, actionInfo) {
  const { action, payload } = JSON.parse(actionInfo);
  const words = showWords(findLanguage(JSON.parse(info).application?.language));
  const socket = new WebSocket(`ws://127.0.0.1:${port}`);
  const settings = new Settings(words, action, (event, members) => {
    if (socket.readyState !== WebSocket.OPEN) return false;
    socket.send(JSON.stringify({ event, context: uuid, ...members }));
    return true;
  });
  storeWhenFinished(() => settings.store());
  settings.take(payload?.settings);
  offerNames(payload?.controller);
  say(words.waiting);
  settings.expectAnswer();
  socket.addEventListener("open", () => {
    socket.send(JSON.stringify({ event: registerEvent, uuid }));
    settings.ask();
    field.disabled = false;
  });
  socket.addEventListener("close", () => {
    settings.lose();
    field.disabled = true;
  });
  socket.addEventListener("message", ({ data }) => {
    const message = JSON.parse(data);
    if (message.event === "didReceiveSettings") settings.answer(message.payload?.settings);
  });
}
