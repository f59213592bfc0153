// The tables of the pages. Each compares one kind of number.
import { megabytes, percent, rate, time, times } from "./format.mjs";

function table(head, rows) {
  const line = (cells) => `| ${cells.join(" | ")} |`;
  return [line(head), `|${"---|".repeat(head.length)}`, ...rows.map(line)].join("\n");
}

const reached = (good, best) => (best ? "aim" : good ? "floor" : "**below**");
const atLeast = (value, floor, aim) => reached(value >= floor, value >= aim);
const atMost = (value, floor, aim) => reached(value <= floor, value <= aim);

// An operation and those that it is compared with: [name, its work, its contender, floor, aim].
const message = (label, size, boost, lmdb, copy) => ({
  label,
  work: `message<SimdbMap>/${size}`,
  show: time,
  peers: [
    ["Boost map", `message<BoostMap>/${size}`, "velomar", ...boost],
    ["LMDB", `message<LmdbMap>/${size}`, "velomar", ...lmdb],
    ["memcpy", `message<CopyOnly>/${size}`, "velomar", ...copy],
  ],
});
const walk = (label, work, keys, floor) => ({
  label,
  work: `${work}/${keys}/4096`,
  show: time,
  peers: [["bare walk", `bareWalk/${keys}/4096`, "velomar", floor, 0.8]],
});
const base64 = (label, size) => ({
  label,
  work: `decodeBase64/${size}`,
  show: time,
  peers: [["OpenSSL", `decodeBase64OpenSsl/${size}`, "velomar", 1.25, 4]],
});
const together = (label, work, ...peers) => ({
  label,
  work,
  show: rate,
  peers: peers.map(([who, floor, aim]) => [who, work, who, floor, aim]),
});

const kComparisons = [
  message("put, get, del of one message, 200 bytes", 200, [4, 6], [9, 12], [0.35, 0.5]),
  message("the same, 2 KB", 2048, [3, 4.5], [6, 10], [0.45, 0.65]),
  message("the same, 20 KB", 20480, [1.2, 1.6], [2, 3], [0.65, 0.85]),
  message("the same, 200 KB", 204800, [0.85, 1], [1.1, 1.4], [0.7, 0.85]),
  together(
    "messages of 200 bytes between two processes, backlog of 64",
    "exchange",
    ["message_queue", 1.2, 2],
    ["seqpacket", 2.5, 4],
    ["LMDB", 6, 10],
  ),
  together(
    "2 processes replacing and reading 64 keys",
    "replace and read",
    ["Boost map", 1.4, 2.5],
    ["LMDB", 7, 14],
  ),
  {
    label: "get of a present key among 10",
    work: "getPresent<SimdbMap>",
    show: time,
    peers: [
      ["Boost map", "getPresent<BoostMap>", "velomar", 1, 1.5],
      ["LMDB", "getPresent<LmdbMap>", "velomar", 1.6, 2.5],
    ],
  },
  walk("get of an absent key, 10 present", "getAbsent", 10, 0.35),
  walk("the same, 1,000 present", "getAbsent", 1000, 0.5),
  walk("the same, 4,000 present", "getAbsent", 4000, 0.6),
  walk("listing 10 keys", "listKeys", 10, 0.5),
  base64("Base64 decode, 16 KB", 16384),
  base64("Base64 decode, 1 MB", 1048576),
];

// How many times as fast as each peer: times divide one way, rates the other.
function comparison(results, { label, work, show, peers }) {
  return peers.map(([name, theirWork, who, floor, aim], i) => {
    const [ours, theirs] = [
      [work, "velomar"],
      [theirWork, who],
    ];
    const ratio = show === time ? results.ratio(theirs, ours) : results.ratio(ours, theirs);
    const first = i === 0 ? [label, show(results.figure(work))] : ["", ""];
    return [...first, name, times(ratio), floor, aim, atLeast(ratio, floor, aim)];
  });
}

function peers(results) {
  return table(
    ["Work", "Velomar", "beside", "as fast", "floor", "aim", "reached"],
    kComparisons.flatMap((each) => comparison(results, each)),
  );
}

function bare(results) {
  const rows = [
    ["start to registration frame", "start", 2],
    ["key appears to its three blank-state frames, one CPU", "answer", 1.5],
  ].map(([label, work, floor]) => {
    const ratio = results.ratio([work, "velomar"], [work, "bare client"]);
    return [
      label,
      time(results.figure(work)),
      times(ratio),
      times(floor),
      times(1.2),
      atMost(ratio, floor, 1.2),
    ];
  });
  return table(
    ["Work", "Velomar", "bare client's time", "floor: at most", "aim: at most", "reached"],
    rows,
  );
}

const limits = (results, show, mark, [label, work, floor, aim]) => {
  const value = results.figure(work);
  return [label, show(value), show(floor), show(aim), mark(value, floor, aim)];
};

function latency(results) {
  const rows = [
    ['press to its value in "ToXPlane", median', "press p50", 6e-3, 5.2e-3],
    ["the same, 99 of 100", "press p99", 12e-3, 10.5e-3],
    ['message in "FromXPlane" to its frame, median', "frame p50", 6e-3, 5.2e-3],
    ["the same, 99 of 100", "frame p99", 12e-3, 10.5e-3],
    ["a title of 256 KB of escaped line breaks to its frame", "long title", 100e-3, 15e-3],
  ].map((row) => limits(results, time, atMost, row));
  return table(["On an idle link", "takes", "floor: at most", "aim: at most", "reached"], rows);
}

// A turn answered by eight commands, while the host keeps sending, beside a client that answers at
// once. Shows how long the second command waits for the acknowledgement of the first.
function turn(results) {
  const clients = ["bare client", "bare client, no delay"];
  const rows = [
    ["median", "turn p50", 10e-3, 8e-3],
    ["99 of 100", "turn p99", 15e-3, 12e-3],
  ].map(([label, work, floor, aim]) => {
    const [head, value, ...rest] = limits(results, time, atMost, [label, work, floor, aim]);
    return [head, value, ...clients.map((who) => time(results.figure(work, who))), ...rest];
  });
  return table(
    [
      "A turn's eight answers",
      "take",
      "bare client",
      "with `TCP_NODELAY`",
      "floor: at most",
      "aim: at most",
      "reached",
    ],
    rows,
  );
}

// The time to read a text as JSON, by its content and its length.
function texts(results) {
  const lengths = [16384, 131072, 1048576, 8388608];
  const rows = results
    .kinds("read/", `/${lengths[0]}`)
    .map((kind) => [
      kind,
      ...lengths.map((n) => time(results.figure(`read/${kind}/${n}`))),
      time(results.figure(`readByLibrary/${kind}/${lengths.at(-1)}`)),
    ]);
  return table(
    ["What is in it", "16 KB", "128 KB", "1 MB", "8 MB", "8 MB, the library alone"],
    rows,
  );
}

function throughput(results) {
  const rows = [
    ["titles of 50 bytes, 10 waiting", "titles/10", 2e4, 1e5],
    ["titles of 50 bytes, 1,000 waiting", "titles/1000", 2e4, 1e5],
    ["images of 20 KB, file and frame included", "images", 2000, 1e4],
  ].map((row) => limits(results, rate, atLeast, row));
  return table(["In a second", "taken", "floor", "aim", "reached"], rows);
}

function idle(results) {
  const sleep = percent(results.figure("idle cpu", "bare sleep"));
  const rows = [
    limits(results, percent, atMost, [
      `share of a core; a bare sleep of 10 ms takes ${sleep}`,
      "idle cpu",
      0.003,
      0.001,
    ]),
    limits(results, megabytes, atMost, ["resident memory", "idle memory", 8e6, 5e6]),
  ];
  return table(["Idle, link up", "takes", "floor: at most", "aim: at most", "reached"], rows);
}

function threads(results) {
  const rows = [1, 2, 4].map((count) => [
    count,
    ...[1, 2, 4].map((processes) => rate(results.figure(`churn/${processes}/${count}`))),
  ]);
  return table(["Threads in each process", "1 process", "2 processes", "4 processes"], rows);
}

function replay(results) {
  const rows = [1, 10, 100, 500].map((n) => [n, time(results.figure(`replay/${n}`))]);
  return table(["Contexts on show", "welcome to the whole replay"], rows);
}

// A message whose value is read into a string of the caller's, and one whose value is returned.
function reads(results) {
  const rows = [200, 20480, 204800].map((size) => [
    size,
    ...["SimdbMap", "SimdbByValue"].map((map) => time(results.figure(`message<${map}>/${size}`))),
  ]);
  return table(["Bytes", "into a string", "returned"], rows);
}

const kBridgeAims = [
  [
    "a value's change on the simulator's socket to its face's frame, median",
    "bridge change p50",
    time,
    8e-3,
  ],
  ["the same, 99 of 100", "bridge change p99", time, 20e-3],
  [
    "a press to the request on the simulator's socket, deck in use, median",
    "bridge press p50",
    time,
    8e-3,
  ],
  ["the same, 99 of 100", "bridge press p99", time, 15e-3],
  ["the first press after a rest, median", "bridge first press p50", time, 12e-3],
  ["the same, 99 of 100", "bridge first press p99", time, 22e-3],
  ["a switch's face drawn and written as PNG, 144 px", "drawFace/switch", time, 0.8e-3],
  ["a number's", "drawFace/number", time, 0.8e-3],
  ["a compass's", "drawFace/compass", time, 0.8e-3],
  [
    "share of a core, 32 keys of which 8 change ten times a second",
    "bridge keys cpu",
    percent,
    0.08,
  ],
  ["share of a core, idle", "bridge idle cpu", percent, 0.005],
  ["resident memory, idle", "bridge idle memory", megabytes, 40e6],
  [
    "growth of memory in an hour of a clock and a gauge, in fast motion",
    "bridge hour growth",
    megabytes,
    1e6,
  ],
  ["more image and layout files after that hour", "bridge hour files", String, 0],
];

// The bridge between the program and a stand-in for X-Plane. Each row has an aim, and no floor.
function bridge(results) {
  const rows = kBridgeAims.map(([label, work, show, aim]) => {
    const value = results.figure(work);
    return [label, show(value), show(aim), value <= aim ? "yes" : "**no**"];
  });
  return table(["The bridge", "takes", "aim: at most", "reached"], rows);
}

// The figures that a user of the panel asks for first.
function summary(results) {
  const both = (work) =>
    `${time(results.figure(`${work} p50`))} (median), 99 of 100 within ${time(results.figure(`${work} p99`))}`;
  return table(
    ["Measure", "Velomar"],
    [
      ["A press reaches the simulator's plug-in in", both("press")],
      ["What the simulator draws reaches the Stream Deck application in", both("frame")],
      ["Images of 20 KB that it can bring to keys and dials", rate(results.figure("images"))],
      ["From its start until it has registered", time(results.figure("start"))],
      [
        "When nothing happens it takes",
        `${percent(results.figure("idle cpu"))} of a core and ${megabytes(results.figure("idle memory"))} of memory`,
      ],
    ],
  );
}

// For each page its tables by name.
export const kPages = {
  "README.md": { summary },
  "docs/performance.md": {
    peers,
    bare,
    latency,
    turn,
    throughput,
    idle,
    bridge,
    reads,
    texts,
    threads,
    replay,
  },
};
