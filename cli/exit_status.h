// exit_status.h — what the tool's commands end with.
//
//   kOk        the command did all it was asked and found nothing wrong;
//   kFailures  it finished, but rows, tables or a report failed (run), or
//              the output lacks what the stores imply (verify);
//   kRefused   it wrote nothing it was asked to write: bad usage, or a
//              store, the output or a report path cannot be used.
#pragma once

namespace veq {

enum class ExitStatus { kOk = 0, kFailures = 1, kRefused = 2 };

}  // namespace veq
