#pragma once

#include "limes/signals/curve.h"

namespace limes::detail {

/// Frees the buffer that a curve's record takes, unless the curve had one before: an array or a
/// list would hold all its values twice.
class RecordBuffer {
 public:
  explicit RecordBuffer(CSigCurve& curve)
      : curve_(curve.Kompressor() == nullptr ? &curve : nullptr) {}
  RecordBuffer(const RecordBuffer&) = delete;
  RecordBuffer& operator=(const RecordBuffer&) = delete;
  ~RecordBuffer() {
    if (curve_ != nullptr) {
      curve_->KompressorAnbinden(nullptr);
    }
  }

 private:
  CSigCurve* curve_;
};

}  // namespace limes::detail
