#include "command_line.h"

#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

// A list option starts out empty; "=[]" in the help would say nothing.
void hideEmptyDefaults(CLI::App& app) {
    for (CLI::Option* o : app.get_options())
        if (o->get_default_str() == "[]") o->default_str("");
    for (CLI::App* sub : app.get_subcommands({})) hideEmptyDefaults(*sub);
}

}  // namespace

const CLI::Validator& positiveNumber() {
    static const CLI::Validator check(
        [](std::string& text) -> std::string {
            double value = 0;
            if (!CLI::detail::lexical_cast(text, value)) return "";
            return value > 0 ? "" : "must be above 0, not " + text;
        },
        "POSITIVE");
    return check;
}

void prepareCommandLine(CLI::App& app) {
    app.option_defaults()->always_capture_default()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.get_formatter()->column_width(32);
}

std::optional<int> parseCommandLine(CLI::App& app, int argc, char** argv) {
    hideEmptyDefaults(app);
    try {
        app.parse(argc, argv);
        return std::nullopt;
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help("", CLI::AppFormatMode::All);
        return 0;
    } catch (const CLI::ParseError& e) {
        // A word the tool does not know is the likeliest cause of any other
        // complaint (a missing option it was meant to be), so it is named first.
        std::vector<std::string> unknown = app.remaining(true);
        std::string message = e.what();
        if (!unknown.empty()) {
            message = unknown.size() == 1 ? "unknown argument" : "unknown arguments";
            for (const std::string& word : unknown) message += " " + word;
        }
        for (char& c : message)
            if (c == '\n') c = ' ';
        std::cerr << app.get_name() << ": " << message << "\n";
        return 2;
    }
}
