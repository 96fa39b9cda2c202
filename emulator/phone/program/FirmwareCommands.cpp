// ctl: the cover's loader, and the firmware images of the phone.

#include <cstdint>
#include <iostream>

#include "emulator/cover/Text.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

void addLoader(CLI::App& ctl, int* status) {
    CLI::App* loader = ctl.add_subcommand("loader", "The cover's loader on the USB bus");
    loader->require_subcommand(1);
    struct Options {
        std::string serial = "00000000001A";
        std::string product = "TQC330R";
    };
    const auto options = std::make_shared<Options>();
    CLI::App* attach =
            add(*loader, "attach", "The loader appears", status, [options](Session& session) {
                session.post("/v1/loader",
                             {{"serial", options->serial}, {"product", options->product}});
            });
    attach->add_option("--serial", options->serial,
                       "00000000001A: sent there, 00000000001B: no firmware")
            ->capture_default_str();
    attach->add_option("--product", options->product, "Product string")->capture_default_str();
    add(*loader, "detach", "The loader goes", status,
        [](Session& session) { session.remove("/v1/loader"); });
    const auto addMove = [&](const char* mode, const char* help) {
        add(*loader, mode, help, status, [mode](Session& session) {
            session.put("/v1/loader", {{"mode", mode}});
        });
    };
    addMove("normal", "The cover comes up in its loader, as if it was sent there");
    addMove("error", "The cover comes up in its loader, as if it had no firmware");
    addMove("leave", "The cover comes back from its loader as itself");
}

void addPut(CLI::App& firmware, int* status) {
    struct Options {
        std::string name;
        uint32_t size = 1024;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* put = add(firmware, "put", "Put a file there", status, [options](Session& session) {
        session.put("/v1/firmware",
                    {{"name", cover::escape(options->name)}, {"size", options->size}});
    });
    put->add_option("NAME", options->name, "For example BV330-V20k_20220101.dfu")->required();
    put->add_option("--size", options->size, "In bytes")->capture_default_str();
}

void printFiles(const Json& list) {
    for (const Json& file : list.at("files")) {
        std::cout << file.at("name").get<std::string>() << " " << file.at("size") << "\n";
    }
}

void addList(CLI::App& firmware, int* status) {
    const auto asJson = std::make_shared<bool>(false);
    CLI::App* list = add(firmware, "list", "Print the files, with their sizes", status,
                         [asJson](Session& session) {
                             printAnswer(session.get("/v1/firmware"), *asJson, printFiles);
                         });
    addJsonFlag(*list, asJson.get());
}

void addImages(CLI::App& ctl, int* status) {
    CLI::App* firmware = ctl.add_subcommand("firmware", "The phone's folder of firmware images");
    firmware->require_subcommand(1);
    addPut(*firmware, status);
    addList(*firmware, status);
    add(*firmware, "clear", "Remove them all", status,
        [](Session& session) { session.remove("/v1/firmware"); });
    firmware->footer(
            "An image is named by what it holds: hardware line, \"-\", version, and after \"_\" "
            "whatever\n"
            "else tells it apart, then \".dfu\". An upgrade takes the newest of the cover's line.\n"
            "\"ctl journal\" shows its progress, \"ctl cover --upgrade-ms\" makes it slow or "
            "fast.");
}

}  // namespace

void addFirmware(CLI::App& ctl, int* status) {
    addLoader(ctl, status);
    addImages(ctl, status);
}

}  // namespace emulator
