#include "cli/Command.h"

#include <CLI/CLI.hpp>
#include <utility>

#include "cli/Colour.h"

namespace cli {
namespace {

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

}  // namespace

Option& Option::required() {
    mOption->required();
    return *this;
}

Option& Option::showDefault() {
    mOption->capture_default_str();
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

Option& Option::notNegative() {
    mOption->check(CLI::NonNegativeNumber);
    return *this;
}

Option& Option::oneOf(const std::vector<std::string>& words) {
    mOption->check(CLI::IsMember(words));
    return *this;
}

Option& Option::check(const Check& check, const std::string& shape) {
    mOption->check([check](const std::string& text) { return check(text); }, shape);
    return *this;
}

Option& Option::excludes(const Option& other) {
    mOption->excludes(other.mOption);
    return *this;
}

Option& Option::needs(const Option& other) {
    mOption->needs(other.mOption);
    return *this;
}

Command::Command(const std::string& name, const std::string& about)
    : mOwned(std::make_unique<CLI::App>(about, name)), mProgram(this), mApp(mOwned.get()) {
    addColour(*mApp);
}

Command::Command(Command* program, CLI::App* app) : mProgram(program), mApp(app) {}

Command::~Command() = default;

Command& Command::add(const std::string& name, const std::string& about) {
    mApp->require_subcommand(1);
    mCommands.emplace_back(new Command(mProgram, mApp->add_subcommand(name, about)));
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

Option Command::take(const std::string& name, std::string* value, const std::string& meaning) {
    return Option(mApp->add_option(name, *value, meaning));
}

Option Command::take(const std::string& name, std::optional<std::string>* value,
                     const std::string& meaning) {
    return Option(mApp->add_option(name, *value, meaning));
}

Option Command::take(const std::string& name, int* value, const std::string& meaning) {
    return Option(mApp->add_option(name, *value, meaning));
}

Option Command::take(const std::string& name, std::optional<int>* value,
                     const std::string& meaning) {
    return Option(mApp->add_option(name, *value, meaning));
}

Option Command::take(const std::string& name, uint32_t* value, const std::string& meaning) {
    return Option(mApp->add_option(name, *value, meaning));
}

Option Command::take(const std::string& name, std::optional<uint32_t>* value,
                     const std::string& meaning) {
    return Option(mApp->add_option(name, *value, meaning));
}

Option Command::take(const std::string& name, uint64_t* value, const std::string& meaning) {
    return Option(mApp->add_option(name, *value, meaning));
}

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
    } catch (const CLI::ParseError& error) {
        // Help is an error to the library, with code 0.
        return mApp->exit(error) == 0 ? 0 : wrongUsage;
    }
}

void refuseUsage(const std::string& argument, const std::string& message) {
    throw CLI::ValidationError(argument, message);
}

}  // namespace cli
