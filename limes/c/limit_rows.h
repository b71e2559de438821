#pragma once

#include <cstddef>

#include "limes/c/limit_handle.h"

// What a limit is, handed out as numbers.

namespace limes::c {

/// Tells how much there is; throws SFailure when that is more than the room.
void TellCount(std::size_t wanted, std::size_t* count);

/// Where the caller wants the limits of a side; null where it does not.
struct SLimitRows {
  double* x;
  double* mean;
  double* spread;
  double* bound;

  void Put(std::size_t i, double atX, double itsMean, double itsSpread, double itsBound) const;
};

/// Fills the rows with the learnt points of a limited side, of which something must be learnt.
void PutLimits(AnyLimit& any, Side side, const SLimitRows& rows, std::size_t* count);

}  // namespace limes::c
