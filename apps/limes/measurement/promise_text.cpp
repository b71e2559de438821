#include "apps/limes/measurement/promise_text.h"

#include <algorithm>

#include "apps/limes/measurement/number_text.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

constexpr std::int64_t kLeastScores = 4;  ///< of which any limit for a rate is formed

}  // namespace

std::string Count(std::int64_t n, const std::string& what) {
  return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

namespace {

/// Parts to learn, in all, until there are so many scores.
std::int64_t PartsFor(std::int64_t wanted, std::int64_t learnt, std::int64_t scores) {
  return std::max<std::int64_t>(learnt, kPartsBeforeScores) +
         std::max<std::int64_t>(wanted - scores, 0);
}

/// How the scores came about: "390 parts judged before they were learnt".
std::string Scored(const SPromise& p) {
  const std::string parts = Count(p.scores, "part");
  return p.source == ScoreSource::kFrozen ? parts + " judged by what was learnt without them"
         : p.source == ScoreSource::kOthers
             ? parts + " judged by all " +
                   (p.groups ? "but their group, of " + std::to_string(*p.groups) : "others")
             : parts + " judged before they were learnt";
}

/// Bounds of a rate in percent, to two digits.
std::string Between(double low, double high) {
  const auto brief = [](double share) { return Brief(Rounded(100.0 * share, 2)); };
  return "between " + brief(low) + " and " + brief(high) + " %";
}

}  // namespace

std::int64_t PartsNeeded(double rate, std::int64_t learnt, std::int64_t scores) {
  return PartsFor(ScoresNeeded(rate), learnt, scores);
}

std::string NoLimitText(double rate, std::int64_t learnt, std::int64_t scores) {
  if (scores >= kLeastScores) {
    return "no limit for --reject " + Percent(rate) + ": it would lie more than " +
           Brief(kMostFactor) + " spreads from the mean, and all would pass (limes show says why)";
  }
  return "no limit for --reject " + Percent(rate) + " yet, " + Count(learnt, "part") +
         " learnt: it takes " + std::to_string(PartsFor(kLeastScores, learnt, scores)) + ", and " +
         std::to_string(PartsNeeded(rate, learnt, scores)) +
         " to promise the rate; --factor 3 judges without a promise";
}

std::string NoCoverText(double cover, double sure, std::int64_t learnt) {
  const std::string rule = "no limit for --cover " + Percent(cover) + " --sure " + Percent(sure);
  return rule + " yet, " + Count(learnt, "part") + " learnt: " +
         (learnt < 2 ? "it takes 2"
                     : "it would lie more than " + Brief(kMostFactor) +
                           " spreads from the mean, and all would pass");
}

std::string LoneText(const SPromise& p) {
  return "one part alone widens these limits: " +
         (p.loneName.empty() ? "it" : Escaped(p.loneName)) + " scored " + Brief(p.lone->score) +
         ", the others explain " + Brief(p.lone->explained) +
         "; look at it (limes forget takes it out, --guard holds such parts back)";
}

std::vector<std::string> PromiseTexts(const SPromise& p) {
  std::vector<std::string> texts;
  if (p.tooWide) {
    texts.push_back("no limit for --reject " + Percent(*p.rate) + ": it would lie " +
                    Brief(*p.tooWide) +
                    " spreads from the mean, and all would pass; --factor 3 judges without a "
                    "promise");
    if (p.lone) {
      texts.push_back(LoneText(p));
    }
    return texts;
  }
  if (p.rate && p.limit.basis == CalibrationBasis::kNone) {
    return {p.waits.empty() ? NoLimitText(*p.rate, p.learnt, p.scores) : p.waits};
  }
  if (p.cover && !p.hasFactor) {
    return {NoCoverText(*p.cover, *p.sure, p.learnt)};
  }
  if (p.cover) {
    texts.push_back("each limit covers " + Percent(*p.cover) +
                    " of Normal values at each point, with " + Percent(*p.sure) +
                    " confidence; the factor follows from the parts learnt");
  }
  if (p.rate && p.limit.basis == CalibrationBasis::kRank) {
    texts.push_back(Percent(*p.rate) + " promised: a further good part is rejected with " +
                    (p.atMost
                         ? "at most " + Percent(p.limit.promised)
                         : Percent(p.limit.promised) + ", " + Between(p.limit.low, p.limit.high)));
  } else if (p.rate) {
    texts.push_back(Percent(*p.rate) + " needs " + Count(ScoresNeeded(*p.rate), "score") + ", " +
                    std::to_string(p.scores) + (p.scores == 1 ? " is" : " are") +
                    " there: extrapolated; " + Percent(p.limit.promised) + " can be promised");
  }
  if (p.scores > 0) {
    texts.push_back("of " + Scored(p) + ", " + (p.beyond.exact ? "" : "at least ") +
                    std::to_string(p.beyond.parts) +
                    (p.beyond.parts == 1 ? " was beyond a limit" : " were beyond a limit"));
  }
  if (!p.rate) {
    return texts;
  }
  if (p.lone) {
    texts.push_back(LoneText(p));
  }
  if (p.groups && static_cast<double>(*p.groups + 1) * *p.rate < 1.0) {
    texts.push_back(Count(*p.groups, p.source == ScoreSource::kLearning ? "recording" : "group") +
                    ": for a new one nothing below " +
                    Percent(1.0 / static_cast<double>(*p.groups + 1)) + " can be promised");
  }
  if (p.neverChanged > 0) {
    texts.push_back(Count(p.neverChanged, "value") + (p.neverChanged == 1 ? " has" : " have") +
                    " never changed; a change is rejected" +
                    (p.changes < 1.0 ? ", by chance at most " + Percent(p.changes) : ""));
  }
  std::string more;
  for (const double rate : {0.01, 0.001}) {
    const std::int64_t parts = PartsNeeded(rate, p.learnt, p.scores) - p.learnt;
    if (parts > 0) {
      more += (more.empty() ? "to promise " : ", ") + Percent(rate) + ": " + std::to_string(parts) +
              " more";
    }
  }
  if (!more.empty()) {
    texts.push_back(more + " parts to learn");
  }
  return texts;
}

}  // namespace limes::host
