// ctl: the cover's loader, and the firmware images of the phone.

#include <cstdint>

#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

void addLoader(cli::Command& ctl) {
    cli::Command& loader = ctl.add("loader", "The cover's loader on the USB bus");
    struct Options {
        std::string serial = "00000000001A";
        std::string product = "TQC330R";
    };
    const auto options = std::make_shared<Options>();
    cli::Command& attach = add(loader, "attach", "The loader appears", [options](Session& session) {
        session.post("/v1/loader", {{"serial", options->serial}, {"product", options->product}});
    });
    attach.take("--serial", &options->serial, "00000000001A: sent there, 00000000001B: no firmware")
            .showDefault();
    attach.take("--product", &options->product, "Product string").showDefault();
    add(loader, "detach", "The loader goes",
        [](Session& session) { session.remove("/v1/loader"); });
    const auto addMove = [&](const char* mode, const char* help) {
        add(loader, mode, help, [mode](Session& session) {
            session.put("/v1/loader", {{"mode", mode}});
        });
    };
    addMove("normal", "The cover comes up in its loader, as if it was sent there");
    addMove("error", "The cover comes up in its loader, as if it had no firmware");
    addMove("leave", "The cover comes back from its loader as itself");
}

void addPut(cli::Command& firmware) {
    struct Options {
        std::string name;
        uint32_t size = 1024;
    };
    const auto options = std::make_shared<Options>();
    cli::Command& put = add(firmware, "put", "Put a file there", [options](Session& session) {
        session.put("/v1/firmware",
                    {{"name", cover::escape(options->name)}, {"size", options->size}});
    });
    put.take("NAME", &options->name, "For example BV330-V20k_20220101.dfu").required();
    put.take("--size", &options->size, "In bytes").showDefault();
}

std::string nameFiles(const Json& list) {
    std::string text;
    for (const Json& file : list.at("files")) {
        text += file.at("name").get<std::string>() + " " + file.at("size").dump() + "\n";
    }
    return text;
}

void addList(cli::Command& firmware) {
    const auto asJson = std::make_shared<bool>(false);
    cli::Command& list =
            add(firmware, "list", "Print the files, with their sizes", [asJson](Session& session) {
                printAnswer(session.get("/v1/firmware"), *asJson, nameFiles);
            });
    addJsonFlag(list, asJson.get());
}

void addImages(cli::Command& ctl) {
    cli::Command& firmware = ctl.add("firmware", "The phone's folder of firmware images");
    addPut(firmware);
    addList(firmware);
    add(firmware, "clear", "Remove them all",
        [](Session& session) { session.remove("/v1/firmware"); });
    firmware.setHelp(
            "An image is named by what it holds: hardware line, \"-\", version, and after \"_\" "
            "whatever\n"
            "else tells it apart, then \".dfu\". An upgrade takes the newest of the cover's line.\n"
            "\"ctl journal\" shows its progress, \"ctl cover --upgrade-ms\" makes it slow or "
            "fast.");
}

}  // namespace

void addFirmware(cli::Command& ctl) {
    addLoader(ctl);
    addImages(ctl);
}

}  // namespace emulator
