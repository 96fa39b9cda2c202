// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Services that are declared and not up: the calls that wait for them, and what ends the wait.
#include <fcntl.h>
#include <hidl/ServiceManagement.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <thread>

#include "Processes.h"

namespace {

using namespace hidltest;
using ::android::hardware::details::declareServiceInternal;
using ::android::hardware::details::undeclareServiceInternal;
using ::android::hardware::details::unregisterServiceInternal;
namespace fs = std::filesystem;
using IBivista10 = ::vendor::qmx::hardware::bivista::V1_0::IBivista;

constexpr char kName[] = "vendor.qmx.hardware.bivista@1.1::IBivista/default";
constexpr char kOldName[] = "vendor.qmx.hardware.bivista@1.0::IBivista/default";

sp<IBivista> makeFake() {
    return new FakeBivista;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Standard error goes into a file while it lives.
class ErrorFile {
  public:
    ErrorFile() : mPath("/tmp/hidl-errors-" + std::to_string(getpid())) {
        mBefore = dup(STDERR_FILENO);
        const int file = open(mPath.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_APPEND, 0600);
        dup2(file, STDERR_FILENO);
        close(file);
    }
    ~ErrorFile() {
        dup2(mBefore, STDERR_FILENO);
        close(mBefore);
        unlink(mPath.c_str());
    }
    ErrorFile(const ErrorFile&) = delete;
    ErrorFile& operator=(const ErrorFile&) = delete;

    bool has(const std::string& part) const {
        return readFile(mPath).find(part) != std::string::npos;
    }
    void await(const std::string& part) const {
        waitUntil([&] { return has(part); });
    }

  private:
    const std::string mPath;
    int mBefore;
};

class Declaration : public testing::Test {
  protected:
    std::string file() const { return directory.path() + "/declared"; }
    void declare(const std::string& text) const { std::ofstream(file()) << text; }
    static void awaitWait(const ErrorFile& errors, const std::string& name) {
        errors.await("host-hidl W");
        errors.await("Waiting for " + name + ", which is declared and not up");
    }

    ServiceDirectory directory;
};

// A process that registers the service when the test orders it.
class LateService {
  public:
    LateService() {
        if (pipe2(mGate, O_CLOEXEC) != 0) abort();
        mChild = std::make_unique<Child>([this](const Child::Ready& ready) {
            close(mGate[1]);
            char byte;
            if (read(mGate[0], &byte, 1) != 1) return 1;
            const sp<IBivista> service = makeFake();
            ::android::hardware::configureRpcThreadpool(1, true);
            if (service->registerAsService() != ::android::OK) return 2;
            ready();
            ::android::hardware::joinRpcThreadpool();
            return 3;
        });
    }
    ~LateService() {
        close(mGate[0]);
        close(mGate[1]);
    }
    void start() { EXPECT_EQ(write(mGate[1], "x", 1), 1); }

  private:
    int mGate[2];
    std::unique_ptr<Child> mChild;
};

TEST_F(Declaration, OfAServiceThatIsNotUpHoldsGetServiceUntilItIs) {
    LateService late;
    declare(std::string(kName) + "\n");
    const ErrorFile errors;
    std::atomic<bool> found = false;
    sp<IBivista> service;
    std::thread client([&] {
        service = IBivista::getService();
        found = true;
    });
    awaitWait(errors, kName);
    EXPECT_EQ(IBivista::tryGetService(), nullptr);
    EXPECT_EQ(IBivista10::getService(), nullptr) << "it is another name, and not declared";
    EXPECT_FALSE(found);
    late.start();
    client.join();
    ASSERT_NE(service, nullptr);
    EXPECT_TRUE(service->ping().isOk());
    errors.await("host-hidl I");
    EXPECT_TRUE(errors.has(std::string(kName) + " is up\n"));
}

TEST_F(Declaration, OfAParentInterfaceHoldsItsClients) {
    LateService late;
    declare(std::string("# the old one alone\n\n") + kOldName);
    const ErrorFile errors;
    sp<IBivista10> service;
    std::thread client([&] { service = IBivista10::getService(); });
    awaitWait(errors, kOldName);
    late.start();
    client.join();
    ASSERT_NE(service, nullptr);
    EXPECT_TRUE(service->ping().isOk());
}

TEST_F(Declaration, OfAServiceOfTheSameProcessHoldsItsClientsToo) {
    const sp<IBivista> own = makeFake();
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(declareServiceInternal(own, "default"), ::android::OK);
        const ErrorFile errors;
        std::vector<sp<IBivista>> found(3);
        std::vector<std::thread> clients;
        for (sp<IBivista>& service : found) {
            clients.emplace_back([&service] { service = IBivista::getService(); });
        }
        awaitWait(errors, kName);
        ASSERT_EQ(own->registerAsService(), ::android::OK);
        ASSERT_EQ(undeclareServiceInternal(own, "default"), ::android::OK);
        for (std::thread& client : clients) client.join();
        for (const sp<IBivista>& service : found) EXPECT_EQ(service, own) << "itself, no proxy";
        ASSERT_EQ(unregisterServiceInternal(own, "default"), ::android::OK);
    }
}

// A way in which a declaration ends.
struct Ending {
    const char* name;
    void (*end)(const std::string& file);
};

void PrintTo(const Ending& ending, std::ostream* out) {
    *out << ending.name;
}

constexpr Ending kEndings[] = {
        {"removed", [](const std::string& file) { fs::remove(file); }},
        {"renamed", [](const std::string& file) { fs::rename(file, file + "-not"); }},
        {"rewritten", [](const std::string& file) { std::ofstream(file) << kOldName; }},
        {"replaced",
         [](const std::string& file) {
             std::ofstream(file + "-new") << "other\n";
             fs::rename(file + "-new", file);
         }},
        {"removed_with_the_directory",
         [](const std::string& file) { fs::remove_all(fs::path(file).parent_path()); }},
};

class EndOfDeclaration : public Declaration, public testing::WithParamInterface<Ending> {};

TEST_P(EndOfDeclaration, GivesThoseWhoWaitNull) {
    declare(std::string(kName) + "\n");
    const ErrorFile errors;
    sp<IBivista> service = makeFake();
    std::thread client([&] { service = IBivista::getService(); });
    awaitWait(errors, kName);
    GetParam().end(file());
    client.join();
    EXPECT_EQ(service, nullptr);
    EXPECT_TRUE(errors.has(std::string(kName) + " is no longer declared\n"));
}

INSTANTIATE_TEST_SUITE_P(Ways, EndOfDeclaration, testing::ValuesIn(kEndings));

TEST_F(Declaration, OfADeadServiceHoldsItsClientsUntilItIsBack) {
    LateService late;
    {
        ServiceChild dead(makeFake);
        dead.kill(SIGKILL);
        dead.wait();
    }
    ASSERT_TRUE(fs::is_socket(directory.path() + "/" + kName));
    declare(kName);
    const ErrorFile errors;
    sp<IBivista> service;
    std::thread client([&] { service = IBivista::getService(); });
    awaitWait(errors, kName);
    late.start();
    client.join();
    EXPECT_NE(service, nullptr);
}

TEST_F(Declaration, OfOtherInstancesHoldsNobody) {
    declare(std::string(kName) + "2\n " + kName + "\nx" + kName + "\n");
    EXPECT_EQ(IBivista::getService(), nullptr);
}

TEST_F(Declaration, ThatIsNoFileDeclaresNothing) {
    fs::create_directory(file());
    const ErrorFile errors;
    EXPECT_EQ(IBivista::getService(), nullptr);
    EXPECT_TRUE(errors.has("Cannot read " + file() + ": Is a directory"));
}

TEST_F(Declaration, InADirectoryThatOthersCanWriteIsNotBelieved) {
    declare(kName);
    ASSERT_EQ(chmod(directory.path().c_str(), 0777), 0);
    EXPECT_EQ(IBivista::getService(), nullptr);
}

TEST_F(Declaration, HoldsNobodyWhoCannotSeeItsEnd) {
    declare(kName);
    // Enough for a look-up; with one more for the wait, the next one has too few.
    const ErrorFile errors;
    const int held = open("/dev/null", O_RDONLY);
    rlimit before;
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit tight = {static_cast<rlim_t>(held) + 2, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &tight);
    close(held);
    EXPECT_EQ(IBivista::getService(), nullptr);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_TRUE(errors.has("Too many open files"));
}

TEST_F(Declaration, IsOneLineForEachInterfaceOfTheChain) {
    const sp<IBivista> service = makeFake();
    ASSERT_EQ(declareServiceInternal(service, "default"), ::android::OK);
    EXPECT_EQ(readFile(file()), std::string(kName) + "\n" + kOldName + "\n");
    ASSERT_EQ(declareServiceInternal(service, "default"), ::android::OK);
    EXPECT_EQ(readFile(file()), std::string(kName) + "\n" + kOldName + "\n");
    struct stat status;
    ASSERT_EQ(stat(file().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    const auto entries = fs::directory_iterator(directory.path());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1) << "nothing but the file";
    ASSERT_EQ(undeclareServiceInternal(service, "default"), ::android::OK);
    EXPECT_FALSE(fs::exists(file()));
    EXPECT_EQ(undeclareServiceInternal(service, "default"), ::android::OK);
}

TEST_F(Declaration, LeavesTheLinesOfOthers) {
    declare("# ours\nother/one");
    const sp<IBivista> service = makeFake();
    ASSERT_EQ(declareServiceInternal(service, "x"), ::android::OK);
    EXPECT_EQ(readFile(file()),
              "# ours\nother/one\nvendor.qmx.hardware.bivista@1.1::IBivista/x\n"
              "vendor.qmx.hardware.bivista@1.0::IBivista/x\n");
    ASSERT_EQ(undeclareServiceInternal(service, "x"), ::android::OK);
    EXPECT_EQ(readFile(file()), "# ours\nother/one\n");
}

TEST_F(Declaration, ThatCannotBeWrittenIsTold) {
    fs::create_directory(file());
    const ErrorFile errors;
    EXPECT_NE(declareServiceInternal(makeFake(), "default"), ::android::OK);
    setenv("HIDL_SOCKET_DIR", "/proc/hidl", 1);
    EXPECT_NE(declareServiceInternal(makeFake(), "default"), ::android::OK);
    EXPECT_TRUE(errors.has("Cannot make the service directory /proc/hidl"));
    EXPECT_EQ(undeclareServiceInternal(makeFake(), "default"), ::android::OK);
}

TEST_F(Declaration, HoldsNobodyWhoseServiceIsUp) {
    ServiceChild child(makeFake);
    declare(kName);
    const ErrorFile errors;
    EXPECT_TRUE(getService()->ping().isOk());
    EXPECT_FALSE(errors.has("Waiting"));
}

}  // namespace
