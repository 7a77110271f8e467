#pragma once

#include <CLI/CLI.hpp>

namespace ketmon {

// `ketmon schema`: what the library counts, straight from its descriptions.
struct CSchemaOptions
{
    bool json = false;
};

void addSchemaCommand(CLI::App & app);

void printSchema(CSchemaOptions const & options);

} // namespace ketmon
