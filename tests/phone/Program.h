// bivista-emulator as a process, for tests of what people and scripts meet.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace program {

inline const std::string kEmulator = EMULATOR;

namespace fs = std::filesystem;

// A process whose output is collected and whose input stays open until wait().
class Child {
  public:
    explicit Child(const std::vector<std::string>& command, uid_t user = 0) {
        int in[2];
        int out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) std::abort();
        mError = fs::temp_directory_path() / ("program-test-" + std::to_string(getpid()));
        std::vector<char*> argv;
        argv.reserve(command.size() + 1);
        for (const std::string& word : command) argv.push_back(const_cast<char*>(word.c_str()));
        argv.push_back(nullptr);
        mPid = fork();
        if (mPid == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            dup2(open(mError.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            if (user != 0 &&
                (setresgid(user, user, user) != 0 || setresuid(user, user, user) != 0)) {
                _exit(99);
            }
            execv(argv[0], argv.data());
            _exit(98);
        }
        close(in[0]);
        close(out[1]);
        mIn = in[1];
        mOut = out[0];
    }

    ~Child() {
        if (mPid < 0) return;
        kill(mPid, SIGKILL);
        wait();
    }

    pid_t pid() const { return mPid; }

    // Waits until it has printed this text.
    void waitFor(const std::string& text) {
        while (mText.find(text) == std::string::npos && readSome()) {
        }
    }

    // Its exit status, or 128 + the signal that ended it.
    int wait() {
        close(mIn);
        while (readSome()) {
        }
        close(mOut);
        int status = 0;
        waitpid(mPid, &status, 0);
        mPid = -1;
        std::ifstream file(mError);
        mErrorText.assign(std::istreambuf_iterator<char>(file), {});
        fs::remove(mError);
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

    const std::string& out() const { return mText; }
    // After wait().
    const std::string& err() const { return mErrorText; }

  private:
    bool readSome() {
        char buffer[4096];
        const ssize_t count = read(mOut, buffer, sizeof(buffer));
        if (count > 0) mText.append(buffer, static_cast<size_t>(count));
        return count > 0;
    }

    pid_t mPid = -1;
    int mIn = -1;
    int mOut = -1;
    std::string mText;
    fs::path mError;
    std::string mErrorText;
};

class ProgramTest : public testing::Test {
  protected:
    ProgramTest() {
        char folder[] = "/tmp/emulator-test-XXXXXX";
        if (mkdtemp(folder) == nullptr) std::abort();
        mFolder = folder;
        setenv("HIDL_SOCKET_DIR", (mFolder + "/hidl").c_str(), 1);
        // ThreadSanitizer lets every program sleep for a second at its end.
        const char* options = getenv("TSAN_OPTIONS");
        setenv("TSAN_OPTIONS",
               (std::string(options == nullptr ? "" : options) + ":atexit_sleep_ms=10").c_str(), 1);
    }
    ~ProgramTest() override { fs::remove_all(mFolder); }

    static std::vector<std::string> emulator(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), kEmulator);
        return arguments;
    }

    struct Outcome {
        int status;
        std::string out;
        std::string err;
    };
    static Outcome invoke(const std::vector<std::string>& arguments) {
        Child child(emulator(arguments));
        const int status = child.wait();
        return {status, child.out(), child.err()};
    }
    static Outcome runShell(const std::string& script) {
        return invoke({"run", "--", "/bin/sh", "-c", script});
    }
    // An emulator that lives as long as the object.
    static std::vector<std::string> stayingUp() {
        return emulator({"run", "--", "/bin/sh", "-c", "echo up; read line || exit 0"});
    }

    // The build may lie where nobody else may look.
    std::string copyForEverybody() const {
        std::string copy = mFolder + "/bivista-emulator";
        fs::copy(kEmulator, copy);
        EXPECT_EQ(chmod(mFolder.c_str(), 0777), 0);
        return copy;
    }

    static std::string contentOf(const std::string& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    static void expectUsageErrors(const std::vector<std::vector<std::string>>& wrong) {
        for (const std::vector<std::string>& arguments : wrong) {
            const Outcome outcome = invoke(arguments);
            EXPECT_EQ(outcome.status, 2) << testing::PrintToString(arguments);
            EXPECT_NE(outcome.err, "") << testing::PrintToString(arguments);
            EXPECT_EQ(outcome.out, "") << testing::PrintToString(arguments);
        }
    }

    std::string mFolder;
};

}  // namespace program
