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
