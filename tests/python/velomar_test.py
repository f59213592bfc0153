"""The Python package on the library at VELOMAR_LIBRARY, without a panel."""

import os
import threading
import unittest

import velomar

LIBRARY = os.environ["VELOMAR_LIBRARY"]


class LinkTest(unittest.TestCase):
    def setUp(self) -> None:
        self.link = velomar.Link(library=LIBRARY)
        self.addCleanup(self.link.close)

    def refused(self, reason: str, call, *arguments) -> None:  # type: ignore[no-untyped-def]
        with self.assertRaisesRegex(velomar.Error, reason):
            call(*arguments)

    def test_without_a_panel_nothing_comes_and_nothing_goes(self) -> None:
        self.assertEqual(self.link.poll(), [])
        self.assertFalse(self.link.is_up)
        self.assertFalse(self.link.is_anybody_there)
        self.assertIs(self.link.title("C", "é\n\0"), False)
        self.assertIs(self.link.image("C", 7, b"\x89PNG\0"), False)
        self.assertIs(self.link.frame("C", b"\x89PNG"), False)
        self.assertIs(self.link.layout("C", "two", {"items": []}), False)
        self.assertIs(self.link.layout("C"), False)

    def test_mistakes_raise_and_say_why(self) -> None:
        self.refused('"Message"', self.link.send, {"Context": "C"})
        self.refused("parse error", self.link.title, "C", "\ud800")
        self.refused("UTF-8", self.link.frame, "\ud800", b"x")
        self.refused("zero byte", self.link.layout, "C\0", "two", "{}")
        self.refused("32 bits", self.link.image, "C", -1, b"x")
        self.refused("can't load", velomar.version, "/no/such/library")
        self.assertRegex(velomar.version(LIBRARY), r"^\d+\.\d+\.\d+$")

    def test_a_closed_link_says_so(self) -> None:
        with self.link as link:
            link.poll()
        self.refused("the link is closed", self.link.poll)
        self.refused("the link is closed", self.link.title, "C", "t")
        self.refused("the link is closed", lambda: self.link.is_up)
        self.link.close()

    def test_threads_may_take_turns(self) -> None:
        polled: list[list[velomar.Message]] = []
        for _ in range(5):
            thread = threading.Thread(target=lambda: polled.append(self.link.poll()))
            thread.start()
            thread.join()
        self.assertEqual(polled, [[]] * 5)


if __name__ == "__main__":
    unittest.main()
