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

/* exported connectElgatoStreamDeckSocket */

// The host calls this when the page has loaded, with its port and the selected key or dial.
function connectElgatoStreamDeckSocket(port, uuid, registerEvent, info, actionInfo) {
  const { action, payload } = JSON.parse(actionInfo);
  const words = showWords(findLanguage(JSON.parse(info).application?.language));
  const socket = new WebSocket(`ws://127.0.0.1:${port}`);
  let settings = {};
  let isStored = false;
  let timer;

  const send = (event, more) => socket.send(JSON.stringify({ event, context: uuid, ...more }));
  const nameOf = (given) => (typeof given?.KeyName === "string" ? given.KeyName : "");

  const take = (given) => {
    settings = given ?? {};
    field.value = nameOf(settings);
  };

  const ask = () => {
    clearTimeout(timer);
    timer = setTimeout(() => say(words.silent, true), kPatience);
    send("getSettings");
  };

  const store = () => {
    const KeyName = field.value.trim();
    if (KeyName === nameOf(settings) || socket.readyState !== WebSocket.OPEN) return;
    settings = { ...settings, KeyName };
    isStored = true;
    send("setSettings", { action, payload: settings });
    send("sendToPlugin", { action, payload: { KeyName } });
    ask();
  };

  // A name is stored when it is finished: with Enter, by a choice from the list, or when the user
  // leaves the field, the window or the page. Until then it may be half typed.
  for (const event of ["change", "blur"]) field.addEventListener(event, store);
  for (const event of ["blur", "pagehide"]) window.addEventListener(event, store);
  document.addEventListener("visibilitychange", () => document.hidden && store());

  take(payload?.settings);
  offerNames(payload?.controller);
  say(words.waiting);
  timer = setTimeout(() => say(words.silent, true), kPatience);
  socket.addEventListener("open", () => {
    socket.send(JSON.stringify({ event: registerEvent, uuid }));
    ask();
    field.disabled = false;
  });
  socket.addEventListener("close", () => {
    clearTimeout(timer);
    say(words.silent, true);
    field.disabled = true;
  });
  socket.addEventListener("message", ({ data }) => {
    const message = JSON.parse(data);
    if (message.event !== "didReceiveSettings") return;
    clearTimeout(timer);
    const name = nameOf(message.payload?.settings);
    say(isStored && name === nameOf(settings) ? words.stored + name : words.ready);
    if (document.activeElement !== field) take(message.payload?.settings);
  });
}
