// What is wrong with a command line, in plain words.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
class Validator;
}  // namespace CLI

namespace tool {

// A Failure about the error that the parser of app met in arguments.
[[noreturn]] void failParse(const CLI::App& app, const CLI::ParseError& error,
                            std::span<char* const> arguments, const std::string& remedy);

// The same about what fits nowhere on a line that asks for help.
void refuseStrays(const CLI::App& app, const std::string& remedy);

// Validators whose messages are plain.
CLI::Validator notEmpty();
CLI::Validator oneOf(std::vector<std::string> words);

}  // namespace tool
