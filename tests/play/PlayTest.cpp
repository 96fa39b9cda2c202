// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/play/PlayTest.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace play_test {

namespace fs = std::filesystem;

namespace {

std::string contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

PlayTest::PlayTest() : temporary(folder + "/tmp") {
    fs::create_directory(temporary);
    setenv("TMPDIR", temporary.c_str(), 1);
}

std::string PlayTest::write(const std::string& steps, const std::string& name,
                            const std::string& start) const {
    const std::string path = folder + "/" + name + ".yaml";
    std::ofstream(path) << "scenario: It works\nabout: Shows it.\n" << start << "steps:\n" << steps;
    return path;
}

std::vector<std::string> PlayTest::command(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {bin("bivista-emulator"), "play"});
    return arguments;
}

Outcome PlayTest::play(const std::vector<std::string>& arguments) const {
    return run(command(arguments));
}

std::string PlayTest::failureIn(const std::string& out) {
    std::istringstream lines(out);
    std::string text;
    std::string line;
    // The first line has the time it took.
    std::getline(lines, line);
    EXPECT_TRUE(line.starts_with("failed  It works (") ||
                line.starts_with("no service  It works ("))
            << out;
    while (std::getline(lines, line) && line != "  around:") text += line + "\n";
    return text;
}

std::string PlayTest::failure(const std::string& steps, const std::string& start,
                              int status) const {
    const std::string file = write(steps, "s", start);
    const Outcome outcome = play({file});
    EXPECT_EQ(outcome.status, status) << outcome.out;
    EXPECT_EQ(outcome.err, "");
    EXPECT_FALSE(hasTemporary());
    std::string text = failureIn(outcome.out);
    const size_t place = text.find(file);
    return place == std::string::npos ? text : text.replace(place, file.size(), "s.yaml");
}

std::vector<pid_t> PlayTest::processes() const {
    std::vector<pid_t> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        const pid_t pid = std::stoi(name);
        if (pid == getpid()) continue;
        if (contentOf(entry.path() / "environ").find(folder) != std::string::npos) {
            found.push_back(pid);
        }
    }
    std::ranges::sort(found);
    return found;
}

pid_t PlayTest::awaitProcess(const std::string& text) const {
    pid_t found = -1;
    await([&] {
        for (const pid_t pid : processes()) {
            std::string line = contentOf("/proc/" + std::to_string(pid) + "/cmdline");
            std::ranges::replace(line, '\0', ' ');
            if (found == -1 && line.starts_with(text)) found = pid;
        }
        return found != -1;
    });
    return found;
}

bool PlayTest::hasTemporary() const {
    return !fs::is_empty(temporary);
}

}  // namespace play_test
