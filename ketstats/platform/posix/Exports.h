#pragma once

#define KETSTATS_API __attribute__((visibility("default")))
#define KNDISLIB_API __attribute__((visibility("default")))
#define KETSTATS_TYPE __attribute__((visibility("default")))
