// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "cli/Command.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <utility>

#include "cli/Colour.h"
#include "cli/Message.h"
#include "cli/Output.h"
#include "cli/Suggestion.h"

namespace cli {
namespace {

using Words = std::vector<std::string>;

// The library writes the usage of what it parses itself.
class FixedUsage : public CLI::Formatter {
  public:
    explicit FixedUsage(std::string usage) : mUsage(std::move(usage)) {}

    std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override {
        return "Usage: " + mUsage + "\n";
    }

  private:
    const std::string mUsage;
};

void addColour(CLI::App& app) {
    const auto set = [](const std::string& when) { setColour(when); };
    app.add_option_function<std::string>("--color", set,
                                         "Colours in what is printed; auto: on a terminal")
            ->check(CLI::IsMember({"never", "auto", "always"}));
    // The option counts after a command's name too.
    app.fallthrough();
}

bool looksLikeOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && word != "--" &&
           isdigit(static_cast<uint8_t>(word[1])) == 0;
}

// The command below which the word stands on the command line.
const CLI::App* commandAt(const std::string& word, const CLI::App* program, const Words& words) {
    const CLI::App* command = program;
    for (size_t i = 0; i < words.size() && words[i] != word; ++i) {
        for (const CLI::App* below : command->get_subcommands(nullptr)) {
            if (!below->check_name(words[i])) continue;
            command = below;
            break;
        }
    }
    return command;
}

// From the program's name on.
std::string pathOf(const CLI::App* command) {
    const CLI::App* parent = command->get_parent();
    return (parent == nullptr ? "" : pathOf(parent) + " ") + command->get_name();
}

Words namesBelow(const CLI::App* command) {
    Words names;
    for (const CLI::App* below : command->get_subcommands(nullptr)) {
        names.push_back(below->get_name());
        for (const std::string& alias : below->get_aliases()) names.push_back(alias);
    }
    return names;
}

// The options of all that stands on the way to the command count there too.
Words optionsOf(const CLI::App* command) {
    Words names;
    for (; command != nullptr; command = command->get_parent()) {
        for (const CLI::Option* option : command->get_options()) {
            if (option->get_group().empty()) continue;
            for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
        }
    }
    return names;
}

// Of a command line with a word that is no command or no option where it stands; else nothing.
std::string explainUnknownWord(const CLI::App& program, const Words& words) {
    const Words unknown = program.remaining(true);
    if (unknown.empty()) return "";
    const std::string& word = unknown.front();
    const CLI::App* command = commandAt(word, &program, words);
    const bool isOption = looksLikeOption(word);
    const Words names = isOption ? optionsOf(command) : namesBelow(command);
    if (names.empty()) return "";
    const std::string suggestion = suggest(word.substr(0, word.find('=')), names);
    return std::string("there is no ") + (isOption ? "option" : "command") + " \"" + word + "\"" +
           (suggestion.empty() ? "." : suggestion) + " \"" + pathOf(command) +
           " --help\" lists them.";
}

// The last command that the command line has.
const CLI::App* lastOf(const CLI::App* program) {
    const std::vector<CLI::App*> below = program->get_subcommands();
    return below.empty() ? program : lastOf(below.back());
}

// What is wrong with the command line, and where help is.
std::string explain(const CLI::ParseError& error, const CLI::App& program, const Words& words) {
    std::string unknown = explainUnknownWord(program, words);
    if (!unknown.empty()) return unknown;
    const CLI::App* command = lastOf(&program);
    std::string wrong = error.what();
    const std::vector<const CLI::App*> below = command->get_subcommands(nullptr);
    if (!below.empty() && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        wrong = "a command is missing after \"" + pathOf(command) + "\":";
        for (const CLI::App* each : below) {
            wrong += " " + each->get_name() + (each == below.back() ? "" : ",");
        }
    }
    if (!wrong.ends_with('.') && !wrong.ends_with('?')) wrong += ".";
    return wrong + " \"" + pathOf(command) + " --help\" tells more.";
}

}  // namespace

Option& Option::required() {
    mOption->required();
    return *this;
}

Option& Option::showDefault() {
    mOption->capture_default_str();
    return *this;
}

Option& Option::write(const std::string& type, const std::string& otherwise) {
    mOption->type_name(type);
    if (!otherwise.empty()) mOption->default_str(otherwise);
    return *this;
}

Option& Option::hidden() {
    mOption->group("");
    return *this;
}

Option& Option::range(int least, int most) {
    mOption->check(CLI::Range(least, most));
    return *this;
}

Option& Option::check(const Check& check, const std::string& shape) {
    mOption->check([check](const std::string& text) { return check(text); }, shape);
    return *this;
}

Option& Option::needs(const Option& other) {
    mOption->needs(other.mOption);
    return *this;
}

Command::Command(const std::string& name, const std::string& about)
    : mOwned(std::make_unique<CLI::App>(about, name)), mProgram(this), mApp(mOwned.get()) {
    addColour(*mApp);
    mApp->set_version_flag("--version", name + " " BIVISTA_VERSION, "Print the version and exit");
}

Command::Command(Command* program, CLI::App* app) : mProgram(program), mApp(app) {}

Command::~Command() = default;

Command& Command::add(const std::string& name, const std::string& about, const std::string& help) {
    mApp->require_subcommand(1);
    mCommands.emplace_back(new Command(mProgram, mApp->add_subcommand(name, about)));
    // Without one of its own it has its parent's.
    if (!help.empty()) mCommands.back()->setHelp(help);
    return *mCommands.back();
}

void Command::alias(const std::string& name) {
    mApp->alias(name);
}

void Command::setHelp(const std::string& text) {
    mApp->footer(text);
}

void Command::setAction(const Action& action) {
    mApp->callback([this, action] { mProgram->mChosen = action; });
}

void Command::setActionInstead(const bool* given, const Action& action) {
    mApp->require_subcommand(0, 1);
    mApp->callback([this, given, action] {
        if (!mApp->get_subcommands().empty()) return;
        if (!*given) throw CLI::RequiredError("A subcommand");
        mProgram->mChosen = action;
    });
}

template <typename T>
Option Command::take(const std::string& name, T* value, const std::string& meaning) {
    return Option(mApp->add_option(name, *value, meaning));
}
template Option Command::take(const std::string&, std::string*, const std::string&);
template Option Command::take(const std::string&, std::optional<std::string>*, const std::string&);
template Option Command::take(const std::string&, int*, const std::string&);

Option Command::takeWords(const std::string& name, std::vector<std::string>* words,
                          const std::string& meaning) {
    return Option(mApp->add_option(name, *words, meaning));
}

Option Command::takeRepeated(const std::string& name, std::vector<std::string>* values,
                             const std::string& meaning) {
    return Option(mApp->add_option(name, *values, meaning)->allow_extra_args(false));
}

Option Command::takeParsed(const std::string& name, const Check& parse,
                           const std::string& meaning) {
    CLI::callback_t take = [name, parse](const CLI::results_t& texts) {
        const std::string wrong = parse(texts.front());
        if (!wrong.empty()) throw CLI::ValidationError(name, wrong);
        return true;
    };
    return Option(mApp->add_option(name, std::move(take), meaning));
}

Option Command::flag(const std::string& name, bool* given, const std::string& meaning) {
    return Option(mApp->add_flag(name, *given, meaning));
}

Option Command::flag(const std::string& name, const std::string& meaning) {
    return Option(mApp->add_flag(name, meaning));
}

void Command::takeRest(std::vector<std::string>* words, const std::string& usage) {
    mApp->formatter(std::make_shared<FixedUsage>(usage));
    mApp->prefix_command();
    mApp->fallthrough(false);
    mApp->parse_complete_callback([this, words] { *words = mApp->remaining(); });
}

std::string Command::help() const {
    return mApp->help();
}

int Command::run(int argc, char** argv, int wrongUsage) {
    try {
        mApp->parse(argc, argv);
        return mChosen();
    } catch (const CLI::CallForHelp&) {
        printOrFail(mApp->help());
    } catch (const CLI::CallForVersion& version) {
        printOrFail(std::string(version.what()) + "\n");
    } catch (const CLI::ParseError& error) {
        complain(mApp->get_name(), explain(error, *mApp, Words(argv + 1, argv + argc)));
        return wrongUsage;
    }
    return 0;
}

std::string Command::tryRun(const Words& words) {
    try {
        // The library takes the last word first.
        mApp->parse(Words(words.rbegin(), words.rend()));
        mChosen();
    } catch (const CLI::Success&) {
        return "a command that only tells about the program does nothing here.";
    } catch (const CLI::ParseError& error) {
        return explain(error, *mApp, words);
    }
    return "";
}

void refuseUsage(const std::string& argument, const std::string& message) {
    throw CLI::ValidationError(argument, message);
}

}  // namespace cli
