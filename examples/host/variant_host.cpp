// A bench with variants: an order track over the speed of a run-up, which is another one for each
// gear, and of which each part covers a range of its own. One limit per gear, in one file each.
// usage: variant_host FOLDER
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <string>

#include "acquisition.h"
#include "state_file.h"

namespace {

constexpr int kParts = 140;
constexpr int kPartsToLearn = 50;
constexpr int kBadSerial = 138;

/// A run-up in gear 1 or 2, each part from a speed of its own on.
std::optional<SMeasuredPart> Measure(int serial) {
  if (serial > kParts) {
    return std::nullopt;
  }
  CNoise noise(serial);
  SMeasuredPart part;
  part.serial = serial;
  part.gear = serial % 9 == 0 ? 3 : 1 + serial % 2;  // gear 3 is rare and learns to the end
  const int first = serial % 5;
  part.curve =
      limes::CSigCurveExt::Make(100 - first, 1000.0F + 50.0F * static_cast<float>(first), 6000.0F);
  part.curve.SetName(u"Order 12");
  part.curve.SetXUnit(u"rpm");
  part.curve.SetYUnit(u"dB(Pa)");
  for (int i = 0; i < 100 - first; ++i) {
    const float resonance = serial == kBadSerial && i > 60 && i < 70 ? 12.0F : 0.0F;
    part.curve.SetAt(i, 50.0F + 10.0F * static_cast<float>(part.gear) +
                            0.1F * static_cast<float>(i + first) + noise() + noise() + resonance);
  }
  return part;
}

class CVariantBench {
 public:
  explicit CVariantBench(std::filesystem::path folder) : folder_(std::move(folder)) {}

  void Take(const SMeasuredPart& part) {
    SVariant& variant = Of(part.gear);
    if (variant.limit.Learnt() < kPartsToLearn && part.serial != kBadSerial) {
      const limes::LearnStatus status = variant.limit.LearnPart(part.curve);
      if (status == limes::LearnStatus::kOk) {
        variant.file.Save(variant.limit);
      } else {
        std::printf("part %d, gear %d: not learnt: %s\n", part.serial, part.gear, Words(status));
      }
      return;
    }
    variant.limit.JudgePart(part.curve, judgement_);
    const limes::SPartJudgement& upper = judgement_[limes::Side::kUpper];
    if (upper.verdict == limes::Verdict::kFail) {
      std::printf("part %d, gear %d: %.1f dB beyond the limit at %.0f rpm\n", part.serial,
                  part.gear, upper.deviation, upper.x);
    } else if (upper.verdict == limes::Verdict::kNotJudged) {
      std::printf("part %d, gear %d: not judged: %s\n", part.serial, part.gear,
                  Words(upper.reason));
    } else {
      ++passed_;
    }
  }

  int Passed() const { return passed_; }

 private:
  struct SVariant {
    explicit SVariant(const std::filesystem::path& path) : file(path) { file.Load(limit); }

    limes::CRatedLimit<limes::CTrackLernWerkzeug> limit{
        {.sides = limes::Sides::kUpper, .base = 1.0, .reject = 0.01, .factor = std::nullopt}};
    CStateFile file;
  };

  SVariant& Of(int gear) {
    return variants_.try_emplace(gear, folder_ / ("gear" + std::to_string(gear) + ".state"))
        .first->second;
  }

  const char* Words(limes::PartStatus status) {
    words_ = limes::WideToUtf8(limes::Text(status));
    return words_.c_str();
  }

  std::filesystem::path folder_;
  std::map<int, SVariant> variants_;
  limes::CSidedJudgement judgement_;
  std::string words_;
  int passed_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::puts("usage: variant_host FOLDER");
    return 2;
  }
  try {
    CVariantBench bench(argv[1]);
    CAcquisition acquisition(Measure);
    while (const std::optional<SMeasuredPart> part = acquisition.Next()) {
      bench.Take(*part);
    }
    std::printf("%d parts passed\n", bench.Passed());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "variant_host: %s\n", error.what());
    return 1;
  }
  return 0;
}
