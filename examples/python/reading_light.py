# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""A small client: switches the cover screen on at a wake gesture, and shows how bright it is on the sub display."""
from __future__ import annotations

import bivista


class ReadingLight:
    def __init__(self, cover: bivista.Client, level: int = 40) -> None:
        self._cover = cover
        self._level = level

    def serve(self, events: bivista.Subscription[bivista.LpwgEvent]) -> None:
        """Until the service dies, or another client takes the events."""
        for event in events:
            if event.name == "WAKEUP":
                self.switch_on()

    def switch_on(self) -> None:
        self._cover.set_power_status(True, False)
        self._cover.set_brightness(self._level)
        self._cover.draw_sub_display(self.picture())

    def picture(self) -> list[int]:
        """A bar as long as the light is bright."""
        panel = self._cover.get_sub_display_info()
        lit = panel.x * self._level // 255
        row = [0xF0] * lit + [0] * (panel.x - lit)
        return row * panel.y


def main() -> None:
    with bivista.Client() as cover, cover.lpwg_events() as events:
        ReadingLight(cover).serve(events)


if __name__ == "__main__":
    main()
