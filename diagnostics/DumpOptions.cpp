#include "diagnostics/DumpOptions.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

const char kDumpHelp[] =
        "Prints what the service knows of cover, panel and phone, and what it has counted since\n"
        "its start or the last reset. Asks nothing of the cover.\n"
        "\n"
        "  --json   one JSON object on one line\n"
        "  --reset  set the counters to 0 when they are printed\n"
        "  --help   this text\n";

DumpOptions readDumpOptions(const std::vector<std::string>& options) {
    DumpOptions read;
    for (const std::string& option : options) {
        if (option == "--help") {
            read.help = true;
        } else if (option == "--json") {
            read.json = true;
        } else if (option == "--reset") {
            read.reset = true;
        } else {
            read.isWrong = true;
            read.wrong = option;
            break;
        }
    }
    return read;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
