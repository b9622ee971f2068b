// fault_vfs.h — a test-only SQLite VFS that counts I/O calls and fails one.
//
// installFaultVfs() registers a shim over the default VFS as the new
// default, so every connection the process opens afterwards (output, its
// journal, the legacy stores) goes through it. It reads its instructions from
// the environment once:
//   VEQ_FAULT       "ioerr": the n-th read, write, sync or truncate fails with
//                   the matching SQLITE_IOERR_* code and does nothing;
//                   "full": the n-th write fails with SQLITE_FULL and writes
//                   nothing;
//                   "kill": the process is killed (SIGKILL) right after the
//                   n-th sync has completed;
//                   unset or anything else: every call passes through.
//   VEQ_FAULT_N     n, counted from 1 (the fault is transient: only that one
//                   call fails).
//   VEQ_FAULT_COUNTS  when set, a file that receives at exit one line
//                   "reads writes syncs truncates fired" of the whole run.
//   VEQ_FAULT_SNAPSHOTS  when set, a directory into which a copy of a
//                   database file is written each time its rollback journal
//                   is deleted (each commit), named 1.sqlite, 2.sqlite, ….
// Syncs are counted but not passed to the disk (nor are directory syncs):
// a killed process loses nothing the kernel holds, so the outcomes are the
// same, and runs do not wait for the disk hundreds of times.
// Nothing of this is linked into the library or the shipped tool.
#pragma once

namespace veq::fault {

void installFaultVfs();

}  // namespace veq::fault
