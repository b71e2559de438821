// Records of curve arrays, tables and lists of any bytes: what is read is used, written and read
// again the same.
#include "fuzz/fuzz.h"
#include "limes/kernels/resample_tool.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/nd_signal.h"
#include "limes/signals/pair_signal.h"
#include "limes/signals/signal_lists.h"

namespace limes::fuzz {
namespace {

void RunArray(Input input) {
  // A unit registered by its text has no text in the record, so it does not come back.
  const auto unitless = [](CSigCurveArray& array, CFileStream& file) {
    array.SetTUnit(CMeasuringUnit());
    for (int i = 0; i < array.Anzahl(); ++i) {
      if (array[i] != nullptr) {
        array[i]->ClearUnits();
      }
    }
    return array.ExportRaw(file);
  };
  const auto read = [](CSigCurveArray& array, CFileStream& file) {
    int status = 0;
    return array.DateiImport(file, status);
  };
  CSigCurveArray array;
  if (RoundTrip(array, input, read, unitless)) {
    array.KurvenKomplett();
    for (const float x : {array.VBereich().min, array.VBereich().max, 0.5F}) {
      CSigPairs pairs;
      array.Querschnitt(x, &pairs);
    }
    CSigCurveExt target;
    for (const int mode : {0, 1}) {
      array.Maximum(&target, mode);
      array.FlaechenKurveBilden(&target, array.VBereich().min, array.TMax(), mode != 0);
    }
    static_cast<void>(array.Mittelwert(&target) && array.RMS(&target));
    CResampleTool tool;
    tool.Setze2dAusschnitt(true, array.VBereich().min, target.XMax(), array.TMin(), array.TMax());
    static_cast<void>(tool.Resample2d(&array, 5, 3));
    Require(!array.Append(array) || array.Anzahl() % 2 == 0);
  }
}

void RunTable(Input input) {
  CSigNDBase table;
  RoundTrip(table, input, kRead, kWrite);
  static_cast<void>(table.getVal(table.xdim(), 0));
  CSightSeeing settings;
  RoundTrip(settings, input, kRead, kWrite);
  CMemoryStream in(input);
  CSigND signal;
  Require(!signal.ReadFromFile(in) && signal.empty());
  in.Seek(0);
  Require(CDimDescriptionVec(in).empty());
}

/// Names and units of the signals as they come back whatever they were.
template <class List>
void RunList(Input input) {
  const auto plain = [](List& list, CFileStream& file) {
    for (const auto& signal : list) {
      signal->ClearUnits();
      signal->SetName(u"run");
    }
    return list.WriteToFile(file);
  };
  List list;
  RoundTrip(list, input, kRead, plain);
}

}  // namespace

void Try(Input input) {
  const unsigned way = TakeByte(input) % 3;
  if (way == 0) {
    RunArray(input);
  } else if (way == 1) {
    RunTable(input);
  } else {
    RunList<CSigCurveList>(input);
    RunList<CSigPairsList>(input);
  }
}

}  // namespace limes::fuzz
