// Learn states: the first byte picks the kind (bits 0 and 2 to 6) and, by bit 1, whether the
// checksum is made right, so that the fields behind it are reached. What is read is written again
// and read with the same bytes.
#include <cmath>
#include <limits>
#include <vector>

#include "fuzz/fuzz.h"
#include "limes/learning/calibration.h"
#include "limes/learning/common_modes.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/drift_alarm.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/limit_sureness.h"
#include "limes/learning/precise_curve_tool.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/platform/record_io.h"
#include "limes/signals/extended_curve.h"

namespace limes::fuzz {
namespace {

bool Reads(Input input, auto& learner) {
  return RoundTrip(
      learner, input,
      [](auto& l, CFileStream& file) { return l.ReadState(file) == LearnStateStatus::kOk; },
      [](const auto& l, CFileStream& file) { return l.WriteState(file); });
}

void RunTrack(Input input) {
  CTrackLernWerkzeug track;
  if (Reads(input, track)) {
    const CSigCurveExt probe = *track.Mittelwert();
    track.NeueMessung(&probe);
    track.GrenzeBilden();
    track.StdAbwKurve();
    track.LernzahlKurve();
    track.MaxAbweichung(&probe);
    track.Judge(probe);
    track.Merge(track);
  }
}

void RunCurves(Input input) {
  CKurvenLernWerkzeug tool;
  if (Reads(input, tool)) {
    tool.Merge(tool);
    const CSigCurveExt probe = CSigCurveExt::Make(7, 10.0F, 15.0F);
    tool.NeueMessung(&probe);
    tool.StandardAbwBilden();
    tool.GrenzeBilden();
    tool.RmsAbweichung(&probe);
    tool.Judge(probe);
    CSigCurveExt fitted;
    static_cast<void>(CSigCurveAssistent::FitTo(probe, *tool.Mittelwert(), fitted));
  }
}

void RunPrecise(Input input) {
  CPreciseCurveTool tool;
  if (Reads(input, tool)) {
    const CSigCurveExt probe = *tool.Mittelwert();
    SurenessOf(tool);
    static_cast<void>(tool.JudgePart(probe));
    CFittedPart fitted;
    if (tool.Fit(probe, fitted) == PartStatus::kOk) {
      const std::vector<float> spread(probe.DLen(), 1.0F);
      std::vector<SCurveExcess> regions;
      tool.JudgeExpected(fitted, probe.Values(), spread, 0.5, regions);
    }
    static_cast<void>(tool.LearnPart(probe));
    Require(tool.Merge(tool) == MergeStatus::kOk);
    CKurvenLernWerkzeug plain;
    Require(plain.TakeFrom(tool) && tool.TakeFrom(plain));
  }
}

void RunCalibration(Input input) {
  CLimitCalibration calibration;
  if (Reads(input, calibration)) {
    Require(calibration.Add({1.0, -1.0}));
    Require(calibration.Merge(calibration) == MergeStatus::kOk);
    for (const double rate : {0.001, 0.05}) {
      const SCalibratedLimit limit = calibration.ForRate(rate);
      calibration.Beyond(limit.above, limit.below, limit.whole);
    }
    calibration.HoldLimit();
  }
}

void RunDriftAlarm(Input input) {
  CDriftAlarm alarm;
  if (Reads(input, alarm)) {
    alarm.Add(2.0);
    Require(alarm.Merge(alarm) == MergeStatus::kOk);
  }
}

void RunModes(Input input) {
  CCommonModes modes;
  if (Reads(input, modes)) {
    std::vector<double> part(modes.Points(), 2.0);
    SModesOfPart told;
    for (int i = 0; i < 3 && modes.Explain(part, told) == JudgeReason::kOk; ++i) {
      const SPartScores scores = modes.Score(part, told, 1.0).scores;
      Require(!std::isnan(scores.above) && !std::isnan(scores.below) && !std::isnan(scores.whole));
      if (i == 1) {
        part[0] = std::numeric_limits<double>::quiet_NaN();  // a gap
      }
      Require(modes.Learn(part) == LearnStatus::kOk);
    }
    Require(modes.Merge(modes) == MergeStatus::kOk);
  }
}

}  // namespace

void Try(Input input) {
  const unsigned way = TakeByte(input);
  Bytes bytes(input.begin(), input.end());
  if ((way & 2U) != 0 && bytes.size() > 4) {
    const Input covered(bytes.data(), bytes.size() - 4);
    detail::ToLittleEndian(detail::Crc32(covered), bytes.data() + covered.size());
  }
  if ((way & 64U) != 0) {
    RunPrecise(bytes);
  } else if ((way & 32U) != 0) {
    RunModes(bytes);
  } else if ((way & 8U) != 0) {
    (way & 16U) != 0 ? RunDriftAlarm(bytes) : RunCalibration(bytes);
  } else if ((way & 1U) == 0) {
    CLernenderGrenzwert limit;
    if (Reads(bytes, limit)) {
      limit.NeueMessung(1.0F);
    }
  } else {
    (way & 4U) != 0 ? RunTrack(bytes) : RunCurves(bytes);
  }
}

}  // namespace limes::fuzz
