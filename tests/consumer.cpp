// Uses every exported class of an installed limes once, so that no symbol of it is hidden: makes,
// copies, moves and assigns what can be made, and asks the others for their types.
#include <cstdio>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "limes/limes.h"

namespace {

using namespace limes;

template <class T>
std::size_t Use() {
  if constexpr (std::is_default_constructible_v<T>) {
    T made;
    if constexpr (std::is_copy_constructible_v<T>) {
      T copy(made);
      if constexpr (std::is_copy_assignable_v<T>) {
        copy = made;
        copy = std::move(made);
      }
      T moved(std::move(copy));
    }
  }
  return typeid(T).hash_code() != 0 ? 1 : 0;
}

template <class... T>
std::size_t UseAll() {
  return (Use<T>() + ...);
}

}  // namespace

int main() {
  const std::size_t used = UseAll<
      CArithExpression, CClavis, CClonable, CCompressedVector, CDefectReport, CDefectReportOrdner,
      CDimDescription, CDimDescriptionVec, CDiskStream, CDriftAlarm, CExpAverFacGenerator,
      CExpression, CFileStream, CFittedPart, CSignalInfoHandle, CInfoHandle<CInfoObject>,
      CInfoHandleBase, CInfoNode, CInfoObject, CInfoObjectServerBase, CIntervallCodierung,
      CKurvenLernWerkzeug, CLearnGuard, CLimitCalibration, CLernenderGrenzwert, CMeasuringUnit,
      CMeasuringUnit::UnitStrings, CMemoryStream, CMiniProtocolItem, CModuleRegistration, CObject,
      COtherParts, CPolygonCodierung, CPolygonTool, CProtocolItem, CProtocolItemList, CQuinterMFC,
      CResampleTool, CResourceEntry, CResourceList, CResourceSea, CSObject, CSObjectRegister,
      CSerializer, CSigCurve, CSigCurveArray, CSigCurveAssistent, CSigCurveCollection, CSigCurveExt,
      CSigCurveList, CSigND, CSigNDBase, CSigPairs, CSigPairsList, CSigPairsTm, CSigPairsVM,
      CSigRaw, CSightSeeing, CSignal, CSignalInfo, CStorable, CTimeFloatScaling, CTrackLernWerkzeug,
      CViewable, ModuleRegistry, detail::RecordReader, detail::RecordWriter, SMeasuringUnitPOD,
      DVL::StatisticsData_t, CStorable::failure, detail::SignalList<CSigCurveExt>>();
  std::printf("%zu classes\n", used);
  return 0;
}
