# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The interface's methods, for asyncio. Made by python/generate.py."""
from __future__ import annotations

from collections.abc import Sequence
from typing import Any

from . import _protocol, values
from ._protocol import CLIENT, Timeout


class AsyncCalls:
    async def _call(self, method: str, params: Sequence[object], timeout: Timeout) -> Any:
        raise NotImplementedError

    async def get_firmware_version(self, *, timeout: Timeout = CLIENT) -> str:
        """Asks the cover for its firmware version.

        Status OK when the cover answered.
        Returns the version text, hardware line first, as in
            "LINE-KEY_rest"; empty on FAIL.
        """
        return str(await self._call("getFirmwareVersion", [], timeout))

    async def check_firmware_version(self, *, timeout: Timeout = CLIENT) -> None:
        """Compares the cover's firmware with the images on the phone and starts an
        upgrade when a newer one of the same hardware line is there.

        Status OK when the cover is current, and when the phone has no
            image at all. FAIL when the cover did not answer, the images cannot be
            listed or are all of other hardware lines, and also when an upgrade
            was started.
        """
        await self._call("checkFirmwareVersion", [], timeout)

    async def get_firmware_file(self, *, timeout: Timeout = CLIENT) -> str:
        """The firmware image that checkFirmwareVersion looked at last: the one it
        chose or, when none fitted, the last one of another hardware line.

        Returns file name without folder; empty when there was none yet.
        """
        return str(await self._call("getFirmwareFile", [], timeout))

    async def do_firmware_upgrade(self, *, timeout: Timeout = CLIENT) -> None:
        """Starts an upgrade of the cover's firmware, which the kernel carries out.

        Status FAIL when the kernel's control file cannot be used.
        """
        await self._call("doFirmwareUpgrade", [], timeout)

    async def go_dload(self, *, timeout: Timeout = CLIENT) -> None:
        """Restarts the cover into its download mode. It leaves the serial link and
        comes back as a loader.

        Status OK when the cover accepted the command.
        """
        await self._call("goDload", [], timeout)

    async def go_stm_dload(self, *, timeout: Timeout = CLIENT) -> None:
        """Restarts the cover's STM microcontroller into its download mode.

        Status OK when the cover accepted the command.
        """
        await self._call("goSTMDload", [], timeout)

    async def cancel_firmware_upgrade(self, *, timeout: Timeout = CLIENT) -> None:
        """Cancels a firmware upgrade; harmless when none is running.

        Status FAIL when the kernel's control file cannot be used.
        """
        await self._call("cancelFirmwareUpgrade", [], timeout)

    async def get_touch_firmware_version(self, *, timeout: Timeout = CLIENT) -> str:
        """Asks the cover for the version of its touch firmware.

        Status OK when the cover answered.
        Returns the answer, at most 1024 bytes; see sendAtCommand.
        """
        return str(await self._call("getTouchFirmwareVersion", [], timeout))

    async def do_rawdata(self, *, timeout: Timeout = CLIENT) -> None:
        """Has the cover dump raw touch data into the log of the service.

        Status OK when the cover answered.
        """
        await self._call("DoRawdata", [], timeout)

    async def do_delta(self, *, timeout: Timeout = CLIENT) -> None:
        """Has the cover dump touch delta data into the log of the service.

        Status OK when the cover answered.
        """
        await self._call("DoDelta", [], timeout)

    async def do_touch_reset(self, *, timeout: Timeout = CLIENT) -> None:
        """Resets the cover's touch controller.

        Status OK when the cover answered.
        """
        await self._call("DoTouchReset", [], timeout)

    async def get_gpiopin(self, *, timeout: Timeout = CLIENT) -> str:
        """Asks the cover for the state of its touch GPIO pins.

        Status OK when the cover answered.
        Returns the answer, at most 1024 bytes; see sendAtCommand.
        """
        return str(await self._call("getGpiopin", [], timeout))

    async def set_status(self, type: int, value: int, *, timeout: Timeout = CLIENT) -> None:
        """Passes an LPWG (low-power wake gesture) setting to the cover.

        status: the setting; see LpwgStatus.
        Status OK when the cover answered.
        """
        await self._call("setStatus", [type, value], timeout)

    async def do_touch_firmware_upgrade(self, *, timeout: Timeout = CLIENT) -> None:
        """Has the cover upgrade its touch firmware. Waits for the cover without a
        time limit; every other call waits with it.

        Status OK when the cover reported success.
        """
        await self._call("DoTouchFirmwareUpgrade", [], timeout)

    async def get_self_test(self, *, timeout: Timeout = CLIENT) -> str:
        """Runs the cover's touch self test. Waits for the cover without a time
        limit; every other call waits with it.

        Status OK when the cover answered.
        Returns the answer, at most 1024 bytes; see sendAtCommand.
        """
        return str(await self._call("getSelfTest", [], timeout))

    async def get_lpwg_self_test(self, *, timeout: Timeout = CLIENT) -> str:
        """Runs the cover's LPWG self test. Waits for the cover without a time
        limit; every other call waits with it.

        Status OK when the cover answered.
        Returns the answer, at most 1024 bytes; see sendAtCommand.
        """
        return str(await self._call("getLPWGSelfTest", [], timeout))

    async def get_test_results(self, *, timeout: Timeout = CLIENT) -> None:
        """Fetches the results of the last touch self test, at most 40960 bytes, and
        appends them to the phone's touch self-test file. Waits for the cover
        without a time limit; every other call waits with it.

        Status OK when the results were fetched and the file could be
            opened and made readable.
        """
        await self._call("getTestResults", [], timeout)

    async def set_lpwg_callback(self, callback: None, *, timeout: Timeout = CLIENT) -> None:
        """Registers the callback for touch and pen events, or clears it.

        The first callback starts the service's uevent worker; a further one
        replaces it, and the worker goes on. The worker is never told to end: it
        does so only when it cannot listen to the kernel, or its wait for events
        fails.

        Do not clear a registered callback. Null then signals the worker, which
        stops the service's USB monitoring for good (the cover's coming and going
        is no longer seen) and listens again; and the call waits for the worker
        to end. So the call does not return, and since all calls share one
        thread, no later call of any client is served until the service is
        restarted. A client that is done leaves its callback registered; when its
        process is gone, events are logged as errors until another client
        registers.

        callback: the client's object, of version 1.0 or later. Null when
            none is registered does nothing; else see above.
        """
        await self._call("setLpwgCallback", [callback], timeout)

    async def set_brightness(self, value: int, *, timeout: Timeout = CLIENT) -> None:
        """Sets the brightness of the cover screen. The value is queued and sent to
        the cover in the background; of a burst the newest 20 values are sent.

        value: 0 to 255. Any other value is dropped with a log line.
        """
        await self._call("setBrightness", [value], timeout)

    async def set_power_status(self, enable: bool, uevent: bool, *, timeout: Timeout = CLIENT) -> None:
        """Switches the cover screen on or off. Switching on waits until the cover
        reports its screen as present: up to ten polls, 50 ms apart.

        enable: true for on.
        uevent: passed on to the kernel's display driver.
        Status FAIL when no cover is attached, it rejected the command,
            or its screen did not come up.
        """
        await self._call("setPowerStatus", [enable, uevent], timeout)

    async def get_cover_display_cutout(self, *, timeout: Timeout = CLIENT) -> str:
        """Describes the cutout of the cover screen. The cover is asked once; later
        calls are served from memory.

        Status FAIL when the cover did not answer yet.
        Returns the cover's description, at most 1024 bytes; see
            sendAtCommand.
        """
        return str(await self._call("getCoverDisplayCutout", [], timeout))

    async def set_rgb_tune(self, value1: int, value2: int, value3: int, value4: int, *, timeout: Timeout = CLIENT) -> None:
        """Sets the colour tuning of the cover screen. Sent when it differs from the
        last one: at once while the screen is on, else when it is switched on.
        A change of `value4` alone is not sent when the screen is switched on.

        value1: 2 after attachment. All values: sent unchanged.
        value2: 0 after attachment.
        value3: 0 after attachment.
        value4: 0 after attachment.
        """
        await self._call("setRgbTune", [value1, value2, value3, value4], timeout)

    async def set_screen_mode(self, mode: int, *, timeout: Timeout = CLIENT) -> None:
        """Sets the colour mode of the cover screen. Sent when it differs from the
        last one: at once while the screen is on, else when it is switched on.

        mode: the mode; see ScreenMode.
        """
        await self._call("setScreenMode", [mode], timeout)

    async def set_screen_tune(self, value1: int, value2: int, value3: int, ignored: int, *, timeout: Timeout = CLIENT) -> None:
        """Sets the screen tuning of the cover screen. Sent when it differs from the
        last one: at once while the screen is on, else when it is switched on.

        value1: 2 after attachment. All values: sent unchanged.
        value2: 2 after attachment.
        value3: 2 after attachment.
        ignored: accepted and not used: screen tuning has three values.
        """
        await self._call("setScreenTune", [value1, value2, value3, ignored], timeout)

    async def set_bv_brightness_offset(self, value: int, *, timeout: Timeout = CLIENT) -> None:
        """Shifts the brightness of the cover screen relative to the phone's, and
        sends the current level again.

        value: the offset; any 32-bit value. The value 100 is a command:
            the next level is computed with the old offset in full.
        Status FAIL while the screen is off (the offset is kept).
        """
        await self._call("setBVBrightnessOffset", [value], timeout)

    async def get_bv2_status(self, *, timeout: Timeout = CLIENT) -> bool:
        """Asks the platform's accessory service whether the cover is attached.
        getBV2Connect answers from the USB bus; the two can disagree.

        Returns connected is false also when there is no accessory service.
        """
        return _protocol.cover_connected(await self._call("getBV2Status", [], timeout))

    async def set_sub_display_brightness(self, value: int, *, timeout: Timeout = CLIENT) -> None:
        """Sets the brightness of the sub display.

        value: 0 to 255.
        Status FAIL without a panel, or for another value.
        """
        await self._call("setSubDisplayBrightness", [value], timeout)

    async def set_sub_display_power_state(self, enable: bool, *, timeout: Timeout = CLIENT) -> None:
        """Switches the sub display on or off and waits 500 ms for it to settle.

        enable: true for on.
        Status FAIL without a panel, when the panel refuses, or when the
            panel is in that state already.
        """
        await self._call("setSubDisplayPowerState", [enable], timeout)

    async def get_sub_display_info(self, *, timeout: Timeout = CLIENT) -> values.SubScreenInfo:
        """Geometry and format of the sub display.

        Status FAIL without a panel.
        Returns of the panel attached now or, on FAIL, of the last one; all
            zero when there was none.
        """
        return _protocol.panel(await self._call("getSubDisplayInfo", [], timeout))

    async def draw_sub_display(self, frame: Sequence[int], *, timeout: Timeout = CLIENT) -> None:
        """Draws a frame on the sub display. Returns when the frame is queued; a
        newer frame replaces one that was not sent yet.

        frame: one word a pixel, row by row, exactly x times y words. Bits 4
            to 7 are the grey level, 0 to 15; the other bits are ignored.
        Status FAIL while the panel is absent or off, for a frame of
            another size, or when both buffers are in use.
        """
        await self._call("drawSubDisplay", [list(frame)], timeout)

    async def get_sub_display_power_state(self, *, timeout: Timeout = CLIENT) -> values.SubScreenState | int:
        """Power state of the sub display.

        Returns the current state.
        """
        return _protocol.state(await self._call("getSubDisplayPowerState", [], timeout))

    async def set_sub_display_callback(self, callback: None, *, timeout: Timeout = CLIENT) -> None:
        """Registers the callback for state changes of the sub display; it replaces
        the one registered before.

        callback: the client's object, or null for none.
        """
        await self._call("setSubDisplayCallback", [callback], timeout)

    async def get_bv2_connect(self, *, timeout: Timeout = CLIENT) -> bool:
        """Whether the cover's USB device is present on the bus.

        Returns true while it is.
        """
        return bool(await self._call("getBV2Connect", [], timeout))

    async def send_at_command(self, cmd: str, *, timeout: Timeout = CLIENT) -> str:
        """Sends an AT command to the cover and collects its answer.

        Waits 5 seconds for each line, but without a limit for commands that
        begin with "AT%TCHNOTIFY=" and one of "SD", "LPWG_SD", "PULL_SD_RESULT",
        "FW_UPGRADE".


        The lines also go to the subscriptions of at_lines(), if there are any.
        cmd: the command, without its carriage return, which is added. It
            must begin with "AT", in either case.
        Status FAIL when the command is malformed, no cover is attached,
            it does not answer, or it rejects the command. OK also when the port
            hung up during the answer.
        Returns the lines of the answer, separated by line feeds, cut at
            1023 bytes and at the first NUL byte. On FAIL, or when the port hung
            up, what was stored until then, at most 1024 bytes, with the line feed
            of its last line.
        """
        return str(await self._call("sendAtCommand", [cmd], timeout))

    async def set_aes_mode(self, mode: int, *, timeout: Timeout = CLIENT) -> None:
        """Sets the pen (AES) mode of the cover alone.

        mode: sent to the cover unchanged, not range-tested; the cover knows
            1 and 2.
        Status OK when the cover answered.
        """
        await self._call("setAesMode", [mode], timeout)

    async def manage_aes_mode(self, mode: int, *, timeout: Timeout = CLIENT) -> None:
        """Sets the pen (AES) mode in the cover, in the kernel's USB HID driver and
        in the phone's LPWG service.

        mode: 1 for mode 1; any other value for mode 2.
        Status OK when the cover answered, whatever became of the other
            two.
        """
        await self._call("manageAesMode", [mode], timeout)

    async def bv_update_state(self, *, timeout: Timeout = CLIENT) -> None:
        """Reads the touch update state from the kernel and passes it to the cover.

        Status FAIL when the kernel node cannot be read or the cover did
            not answer.
        """
        await self._call("bv_update_state", [], timeout)

    async def set_touch_perf(self, enable: bool, *, timeout: Timeout = CLIENT) -> None:
        """Switches the touch performance mode of the cover.

        enable: true for on.
        Status FAIL when no cover is attached or it did not answer.
        """
        await self._call("set_touch_perf", [enable], timeout)
