// problem.h — how the tool's own code says that something went wrong.
//
// Every call of the tool that can fail returns a Problem: nothing when all
// went well, else a short phrase for "veq-migrate: <file>: <problem>" (the
// file is the caller's to name). A call that also makes something hands it
// out through a pointer argument, so the caller reads
//
//   std::shared_ptr<VEQFMDatabase> db;
//   if (const Problem problem = openCheckedDatabase(path, flags, &db)) return refuse(path, *problem);
#pragma once

#include <optional>
#include <string>

namespace veq {

using Problem = std::optional<std::string>;

}  // namespace veq
