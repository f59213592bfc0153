"""A panel in Python: a gear key, a heading dial with a layout of its own, and a clock.

    python3 panel.py
"""

import struct
import threading
import time
import zlib
from pathlib import Path

import velomar

LAYOUT = (Path(__file__).parent / "heading.json").read_text()
# Seven bars of a digit; a bit each, from the top clockwise, the one in the middle last.
BARS = (0x3F, 0x06, 0x5B, 0x4F, 0x66, 0x6D, 0x7D, 0x07, 0x7F, 0x6F)
PLACES = ((0, 0, 12, 3), (9, 0, 3, 13), (9, 11, 3, 13), (0, 21, 12, 3), (0, 11, 3, 13), (0, 0, 3, 13), (0, 11, 12, 3))


def clock_face(now: float) -> bytes:
    """The time of day in UTC as a PNG file of 72 x 72 pixels."""
    rows = [bytearray(73) for _ in range(72)]  # each begins with a byte for its filter: none
    text = time.strftime("%H%M%S", time.gmtime(now))
    for digit, x, y in zip(text, (6, 21, 39, 54, 23, 38), (8, 8, 8, 8, 40, 40)):
        for bit, (dx, dy, width, height) in enumerate(PLACES):
            if BARS[int(digit)] >> bit & 1:
                for row in rows[y + dy : y + dy + height]:
                    row[1 + x + dx : 1 + x + dx + width] = b"\xd0" * width

    def chunk(kind: bytes, data: bytes = b"") -> bytes:
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    header = struct.pack(">IIBBBBB", 72, 72, 8, 0, 0, 0, 0)  # 8 bits of grey
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(b"".join(rows))) + chunk(b"IEND")


class Panel:
    def __init__(self, link: velomar.Link) -> None:
        self.link = link
        self.names: dict[str, str] = {}  # by context
        self.gear_is_down = True
        self.heading = 270

    def handle(self, message: velomar.Message) -> None:
        name, context = message["Message"], message.get("Context", "")
        if name == "API Version":
            self.names.clear()  # the list of all contexts follows
        elif name == "Force Refresh":
            self.show_all()
        elif name in ("Add Context", "Update Key Name"):
            self.names[context] = message["KeyName"]
            self.show(context)
        elif name == "Hide Context":
            self.names.pop(context, None)
        elif name == "Key Down" and self.names.get(context) == "GEAR":
            self.gear_is_down = not self.gear_is_down
            self.show_all()
        elif name == "Encoder Rotate" and self.names.get(context) == "HDG":
            self.heading = (self.heading + message["Ticks"]) % 360
            self.show_all()

    def show_all(self) -> None:
        for context in self.names:
            self.show(context)

    def show(self, context: str) -> None:
        name = self.names[context]
        if name == "GEAR":
            self.link.title(context, "GEAR\n" + ("down" if self.gear_is_down else "up"))
        elif name == "HDG":
            self.link.layout(context, "heading", LAYOUT)
            self.link.title(context, f"HDG\n{self.heading:03}\n{self.heading * 100 // 360}")
        elif name != "CLOCK":  # which shows itself
            self.link.title(context, f"what is\n{name}")

    def tick(self) -> None:
        for context, name in self.names.items():
            if name == "CLOCK":
                self.link.frame(context, clock_face(time.time()))


def run(stop: threading.Event) -> None:
    """Until stop is set. A simulator's Python may call it on a thread of its own."""
    with velomar.Link() as link:
        panel = Panel(link)
        while not stop.wait(0.01):
            for message in link.poll():
                panel.handle(message)
            panel.tick()


if __name__ == "__main__":
    run(threading.Event())
