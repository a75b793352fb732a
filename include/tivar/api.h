/* How the interface's functions are declared, and which release they are of. */
#ifndef TIVAR_API_H
#define TIVAR_API_H

/* The release of the library, 2.1.0. The version query of the filter interface keeps a number of
 * its own (TIVAR_VERSION in types.h). */
#define TIVAR_RELEASE "2.1.0"

/* On Windows the library is libtivar-2.dll, whose calls and call-backs are all of the C convention,
 * __cdecl, and whose names are exported as they are written. Who is linked with the archive defines
 * TIVAR_STATIC. */
#if defined(_WIN32) && defined(TIVAR_STATIC)
#define TIVAR_API
#elif defined(_WIN32)
#define TIVAR_API __declspec(dllimport)
#elif defined(__GNUC__)
#define TIVAR_API __attribute__((visibility("default")))
#else
#define TIVAR_API
#endif

#ifdef __cplusplus
#define TIVAR_BEGIN_C extern "C" {
#define TIVAR_END_C }
#else
#define TIVAR_BEGIN_C
#define TIVAR_END_C
#endif

#endif
