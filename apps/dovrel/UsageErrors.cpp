#include "apps/dovrel/UsageErrors.h"

#include <CLI/CLI.hpp>

#include "apps/dovrel/Texts.h"

namespace dovrel::cli {

namespace {

// The command being given its words: the subcommand that was reached, or the program itself.
const CLI::App& commandOf(const CLI::App& app) {
    const auto parsed = app.get_subcommands();
    return parsed.empty() ? app : *parsed.front();
}

std::string commandName(const CLI::App& app) {
    const CLI::App& command = commandOf(app);
    if (&command == &app) {
        return app.get_name();
    }
    return app.get_name() + " " + command.get_name();
}

// The options that words may be meant for: the command's own, then the program's (which every
// command falls through to).
std::vector<const CLI::Option*> optionsInReach(const CLI::App& app) {
    std::vector<const CLI::Option*> options = commandOf(app).get_options();
    if (&commandOf(app) != &app) {
        const auto global = app.get_options();
        options.insert(options.end(), global.begin(), global.end());
    }
    return options;
}

// A flag takes no value words of its own (--json, --force).
bool isFlag(const CLI::Option& option) {
    return option.get_items_expected_max() == 0;
}

// The option that `word` names, "--at" or "--at=..." alike; nothing for another word.
const CLI::Option* optionNamedBy(const CLI::App& app, const std::string& word) {
    if (word.size() < 2 || word.front() != '-') {
        return nullptr;
    }
    const std::string name = word.substr(0, word.find('='));
    for (const CLI::Option* option : optionsInReach(app)) {
        if (option->check_name(name)) {
            return option;
        }
    }
    return nullptr;
}

std::optional<UsageError> missingArgument(const CLI::App& app) {
    for (const CLI::Option* option : commandOf(app).get_options()) {
        if (option->get_required() && option->count() == 0) {
            const std::string name = option->get_name(!option->nonpositional());
            return UsageError(text("Cli.Error.MissingArgument",
                                   {{"command", commandName(app)}, {"argument", name}}));
        }
    }
    return std::nullopt;
}

std::optional<UsageError> repeatedOption(const CLI::App& app) {
    for (const CLI::Option* option : optionsInReach(app)) {
        if (!isFlag(*option) && option->nonpositional() && option->count() > 1) {
            return UsageError(text("Cli.Error.RepeatedOption", {{"option", option->get_name()}}));
        }
    }
    return std::nullopt;
}

// CLI11 runs out of words only when the option that needs a value is the last word.
std::optional<UsageError> missingValue(const CLI::App& app,
                                       const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        return std::nullopt;
    }
    const CLI::Option* option = optionNamedBy(app, arguments.back());
    if (option == nullptr || isFlag(*option)) {
        return std::nullopt;
    }
    return UsageError(text("Cli.Error.MissingValue",
                           {{"option", option->get_name()}, {"value", option->get_type_name()}}));
}

std::optional<UsageError> flagWithValue(const CLI::App& app,
                                        const std::vector<std::string>& arguments) {
    for (const std::string& word : arguments) {
        if (word.find('=') == std::string::npos) {
            continue;
        }
        const CLI::Option* option = optionNamedBy(app, word);
        if (option != nullptr && isFlag(*option)) {
            return UsageError(text("Cli.Error.FlagValue", {{"option", option->get_name()}}));
        }
    }
    return std::nullopt;
}

}  // namespace

UsageError usageErrorFor(const CLI::ParseError& error, const CLI::App& app,
                         const std::vector<std::string>& arguments) {
    std::optional<UsageError> usage;
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        usage = missingArgument(app);
    } else if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
        usage = repeatedOption(app);
        if (!usage) {
            usage = missingValue(app, arguments);
        }
        if (!usage) {
            usage = flagWithValue(app, arguments);
        }
    } else if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) {
        usage = flagWithValue(app, arguments);
    }
    return usage ? *usage : UsageError(text("Cli.Error.UnreadableCommandLine"));
}

std::optional<UsageError> leftoverWordsError(const CLI::App& app) {
    const std::vector<std::string> leftover = app.remaining(true);
    if (leftover.empty()) {
        return std::nullopt;
    }
    const std::string& word = leftover.front();
    if (word.size() > 1 && word.front() == '-') {
        return UsageError(
            text("Cli.Error.UnknownOption", {{"command", commandName(app)}, {"option", word}}));
    }
    if (&commandOf(app) == &app) {
        return UsageError(text("Cli.Error.UnknownCommand", {{"word", word}}));
    }
    return UsageError(
        text("Cli.Error.ExtraArgument", {{"command", commandName(app)}, {"word", word}}));
}

}  // namespace dovrel::cli
