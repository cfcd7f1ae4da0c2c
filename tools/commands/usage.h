// How the command line explains itself: the form of --help, the command `help`, and what is said
// when a line cannot be understood.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

// For the app and the commands that are added to it from now on.
void explainUsage(CLI::App& app);

// `zelvox help [COMMAND]`, the last command that is added.
void addHelpCommand(CLI::App& app);

// Throws Failure for an empty word, or for `--option=`: what was meant to stand there is missing,
// as a variable of the shell that is not set.
void refuseEmptyValues(const std::vector<std::string>& arguments);

// Throws Failure for `--start-value NAME VALUE`, whose value would be taken for an FMU.
void refuseValueWithoutEqualsSign(const std::vector<std::string>& arguments);
