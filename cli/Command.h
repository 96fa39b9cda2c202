// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The command line of a program: its commands, what they take, and their help. The library that
// reads it takes long to compile, so only Command.cpp includes it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace cli {

// Returns what is wrong with a text, or nothing when it is right.
using Check = std::function<std::string(const std::string& text)>;

// One argument or option of a command. Each function returns the option itself.
class Option {
  public:
    Option& required();
    // The help shows the value that counts when the option is not given: the variable's present
    // one.
    Option& showDefault();
    // How the help writes the type of the value and, unless empty, what counts without one.
    Option& write(const std::string& type, const std::string& otherwise);
    // Not in the help.
    Option& hidden();
    Option& range(int least, int most);
    // `shape` stands for the value in the help: "N|never".
    Option& check(const Check& check, const std::string& shape = "");
    // The command line must have the other one as well.
    Option& needs(const Option& other);

  private:
    friend class Command;
    explicit Option(CLI::Option* option) : mOption(option) {}

    CLI::Option* mOption;
};

// A whole program, or one command of it. Variables that take values must live as long as it.
class Command {
  public:
    // Runs when the command line names the command and is right; returns the program's exit status.
    using Action = std::function<int()>;

    // A program. Its option --color counts for cli/Colour.h; --version prints the package's.
    Command(const std::string& name, const std::string& about);
    ~Command();
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    // A command below this one. The command line must name one of those that a command has. `help`:
    // as for setHelp(); the parent's when it is empty.
    Command& add(const std::string& name, const std::string& about, const std::string& help = "");
    // Another name for this command.
    void alias(const std::string& name);
    // What the help says below its lists.
    void setHelp(const std::string& text);
    void setAction(const Action& action);
    // For a command with others below it, which were added before: what runs when the command line
    // names none of these and gives this flag.
    void setActionInstead(const bool* given, const Action& action);

    // An option when the name begins with dashes, else an argument, in the order of these calls.
    // For a text, an optional text and an int.
    template <typename T>
    Option take(const std::string& name, T* value, const std::string& meaning);
    // An argument of one or several words.
    Option takeWords(const std::string& name, std::vector<std::string>* words,
                     const std::string& meaning);
    // An option that may be given several times.
    Option takeRepeated(const std::string& name, std::vector<std::string>* values,
                        const std::string& meaning);
    // An argument or option that `parse` reads.
    Option takeParsed(const std::string& name, const Check& parse, const std::string& meaning);
    // An option without a value; true when it is given.
    Option flag(const std::string& name, bool* given, const std::string& meaning);
    // One that changes nothing.
    Option flag(const std::string& name, const std::string& meaning);
    // Takes all that stands after the command's name as it is, also what looks like an option, but
    // for the options that stand first. `usage` is how the help writes it.
    void takeRest(std::vector<std::string>* words, const std::string& usage);

    std::string help() const;

    // Reads the command line and runs what it names. Returns the action's result; 0 after --help
    // and
    // --version; `wrongUsage` when the command line is wrong, which standard error says. Throws
    // what the action throws, and OutputFailed when a help cannot be written.
    int run(int argc, char** argv, int wrongUsage);

    // The same for words after the program's name, and nothing is printed: returns what standard
    // error would say, or nothing when the command line is right and its action has run.
    std::string tryRun(const std::vector<std::string>& words);

  private:
    Command(Command* program, CLI::App* app);

    std::unique_ptr<CLI::App> mOwned;  // the program's alone
    Command* const mProgram;
    CLI::App* const mApp;
    std::vector<std::unique_ptr<Command>> mCommands;
    Action mChosen;  // the program's alone
};

// What an action throws when arguments that are right by themselves do not go together: the program
// ends as for any other wrong command line.
[[noreturn]] void refuseUsage(const std::string& argument, const std::string& message);

}  // namespace cli
