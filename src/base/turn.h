// The filter and driver interfaces keep their state in globals. Exported routines that touch it
// hold a turn, so that calls from several threads are served one after the other; a call-back of
// the host may call in again on its own thread.
#pragma once

namespace tivar {

struct Turn {
    Turn();
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
};

}  // namespace tivar
