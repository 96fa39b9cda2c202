#include "emulator/phone/program/CtlCommand.h"

#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>

#include "emulator/cover/ScreenView.h"
#include "emulator/cover/Text.h"
#include "emulator/phone/program/Png.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

constexpr int kJournalWaitMs = 30'000;

void addAttach(CLI::App& ctl, int* status) {
    struct Options {
        int tty = 0;
        int hid = 0;
        bool noTty = false;
        bool noHid = false;
        bool noUsb = false;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* command = add(ctl, "attach", "Put the cover on", status, [options](Session& session) {
        session.post("/v1/attach", {{"tty", options->tty},
                                    {"with_tty", !options->noTty},
                                    {"hid", options->hid},
                                    {"with_hid", !options->noHid},
                                    {"with_usb", !options->noUsb}});
    });
    command->add_option("--tty", options->tty, "Number of its ttyACM")->check(CLI::Range(0, 255));
    command->add_option("--hid", options->hid, "Number of its panel's hidraw node")
            ->check(CLI::Range(0, 63));
    command->add_flag("--no-tty", options->noTty, "Without its tty");
    command->add_flag("--no-hid", options->noHid, "Without its panel's hidraw node");
    command->add_flag("--no-usb", options->noUsb, "Not on the USB bus");
}

void addDetach(CLI::App& ctl, int* status) {
    const auto whenRead = std::make_shared<bool>(false);
    CLI::App* command =
            add(ctl, "detach", "Pull the cover off", status, [whenRead](Session& session) {
                session.post("/v1/detach", {{"unread", *whenRead ? "read" : "lost"}});
            });
    command->add_flag("--when-read", *whenRead, "Not before the phone has read what was sent");
    add(ctl, "reattach", "Pull the cover off and put it on at once", status,
        [](Session& session) { session.post("/v1/reattach"); });
}

void printFaults(const Json& list) {
    for (const Json& fault : list.at("faults")) std::cout << fault.get<std::string>() << "\n";
}

void addFault(CLI::App& ctl, int* status) {
    struct Options {
        std::vector<std::string> words;
        bool clear = false;
        bool json = false;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* command = add(
            ctl, "fault", "Set a fault; without arguments list those in force", status,
            [options](Session& session) {
                if (options->clear) {
                    session.remove("/v1/faults");
                } else if (!options->words.empty()) {
                    session.post("/v1/faults", {{"text", CLI::detail::join(options->words, " ")}});
                } else {
                    printAnswer(session.get("/v1/faults"), options->json, printFaults);
                }
            });
    CLI::Option* words = command->add_option("TEXT", options->words,
                                             "The fault, as one argument or several words");
    CLI::Option* clear = command->add_flag("--clear", options->clear, "Take all faults away");
    clear->excludes(words);
    addJsonFlag(*command, &options->json)->excludes(words)->excludes(clear);
    command->footer(
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
        httplib::Params params = {{"since", std::to_string(since)}};
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

void addJournal(CLI::App& ctl, int* status) {
    const auto reading = std::make_shared<Reading>();
    CLI::App* command = add(ctl, "journal", "Print the journal, one JSON object a line", status,
                            [reading](Session& session) {
                                readJournal(session, *reading, [](const Json& entry) {
                                    std::cout << entry.dump() << "\n";
                                });
                            });
    command->add_option("--since", reading->since, "First entry's number")->capture_default_str();
    command->add_flag("--follow", reading->follow, "Go on until ended");
}

void addKernelLog(CLI::App& ctl, int* status) {
    const auto reading = std::make_shared<Reading>();
    CLI::App* command =
            add(ctl, "klog", "Print what was written to the kernel log, a message a line", status,
                [reading](Session& session) { readJournal(session, *reading, printMessage); });
    command->add_flag("--follow", reading->follow, "Go on until ended");
}

void printMembers(const Json& object, const std::string& indent) {
    for (const auto& [name, value] : object.items()) {
        std::cout << indent << name << ": "
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

std::string showAccessory(const Json& accessory) {
    if (!accessory.at("present").get<bool>()) return "absent";
    return "type " + accessory.at("type").dump() + ", state " + accessory.at("state").dump();
}

std::string showLpwg(const Json& lpwg) {
    if (!lpwg.at("present").get<bool>()) return "absent";
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
    std::cout << "attached: " << state.at("attached") << "\n"
              << "screen: " << showScreen(state.at("screen")) << "\n"
              << "sub display: " << showSubDisplay(state.at("sub_display")) << "\n"
              << "accessory: " << showAccessory(state.at("accessory")) << "\n"
              << "lpwg: " << showLpwg(state.at("lpwg")) << "\n"
              << "chatter: " << showChatter(state.at("chatter")) << "\ncover:\n";
    printMembers(state.at("cover"), "  ");
    std::cout << "properties:\n";
    printMembers(state.at("properties"), "  ");
    std::cout << "faults:\n";
    for (const Json& fault : state.at("faults")) {
        std::cout << "  " << fault.get<std::string>() << "\n";
    }
}

void addShow(CLI::App& ctl, int* status) {
    const auto asJson = std::make_shared<bool>(false);
    CLI::App* command = add(ctl, "show", "Show what the cover is doing, and what its screens show",
                            status, [asJson](Session& session) {
                                printAnswer(session.get("/v1/state"), *asJson, printState);
                            });
    addJsonFlag(*command, asJson.get());
}

void printProperties(const Json& list) {
    printMembers(list.at("properties"), "");
}

void addProperty(CLI::App& ctl, int* status) {
    struct Options {
        std::string key;
        std::string value;
        bool clear = false;
        bool json = false;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* command = ctl.add_subcommand(
            "property", "Set a system property; without arguments list them all");
    CLI::Option* key = command->add_option("KEY", options->key);
    CLI::Option* value = command->add_option("VALUE", options->value);
    key->needs(value);
    value->needs(key);
    CLI::Option* clear = command->add_flag("--clear", options->clear, "Take all properties away");
    clear->excludes(key);
    addJsonFlag(*command, &options->json)->excludes(key)->excludes(clear);
    command->callback([options, key, status] {
        Session session;
        if (options->clear) {
            session.remove("/v1/properties");
        } else if (key->count() != 0) {
            session.put("/v1/properties", {{"key", cover::escape(options->key)},
                                           {"value", cover::escape(options->value)}});
        } else {
            printAnswer(session.get("/v1/properties"), options->json, printProperties);
        }
        *status = session.status();
    });
}

void printContent(const Json& node) {
    std::cout << node.at("bytes").get<std::string>() << "\n";
}

void addNode(CLI::App& ctl, int* status) {
    struct Options {
        std::string path;
        std::string text;
        bool remove = false;
        bool json = false;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* command =
            ctl.add_subcommand("node", "Print a file of the phone, or give it the content TEXT");
    command->add_option("PATH", options->path)->required();
    CLI::Option* text = command->add_option("TEXT", options->text, "May hold \\n, \\xHH, \\\\");
    CLI::Option* remove = command->add_flag("--remove", options->remove, "Remove the file");
    remove->excludes(text);
    addJsonFlag(*command, &options->json)->excludes(text)->excludes(remove);
    command->callback([options, text, status] {
        Session session;
        if (options->remove) {
            session.remove("/v1/node", {{"path", options->path}});
        } else if (text->count() != 0) {
            session.put("/v1/node", {{"path", options->path}, {"bytes", options->text}});
        } else {
            printAnswer(session.get("/v1/node", {{"path", options->path}}), options->json,
                        printContent);
        }
        *status = session.status();
    });
}

void addWakeLock(CLI::App& ctl, int* status) {
    const auto state = std::make_shared<std::string>();
    CLI::App* command = add(ctl, "wakelock", "The display's wake lock: on is a lit display", status,
                            [state](Session& session) {
                                session.put("/v1/wakelock", {{"held", *state == "on"}});
                            });
    command->add_option("STATE", *state)->required()->check(CLI::IsMember({"on", "off"}));
}

void addSubDisplay(CLI::App& ctl, int* status) {
    struct Options {
        std::optional<int> width;
        std::optional<int> height;
        std::optional<int> format;
        std::optional<int> ready;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* command = add(ctl, "subdisplay", "Change what the sub display says of itself", status,
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
    command->add_option("--width", options->width)->check(CLI::Range(0, kMaxSize));
    command->add_option("--height", options->height)->check(CLI::Range(0, kMaxSize));
    command->add_option("--format", options->format)->check(CLI::Range(0, kMaxByte));
    command->add_option("--ready", options->ready)->check(CLI::Range(0, kMaxByte));
    command->footer("The phone's software asks at an attachment: \"ctl reattach\" makes it ask.");
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

void addSnapshot(CLI::App& ctl, int* status) {
    const auto path = std::make_shared<std::string>();
    CLI::App* command = ctl.add_subcommand("snapshot", "Keep what the sub display shows as a PNG");
    command->add_option("FILE", *path)->required();
    command->callback([=] {
        Session session;
        const std::optional<Json> snapshot = session.get("/v1/snapshot");
        *status = session.status();
        if (!snapshot) return;
        const std::string error = writePng(*path, readPicture(*snapshot));
        if (error.empty()) return;
        std::cerr << "bivista-emulator: " << error << "\n";
        *status = kRefused;
    });
}

void addLog(CLI::App& ctl, int* status) {
    const auto text = std::make_shared<std::string>();
    CLI::App* log = add(ctl, "log", "The cover logs a line, if the phone listens", status,
                        [text](Session& session) {
                            session.post("/v1/log", {{"text", *text}});
                        });
    log->add_option("TEXT", *text, "Without line ends; may hold \\xHH, \\\\")->required();
    log->footer("The phone listens while DTR is raised and AT%LOGSAVE= is 0 or 2.");
}

void addChatter(CLI::App& ctl, int* status) {
    struct Options {
        std::string state;
        std::string text;
        int gapUs = 0;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* command = ctl.add_subcommand(
            "chatter", "The cover logs lines by itself, between answers and ahead of each");
    command->add_option("STATE", options->state)->required()->check(CLI::IsMember({"on", "off"}));
    CLI::Option* text = command->add_option("--text", options->text, "Begins each line");
    command->add_option("--gap-us", options->gapUs,
                        "From line to line, in microseconds; 0: as fast as the phone takes them")
            ->check(CLI::NonNegativeNumber)
            ->capture_default_str();
    command->callback([=] {
        Session session;
        if (options->state == "off") {
            session.remove("/v1/chatter");
        } else {
            Json body = {{"gap_us", options->gapUs}};
            if (text->count() != 0) body["text"] = options->text;
            session.put("/v1/chatter", body);
        }
        *status = session.status();
    });
}

void addSend(CLI::App& ctl, int* status) {
    const auto text = std::make_shared<std::string>();
    CLI::App* command = add(ctl, "send", "Send bytes from the cover, whoever listens", status,
                            [text](Session& session) {
                                session.post("/v1/send", {{"bytes", *text}});
                            });
    command->add_option("TEXT", *text, "May hold \\r, \\n, \\xHH, \\\\")->required();
    add(ctl, "reset", "Make the phone as it was at its start: no cover, no faults", status,
        [](Session& session) { session.post("/v1/reset"); });
}

}  // namespace

void addCtl(CLI::App& app, int* status) {
    CLI::App* ctl = app.add_subcommand("ctl", "Speak to a running emulator");
    ctl->require_subcommand(1);
    ctl->footer(
            "Exit status: 0 done, 1 refused by the emulator, 2 wrong arguments, 3 no emulator.\n\n"
            "Examples:\n"
            "  bivista-emulator ctl detach\n"
            "  bivista-emulator ctl fault 'on AT%SWV late 2s times 1'\n"
            "  bivista-emulator ctl pen BV_PEN_WAKEUP\n"
            "  bivista-emulator ctl journal --follow");
    addAttach(*ctl, status);
    addDetach(*ctl, status);
    addFirmware(*ctl, status);
    addEvents(*ctl, status);
    addFault(*ctl, status);
    addJournal(*ctl, status);
    addKernelLog(*ctl, status);
    addShow(*ctl, status);
    addProperty(*ctl, status);
    addNode(*ctl, status);
    addWakeLock(*ctl, status);
    addNeighbours(*ctl, status);
    addCover(*ctl, status);
    addSubDisplay(*ctl, status);
    addSnapshot(*ctl, status);
    addLog(*ctl, status);
    addChatter(*ctl, status);
    addSend(*ctl, status);
}

}  // namespace emulator
