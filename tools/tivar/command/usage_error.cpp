#include "command/usage_error.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>

#include "command/suggest.h"
#include "process/failure.h"

namespace tool {
namespace {

// The name of a file that looks like an option; "" = there is none.
std::string fileTakenForOptions(std::span<char* const> arguments) {
    for (const std::string_view argument : arguments) {
        if (argument == "--") break;
        if (argument.starts_with('-') && ::access(argument.data(), F_OK) == 0) {
            return std::string(argument);
        }
    }
    return "";
}

const CLI::App& innermost(const CLI::App& app) {
    const std::vector<CLI::App*> parsed = app.get_subcommands();
    return parsed.empty() ? app : innermost(*parsed.front());
}

std::vector<std::string> commandsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> optionsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
    return names;
}

struct Blame {
    std::string what;
    std::string meant;  // "" = nobody can guess
};

Blame blameStray(const CLI::App& app, const std::string& stray) {
    const CLI::App& command = innermost(app);
    const std::string owner = &command == &app ? "" : " of tivar " + command.get_name();
    if (stray.starts_with('-')) {
        const std::string name = stray.substr(0, stray.find('='));
        return {name + " is no option" + owner, nearestWord(name, optionsOf(command))};
    }
    const std::vector<std::string> commands = commandsOf(command);
    if (!commands.empty()) {
        const bool file = &command == &app && ::access(stray.c_str(), F_OK) == 0;
        return {stray + " is no command" + owner,
                file ? "tivar export " + stray : nearestWord(stray, commands)};
    }
    const CLI::Option* output = command.get_option_no_throw("--output");
    const bool target = output != nullptr && output->count() == 0;
    return {stray + " is one argument too many", target ? "-o " + stray : ""};
}

// "--bits: 1 required 1|4|8|24 missing" and "--bits: At Most 1 required but received 2"
std::string describeMismatch(const std::string& text) {
    constexpr std::string_view kMissing = " missing";
    constexpr std::string_view kRequired = " required ";
    const std::string option = text.substr(0, text.find(": "));
    if (!text.ends_with(kMissing)) return option + " is given more than once";
    const size_t type = text.find(kRequired) + kRequired.size();
    return option + " needs a value, " + text.substr(type, text.size() - kMissing.size() - type);
}

template <class Kind>
bool is(const CLI::ParseError& error) {
    return dynamic_cast<const Kind*>(&error) != nullptr;
}

// Whether the word stands in the list of words, with blanks around it.
bool lists(const std::string& words, std::string_view word) {
    return (" " + words + " ").find(" " + std::string(word) + " ") != std::string::npos;
}

// The first argument that fits nowhere; "" = all of them do. The parser forgets it when there is
// nothing else to complain of, but for the message, which has the last one first.
std::string strayIn(const CLI::App& app, const CLI::ParseError& error,
                    std::span<char* const> arguments) {
    constexpr std::string_view kStray = "not expected: ";
    const std::vector<std::string> strays = app.remaining(true);
    if (is<CLI::RequiredError>(error) && !strays.empty()) return strays.front();
    if (!is<CLI::ExtrasError>(error)) return "";
    const std::string text = error.what();
    std::string list = text.substr(text.find(kStray) + kStray.size());
    for (const std::string_view argument : arguments) {
        if (lists(list, argument)) return std::string(argument);
    }
    return list;
}

std::string describe(const CLI::ParseError& error) {
    const std::string text = error.what();
    if (is<CLI::ArgumentMismatch>(error)) return describeMismatch(text);
    return text == "A subcommand is required" ? "a command is missing" : text;
}

[[noreturn]] void failStray(const CLI::App& app, const std::string& stray,
                            const std::string& remedy) {
    const Blame blame = blameStray(app, stray);
    failUsage(blame.what, blame.meant.empty() ? remedy : "did you mean " + blame.meant + "?");
}

}  // namespace

void failParse(const CLI::App& app, const CLI::ParseError& error, std::span<char* const> arguments,
               const std::string& remedy) {
    const std::string file = fileTakenForOptions(arguments);
    if (!file.empty()) failUsage(file + " is taken for options", "name the file as ./" + file);
    const std::string stray = strayIn(app, error, arguments);
    if (!stray.empty()) failStray(app, stray, remedy);
    failUsage(describe(error), remedy);
}

void refuseStrays(const CLI::App& app, const std::string& remedy) {
    const std::vector<std::string> strays = app.remaining(true);
    if (!strays.empty()) failStray(app, strays.front(), remedy);
}

CLI::Validator notEmpty() {
    return {[](std::string& name) { return std::string(name.empty() ? "the name is empty" : ""); },
            ""};
}

CLI::Validator oneOf(std::vector<std::string> words) {
    const auto check = [words = std::move(words)](const std::string& text) {
        if (std::find(words.begin(), words.end(), text) != words.end()) return std::string();
        std::string known;
        for (const std::string& word : words) known += (known.empty() ? "" : ", ") + word;
        return text + " is none of " + known;
    };
    return {check, ""};
}

}  // namespace tool
