// fault_vfs.cpp — the counting and failing VFS of fault_vfs.h.
#include "fault_vfs.h"

#include <sqlite3.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace veq::fault {

namespace {

enum class Mode { kPass, kIoError, kFull, kKill };

struct State {
  sqlite3_vfs* real = nullptr;
  Mode mode = Mode::kPass;
  int64_t target = 0;  // the call to fail, from 1
  int64_t reads = 0, writes = 0, syncs = 0, truncates = 0;
  int64_t counted = 0;  // calls of the kind the mode counts
  int64_t snapshots = 0;
  bool fired = false;
  std::string countsPath, snapshotDir;
};

State state;

// Counts one call of a kind the mode fails; true when it is the one to fail.
bool strikes(bool countedByMode) {
  if (!countedByMode) return false;
  if (++state.counted != state.target) return false;
  state.fired = true;
  return true;
}

struct File {
  sqlite3_file base;
  sqlite3_file* real;  // follows this struct in the same allocation
};

sqlite3_file* real(sqlite3_file* f) { return reinterpret_cast<File*>(f)->real; }

int xClose(sqlite3_file* f) { return real(f)->pMethods->xClose(real(f)); }

int xRead(sqlite3_file* f, void* buffer, int amount, sqlite3_int64 offset) {
  ++state.reads;
  if (strikes(state.mode == Mode::kIoError)) return SQLITE_IOERR_READ;
  return real(f)->pMethods->xRead(real(f), buffer, amount, offset);
}

int xWrite(sqlite3_file* f, const void* buffer, int amount, sqlite3_int64 offset) {
  ++state.writes;
  if (strikes(state.mode == Mode::kIoError)) return SQLITE_IOERR_WRITE;
  if (strikes(state.mode == Mode::kFull)) return SQLITE_FULL;
  return real(f)->pMethods->xWrite(real(f), buffer, amount, offset);
}

int xTruncate(sqlite3_file* f, sqlite3_int64 size) {
  ++state.truncates;
  if (strikes(state.mode == Mode::kIoError)) return SQLITE_IOERR_TRUNCATE;
  return real(f)->pMethods->xTruncate(real(f), size);
}

int xSync(sqlite3_file*, int) {
  ++state.syncs;
  if (strikes(state.mode == Mode::kIoError)) return SQLITE_IOERR_FSYNC;
  // The sync is counted but not passed on: a killed process loses nothing
  // the kernel holds, so the sweep's outcomes are the same without waiting
  // for the disk, hundreds of times per run.
  if (strikes(state.mode == Mode::kKill)) std::raise(SIGKILL);
  return SQLITE_OK;
}

int xFileSize(sqlite3_file* f, sqlite3_int64* size) { return real(f)->pMethods->xFileSize(real(f), size); }
int xLock(sqlite3_file* f, int level) { return real(f)->pMethods->xLock(real(f), level); }
int xUnlock(sqlite3_file* f, int level) { return real(f)->pMethods->xUnlock(real(f), level); }
int xCheckReservedLock(sqlite3_file* f, int* out) { return real(f)->pMethods->xCheckReservedLock(real(f), out); }
int xFileControl(sqlite3_file* f, int op, void* arg) { return real(f)->pMethods->xFileControl(real(f), op, arg); }
int xSectorSize(sqlite3_file* f) { return real(f)->pMethods->xSectorSize(real(f)); }
int xDeviceCharacteristics(sqlite3_file* f) { return real(f)->pMethods->xDeviceCharacteristics(real(f)); }

// Shared memory and memory mapping pass through when the real file has them.
int xShmMap(sqlite3_file* f, int page, int size, int extend, void volatile** out) {
  const sqlite3_io_methods* m = real(f)->pMethods;
  return m->iVersion >= 2 ? m->xShmMap(real(f), page, size, extend, out) : SQLITE_IOERR_SHMMAP;
}
int xShmLock(sqlite3_file* f, int offset, int n, int flags) {
  const sqlite3_io_methods* m = real(f)->pMethods;
  return m->iVersion >= 2 ? m->xShmLock(real(f), offset, n, flags) : SQLITE_IOERR_SHMLOCK;
}
void xShmBarrier(sqlite3_file* f) {
  const sqlite3_io_methods* m = real(f)->pMethods;
  if (m->iVersion >= 2) m->xShmBarrier(real(f));
}
int xShmUnmap(sqlite3_file* f, int deleteFlag) {
  const sqlite3_io_methods* m = real(f)->pMethods;
  return m->iVersion >= 2 ? m->xShmUnmap(real(f), deleteFlag) : SQLITE_OK;
}
int xFetch(sqlite3_file* f, sqlite3_int64 offset, int amount, void** out) {
  const sqlite3_io_methods* m = real(f)->pMethods;
  if (m->iVersion >= 3) return m->xFetch(real(f), offset, amount, out);
  *out = nullptr;
  return SQLITE_OK;
}
int xUnfetch(sqlite3_file* f, sqlite3_int64 offset, void* page) {
  const sqlite3_io_methods* m = real(f)->pMethods;
  return m->iVersion >= 3 ? m->xUnfetch(real(f), offset, page) : SQLITE_OK;
}

const sqlite3_io_methods kMethods = {
    3,        xClose,       xRead,      xWrite,      xTruncate,    xSync,     xFileSize,
    xLock,    xUnlock,      xCheckReservedLock,      xFileControl, xSectorSize, xDeviceCharacteristics,
    xShmMap,  xShmLock,     xShmBarrier, xShmUnmap,  xFetch,       xUnfetch};

int vfsOpen(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* f, int flags, int* outFlags) {
  File* file = reinterpret_cast<File*>(f);
  file->real = reinterpret_cast<sqlite3_file*>(file + 1);
  file->real->pMethods = nullptr;
  const int rc = state.real->xOpen(state.real, name, file->real, flags, outFlags);
  f->pMethods = file->real->pMethods ? &kMethods : nullptr;
  return rc;
}

// A deleted rollback journal ends a commit (or a rollback): the database file
// then holds a committed state, which the snapshot keeps.
int vfsDelete(sqlite3_vfs*, const char* name, int) {
  const int rc = state.real->xDelete(state.real, name, 0);  // no directory sync, as for xSync
  const std::string path = name;
  const std::string suffix = "-journal";
  if (rc == SQLITE_OK && !state.snapshotDir.empty() && path.size() > suffix.size() &&
      path.compare(path.size() - suffix.size(), suffix.size(), suffix) == 0) {
    std::error_code ec;
    std::filesystem::copy_file(path.substr(0, path.size() - suffix.size()),
                               std::filesystem::path(state.snapshotDir) / (std::to_string(++state.snapshots) + ".sqlite"),
                               std::filesystem::copy_options::overwrite_existing, ec);
  }
  return rc;
}

int vfsAccess(sqlite3_vfs*, const char* name, int flags, int* out) {
  return state.real->xAccess(state.real, name, flags, out);
}
int vfsFullPathname(sqlite3_vfs*, const char* name, int size, char* out) {
  return state.real->xFullPathname(state.real, name, size, out);
}
void* vfsDlOpen(sqlite3_vfs*, const char* name) { return state.real->xDlOpen(state.real, name); }
void vfsDlError(sqlite3_vfs*, int size, char* out) { state.real->xDlError(state.real, size, out); }
void (*vfsDlSym(sqlite3_vfs*, void* handle, const char* symbol))(void) {
  return state.real->xDlSym(state.real, handle, symbol);
}
void vfsDlClose(sqlite3_vfs*, void* handle) { state.real->xDlClose(state.real, handle); }
int vfsRandomness(sqlite3_vfs*, int size, char* out) { return state.real->xRandomness(state.real, size, out); }
int vfsSleep(sqlite3_vfs*, int micros) { return state.real->xSleep(state.real, micros); }
int vfsCurrentTime(sqlite3_vfs*, double* out) { return state.real->xCurrentTime(state.real, out); }
int vfsGetLastError(sqlite3_vfs*, int size, char* out) { return state.real->xGetLastError(state.real, size, out); }
int vfsCurrentTimeInt64(sqlite3_vfs*, sqlite3_int64* out) { return state.real->xCurrentTimeInt64(state.real, out); }

// Sizes are the real VFS's, filled in when it is known.
sqlite3_vfs vfs = {.iVersion = 2,
                   .szOsFile = 0,
                   .mxPathname = 0,
                   .pNext = nullptr,
                   .zName = "veq-fault",
                   .pAppData = nullptr,
                   .xOpen = vfsOpen,
                   .xDelete = vfsDelete,
                   .xAccess = vfsAccess,
                   .xFullPathname = vfsFullPathname,
                   .xDlOpen = vfsDlOpen,
                   .xDlError = vfsDlError,
                   .xDlSym = vfsDlSym,
                   .xDlClose = vfsDlClose,
                   .xRandomness = vfsRandomness,
                   .xSleep = vfsSleep,
                   .xCurrentTime = vfsCurrentTime,
                   .xGetLastError = vfsGetLastError,
                   .xCurrentTimeInt64 = vfsCurrentTimeInt64,
                   .xSetSystemCall = nullptr,
                   .xGetSystemCall = nullptr,
                   .xNextSystemCall = nullptr};

void writeCounts() {
  if (state.countsPath.empty()) return;
  if (FILE* out = std::fopen(state.countsPath.c_str(), "w")) {
    std::fprintf(out, "%lld %lld %lld %lld %d\n", static_cast<long long>(state.reads),
                 static_cast<long long>(state.writes), static_cast<long long>(state.syncs),
                 static_cast<long long>(state.truncates), state.fired ? 1 : 0);
    std::fclose(out);
  }
}

std::string env(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

void installFaultVfs() {
  state.real = sqlite3_vfs_find(nullptr);
  const std::string mode = env("VEQ_FAULT");
  state.mode = mode == "ioerr" ? Mode::kIoError : mode == "full" ? Mode::kFull : mode == "kill" ? Mode::kKill : Mode::kPass;
  state.target = std::atoll(env("VEQ_FAULT_N").c_str());
  state.countsPath = env("VEQ_FAULT_COUNTS");
  state.snapshotDir = env("VEQ_FAULT_SNAPSHOTS");

  vfs.szOsFile = static_cast<int>(sizeof(File)) + state.real->szOsFile;
  vfs.mxPathname = state.real->mxPathname;
  sqlite3_vfs_register(&vfs, 1);
  std::atexit(writeCounts);
}

}  // namespace veq::fault
