#include "limes/learning/learning_limit_value.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

namespace limes {

CLernenderGrenzwert::~CLernenderGrenzwert() = default;

void CLernenderGrenzwert::Reset() {
  mean_ = meanSquare_ = limit_ = 0.0;
  count_ = 0;
  last_ = 0.0F;
  errorcode_ = 0;
  base_ = 5.0;
  factor_ = 3.0;
  lower_ = upper_ = 0.0;
  bounded_ = externalOn_ = false;
  external_ = 0.0F;
  fixedLower_ = fixedUpper_ = 0.0;
  hasFixedLower_ = hasFixedUpper_ = false;
  name_.fill(0);
  exact_ = {};
  given_ = false;
  unit_.reset();
}

void CLernenderGrenzwert::Neustart(std::int32_t timeScale) {
  mean_ = meanSquare_ = limit_ = 0.0;
  count_ = 0;
  exact_ = {};
  given_ = false;
  unit_.reset();
  generator_.SetTimeScale(timeScale >= 1 ? timeScale : CExpAverFacGenerator::kNoForgetting);
  generator_.ResetTime();
}

void CLernenderGrenzwert::ExterneLernzahl(std::int32_t count) {
  count_ = count;
  generator_.SetTime(count);
}

void CLernenderGrenzwert::ExternerLernFaktor(float a) {
  externalOn_ = a >= 0.0F;
  if (externalOn_) {
    external_ = a;
  }
}

void CLernenderGrenzwert::ExterneVorgaben(float mean, float meanSquare) {
  mean_ = mean;
  meanSquare_ = meanSquare;
  exact_ = {};
}

void CLernenderGrenzwert::Bildungsregel(float base, float factor) {
  base_ = base;
  factor_ = factor;
}

void CLernenderGrenzwert::GrenzenGrenzen(float lower, float upper) {
  lower_ = lower;
  upper_ = upper;
  bounded_ = true;
}

void CLernenderGrenzwert::FesteUGSetzen(float value, bool present) {
  fixedLower_ = value;
  hasFixedLower_ = present;
}

void CLernenderGrenzwert::FesteOGSetzen(float value, bool present) {
  fixedUpper_ = value;
  hasFixedUpper_ = present;
}

void CLernenderGrenzwert::BasislernenGrenze() {
  GrenzwertSetzen(hasFixedUpper_ ? fixedUpper_ : upper_);
}

void CLernenderGrenzwert::NeueMessung(double x) {
  last_ = static_cast<float>(x);
  ++generator_;
  if (count_ < std::numeric_limits<std::int32_t>::max()) {
    ++count_;
  }
  const double timeScale = generator_.GetTimeScale();
  float a =
      externalOn_ ? external_ : CExpAverFacGenerator::GetFactor(generator_.GetTime(), timeScale);
  if (count_ == 1) {
    a = 0.0F;
  }
  const auto learn = [a](double& mean, double& square, double value) {
    const double b = (1.0 - double{a}) * value;
    mean = double{a} * mean + b;
    square = double{a} * square + value * b;
  };
  learn(mean_, meanSquare_, x);
  learn(exact_.mean, exact_.square, x - exact_.origin);
  GrenzwertErneuern(1.0F);
}

double CLernenderGrenzwert::SpreadInLimit(float varianceFactor) const {
  if (count_ <= 1) {
    return 0.0;
  }
  const double square =
      exact_.on ? exact_.square - exact_.mean * exact_.mean : meanSquare_ - mean_ * mean_;
  const double variance = square * double{varianceFactor};
  return variance > 0.0 ? std::sqrt(variance) : 0.0;
}

void CLernenderGrenzwert::GrenzwertErneuern(float varianceFactor) {
  given_ = varianceFactor != 1.0F;
  if (hasFixedUpper_) {
    limit_ = fixedUpper_;
    return;
  }
  const double spread = factor_ > 0.0 ? factor_ * SpreadInLimit(varianceFactor) : 0.0;
  limit_ = base_ + Mean() + spread;
  if (bounded_) {
    if (limit_ < lower_) {
      limit_ = lower_;
    }
    if (upper_ < limit_) {
      limit_ = upper_;  // kept: last, so that it wins when the band is inverted
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
  *std::copy(kept.begin(), kept.end(), name_.begin()) = 0;
}

float CLernenderGrenzwert::StdDev() const {
  return static_cast<float>(std::sqrt(std::fabs(meanSquare_ - mean_ * mean_)));
}

MergeStatus CLernenderGrenzwert::Merge(const CLernenderGrenzwert& other) {
  const auto rule = [](const CLernenderGrenzwert& l) {
    return std::tie(l.base_, l.factor_, l.bounded_, l.lower_, l.upper_, l.hasFixedLower_,
                    l.fixedLower_, l.hasFixedUpper_, l.fixedUpper_);
  };
  const std::int32_t scale = generator_.GetTimeScale();
  if (rule(*this) != rule(other)) {
    return MergeStatus::kRule;
  }
  if (scale != other.generator_.GetTimeScale()) {
    return MergeStatus::kTimeScale;
  }
  if (externalOn_ || other.externalOn_) {
    return MergeStatus::kFactor;
  }
  if (unit_ && other.unit_ && *unit_ != *other.unit_) {
    return MergeStatus::kUnit;
  }
  if (other.count_ == 0) {
    return MergeStatus::kOk;
  }
  const std::int32_t n1 = count_ == 0 ? 0 : generator_.GetTime();
  const std::int32_t n2 = other.generator_.GetTime();
  const double share = detail::EarlierShare(n1, std::max(n2, 1), scale);
  const auto mix = [share](double& mine, double theirs) {
    mine = share == 0.0 ? theirs : share * mine + (1.0 - share) * theirs;
  };
  if (exact_.on || other.exact_.on) {
    const SExact theirs = other.ExactOrPlain();
    exact_ = count_ == 0 ? theirs : ExactOrPlain();
    const double d = theirs.origin - exact_.origin;
    mix(exact_.mean, theirs.mean + d);
    mix(exact_.square, theirs.square + d * (2.0 * theirs.mean + d));
    exact_.step = std::max(exact_.step, theirs.step);
  }
  mix(mean_, other.mean_);
  mix(meanSquare_, other.meanSquare_);
  generator_.SetTime(detail::JointTime(n1, n2, scale));
  count_ = detail::JointCount(count_, other.count_);
  last_ = other.last_;
  GrenzwertErneuern(1.0F);
  return MergeStatus::kOk;
}

SValueJudgement CLernenderGrenzwert::Judge(float x) const {
  SValueJudgement judgement;
  if (!GrenzeVorhanden() || !std::isfinite(limit_) || !std::isfinite(x)) {
    return judgement;
  }
  judgement.verdict = *this < x ? Verdict::kFail : Verdict::kPass;
  judgement.value = x;
  judgement.limit = Grenzwert();
  judgement.mean = Mittelwert();
  judgement.spread = static_cast<float>(SpreadInLimit(1.0F));
  judgement.deviation = static_cast<float>(double{x} - limit_);
  return judgement;
}

}  // namespace limes
