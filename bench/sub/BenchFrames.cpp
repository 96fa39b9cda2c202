// Frames from a client through HIDL to the panel, against the same open, writes and close by hand,
// both as fast as they can. The panel is the emulated one, at the real one's pace: a frame takes it
// 1 ms and more. Prints a row (bench/Row.h).
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vendor/qmx/hardware/bivista/1.0/IBivista.h>

#include "bench/Clock.h"
#include "bench/Row.h"
#include "emulator/phone/Phone.h"
#include "emulator/phone/World.h"

namespace {

using ::android::sp;
using ::android::hardware::hidl_vec;
using bench::now;
using vendor::qmx::hardware::bivista::V1_0::IBivista;
using vendor::qmx::hardware::bivista::V1_0::Status;

constexpr int kPairs = 15;
constexpr double kWindow = 0.2e6;  // us, each half of a pair
constexpr size_t kWords = 16384;
constexpr char kPace[] = "hid write late 250us";

[[noreturn]] void fail(const std::string& what) {
    fprintf(stderr, "bench_frames: %s\n", what.c_str());
    exit(1);
}

sp<IBivista> awaitService() {
    for (;;) {
        if (sp<IBivista> service = IBivista::getService(); service != nullptr) return service;
        usleep(10000);
    }
}

// us from one frame that the panel shows to the next, while `work` runs.
template <typename Work>
double usPerFrame(const phone::Phone& phone, Work work) {
    const uint64_t before = phone.panelState().frames;
    const double start = now();
    work();
    const double time = now() - start;
    const uint64_t frames = phone.panelState().frames - before;
    if (frames == 0) fail("no frame reached the panel");
    return time / static_cast<double>(frames);
}

void draw(const sp<IBivista>& service, const hidl_vec<uint32_t>& frame) {
    for (const double end = now() + kWindow; now() < end;) {
        const auto result = service->drawSubDisplay(frame);
        if (!result.isOk() || result != Status::OK) fail("a frame was refused");
    }
}

void drawBare(phone::Phone& phone, const std::string& program) {
    const pid_t pid = phone.spawn({program, std::to_string(kWindow)});
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || status != 0) fail("a bare frame was not sent");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) fail("usage: bench_frames SERVICE BARE_FRAMES");
    if (const std::string error = phone::enterWorld(); !error.empty()) fail(error);
    setenv("HIDL_SOCKET_DIR", "/data/hidl", 1);
    setenv("HOST_LOG_LEVEL", "silent", 1);
    phone::Phone phone;
    phone.setFault(kPace);
    const pid_t server = phone.spawn({argv[1]});
    const sp<IBivista> service = awaitService();
    phone.attachCover();
    while (!phone.panelState().on) usleep(10000);

    hidl_vec<uint32_t> frame;
    frame.resize(kWords);
    std::vector<double> values, references;
    for (int i = 0; i < kPairs; ++i) {
        values.push_back(usPerFrame(phone, [&] { draw(service, frame); }));
        references.push_back(usPerFrame(phone, [&] { drawBare(phone, argv[2]); }));
    }
    // 0.8 of the bare frames in the same time.
    bench::printPairs("frame from client to panel against its bare calls", "us", values, references,
                      1.25);
    kill(server, SIGKILL);
    waitpid(server, nullptr, 0);
    // The runtime's threads must not see the end of the process in their middle.
    fflush(nullptr);
    _exit(0);
}
