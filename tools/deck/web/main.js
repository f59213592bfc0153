// The page. It passes the program's news on to the devices, the inspector and the log, and sends
// the user's actions back as commands.
import { showAlone, showWanted, watchAlone } from "./alone.js";
import { watchArranging } from "./arrange.js";
import { Connection } from "./connection.js";
import { DeckView } from "./deck-view.js";
import { part, setText } from "./dom.js";
import { Inspector, trainersNames } from "./inspector.js";
import { Lights } from "./lights.js";
import { LogView } from "./log-view.js";
import { inPageOrder, isDial, kindOf, parseSlot, slotOf, slotsOf } from "./places.js";

const kToastTime = 5000; // ms

let devices = [];
let contexts = [];
let selection = null; // {device, page, slot, context}, context null for an empty place
const decks = new Map();

const findDevice = (id) => devices.find((device) => device.id === id);
const findContext = (id) => contexts.find((context) => context.id === id);
const send = (command) => connection.send(command);

function contextAt(device, page, slot) {
  return contexts.find(
    (context) => context.device === device && context.page === page && slotOf(context) === slot,
  );
}

// The program's news.

const kNews = {
  state: ({ state }) => showState(state),
  face: ({ context, face }) => showFace(context, face),
  sign: ({ context, sign }) => showSign(context, sign),
  link: (news) => lights.showLink(news),
  log: ({ lines }) => log.add(lines),
  refused: ({ text }) => showToast(text),
};

function showState(state) {
  ({ devices, contexts } = state);
  lights.showPlugin(state.plugin);
  lights.showLink(state);
  part("no-device").hidden = devices.length > 0;
  part("dial-press").value = state.dialPress;
  const blank = state.stateImage ? `url("bundle/${state.stateImage}")` : "none";
  document.documentElement.style.setProperty("--blank", blank);
  showDecks();
  showWanted();
  followSelection();
  showSelection();
}

function showDecks() {
  for (const [id, deck] of decks) {
    if (!findDevice(id)) {
      deck.element.remove(); // the program was started again and has other devices
      decks.delete(id);
    }
  }
  inPageOrder(devices).forEach((device, index) => {
    if (!decks.has(device.id)) decks.set(device.id, new DeckView(device, panel));
    const { element } = decks.get(device.id);
    const before = part("decks").querySelectorAll("[data-device]")[index] ?? null;
    if (before !== element) part("decks").insertBefore(element, before);
    decks.get(device.id).update(device, shownOn(device));
  });
}

const shownOn = (device) =>
  contexts.filter((context) => context.device === device.id && context.shown);

function viewOf(id) {
  return decks.get(findContext(id)?.device)?.view(id);
}

// A title on a dial comes as ten faces in a row. Faces are drawn with the next frame of the screen,
// only the last of each.
const dueFaces = new Set();

function showFace(id, face) {
  const context = findContext(id);
  if (!context) return;
  context.face = face;
  if (dueFaces.size === 0) requestAnimationFrame(showDueFaces);
  dueFaces.add(id);
}

function showDueFaces() {
  for (const id of dueFaces) viewOf(id)?.show(findContext(id).face);
  if (dueFaces.has(selection?.context)) inspector.showNotes(viewOf(selection.context)?.notes ?? []);
  dueFaces.clear();
}

function showSign(id, sign) {
  viewOf(id)?.sign(sign);
  setText(part("spoken"), `${sign === "ok" ? "OK" : "Alert"}: ${findContext(id)?.keyName ?? id}`);
}

let toastTimer = null;

function showToast(text) {
  clearTimeout(toastTimer);
  setText(part("toast"), text);
  toastTimer = setTimeout(() => setText(part("toast"), ""), kToastTime);
}

// The selected place.

// Updates the selection: its context may have moved or gone, or one has come to its empty place.
function followSelection() {
  if (!selection) return;
  const context =
    findContext(selection.context) ?? contextAt(selection.device, selection.page, selection.slot);
  if (context) {
    selection = {
      device: context.device,
      page: context.page,
      slot: slotOf(context),
      context: context.id,
    };
  } else {
    selection.context = null;
    if (findDevice(selection.device)?.page !== selection.page) selection = null;
  }
}

function showSelection() {
  for (const deck of decks.values()) deck.markSelected(selection);
  const context = findContext(selection?.context) ?? null;
  inspector.show(selection && { ...selection }, findDevice(selection?.device), context);
  inspector.showNotes((context && viewOf(context.id)?.notes) || []);
}

function selectPlace(device, slot) {
  selection = { device, page: findDevice(device).page, slot, context: null };
  followSelection();
  showSelection();
}

function select(id) {
  const context = findContext(id);
  if (selection?.context !== id && context?.shown) selectPlace(context.device, slotOf(context));
}

// The user's actions on the page.

function freeId(start, taken) {
  let number = 1;
  while (taken.some(({ id }) => id === `${start}${number}`)) ++number;
  return `${start}${number}`;
}

function place(device, slot, name, taken = contexts) {
  const { column, row } = parseSlot(slot);
  const id = freeId(kindOf(slot).toUpperCase(), taken);
  const command = kindOf(slot) === "dial" ? "dial" : "appear";
  const where = command === "dial" ? column : `${column} ${row}`;
  send(`${command} ${id} ${device} ${where} ${name}`.trim());
  return id;
}

// Gives each name that the device doesn't have yet a free place on the page that it shows.
function fill(id) {
  const device = findDevice(id);
  const names = new Set(contexts.filter((c) => c.device === id).map((c) => c.keyName));
  const taken = [...contexts];
  for (const kind of ["key", "dial"]) {
    const free = slotsOf(device).filter(
      (slot) => kindOf(slot) === kind && !contextAt(id, device.page, slot),
    );
    const wanted = trainersNames[kind].filter((name) => !names.has(name));
    wanted.slice(0, free.length).forEach((name, index) => {
      taken.push({ id: place(id, free[index], name, taken) });
    });
  }
}

function move(id, page, column, row) {
  send(`move ${id} ${page} ${column} ${row}`);
}

// Moves a context to the same place on another page, or to the first free one there.
function moveToPage(id, page) {
  const context = findContext(id);
  const slots = [slotOf(context), ...slotsOf(findDevice(context.device))];
  const free = slots.find(
    (slot) => kindOf(slot) === kindOf(slots[0]) && !contextAt(context.device, page, slot),
  );
  if (!free) return showToast(`There is no room on page ${page + 1}.`);
  const { column, row } = parseSlot(free);
  move(id, page, column, row);
}

const panel = { send, select, selectPlace, fill, showAlone };

const lights = new Lights();

const log = new LogView();

const inspector = new Inspector({
  name: (context, name) => send(`name ${context.id} ${name}`),
  place,
  move: (context, page, column, row) => move(context.id, page, column, isDial(context) ? 0 : row),
  remove: (context) => send(`vanish ${context.id}`),
});

const connection = new Connection({
  news: (news) => kNews[news.kind]?.(news),
  opened: () => {
    log.clear();
    document.body.removeAttribute("data-lost");
    lights.opened();
  },
  lost: () => {
    document.body.setAttribute("data-lost", "");
    lights.lost();
  },
});

part("plug-form").addEventListener("submit", (event) => {
  event.preventDefault();
  send(`plug ${freeId("DECK", devices)} ${part("kind").value}`);
});

part("dial-press").addEventListener("change", (event) => {
  send(`dialpress ${event.target.value}`);
});

watchArranging(part("decks"), part("arrange"), {
  move: (id, slot) => {
    const { column, row } = parseSlot(slot);
    move(id, findContext(id).page, column, row);
  },
  turnTo: moveToPage,
});

watchAlone();
