// Records of curve arrays, tables and lists of any bytes: what is read is used, written and read
// again the same.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "limes/kernels/resample_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/print_window.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/nd_signal.h"
#include "limes/signals/pair_signal.h"
#include "limes/signals/signal_lists.h"

namespace {

using limes::CMemoryStream;
using Bytes = std::vector<std::uint8_t>;

void Require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

/// write(object, stream) of what read(object, stream) took gives bytes that read the same.
template <class Object, class Read, class Write>
bool RoundTrip(Object& object, std::span<const std::uint8_t> bytes, Read read, Write write) {
  CMemoryStream in(bytes);
  if (!read(object, in)) {
    return false;
  }
  CMemoryStream once;
  Require(write(object, once));
  Object again;
  CMemoryStream back{Bytes(once.Bytes().begin(), once.Bytes().end())};
  Require(read(again, back));
  CMemoryStream twice;
  Require(write(again, twice));
  Require(Bytes(once.Bytes().begin(), once.Bytes().end()) ==
          Bytes(twice.Bytes().begin(), twice.Bytes().end()));
  return true;
}

void RunArray(std::span<const std::uint8_t> bytes) {
  // A unit registered by its text has no text in the record, so it does not come back.
  const auto unitless = [](limes::CSigCurveArray& array, limes::CFileStream& file) {
    array.SetTUnit(limes::CMeasuringUnit());
    for (int i = 0; i < array.Anzahl(); ++i) {
      if (array[i] != nullptr) {
        array[i]->ClearUnits();
      }
    }
    return array.DateiExportRaw(file);
  };
  const auto read = [](limes::CSigCurveArray& array, limes::CFileStream& file) {
    int status = 0;
    return array.DateiImport(file, status);
  };
  limes::CSigCurveArray array;
  if (RoundTrip(array, bytes, read, unitless)) {
    array.KurvenKomplett();
    for (const float x : {array.VBereich().min, array.VBereich().max, 0.5F}) {
      limes::CSigPairs pairs;
      array.Querschnitt(x, &pairs);
    }
    limes::CSigCurveExt target;
    for (const int mode : {0, 1}) {
      array.Maximum(&target, mode);
      array.FlaechenKurveBilden(&target, array.VBereich().min, array.TMax(), mode != 0);
    }
    static_cast<void>(array.Mittelwert(&target) && array.RMS(&target));
    limes::CResampleTool tool;
    tool.Setze2dAusschnitt(true, array.VBereich().min, target.XMax(), array.TMin(), array.TMax());
    static_cast<void>(tool.Resample2d(&array, 5, 3));
    Require(!array.Append(array) || array.Anzahl() % 2 == 0);
  }
}

constexpr auto kRead = [](auto& object, limes::CFileStream& file) {
  return object.ReadFromFile(file);
};
constexpr auto kWrite = [](const auto& object, limes::CFileStream& file) {
  return object.WriteToFile(file);
};

/// Names and units of the signals as they come back whatever they were.
template <class List>
void RunList(std::span<const std::uint8_t> bytes) {
  const auto plain = [](List& list, limes::CFileStream& file) {
    for (const auto& signal : list) {
      signal->ClearUnits();
      signal->SetName(u"run");
    }
    return list.WriteToFile(file);
  };
  List list;
  RoundTrip(list, bytes, kRead, plain);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kQuiet =
      limes::PrWin::SetSink([](int, int, std::u16string_view) {});  // unit messages
  if (size == 0) {
    return 0;
  }
  const std::span<const std::uint8_t> bytes(data + 1, size - 1);
  switch (data[0] % 3) {
    case 0:
      RunArray(bytes);
      break;
    case 1: {
      limes::CSigNDBase table;
      RoundTrip(table, bytes, kRead, kWrite);
      static_cast<void>(table.getVal(table.xdim(), 0));
      limes::CSightSeeing settings;
      RoundTrip(settings, bytes, kRead, kWrite);
      CMemoryStream in(bytes);
      limes::CSigND signal;
      Require(!signal.ReadFromFile(in) && signal.empty());
      in.Seek(0);
      Require(limes::CDimDescriptionVec(in).empty());
      break;
    }
    default:
      RunList<limes::CSigCurveList>(bytes);
      RunList<limes::CSigPairsList>(bytes);
  }
  return 0;
}
