#include "emulator/phone/program/CtlCommand.h"

#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "cli/Colour.h"
#include "emulator/cover/ScreenView.h"
#include "emulator/cover/Text.h"
#include "emulator/phone/program/Png.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

constexpr int kJournalWaitMs = 30'000;

void addAttach(cli::Command& ctl) {
    struct Options {
        int tty = 0;
        int hid = 0;
        bool noTty = false;
        bool noHid = false;
        bool noUsb = false;
    };
    const auto options = std::make_shared<Options>();
    cli::Command& command = add(ctl, "attach", "Put the cover on", [options](Session& session) {
        session.post("/v1/attach", {{"tty", options->tty},
                                    {"with_tty", !options->noTty},
                                    {"hid", options->hid},
                                    {"with_hid", !options->noHid},
                                    {"with_usb", !options->noUsb}});
    });
    command.take("--tty", &options->tty, "Number of its ttyACM").range(0, 255);
    command.take("--hid", &options->hid, "Number of its panel's hidraw node").range(0, 63);
    command.flag("--no-tty", &options->noTty, "Without its tty");
    command.flag("--no-hid", &options->noHid, "Without its panel's hidraw node");
    command.flag("--no-usb", &options->noUsb, "Not on the USB bus");
}

void addDetach(cli::Command& ctl) {
    const auto whenRead = std::make_shared<bool>(false);
    cli::Command& command = add(ctl, "detach", "Pull the cover off", [whenRead](Session& session) {
        session.post("/v1/detach", {{"unread", *whenRead ? "read" : "lost"}});
    });
    command.flag("--when-read", whenRead.get(), "Not before the phone has read what was sent");
    add(ctl, "reattach", "Pull the cover off and put it on at once",
        [](Session& session) { session.post("/v1/reattach"); });
}

void printFaults(const Json& list) {
    for (const Json& fault : list.at("faults")) std::cout << fault.get<std::string>() << "\n";
}

std::string join(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

void addFault(cli::Command& ctl) {
    struct Options {
        std::vector<std::string> words;
        bool clear = false;
        bool json = false;
    };
    const auto options = std::make_shared<Options>();
    cli::Command& command =
            add(ctl, "fault", "Set a fault; without arguments list those in force",
                [options](Session& session) {
                    if (options->clear) {
                        session.remove("/v1/faults");
                    } else if (!options->words.empty()) {
                        session.post("/v1/faults", {{"text", join(options->words)}});
                    } else {
                        printAnswer(session.get("/v1/faults"), options->json, printFaults);
                    }
                });
    cli::Option words = command.takeWords("TEXT", &options->words,
                                          "The fault, as one argument or several words");
    cli::Option clear = command.flag("--clear", &options->clear, "Take all faults away");
    clear.excludes(words);
    addJsonFlag(command, &options->json).excludes(words).excludes(clear);
    command.setHelp(
            "A fault is one of\n"
            "  on PREFIX EFFECT [times N]   commands that begin with PREFIX (*: all); EFFECT is\n"
            "     silent | late 2s | split 1ms | garble [all] | error | before \"TEXT\" |\n"
            "     after \"TEXT\" | inside \"TEXT\" | hangup [after N] | answer \"TEXT\" | half |\n"
            "     flood [N]\n"
            "  hid CALL EFFECT [after N] [times N]   calls of the panel's node; CALL is open | "
            "info |\n"
            "     config | write | *; EFFECT is error EIO | short 100 | late 2s | unplug\n"
            "  node PATH missing|unreadable|unwritable|eio|read-eio\n\n"
            "Examples:\n"
            "  bivista-emulator ctl fault 'on AT%SWV silent times 1'\n"
            "  bivista-emulator ctl fault 'hid write unplug after 1'\n"
            "  bivista-emulator ctl fault node /sys/class/bivista/bv2/bv2_recovery missing");
}

struct Reading {
    uint64_t since = 1;
    bool follow = false;
};

// Reads the journal from `since` on, to its end or, with `follow`, until the emulator's.
void readJournal(Session& session, const Reading& reading, void (*print)(const Json& entry)) {
    for (uint64_t since = reading.since;;) {
        Session::Params params = {{"since", std::to_string(since)}};
        if (reading.follow) params.emplace("wait_ms", std::to_string(kJournalWaitMs));
        const std::optional<Json> page = session.get("/v1/journal", params);
        if (!page) return;
        for (const Json& entry : page->at("entries")) print(entry);
        std::cout.flush();
        if (page->at("entries").empty() && !reading.follow) return;
        since = page->at("next").get<uint64_t>();
    }
}

void printMessage(const Json& entry) {
    if (entry.at("kind") != "klog") return;
    std::string message = cover::unescape(entry.value("bytes", "")).value_or("");
    // Its own line end is the end of the printed one.
    if (message.ends_with('\n')) message.pop_back();
    std::cout << cover::escape(message) << "\n";
}

void addJournal(cli::Command& ctl) {
    const auto reading = std::make_shared<Reading>();
    cli::Command& command = add(ctl, "journal", "Print the journal, one JSON object a line",
                                [reading](Session& session) {
                                    readJournal(session, *reading, [](const Json& entry) {
                                        std::cout << entry.dump() << "\n";
                                    });
                                });
    command.take("--since", &reading->since, "First entry's number").showDefault();
    command.flag("--follow", &reading->follow, "Go on until ended");
}

void addKernelLog(cli::Command& ctl) {
    const auto reading = std::make_shared<Reading>();
    cli::Command& command =
            add(ctl, "klog", "Print what was written to the kernel log, a message a line",
                [reading](Session& session) { readJournal(session, *reading, printMessage); });
    command.flag("--follow", &reading->follow, "Go on until ended");
}

// A name in front of its value.
std::string heading(const std::string& name) {
    return cli::inColour(cli::Colour::NAME, name + ":", STDOUT_FILENO);
}

void printMembers(const Json& object, const std::string& indent) {
    for (const auto& [name, value] : object.items()) {
        std::cout << indent << heading(name) << " "
                  << (value.is_string() ? value.get<std::string>() : value.dump()) << "\n";
    }
}

std::string showScreen(const Json& screen) {
    cover::ScreenView view;
    view.on = screen.at("on").get<bool>();
    if (view.on) {
        screen.at("brightness").get_to(view.brightness);
        screen.at("rgb").get_to(view.rgb);
        screen.at("tune").get_to(view.tune);
        screen.at("mode").get_to(view.mode);
    }
    return cover::toText(view);
}

// A neighbour that is not up.
std::string showAway(const Json& neighbour) {
    return neighbour.at("declared").get<bool>() ? "declared, not up" : "absent";
}

std::string showAccessory(const Json& accessory) {
    if (!accessory.at("present").get<bool>()) return showAway(accessory);
    return "type " + accessory.at("type").dump() + ", state " + accessory.at("state").dump();
}

std::string showLpwg(const Json& lpwg) {
    if (!lpwg.at("present").get<bool>()) return showAway(lpwg);
    return "result " + lpwg.at("result").dump();
}

std::string showChatter(const Json& chatter) {
    if (chatter.is_null()) return "off";
    return "every " + chatter.at("gap_us").dump() + " us: " + chatter.at("text").get<std::string>();
}

std::string showSubDisplay(const Json& display) {
    if (!display.at("attached").get<bool>()) return "absent";
    std::string text = "off";
    if (display.at("on").get<bool>()) {
        text = "on, brightness " + display.at("brightness").dump() + " of 255";
    }
    return text + ", " + display.at("width").dump() + " x " + display.at("height").dump() +
           ", format " + display.at("format").dump() + ", frames " + display.at("frames").dump();
}

void printState(const Json& state) {
    std::cout << heading("attached") << " " << state.at("attached") << "\n"
              << heading("screen") << " " << showScreen(state.at("screen")) << "\n"
              << heading("sub display") << " " << showSubDisplay(state.at("sub_display")) << "\n"
              << heading("accessory") << " " << showAccessory(state.at("accessory")) << "\n"
              << heading("lpwg") << " " << showLpwg(state.at("lpwg")) << "\n"
              << heading("chatter") << " " << showChatter(state.at("chatter")) << "\n"
              << heading("cover") << "\n";
    printMembers(state.at("cover"), "  ");
    std::cout << heading("properties") << "\n";
    printMembers(state.at("properties"), "  ");
    std::cout << heading("faults") << "\n";
    for (const Json& fault : state.at("faults")) {
        std::cout << "  " << fault.get<std::string>() << "\n";
    }
}

void addShow(cli::Command& ctl) {
    const auto asJson = std::make_shared<bool>(false);
    cli::Command& command =
            add(ctl, "show", "Show what the cover is doing, and what its screens show",
                [asJson](Session& session) {
                    printAnswer(session.get("/v1/state"), *asJson, printState);
                });
    addJsonFlag(command, asJson.get());
}

void printProperties(const Json& list) {
    printMembers(list.at("properties"), "");
}

void addProperty(cli::Command& ctl) {
    struct Options {
        std::optional<std::string> key;
        std::string value;
        bool clear = false;
        bool json = false;
    };
    const auto options = std::make_shared<Options>();
    cli::Command& command =
            add(ctl, "property", "Set a system property; without arguments list them all",
                [options](Session& session) {
                    if (options->clear) {
                        session.remove("/v1/properties");
                    } else if (options->key) {
                        session.put("/v1/properties", {{"key", cover::escape(*options->key)},
                                                       {"value", cover::escape(options->value)}});
                    } else {
                        printAnswer(session.get("/v1/properties"), options->json, printProperties);
                    }
                });
    cli::Option key = command.take("KEY", &options->key, "");
    cli::Option value = command.take("VALUE", &options->value, "");
    key.needs(value);
    value.needs(key);
    cli::Option clear = command.flag("--clear", &options->clear, "Take all properties away");
    clear.excludes(key);
    addJsonFlag(command, &options->json).excludes(key).excludes(clear);
}

void printContent(const Json& node) {
    std::cout << node.at("bytes").get<std::string>() << "\n";
}

void addNode(cli::Command& ctl) {
    struct Options {
        std::string path;
        std::optional<std::string> text;
        bool remove = false;
        bool json = false;
    };
    const auto options = std::make_shared<Options>();
    cli::Command& command = add(
            ctl, "node", "Print a file of the phone, or give it the content TEXT",
            [options](Session& session) {
                if (options->remove) {
                    session.remove("/v1/node", {{"path", options->path}});
                } else if (options->text) {
                    session.put("/v1/node", {{"path", options->path}, {"bytes", *options->text}});
                } else {
                    printAnswer(session.get("/v1/node", {{"path", options->path}}), options->json,
                                printContent);
                }
            });
    command.take("PATH", &options->path, "").required();
    cli::Option text = command.take("TEXT", &options->text, "May hold \\n, \\xHH, \\\\");
    cli::Option remove = command.flag("--remove", &options->remove, "Remove the file");
    remove.excludes(text);
    addJsonFlag(command, &options->json).excludes(text).excludes(remove);
}

void addWakeLock(cli::Command& ctl) {
    const auto state = std::make_shared<std::string>();
    cli::Command& command = add(ctl, "wakelock", "The display's wake lock: on is a lit display",
                                [state](Session& session) {
                                    session.put("/v1/wakelock", {{"held", *state == "on"}});
                                });
    command.take("STATE", state.get(), "").required().oneOf({"on", "off"});
}

void addSubDisplay(cli::Command& ctl) {
    struct Options {
        std::optional<int> width;
        std::optional<int> height;
        std::optional<int> format;
        std::optional<int> ready;
    };
    const auto options = std::make_shared<Options>();
    cli::Command& command = add(ctl, "subdisplay", "Change what the sub display says of itself",
                                [options](Session& session) {
                                    Json body = Json::object();
                                    if (options->width) body["width"] = *options->width;
                                    if (options->height) body["height"] = *options->height;
                                    if (options->format) body["format"] = *options->format;
                                    if (options->ready) body["ready"] = *options->ready;
                                    session.put("/v1/subdisplay", body);
                                });
    constexpr int kMaxSize = 65535;
    constexpr int kMaxByte = 255;
    command.take("--width", &options->width, "").range(0, kMaxSize);
    command.take("--height", &options->height, "").range(0, kMaxSize);
    command.take("--format", &options->format, "").range(0, kMaxByte);
    command.take("--ready", &options->ready, "").range(0, kMaxByte);
    command.setHelp("The phone's software asks at an attachment: \"ctl reattach\" makes it ask.");
}

cover::Picture readPicture(const Json& snapshot) {
    cover::Picture picture;
    snapshot.at("width").get_to(picture.width);
    snapshot.at("height").get_to(picture.height);
    for (const char digit : snapshot.at("levels").get<std::string>()) {
        picture.levels.push_back(digit >= 'a' ? digit - 'a' + 10 : digit - '0');
    }
    return picture;
}

void addSnapshot(cli::Command& ctl) {
    const auto path = std::make_shared<std::string>();
    cli::Command& command = add(ctl, "snapshot", "Keep what the sub display shows as a PNG",
                                [path](Session& session) {
                                    const auto snapshot = session.get("/v1/snapshot");
                                    if (!snapshot) return;
                                    const auto error = writePng(*path, readPicture(*snapshot));
                                    if (!error.empty()) session.fail(error);
                                });
    command.take("FILE", path.get(), "").required();
}

void addLog(cli::Command& ctl) {
    const auto text = std::make_shared<std::string>();
    cli::Command& log = add(ctl, "log", "The cover logs a line, if the phone listens",
                            [text](Session& session) {
                                session.post("/v1/log", {{"text", *text}});
                            });
    log.take("TEXT", text.get(), "Without line ends; may hold \\xHH, \\\\").required();
    log.setHelp("The phone listens while DTR is raised and AT%LOGSAVE= is 0 or 2.");
}

void addChatter(cli::Command& ctl) {
    struct Options {
        std::string state;
        std::optional<std::string> text;
        int gapUs = 0;
    };
    const auto options = std::make_shared<Options>();
    cli::Command& command =
            add(ctl, "chatter", "The cover logs lines by itself, between answers and ahead of each",
                [options](Session& session) {
                    if (options->state == "off") {
                        session.remove("/v1/chatter");
                        return;
                    }
                    Json body = {{"gap_us", options->gapUs}};
                    if (options->text) body["text"] = *options->text;
                    session.put("/v1/chatter", body);
                });
    command.take("STATE", &options->state, "").required().oneOf({"on", "off"});
    command.take("--text", &options->text, "Begins each line");
    command.take("--gap-us", &options->gapUs,
                 "From line to line, in microseconds; 0: as fast as the phone takes them")
            .notNegative()
            .showDefault();
}

void addSend(cli::Command& ctl) {
    const auto text = std::make_shared<std::string>();
    cli::Command& command = add(ctl, "send", "Send bytes from the cover, whoever listens",
                                [text](Session& session) {
                                    session.post("/v1/send", {{"bytes", *text}});
                                });
    command.take("TEXT", text.get(), "May hold \\r, \\n, \\xHH, \\\\").required();
    add(ctl, "reset", "Make the phone as it was at its start: no cover, no faults",
        [](Session& session) { session.post("/v1/reset"); });
}

}  // namespace

void addCtl(cli::Command& program) {
    cli::Command& ctl = program.add("ctl", "Speak to a running emulator");
    ctl.setHelp(
            "Exit status: 0 done, 1 refused by the emulator, 2 wrong arguments, 3 no emulator.\n\n"
            "Examples:\n"
            "  bivista-emulator ctl detach\n"
            "  bivista-emulator ctl fault 'on AT%SWV late 2s times 1'\n"
            "  bivista-emulator ctl pen BV_PEN_WAKEUP\n"
            "  bivista-emulator ctl journal --follow");
    addAttach(ctl);
    addDetach(ctl);
    addFirmware(ctl);
    addEvents(ctl);
    addFault(ctl);
    addJournal(ctl);
    addKernelLog(ctl);
    addShow(ctl);
    addProperty(ctl);
    addNode(ctl);
    addWakeLock(ctl);
    addNeighbours(ctl);
    addCover(ctl);
    addSubDisplay(ctl);
    addSnapshot(ctl);
    addLog(ctl);
    addChatter(ctl);
    addSend(ctl);
}

}  // namespace emulator
