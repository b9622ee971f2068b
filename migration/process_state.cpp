// process_state.cpp — the one reset of the process-wide state.
#include "migration/process_state.h"

#include "migration/migration_session.h"

namespace veq {

void veqResetProcessState() { VEQMigrationSession::defaultSession().reset(); }

}  // namespace veq
