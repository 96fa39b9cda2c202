#include "emulator/phone/program/CtlCommand.h"

#include <cstdint>
#include <memory>
#include <optional>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "cli/Colour.h"
#include "cli/File.h"
#include "cli/Output.h"
#include "emulator/cover/ScreenView.h"
#include "emulator/cover/Text.h"
#include "emulator/phone/program/Png.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

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

std::string showFaults(const Json& faults, const std::string& indent) {
    std::string text;
    for (const Json& fault : faults) text += indent + fault.get<std::string>() + "\n";
    return text;
}

std::string listFaults(const Json& list) {
    return showFaults(list.at("faults"), "");
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
                        printAnswer(session.get("/v1/faults"), options->json, listFaults);
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

// A name in front of its value.
std::string heading(const std::string& name) {
    return cli::inColour(cli::Colour::NAME, name + ":", STDOUT_FILENO);
}

std::string showMembers(const Json& object, const std::string& indent) {
    std::string text;
    for (const auto& [name, value] : object.items()) {
        text += indent + heading(name) + " " +
                (value.is_string() ? value.get<std::string>() : value.dump()) + "\n";
    }
    return text;
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

std::string showState(const Json& state) {
    return heading("attached") + " " + state.at("attached").dump() + "\n" + heading("screen") +
           " " + showScreen(state.at("screen")) + "\n" + heading("sub display") + " " +
           showSubDisplay(state.at("sub_display")) + "\n" + heading("accessory") + " " +
           showAccessory(state.at("accessory")) + "\n" + heading("lpwg") + " " +
           showLpwg(state.at("lpwg")) + "\n" + heading("chatter") + " " +
           showChatter(state.at("chatter")) + "\n" + heading("cover") + "\n" +
           showMembers(state.at("cover"), "  ") + heading("properties") + "\n" +
           showMembers(state.at("properties"), "  ") + heading("faults") + "\n" +
           showFaults(state.at("faults"), "  ");
}

void addShow(cli::Command& ctl) {
    const auto asJson = std::make_shared<bool>(false);
    cli::Command& command =
            add(ctl, "show", "Show what the cover is doing, and what its screens show",
                [asJson](Session& session) {
                    printAnswer(session.get("/v1/state"), *asJson, showState);
                });
    addJsonFlag(command, asJson.get());
}

std::string listProperties(const Json& list) {
    return showMembers(list.at("properties"), "");
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
                        printAnswer(session.get("/v1/properties"), options->json, listProperties);
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

std::string showContent(const Json& node) {
    return node.at("bytes").get<std::string>() + "\n";
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
                                showContent);
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
    if (picture.levels.size() != size_t{picture.width} * picture.height) throw ForeignAnswer();
    return picture;
}

void keepSnapshot(Session& session, const std::string& path) {
    const auto snapshot = session.get("/v1/snapshot");
    if (!snapshot) return;
    const cover::Picture picture = readPicture(*snapshot);
    if (picture.levels.empty()) {
        session.fail("there is no picture to keep: the sub display says that it has no pixels");
        return;
    }
    const std::string png = encodePng(picture);
    if (path == "-") {
        cli::printOrFail(png);
        return;
    }
    const std::string error = cli::writeFile(path, png);
    if (!error.empty()) session.fail("cannot write the picture " + path + ": " + error);
}

void addSnapshot(cli::Command& ctl) {
    const auto path = std::make_shared<std::string>();
    cli::Command& command = add(ctl, "snapshot", "Keep what the sub display shows as a PNG",
                                [path](Session& session) { keepSnapshot(session, *path); });
    command.take("FILE", path.get(), "-: standard output").required();
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
            "Exit status: 0 done; 1 refused by the emulator, or the file of \"snapshot\" cannot "
            "be\n"
            "written; 2 wrong arguments; 3 no emulator, or what answers is none; 4 standard output "
            "cannot\n"
            "be written, or this program ran out of memory, descriptors or threads.\n\n"
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
