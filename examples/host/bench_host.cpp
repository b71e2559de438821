// A bench that learns, judges and reports: a spectrum and a single value of every part. Started
// again, it goes on where it was. usage: bench_host FOLDER PARTS [BAD_SERIAL]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <vector>

#include "acquisition.h"
#include "state_file.h"

namespace {

constexpr int kPartsToLearn = 60;

/// What the bench measures: gear noise, with a whine in the bad part.
std::optional<SMeasuredPart> Measure(int serial, int parts, int bad) {
  if (serial > parts) {
    return std::nullopt;
  }
  CNoise noise(serial);
  SMeasuredPart part;
  part.serial = serial;
  part.curve = limes::CSigCurveExt::Make(500, 0.0F, 5000.0F);
  part.curve.SetName(u"Gear noise");
  part.curve.SetXUnit(u"Hz");
  part.curve.SetYUnit(u"dB(Pa)");
  for (int i = 0; i < 500; ++i) {
    const float whine = serial == bad && i == 120 ? 15.0F : 0.0F;
    part.curve.SetAt(i, 60.0F - 0.02F * static_cast<float>(i) + noise() + noise() + whine);
  }
  part.peak = 2.0 + 0.1 * static_cast<double>(noise()) + (serial == bad ? 1.0 : 0.0);
  return part;
}

class CBench {
 public:
  explicit CBench(const std::filesystem::path& folder) : states_(folder / "limits.state") {
    states_.Load(spectrum_, peak_);
  }

  void Take(const SMeasuredPart& part) {
    if (spectrum_.Learnt() < kPartsToLearn) {
      Learn(part);
    } else {
      Judge(part);
    }
  }

 private:
  /// A part is learnt in all quantities or in none.
  void Learn(const SMeasuredPart& part) {
    limes::LearnStatus status = spectrum_.PrepareLearning(part.curve);
    if (status == limes::LearnStatus::kOk) {
      status = peak_.PrepareLearning({part.peak, limes::CMeasuringUnit(u"Pa")});
    }
    if (status != limes::LearnStatus::kOk) {
      limes::MessageBoxes::Warning(limes::Format(u"part %d: %s", part.serial, limes::Text(status)));
      return;
    }
    spectrum_.Learn();
    peak_.Learn();
    states_.Save(spectrum_, peak_);
  }

  void Judge(const SMeasuredPart& part) {
    defects_.Neu();
    spectrum_.JudgePart(part.curve, judgement_);
    limes::Verdict worst = Collect(spectrum_, part.curve.Name(), u"dB(Pa)");
    peak_.JudgePart({part.peak, limes::CMeasuringUnit(u"Pa")}, judgement_);
    worst = Worse(worst, Collect(peak_, u"Peak", u"Pa"));
    defects_.Ordnen();
    defects_.BerichteFormatieren();
    limes::PrWinPrintf(u"part %d: %s\n", part.serial, limes::Text(worst));
    for (int i = 0; i < defects_.Anzahl(); ++i) {
      limes::PrWinPrintf(u"%s\n", defects_.Ordered(i)->Berichtstext());
    }
  }

  static limes::Verdict Worse(limes::Verdict a, limes::Verdict b) {
    return a == limes::Verdict::kFail || b == limes::Verdict::kPass ? a : b;
  }

  /// Files what is beyond the limits of one quantity.
  template <class Limit>
  limes::Verdict Collect(Limit& limit, const limes::wide_char* name, const limes::wide_char* unit) {
    limes::Verdict worst = limes::Verdict::kPass;
    for (const limes::Side side : limit.Formed().Limited()) {
      const limes::SPartJudgement& judged = judgement_[side];
      worst = Worse(worst, judged.verdict);
      if (judged.verdict == limes::Verdict::kNotJudged) {
        limes::MessageBoxes::Warning(limes::wide_string(name) + u": " + limes::Text(judged.reason));
      } else if (judged.verdict == limes::Verdict::kFail) {
        File(judged, judgement_.Regions(side), name, unit);
      }
    }
    return worst;
  }

  /// A report for each region beyond the limit; a single value has none.
  void File(const limes::SPartJudgement& judged, const std::vector<limes::SCurveExcess>& regions,
            const limes::wide_char* name, const limes::wide_char* unit) {
    for (std::size_t i = 0; i < std::max<std::size_t>(regions.size(), 1); ++i) {
      limes::CDefectReport* const report = defects_.Naechster();
      if (report == nullptr) {
        return;  // the folder is full
      }
      const limes::SCurveExcess* const region = regions.empty() ? nullptr : &regions[i];
      limes::CProtocolItem item;
      item.TakeFrom(judged, region);
      item.name = name;
      item.unit = unit;
      item.type =
          region != nullptr ? limes::CDefectReport::kWithPlace : limes::CDefectReport::kWithPercent;
      const double excess = region != nullptr ? double{region->excess} : judged.deviation;
      item.priority =
          static_cast<std::int32_t>(std::min(100.0 * excess / std::max(judged.spread, 1e-9), 1e9));
      report->Fillin(item, defects_.Anzahl(), 0);
      report->NameAt(4, region != nullptr ? u"Hz" : u"");
    }
  }

  limes::CRatedLimit<limes::CKurvenLernWerkzeug> spectrum_;  // 1 % of good parts may be rejected
  limes::CRatedLimit<limes::CLernenderGrenzwert> peak_;
  CStateFile states_;
  limes::CSidedJudgement judgement_;
  limes::CDefectReportOrdner defects_{50};
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::puts("usage: bench_host FOLDER PARTS [BAD_SERIAL]");
    return 2;
  }
  // The operator's list, and what waits for an answer in other hosts: a line that stays.
  limes::PrWin::SetSink([](int category, int /*style*/, std::u16string_view text) {
    std::printf("%s%s", category == limes::PrWin::kWarnings ? "! " : "",
                limes::WideToUtf8(text).c_str());
  });
  limes::MessageBoxes::SetHandler([](std::u16string_view text) {
    limes::PrWin::Print(limes::PrWin::kWarnings, limes::PrWin::kAlert, u"%s\n", text);
    return limes::MessageBoxes::kOk;
  });
  const int parts = std::atoi(argv[2]);
  const int bad = argc > 3 ? std::atoi(argv[3]) : 0;
  try {
    CBench bench(argv[1]);
    CAcquisition acquisition([=](int serial) { return Measure(serial, parts, bad); });
    while (const std::optional<SMeasuredPart> part = acquisition.Next()) {
      bench.Take(*part);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench_host: %s\n", error.what());
    return 1;
  }
  return 0;
}
