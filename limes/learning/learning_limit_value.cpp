#include "limes/learning/learning_limit_value.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace limes {

CLernenderGrenzwert::~CLernenderGrenzwert() = default;

void CLernenderGrenzwert::Reset() {
  SState fresh;
  fresh.generator = state_.generator;
  state_ = fresh;
}

void CLernenderGrenzwert::Neustart(std::int32_t timeScale) {
  state_.mean = state_.meanSquare = state_.limit = 0.0;
  state_.count = 0;
  state_.exact = {};
  state_.given = false;
  state_.unit.reset();
  state_.generator.SetTimeScale(timeScale >= 1 ? timeScale : CExpAverFacGenerator::kNoForgetting);
  state_.generator.ResetTime();
}

void CLernenderGrenzwert::ExterneLernzahl(std::int32_t count) {
  state_.count = count;
  state_.generator.SetTime(count);
}

void CLernenderGrenzwert::ExternerLernFaktor(float a) {
  state_.externalOn = a >= 0.0F ? 1 : 0;
  if (state_.externalOn != 0) {
    state_.external = a;
  }
}

void CLernenderGrenzwert::ExterneVorgaben(float mean, float meanSquare) {
  state_.mean = mean;
  state_.meanSquare = meanSquare;
  state_.exact = {};
}

void CLernenderGrenzwert::Bildungsregel(float base, float factor) {
  state_.base = base;
  state_.factor = factor;
}

void CLernenderGrenzwert::GrenzenGrenzen(float lower, float upper) {
  state_.lower = lower;
  state_.upper = upper;
  state_.bounded = 1;
}

void CLernenderGrenzwert::FesteUGSetzen(float value, bool present) {
  state_.fixedLower = value;
  state_.hasFixedLower = present ? 1 : 0;
}

void CLernenderGrenzwert::FesteOGSetzen(float value, bool present) {
  state_.fixedUpper = value;
  state_.hasFixedUpper = present ? 1 : 0;
}

void CLernenderGrenzwert::BasislernenGrenze() {
  GrenzwertSetzen(state_.hasFixedUpper != 0 ? state_.fixedUpper : state_.upper);
}

void CLernenderGrenzwert::NeueMessung(double x) { NeueMessung(static_cast<float>(x)); }

void CLernenderGrenzwert::Learn(double x) {
  state_.last = static_cast<float>(x);
  ++state_.generator;
  if (state_.count < std::numeric_limits<std::int32_t>::max()) {
    ++state_.count;
  }
  const double timeScale = state_.generator.GetTimeScale();
  float a = state_.externalOn != 0
                ? state_.external
                : CExpAverFacGenerator::GetFactor(state_.generator.GetTime(), timeScale);
  if (state_.count == 1) {
    a = 0.0F;
  }
  const auto learn = [a](double& mean, double& square, double value) {
    const auto kept = [a](double held) { return a == 0.0F ? 0.0 : double{a} * held; };  // also NaN
    const double b = (1.0 - double{a}) * value;
    mean = kept(mean) + b;
    square = kept(square) + value * b;
  };
  learn(state_.mean, state_.meanSquare, x);
  learn(state_.exact.mean, state_.exact.square, x - state_.exact.origin);
  GrenzwertErneuern(1.0F);
}

double CLernenderGrenzwert::SpreadInLimit(float varianceFactor) const {
  if (state_.count <= 1) {
    return 0.0;
  }
  const double square = state_.exact.on
                            ? state_.exact.square - state_.exact.mean * state_.exact.mean
                            : state_.meanSquare - state_.mean * state_.mean;
  const double variance = square * double{varianceFactor};
  return variance > 0.0 ? std::sqrt(variance) : 0.0;
}

void CLernenderGrenzwert::GrenzwertErneuern(float varianceFactor) {
  state_.given = varianceFactor != 1.0F;
  if (state_.hasFixedUpper != 0) {
    state_.limit = state_.fixedUpper;
    return;
  }
  const double spread = state_.factor > 0.0 ? state_.factor * SpreadInLimit(varianceFactor) : 0.0;
  state_.limit = state_.base + Mean() + spread;
  if (state_.bounded != 0) {
    if (state_.limit < state_.lower) {
      state_.limit = state_.lower;
    }
    if (state_.upper < state_.limit) {
      state_.limit = state_.upper;  // kept: last, so that it wins when the band is inverted
    }
  }
}

void CLernenderGrenzwert::NameIst(const wide_char* name) {
  if (name != nullptr) {
    NameIst(std::u16string_view(name));
  }
}

void CLernenderGrenzwert::NameIst(std::u16string_view name) {
  const std::u16string_view kept = name.substr(0, kNameLength - 1);
  *std::copy(kept.begin(), kept.end(), state_.name.begin()) = 0;
}

float CLernenderGrenzwert::StdDev() const {
  return static_cast<float>(std::sqrt(std::fabs(state_.meanSquare - state_.mean * state_.mean)));
}

SValueJudgement CLernenderGrenzwert::Judge(float x) const {
  SValueJudgement judgement;
  if (!GrenzeVorhanden() || !std::isfinite(state_.limit) || !std::isfinite(x)) {
    return judgement;
  }
  judgement.verdict = *this < x ? Verdict::kFail : Verdict::kPass;
  judgement.value = x;
  judgement.limit = Grenzwert();
  judgement.mean = Mittelwert();
  judgement.spread = static_cast<float>(SpreadInLimit(1.0F));
  judgement.deviation = static_cast<float>(double{x} - state_.limit);
  return judgement;
}

}  // namespace limes
