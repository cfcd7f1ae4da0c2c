// The commands of `zelvox`. Each registers itself with its options and runs from CLI11's callback;
// what goes wrong is thrown as a Failure, whose text main() prints as one sentence.
#pragma once

namespace CLI {
class App;
}

void addNewCommand(CLI::App& app);
void addPackCommand(CLI::App& app);
void addInfoCommand(CLI::App& app);
void addSimulateCommand(CLI::App& app);
void addBatchCommand(CLI::App& app);
void addExecCommand(CLI::App& app);
void addDoctorCommand(CLI::App& app);
