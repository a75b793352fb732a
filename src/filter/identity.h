// What identifies the filter to itself.
#pragma once

#include <tivar/filter.h>

namespace tivar {

// The short name, "tivar" at load; CreateSetup puts it into upper case. Profile section and stem of
// the driver name.
extern char* szFilter;

// First argument of every LoadString call, which ignores it.
extern HostWord hDLLModule;

}  // namespace tivar
