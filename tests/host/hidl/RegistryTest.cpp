// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The directory of services: names, the users that may use them, and what is in the way.
#include <fcntl.h>
#include <hidl/ServiceManagement.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "Processes.h"

namespace {

using namespace hidltest;
namespace fs = std::filesystem;
using IBivista10 = ::vendor::qmx::hardware::bivista::V1_0::IBivista;

constexpr char kName[] = "vendor.qmx.hardware.bivista@1.1::IBivista";
constexpr char kOldName[] = "vendor.qmx.hardware.bivista@1.0::IBivista";
constexpr uid_t kNobody = 65534;

sp<IBivista> makeFake() {
    return new FakeBivista;
}

// The answer of a registration, and its lines on standard error.
::android::status_t registerFake(std::string* log, const std::string& instance = "default") {
    testing::internal::CaptureStderr();
    const ::android::status_t status = makeFake()->registerAsService(instance);
    *log = testing::internal::GetCapturedStderr();
    return status;
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

int connectTo(const std::string& path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "%s", path.c_str());
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) return fd;
    close(fd);
    return -1;
}

TEST(Registry, ListsServicesAsFiles) {
    ServiceDirectory directory;
    ServiceChild child(makeFake);
    const fs::path root = directory.path();
    EXPECT_TRUE(fs::is_socket(root / kName / "default"));
    EXPECT_EQ(fs::read_symlink(root / kOldName / "default"),
              "../" + std::string(kName) + "/default");
    size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        files += entry.is_directory() ? 0 : 1;
    }
    EXPECT_EQ(files, 2u);
    struct stat status;
    ASSERT_EQ(stat((root / kName / "default").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    ASSERT_EQ(stat((root / kName).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST(Registry, MakesItsDirectoryPrivate) {
    ServiceDirectory directory;
    const std::string nested = directory.path() + "/deep/er";
    setenv("HIDL_SOCKET_DIR", nested.c_str(), 1);
    EXPECT_EQ(makeFake()->registerAsService(), ::android::OK);
    struct stat status;
    ASSERT_EQ(stat(nested.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST(Registry, NameOfALiveServiceIsTaken) {
    ServiceDirectory directory;
    ServiceChild child(makeFake);
    std::string log;
    EXPECT_EQ(registerFake(&log), ::android::ALREADY_EXISTS);
    EXPECT_TRUE(has(log, "a running process serves it already")) << log;
    const sp<IBivista> service = getService();
    EXPECT_TRUE(service->isRemote());
    EXPECT_TRUE(service->ping().isOk());
}

TEST(Registry, OtherInstancesAreFree) {
    ServiceDirectory directory;
    ServiceChild child(makeFake);
    std::string log;
    EXPECT_EQ(registerFake(&log, "second"), ::android::OK) << log;
    EXPECT_FALSE(IBivista::getService("second")->isRemote());
    EXPECT_TRUE(IBivista::getService()->isRemote());
}

TEST(Registry, ListsInstancesThatAreServed) {
    using ::android::hardware::getAllHalInstanceNames;
    using Names = std::vector<std::string>;
    ServiceDirectory directory;
    EXPECT_EQ(getAllHalInstanceNames(kName), Names());
    ServiceChild child(makeFake);
    std::string log;
    ASSERT_EQ(registerFake(&log, "another"), ::android::OK) << log;
    EXPECT_EQ(getAllHalInstanceNames(kName), (Names{"another", "default"}));
    EXPECT_EQ(getAllHalInstanceNames(kOldName), (Names{"another", "default"}));
    EXPECT_EQ(getAllHalInstanceNames("vendor.qmx.hardware.bivista@1.2::IBivista"), Names());
    EXPECT_EQ(getAllHalInstanceNames("../hidl"), Names());
}

TEST(Registry, ListsNoInstanceThatNobodyAnswers) {
    using ::android::hardware::getAllHalInstanceNames;
    ServiceDirectory directory;
    ServiceChild child(makeFake);
    close(open((directory.path() + "/" + kName + "/file").c_str(), O_CREAT | O_WRONLY, 0600));
    EXPECT_EQ(getAllHalInstanceNames(kName), std::vector<std::string>{"default"});
    child.kill(SIGKILL);
    child.wait();
    EXPECT_TRUE(fs::is_socket(directory.path() + "/" + kName + "/default"));
    EXPECT_EQ(getAllHalInstanceNames(kName), std::vector<std::string>());
}

TEST(Registry, NameOfAFileIsTaken) {
    ServiceDirectory directory;
    fs::create_directory(directory.path() + "/" + kName);
    close(open((directory.path() + "/" + kName + "/default").c_str(), O_CREAT | O_WRONLY, 0600));
    std::string log;
    EXPECT_EQ(registerFake(&log), ::android::ALREADY_EXISTS);
    EXPECT_TRUE(has(log, "no socket")) << log;
    EXPECT_EQ(IBivista::getService(), nullptr);
}

TEST(Registry, LeavesNothingBehindWhenAParentNameIsTaken) {
    ServiceDirectory directory;
    fs::create_directory(directory.path() + "/" + kOldName);
    close(open((directory.path() + "/" + kOldName + "/default").c_str(), O_CREAT | O_WRONLY, 0600));
    std::string log;
    EXPECT_EQ(registerFake(&log), ::android::ALREADY_EXISTS);
    EXPECT_FALSE(fs::exists(directory.path() + "/" + kName + "/default"));
}

TEST(Registry, DirectoryThatCannotBeMadeIsTold) {
    ServiceDirectory directory;
    for (const char* path : {"/proc/hidl", "/dev/null/hidl"}) {
        setenv("HIDL_SOCKET_DIR", path, 1);
        std::string log;
        EXPECT_NE(registerFake(&log), ::android::OK);
        EXPECT_TRUE(has(log, std::string("Cannot make the service directory ") + path)) << log;
        EXPECT_EQ(IBivista::getService(), nullptr);
    }
}

TEST(Registry, DirectoryThatOthersCanWriteIsRefused) {
    ServiceDirectory directory;
    ServiceChild child(makeFake);
    ASSERT_EQ(chmod(directory.path().c_str(), 0777), 0);
    std::string log;
    EXPECT_EQ(registerFake(&log, "other"), ::android::PERMISSION_DENIED);
    EXPECT_TRUE(has(log, "writable by nobody else")) << log;
    EXPECT_EQ(IBivista::getService(), nullptr);
}

TEST(Registry, LongNamesAreNamesToo) {
    ServiceDirectory directory;
    const std::string name(255, 'n');
    ServiceChild child(makeFake);
    std::string log;
    EXPECT_EQ(registerFake(&log, name), ::android::OK) << log;
    EXPECT_TRUE(fs::is_socket(fs::path(directory.path()) / kName / name));
}

TEST(Registry, NamesThatAreNoFileNamesAreRefused) {
    ServiceDirectory directory;
    for (const std::string& name :
         {std::string(), std::string("../x"), std::string("a/b"), std::string(".hidden"),
          std::string("a\0b", 3), std::string(256, 'n')}) {
        std::string log;
        EXPECT_EQ(registerFake(&log, name), ::android::BAD_VALUE) << name;
        EXPECT_EQ(IBivista::getService(name), nullptr);
    }
}

TEST(Registry, NamesGoWhenTheProcessExits) {
    ServiceDirectory directory;
    Child child([](const Child::Ready&) {
        return makeFake()->registerAsService() == ::android::OK ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_FALSE(fs::exists(fs::symlink_status(directory.path() + "/" + kName + "/default")));
    EXPECT_FALSE(fs::exists(fs::symlink_status(directory.path() + "/" + kOldName + "/default")));
}

// A process that takes its service back and registers it again, at each byte it is sent.
int serveOnAndOff(const Child::Ready& ready, int orders, int reports) {
    const sp<IBivista> service = makeFake();
    if (service->registerAsService() != ::android::OK) return 1;
    ready();
    bool served = true;
    for (char order; read(orders, &order, 1) == 1; served = !served) {
        const ::android::status_t status =
                served ? ::android::hardware::details::unregisterServiceInternal(service, "default")
                       : service->registerAsService();
        if (status != ::android::OK || write(reports, &order, 1) != 1) return 2;
    }
    return 0;
}

TEST(Withdrawal, MakesTheServiceAbsentUntilItIsRegisteredAgain) {
    ServiceDirectory directory;
    int orders[2];
    int reports[2];
    ASSERT_EQ(pipe2(orders, O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(reports, O_CLOEXEC), 0);
    Child child([&](const Child::Ready& ready) {
        close(orders[1]);
        return serveOnAndOff(ready, orders[0], reports[1]);
    });
    ASSERT_TRUE(child.waitUntilReady());
    const auto turn = [&] {
        char byte = 'x';
        ASSERT_EQ(write(orders[1], &byte, 1), 1);
        ASSERT_EQ(read(reports[0], &byte, 1), 1);
    };
    size_t descriptors = 0;
    for (int i = 0; i < 20; ++i) {
        sp<IBivista> service = getService();
        ASSERT_TRUE(service->ping().isOk());
        turn();
        EXPECT_EQ(IBivista::getService(), nullptr);
        EXPECT_EQ(IBivista10::getService(), nullptr);
        EXPECT_FALSE(fs::exists(fs::symlink_status(directory.path() + "/" + kName + "/default")));
        EXPECT_FALSE(
                fs::exists(fs::symlink_status(directory.path() + "/" + kOldName + "/default")));
        EXPECT_TRUE(service->ping().isDeadObject());
        service = nullptr;
        turn();
        if (i == 0) descriptors = descriptorsOf(child.pid());
    }
    EXPECT_EQ(descriptorsOf(child.pid()), descriptors);
    EXPECT_TRUE(getService()->ping().isOk());
    close(orders[1]);
    EXPECT_EQ(child.wait(), 0);
}

TEST(Withdrawal, IsSeenInTheProcessItself) {
    ServiceDirectory directory;
    using ::android::hardware::details::unregisterServiceInternal;
    const sp<IBivista> service = makeFake();
    EXPECT_EQ(unregisterServiceInternal(service, "default"), ::android::NAME_NOT_FOUND);
    ASSERT_EQ(service->registerAsService(), ::android::OK);
    EXPECT_EQ(unregisterServiceInternal(makeFake(), "default"), ::android::NAME_NOT_FOUND);
    EXPECT_EQ(unregisterServiceInternal(service, "other"), ::android::NAME_NOT_FOUND);
    EXPECT_EQ(IBivista::getService(), service);
    EXPECT_EQ(unregisterServiceInternal(service, "default"), ::android::OK);
    EXPECT_EQ(IBivista::getService(), nullptr);
    EXPECT_EQ(unregisterServiceInternal(service, "default"), ::android::NAME_NOT_FOUND);
    EXPECT_EQ(unregisterServiceInternal(nullptr, "default"), ::android::UNEXPECTED_NULL);
}

TEST(Registry, NamesStayWhenAForkedChildExits) {
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "the leak check of a forked child misses the threads that hold its memory";
#endif
#endif
    ServiceDirectory directory;
    ASSERT_EQ(makeFake()->registerAsService(), ::android::OK);
    Child child([](const Child::Ready&) { return 0; });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_TRUE(fs::exists(directory.path() + "/" + kName + "/default"));
}

TEST(Registry, DefaultDirectoryBelongsToTheUser) {
    if (geteuid() != 0) GTEST_SKIP() << "changes its user, which needs root";
    unsetenv("HIDL_SOCKET_DIR");
    const std::string runtime = "/tmp/hidl-runtime-" + std::to_string(getpid());
    ASSERT_EQ(mkdir(runtime.c_str(), 0700), 0);
    ASSERT_EQ(chown(runtime.c_str(), kNobody, kNobody), 0);
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    Child child([&](const Child::Ready&) {
        if (setgid(kNobody) != 0 || setuid(kNobody) != 0) return 1;
        if (makeFake()->registerAsService() != ::android::OK) return 2;
        return fs::is_socket(runtime + "/hidl/" + kName + "/default") ? 0 : 3;
    });
    EXPECT_EQ(child.wait(), 0);
    fs::remove_all(runtime);
}

TEST(OtherUser, ClientIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "changes its user, which needs root";
    ServiceDirectory directory;
    ServiceChild service(makeFake);
    // As lax as the directory may be, so that only the check of the peer is left.
    const std::string socket = directory.path() + "/" + kName + "/default";
    ASSERT_EQ(chmod(directory.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod((directory.path() + "/" + kName).c_str(), 0755), 0);
    ASSERT_EQ(chmod(socket.c_str(), 0777), 0);
    Child client([&](const Child::Ready&) {
        if (setgid(kNobody) != 0 || setuid(kNobody) != 0) return 1;
        const int fd = connectTo(socket);
        char byte;
        // The service hangs up without a word.
        if (fd < 0 || read(fd, &byte, 1) > 0) return 2;
        return IBivista::getService() == nullptr ? 0 : 3;
    });
    EXPECT_EQ(client.wait(), 0);
    EXPECT_TRUE(getService()->ping().isOk());
}

TEST(OtherUser, ServiceIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "changes its user, which needs root";
    ServiceDirectory directory;
    const std::string folder = directory.path() + "/" + kName;
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    ASSERT_EQ(chmod(directory.path().c_str(), 0755), 0);
    ASSERT_EQ(chown(folder.c_str(), kNobody, kNobody), 0);
    Child service([&](const Child::Ready& ready) {
        if (setgid(kNobody) != 0 || setuid(kNobody) != 0) return 1;
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, (folder + "/default").c_str(), sizeof(address.sun_path) - 1);
        if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) return 2;
        if (listen(fd, 1) != 0) return 3;
        ready();
        pause();
        return 0;
    });
    ASSERT_TRUE(service.waitUntilReady());
    testing::internal::CaptureStderr();
    EXPECT_EQ(IBivista::getService(), nullptr);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(has(log, "of user 65534")) << log;
}

}  // namespace
