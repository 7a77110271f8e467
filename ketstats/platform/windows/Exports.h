#pragma once

#if defined(KETSTATS_STATIC)
#define KETSTATS_API
#elif defined(KETSTATS_BUILD)
#define KETSTATS_API __declspec(dllexport)
#else
#define KETSTATS_API __declspec(dllimport)
#endif

#if defined(KNDISLIB_STATIC)
#define KNDISLIB_API
#elif defined(KNDISLIB_BUILD)
#define KNDISLIB_API __declspec(dllexport)
#else
#define KNDISLIB_API __declspec(dllimport)
#endif

#define KETSTATS_TYPE

// The compiler exports what an explicit instantiation holds out of line, and no inline function. So the marks
// do nothing for users: they make inline functions and virtual tables for themselves, those of their own
// instantiations too, and find the rest in the import library.
#if defined(KETSTATS_BUILD)
#define KETSTATS_TEMPLATE KETSTATS_API
#define KETSTATS_EXTERN_TEMPLATE(...) extern template class __VA_ARGS__
#else
#define KETSTATS_TEMPLATE
#define KETSTATS_EXTERN_TEMPLATE(...) static_assert(true)
#endif
