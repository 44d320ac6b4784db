// The drive's port now and then misses a single access; the library makes
// every such access once more before it gives up. One helper, so the rule
// reads the same wherever it applies: the motor-data registers, the port of
// the feedback device and the calls that switch its diagnostics mode.
#pragma once

#include "catalog/result_codes.h"

namespace svodb {

// Runs access; when it does not answer 1, runs it once more and answers
// what the second attempt answers.
template <typename Access>
Result WithOneRepeat(Access&& access) {
  const Result first = access();
  return first == code::kOk ? first : access();
}

}  // namespace svodb
