#include <new>

#include "limes/kernels/compressed_vector.h"
#include "limes/platform/memory_errors.h"
#include "limes/platform/record_io.h"
#include "limes/signals/curve.h"
#include "limes/signals/extended_curve.h"

namespace limes {

namespace {

/// First version with date and valid range of an extended curve.
constexpr unsigned kTailVersion = 2;

}  // namespace

const wide_char* Text(CurveReadStatus status) {
  switch (status) {
    case CurveReadStatus::kOk:
      return u"the curve was read";
    case CurveReadStatus::kVersion:
      return u"the version of the record cannot be read";
    case CurveReadStatus::kHeader:
      return u"name or units of the curve are cut short or malformed";
    case CurveReadStatus::kValues:
      return u"the values of the curve are cut short or malformed";
    case CurveReadStatus::kTail:
      return u"date and valid range of the curve are cut short";
    case CurveReadStatus::kMemory:
      return u"memory is short";
  }
  return u"";
}

CCompressedVector* CSigCurve::EnsureKompressor() const {
  if (kompressor_ == nullptr) {
    kompressor_.reset(new (std::nothrow) CCompressedVector);
  }
  return kompressor_.get();
}

void CSigCurve::KompressorAnbinden(CCompressedVector* kompressor) {
  if (kompressor != kompressor_.get()) {
    kompressor_.reset(kompressor);
  }
}

bool CSigCurve::WriteToFile(CFileStream& file, unsigned version) const {
  return detail::IfMemoryAllows(
      false, [&] { return WriteCoded(file, version, CCompressedVector::kRange); });
}

bool CSigCurve::WriteToFileRaw(CFileStream& file, unsigned version) const {
  return detail::IfMemoryAllows(false,
                                [&] { return WriteCoded(file, version, CCompressedVector::kRaw); });
}

bool CSigCurve::WriteCoded(CFileStream& file, unsigned version, int method) const {
  if (!CSignal::WriteToFile(file, version)) {
    return false;
  }
  CCompressedVector* const kompressor = EnsureKompressor();
  if (kompressor != nullptr && method == CCompressedVector::kRaw) {
    kompressor->Clear();
    return CCompressedVector::WriteRaw(file, Values(), xMin_, xMax_);
  }
  return kompressor != nullptr && kompressor->Komprimieren(this, method) > 0 &&
         kompressor->WriteToFile(file);
}

bool CSigCurve::ReadFromFile(CFileStream& file, unsigned version) {
  if (!CSignal::ReadFromFile(file, version)) {
    return false;
  }
  CCompressedVector* const kompressor = EnsureKompressor();
  const bool decoded = kompressor != nullptr && kompressor->ReadFromFile(file) &&
                       (kompressor->Dekomprimieren(this) > 0 || kompressor->DataBytes() == 0);
  if (!decoded) {  // kept: true all the same, with an empty curve
    Free();
    SetXLen(0);
  }
  Tail tail;
  const bool complete = ReadTail(file, version, tail);
  TakeTail(tail);
  return complete;
}

CurveReadStatus CSigCurve::ReadFromFileChecked(CFileStream& file, unsigned version) {
  return detail::IfMemoryAllows(CurveReadStatus::kMemory, [&] {
    if (version != 1 && version != 2) {
      return CurveReadStatus::kVersion;
    }
    CSigCurve read;  // name and units, and the values for which this curve has no room yet
    if (!read.CSignal::ReadFromFile(file, version)) {
      return CurveReadStatus::kHeader;
    }
    CCompressedVector* const kompressor = EnsureKompressor();
    if (kompressor == nullptr) {
      return CurveReadStatus::kMemory;
    }
    const CurveReadStatus status = kompressor->ReadInto(read, Capacity(), file);
    if (status != CurveReadStatus::kOk) {
      return status;
    }
    Tail tail;
    if (!ReadTail(file, version, tail)) {
      return CurveReadStatus::kTail;
    }
    if (!AllocateWithHead(kompressor->ValueCount(), read)) {
      return CurveReadStatus::kMemory;
    }
    // Nothing fails from here on.
    if (read.DLen() > 0) {
      read.SetTypeCode(TypeCode());
      read.SetSigId(SigId());
      read.DoCopyData(DoCopyData());
      WhileYielding(read, [&] { static_cast<void>(CopyWords(read)); });
      SetXLen(DLen());
      SetXMinMax(read.XMin(), read.XMax());
    } else {
      static_cast<void>(kompressor->Dekomprimieren(this));
    }
    TakeTail(tail);
    return CurveReadStatus::kOk;
  });
}

bool CSigCurve::ReadTail(CFileStream& /*file*/, unsigned /*version*/, Tail& /*tail*/) const {
  return true;
}

void CSigCurve::TakeTail(const Tail& /*tail*/) {}

bool CSigCurveExt::WriteCoded(CFileStream& file, unsigned version, int method) const {
  if (!CSigCurve::WriteCoded(file, version, method)) {
    return false;
  }
  if (version >= kTailVersion) {
    detail::RecordWriter tail;
    tail.PutFields(Tail{date_, vMin_, vMax_});
    tail.WriteTo(file);
  }
  return true;
}

bool CSigCurveExt::ReadTail(CFileStream& file, unsigned version, Tail& tail) const {
  if (version < kTailVersion) {
    return true;
  }
  tail.present = detail::RecordReader(file).GetFields(tail);
  return tail.present;
}

void CSigCurveExt::TakeTail(const Tail& tail) {
  if (tail.present) {
    date_ = tail.date;
    SetVMinMax(tail.vMin, tail.vMax);
  } else {
    date_ = 0.0F;
    ResetVMinMax();
  }
}

}  // namespace limes
