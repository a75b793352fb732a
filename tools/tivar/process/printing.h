// What commands print on standard output.
#pragma once

namespace tool {

// A full disk behind standard output is a Failure. When nobody reads any more the process ends in
// silence, with the exit code of a broken pipe.
void finishPrinting();

}  // namespace tool
