#pragma once

#include <CLI/CLI.hpp>

namespace ketmon {

// `ketmon console ADDRESS:PORT`: shows what an agent counts.
void addConsoleCommand(CLI::App & app);

} // namespace ketmon
