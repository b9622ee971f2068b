// fault_tool.cpp — veq-migrate with the fault VFS (fault_vfs.h) installed as
// SQLite's default before the tool's own entry point runs. The tool's main is
// compiled into this executable under the name veqToolMain.
#include "collaborators/fmdb.h"
#include "fault_vfs.h"

int veqToolMain(int argc, char** argv);

int main(int argc, char** argv) {
  // Registering a VFS initialises SQLite, after which this setting is refused.
  veq::VEQFMDatabase::disableMemoryStatistics();
  veq::fault::installFaultVfs();
  return veqToolMain(argc, argv);
}
