"""The simulator's side of Velomar: a flight simulator's panel on Stream Deck devices.

    import velomar

    with velomar.Link() as link:
        while flying:                      # at least twice a second
            for message in link.poll():    # dictionaries, such as
                ...                        # {"Message": "Key Down", "Context": "C1"}
            link.title("C1", "GEAR\\ndown")

Nothing here is compiled: the package calls libvelomar through ctypes, and looks for it beside this
folder, where it was installed, and then where the system looks for libraries.

Any thread may use a link, one at a time: a call during another thread's call raises Error and does
nothing. Only one process at a time may be this end of the link.
"""

from __future__ import annotations

import json
from types import TracebackType
from typing import Any, Mapping, Optional, Type, Union

from ._library import Error, Library, version

__all__ = ["Error", "Link", "Message", "version"]

Message = dict[str, Any]


class Link:
    """The link to the panel, which may be started before or after.

    A method that sends returns True when the message is on its way or its content is on show
    already, and False when nothing was sent, because the link is down or the store has no room. A mistake of the caller raises Error.
    """

    def __init__(self, *, late_input: bool = False, library: Optional[str] = None) -> None:
        """Opens the link to the panel; raises Error if that fails.

        Presses, turns and taps that were made before the panel knew this side are dropped, because
        they may be minutes old, unless late_input is true. library is the path of libvelomar.
        """
        self._library = Library(library)
        self._link: Optional[int] = self._library.open(late_input)

    def poll(self) -> list[Message]:
        """Returns every message that waits, in order, groups taken apart; also keeps the link up."""
        messages: list[Message] = []
        while (text := self._library.poll(self._link)) is not None:
            messages.append(json.loads(text))
        return messages

    @property
    def is_up(self) -> bool:
        """Whether the panel has been welcomed, and heard of within 10 seconds."""
        return self._library.flag("is_up", self._link)

    @property
    def is_anybody_there(self) -> bool:
        """Whether the panel has answered, and has written within the last seconds."""
        return self._library.flag("is_anybody_there", self._link)

    def send(self, message: Mapping[str, Any]) -> bool:
        """Sends any message."""
        return self._library.call("send", self._link, json.dumps(message))

    def title(self, context: str, text: str) -> bool:
        """Sets the text of a key or dial. Lines are parted by a line feed."""
        return self.send({"Message": "Set Title", "Context": context, "Title": text})

    def image(self, context: str, number: int, png: bytes) -> bool:
        """Shows an image on a key or dial. The number, below 4000000000, belongs to these bytes.

        They are sent once; other bytes with a known number never are.
        """
        if not 0 <= number < 2**32:
            raise Error("an image's number has 32 bits")
        return self._library.call("image", self._link, context, number, png, len(png))

    def frame(self, context: str, png: bytes) -> bool:
        """Shows the next frame of a moving picture on a key or dial.

        Bytes that are on show aren't sent, and a few numbers are used in turn, so that the panel
        doesn't grow.
        """
        return self._library.call("frame", self._link, context, png, len(png))

    def layout(self, context: str, name: str = "", layout: Union[str, Mapping[str, Any]] = "") -> bool:
        """Selects a layout for a dial: the text of a layout file, or the same as a dictionary.

        The name belongs to this layout, which is sent once. The empty name is the default layout.
        """
        text = layout if isinstance(layout, str) else json.dumps(layout)
        return self._library.call("layout", self._link, context, name, text)

    def close(self) -> None:
        """Closes the link. The panel goes blank within 10 seconds. A second call does nothing."""
        self._library.close(self._link)
        self._link = None

    def __enter__(self) -> Link:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_link", None) is not None:
            self.close()
