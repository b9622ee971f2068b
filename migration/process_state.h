// process_state.h — every piece of process-wide state, reset in one place.
//
// The migration keeps some state for the whole process (docs/architecture.md
// lists it): the drivers' run state and row report, the three device
// registries, the Android store handles, the grouped legacy counts, the time
// zone and a fixed "now" (with the date conversions remembered for them),
// and the user defaults. veqResetProcessState puts all of it back as a new
// process has it: empty registries, no Android handles, no cached counts, the
// platform's local time zone, the real clock, an empty defaults store, run state ""
// and 0, an unstated row report. What never changes (the SQL catalogue's
// statements, model schemas) and running counts read as differences (refused
// look-ups) are left alone.
//
// The tool calls it after every run; an app that migrates twice in one
// process, and tests, can call it between runs. Not while a driver runs.
#pragma once

namespace veq {

void veqResetProcessState();

}  // namespace veq
