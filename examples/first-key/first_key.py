"""A switch on every key: each press turns it, and the key says how it is."""

import time

import velomar


def main() -> None:
    keys: dict[str, bool] = {}  # by context: on or off
    with velomar.Link() as link:
        while True:
            for message in link.poll():
                name = message["Message"]
                context = message.get("Context", "")
                if name == "API Version":
                    keys.clear()  # the list of all keys follows
                elif name == "Add Context":
                    keys[context] = False
                elif name == "Hide Context":
                    keys.pop(context, None)
                elif name == "Key Down" and context in keys:
                    keys[context] = not keys[context]
                for key, on in keys.items():
                    link.title(key, "ON" if on else "OFF")
            time.sleep(0.01)


main()
