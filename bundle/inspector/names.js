// The names of the keys and dials in the panels that ship, sorted; a test compares them. A script and
// not a data file: a page that a host opens from its folder may not read files.
globalThis.kPanelNames = {
  key: [
    "ALTERNATOR", "AP", "AP_HEADING", "AVIONICS", "BATTERY", "BEACON", "BRAKE", "CAUTION",
    "CLOCK", "COM1", "FAIL", "FLAPS_DOWN", "FLAPS_UP", "GEAR", "LANDING", "LIGHT_BEACON",
    "LIGHT_LANDING", "LIGHT_NAV", "LIGHT_STROBE", "LIGHT_TAXI", "NAV", "NAV1", "PAUSE", "PITOT",
    "PUMP", "SPEED", "STARTER", "STROBE", "TAXI",
  ],
  dial: ["ALTITUDE", "COM1", "FLAPS", "HEADING", "NAV1", "SPEED"],
};
