#pragma once

#include "host/capture/Interfaces.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// `ketmon interfaces`: what can be captured on.
void addInterfacesCommand(CLI::App & app);

// Writes the list to the standard output. Throws CFailure.
void printInterfaces(bool json);

// The list as a table for people, those first whose frames can be counted, and as one JSON object.
std::string tableOf(std::vector<CInterface> interfaces);
std::string jsonOf(std::vector<CInterface> const & interfaces);

} // namespace ketmon
