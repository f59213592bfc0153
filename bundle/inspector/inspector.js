// The page that the host shows beside a selected key or dial. It stores the key name with the key's
// settings, and tells the program of it at once.
"use strict";

const kTypingPause = 500; // ms; a name that isn't typed further for so long counts

const field = document.getElementById("key-name");

// Called by the host when the page has loaded, with where to connect and what is selected.
function connectElgatoStreamDeckSocket(port, uuid, registerEvent, info, actionInfo) {
  const { action, payload } = JSON.parse(actionInfo);
  const socket = new WebSocket(`ws://127.0.0.1:${port}`);
  let settings = {};
  let timer;

  const send = (event, more) => socket.send(JSON.stringify({ event, context: uuid, ...more }));

  const take = (given) => {
    settings = given ?? {};
    field.value = typeof settings.KeyName === "string" ? settings.KeyName : "";
  };

  const store = () => {
    clearTimeout(timer);
    const KeyName = field.value.trim();
    if (KeyName === (settings.KeyName ?? "") || socket.readyState !== WebSocket.OPEN) return;
    settings = { ...settings, KeyName };
    send("setSettings", { action, payload: settings });
    send("sendToPlugin", { action, payload: { KeyName } });
  };

  field.addEventListener("change", store);
  field.addEventListener("input", () => {
    clearTimeout(timer);
    timer = setTimeout(store, kTypingPause);
  });

  take(payload?.settings);
  socket.addEventListener("open", () => {
    socket.send(JSON.stringify({ event: registerEvent, uuid }));
    field.disabled = false;
  });
  socket.addEventListener("close", () => {
    field.disabled = true;
  });
  socket.addEventListener("message", ({ data }) => {
    const message = JSON.parse(data);
    const isTyping = document.activeElement === field;
    if (message.event === "didReceiveSettings" && !isTyping) take(message.payload?.settings);
  });
}
