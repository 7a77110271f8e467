#pragma once

#include "host/capture/LiveCapture.h"

#include <CLI/CLI.hpp>

#include <string>

namespace ketmon {

// Adds the options of how an interface is captured on, which need `interface`, the option that names it. What
// they are not given stays as it is, but for the wait: a program that was started as a service waits.
void addLiveOptions(CLI::App & command, CLI::Option & interface, CLiveOptions & options);

// A size of memory in bytes: a number of KiB, or one with k, M or G behind it, which are powers of 1024.
// Throws CFailure, exit code 2, for another text, and for what no buffer can have.
int parsedBufferSize(std::string const & text);

} // namespace ketmon
