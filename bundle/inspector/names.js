// The names of the keys and dials in the panels that ship, the trainer's first; a test compares
// them. This is a script and not a data file, because a page that a host opens from its folder may
// not read files.
globalThis.kPanels = [
  {
    panel: "Trainer",
    key: [
      "GEAR",
      "FLAPS_UP",
      "FLAPS_DOWN",
      "LIGHT_NAV",
      "LIGHT_BEACON",
      "LIGHT_STROBE",
      "LIGHT_LANDING",
      "LIGHT_TAXI",
      "CAUTION",
      "FAIL",
      "AP",
      "CLOCK",
      "COM1",
      "NAV1",
    ],
    dial: ["COM1", "NAV1", "HEADING", "ALTITUDE", "SPEED"],
  },
  {
    panel: "Cessna 172",
    key: [
      "BEACON",
      "NAV",
      "STROBE",
      "LANDING",
      "TAXI",
      "BATTERY",
      "ALTERNATOR",
      "AVIONICS",
      "PUMP",
      "PITOT",
      "BRAKE",
      "FLAPS_UP",
      "FLAPS_DOWN",
      "STARTER",
      "SPEED",
      "CLOCK",
      "PAUSE",
    ],
    dial: ["HEADING", "ALTITUDE", "COM1", "FLAPS"],
  },
  {
    panel: "Any aircraft",
    key: [
      "GEAR",
      "FLAPS_UP",
      "FLAPS_DOWN",
      "BEACON",
      "NAV",
      "STROBE",
      "LANDING",
      "TAXI",
      "AP",
      "AP_HEADING",
      "SPEED",
      "PAUSE",
    ],
    dial: ["HEADING", "ALTITUDE", "COM1"],
  },
];

// All names of a kind, "key" or "dial", each once and sorted.
globalThis.namesOfPanels = (kind) =>
  [...new Set(globalThis.kPanels.flatMap((panel) => panel[kind]))].sort();
