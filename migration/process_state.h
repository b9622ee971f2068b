// process_state.h — the reset of the default session.
//
// The kit's static operations outside any session Scope work on the default
// migration session (migration_session.h), which lasts as long as the
// process: its registries, run state and row report, and the process's
// default collaborator state (time zone, fixed "now", user defaults, Android
// store handles and grouped counts). veqResetProcessState puts all of it
// back as a new process has it: empty registries, no Android handles, no
// cached counts, the platform's local time zone, the real clock, an empty
// defaults store, run state "" and 0, an unstated row report, the fast
// paths. What never changes (the SQL catalogue's statements, model schemas)
// and running counts read as differences (refused look-ups) are left alone;
// docs/architecture.md lists what stays process-wide and why.
//
// An app that migrates twice in one process through the static operations,
// and tests, can call it between runs. Not while a driver runs.
#pragma once

namespace veq {

void veqResetProcessState();

}  // namespace veq
