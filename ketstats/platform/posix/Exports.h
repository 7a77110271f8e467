#pragma once

#define KETSTATS_API __attribute__((visibility("default")))
#define KNDISLIB_API __attribute__((visibility("default")))
#define KETSTATS_TYPE __attribute__((visibility("default")))
#define KETSTATS_TEMPLATE __attribute__((visibility("default")))
#define KETSTATS_EXTERN_TEMPLATE(...) extern template class __VA_ARGS__
