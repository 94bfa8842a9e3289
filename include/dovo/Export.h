#pragma once

/// DOVO_API marks what the library exports; everything else stays hidden.
#if defined(_WIN32)
#if defined(DOVO_BUILDING)
#define DOVO_API __declspec(dllexport)
#else
#define DOVO_API __declspec(dllimport)
#endif
#else
#define DOVO_API __attribute__((visibility("default")))
#endif

/// Marks a printf-style function so the compiler checks its arguments.
#if defined(__clang__)
#define DOVO_PRINTF(fmt, first) __attribute__((format(printf, fmt, first)))
#elif defined(__GNUC__)
#define DOVO_PRINTF(fmt, first) __attribute__((format(gnu_printf, fmt, first)))
#else
#define DOVO_PRINTF(fmt, first)
#endif
