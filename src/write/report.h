// What a call tells its caller.
#pragma once

#include <tivar/write.h>

#include <cstddef>
#include <cstdint>

namespace tivar {

// Notes the size of the caller's report, which call-backs may change. False when it cannot be
// filled: it is neither null nor of a size that a release had.
bool beginReport(TivarReport& report, const TivarReport* to);

// Fills as much of the caller's report as its size said; null is allowed. Returns the result.
int32_t tell(TivarReport* to, const TivarReport& report);

// Sets result, field and text; why completes "FIELD: ...".
void refuse(TivarReport& report, int32_t result, const char* field, const char* why);

// Sets result and its text, with the errno value unless that is 0.
void fail(TivarReport& report, int32_t result, int error);

}  // namespace tivar
