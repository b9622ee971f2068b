// problem.h — how the code that opens, checks and writes files says that
// something went wrong.
//
// Every such call that can fail returns a Problem: nothing when all went
// well, else a short phrase for "<file>: <problem>" (the file is the
// caller's to name unless the call says otherwise; the tool prefixes
// "veq-migrate: "). A call that also makes something hands it out through a
// pointer argument, so the caller reads
//
//   std::shared_ptr<VEQFMDatabase> db;
//   if (const Problem problem = openCheckedDatabase(path, flags, &db)) return refuse(path, *problem);
#pragma once

#include <optional>
#include <string>

namespace veq {

using Problem = std::optional<std::string>;

}  // namespace veq
