# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""What trials.py puts into a copy of the project, each an exact change of one source file."""
from defects import defect, replace

# What the emulated phone once did otherwise than a kernel, each with what must show it.
DIFFERENCES = [
    defect("no echo before the first line settings", "emulator/phone/world/Tty.cpp",
           replace("settings.c_cflag = CS8 | CREAD | HUPCL | CLOCAL;",
                   "settings.c_cflag = CS8 | CREAD | HUPCL | CLOCAL;\n    settings.c_lflag &= ~ECHO;"),
           tests="talkative-cover"),
    defect("unread input kept at the last close", "emulator/phone/world/Tty.cpp",
           replace("    if (isFirst) tcflush(slave.get(), TCIFLUSH);\n", ""),
           tests="line-after-ok"),
    defect("files made below /sys", "emulator/phone/world/RecordedFiles.cpp",
           replace("&& (call.flags & O_CREAT) != 0 ? EACCES : ENOENT;", "&& false ? EACCES : ENOENT;"),
           tests="probe"),
    defect("nodes that open in no time", "emulator/phone/devices/Panel.cpp",
           replace("open.isFirst ? mOpenTime : cover::Time::zero();", "cover::Time::zero();"),
           replace("        if (call == PanelCall::Open) delay += wake;\n", ""),
           tests="sub-display"),
]

# Of the service; chosen before any was tried.
DEFECTS = [
    # Descriptors.
    defect("device nodes stay open in a program that is started", "kernel/base/DevicePath.cpp",
           replace("::open(path, flags | O_CLOEXEC)", "::open(path, flags)")),
    defect("the log's tty is not closed as the display goes off", "kernel/serial/SerialLogThread.cpp",
           replace("    close(fds[1].fd);\n", "")),
    # Line settings and modem lines.
    defect("the driver's control characters are kept", "kernel/serial/SerialAttach.cpp",
           replace("termios settings = {};", "termios settings = {};\n    tcgetattr(fd, &settings);")),
    defect("the line settings drop what has come", "kernel/serial/SerialAttach.cpp",
           replace("tcsetattr(fd, TCSANOW, &settings)", "tcsetattr(fd, TCSAFLUSH, &settings)")),
    defect("the display's going off lowers RTS", "kernel/serial/SerialLogThread.cpp",
           replace("const int dtr = TIOCM_DTR;\n    if (ioctl(fds[1].fd, TIOCMBIC", "const int dtr = TIOCM_RTS;\n"
                   "    if (ioctl(fds[1].fd, TIOCMBIC")),
    # Votes.
    defect("\"on\" is written after the command", "kernel/serial/SerialAt.cpp",
           replace("    service.usbAutoSuspend(false, true);\n", ""),
           replace("exchange.run();\n", "exchange.run();\n    service.usbAutoSuspend(false, true);\n")),
    defect("votes stay from one tty to the next", "kernel/usb/DevWatch.cpp",
           replace("        mAutoSuspendVotes.reset();\n", "")),
    # Lengths of reports.
    defect("an output report of 4,095 bytes", "kernel/hid/HidDisplay.cpp",
           replace("kMaxChunk = sizeof(PaletteReport::data);", "kMaxChunk = sizeof(PaletteReport::data) - 1;"),
           replace("sizeof(PaletteReport) - kMaxChunk;", "sizeof(PaletteReport) - sizeof(PaletteReport::data);")),
    defect("the panel's report asked with 8 bytes", "kernel/hid/HidDisplay.cpp",
           replace("HIDIOCGFEATURE(sizeof(*info))", "HIDIOCGFEATURE(sizeof(*info) + 1)")),
    # inotify.
    defect("the first event of a read alone is handled", "kernel/usb/DevWatch.cpp",
           replace("for (ssize_t offset = 0; offset < count;) {",
                   "for (ssize_t offset = 0; offset == 0 && offset < count;) {")),
]
