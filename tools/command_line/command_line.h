// The command line of every tool, read the same way: the options are declared
// once on a CLI::App, with their defaults; --help prints all of them, every
// subcommand's included, on standard output; a mistake is one line on standard
// error and exit status 2.
#pragma once

#include <optional>

namespace CLI {
class App;
class Validator;
}  // namespace CLI

// Sets up a tool's CLI::App before its options are declared: defaults shown in
// the help, and an option given twice takes its last value.
void prepareCommandLine(CLI::App& app);

// Parses argv into the options declared on `app`. Empty when the tool is to go
// on; otherwise the exit status (0 after --help).
std::optional<int> parseCommandLine(CLI::App& app, int argc, char** argv);

// Numbers above zero. Text that is no number passes, so that the conversion
// that follows names the fault as it does for every other number.
const CLI::Validator& positiveNumber();
