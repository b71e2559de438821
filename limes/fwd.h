#pragma once

// The library's names of classes, for headers that only hand them on. Costs nothing to include.

#include <cstdint>

namespace limes {

class CArithExpression;
class CClavis;
class CClonable;
class CCommonModes;
class CCompressedVector;
class CDefectReport;
class CDefectReportOrdner;
class CDimDescription;
class CDimDescriptionVec;
class CDiskStream;
class CDriftAlarm;
class CExpAverFacGenerator;
class CExpression;
class CFileName;
class CFileStream;
class CFittedPart;
template <class Info>
class CInfoHandle;
class CInfoHandleBase;
class CInfoNode;
class CInfoObject;
template <class Info>
class CInfoObjectServer;
class CInfoObjectServerBase;
class CIntervallCodierung;
class CKurvenLernWerkzeug;
class CLearnGuard;
class CLernenderGrenzwert;
class CLimitCalibration;
class CMeasuringUnit;
class CMemoryStream;
class CModuleRegistration;
class CObject;
class COtherParts;
template <class Float>
class CPairIterator;
class CPartMargin;
class CPolygonCodierung;
class CPolygonTool;
class CPreciseCurveTool;
class CProtocolItem;
class CProtocolItemList;
class CQuinterMFC;
template <class Tool>
class CRatedLimit;
class CResampleTool;
class CResourceEntry;
class CResourceList;
class CResourceSea;
class CSObject;
class CSObjectRegister;
class CSerializer;
template <class Tool>
class CSided;
class CSidedJudgement;
class CSigCurve;
class CSigCurveArray;
class CSigCurveAssistent;
class CSigCurveCollection;
class CSigCurveExt;
class CSigCurveList;
class CSigND;
class CSigNDBase;
class CSigPairs;
class CSigPairsList;
class CSigPairsTm;
class CSigPairsVM;
class CSigRaw;
class CSightSeeing;
class CSignal;
class CSignalInfo;
class CStorable;
class CTimeFloatScaling;
class CTrackLernWerkzeug;
class CViewable;
class CVisAxis;
class CVisDataArray;
class CVisDataCollection;
class CVisDataGrid;
class CVisDataPolygon;
class CVisDataVector;
class ModuleRegistry;
class ResourceSourceScope;
struct CMiniProtocolItem;
struct CRuntimeClass;
struct RQuinter;
struct SCalibratedLimit;
struct SCapability;
struct SClavis;
struct SCurveExcess;
struct SCurveJudgement;
struct SCurvePart;
struct SCurveShift;
struct SDrift;
struct SFancyDims;
struct SFittedValue;
struct SGaugeCheck;
struct SGaugeReading;
struct SGaugeStudy;
struct SHeldParts;
struct SIndexRange;
struct SInterval;
struct SLimitSureness;
struct SLoneScore;
struct SMeasuringUnitPOD;
struct SModesOfPart;
struct SModesScoring;
struct SModule;
struct SPartExcess;
struct SPartJudgement;
struct SPartRule;
struct SPartScores;
struct SPartScoring;
struct SPartsBeyond;
struct SPolygonPoint;
struct SProcessSpread;
struct SQuinter;
struct SRatedRule;
struct STolerance;
struct SUnitConversion;
struct SValueJudgement;
struct SValuePart;
struct SVisColour;
struct SVisExtremes;
struct SVisIndices;
struct SVisPoint;
struct SVisRange;
enum class CalibrationBasis;
enum class CurveReadStatus;
enum class CurveTextStatus;
enum class DriftDirection : std::int8_t;
enum class GaugeStatus;
enum class LearnStateStatus;
enum class MergeStatus;
enum class PartStatus;
enum class ScoreSides : std::uint8_t;
enum class ShiftBasis;
enum class Side;
enum class Sides;
enum class SignalHealth;
enum class Verdict;
enum class VisScale;

using CSignalInfoHandle = CInfoHandle<CSignalInfo>;
using LearnStatus = PartStatus;

}  // namespace limes
