#include "recordings/part_file.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "recordings/errors.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

void CutPiece(SQuantity& whole, std::size_t start, std::size_t length, SQuantity& piece) {
  piece.name = whole.name;
  piece.xUnit = whole.xUnit;
  piece.unit = whole.unit;
  piece.single = whole.single;
  piece.x0 = whole.x0;
  piece.dx = whole.dx;
  piece.covered.clear();
  if (whole.values.size() == length) {
    piece.values = std::exchange(whole.values, {});  // a block is not kept twice
    return;
  }
  const auto first = whole.values.begin() + static_cast<std::ptrdiff_t>(start);
  piece.values.assign(first, first + static_cast<std::ptrdiff_t>(length));
}

std::unique_ptr<CFileStream> Opened(const std::string& path) {
  auto stream = std::make_unique<CDiskStream>();
  OpenForReading(path, *stream);
  return stream;
}

}  // namespace

CPartFile::CPartFile(const SReadContext& context) : CPartFile(context, Opened(context.path)) {}

CPartFile::CPartFile(const SReadContext& context, std::unique_ptr<CFileStream> stream)
    : cut_(context.settings->cut), stream_(std::move(stream)) {
  const FileKind kind = DetectKind(context.path, *stream_);
  reader_ = MakePartReader(kind, *stream_, context);
  sound_ = kind == FileKind::kSound;
  blocks_ =
      sound_ || HoldsChannels(kind) || (kind == FileKind::kTable && !context.settings->IsTable());
}

CPartFile::~CPartFile() = default;

bool CPartFile::Next(SPart& part) { return cut_ > 0 ? NextPiece(part) : reader_->Next(part); }

/// The next piece of --cut samples of the part, or block of one, that lies in memory.
bool CPartFile::NextPiece(SPart& piece) {
  const auto length = static_cast<std::size_t>(cut_);
  const std::vector<SQuantity>& quantities = whole_.quantities;
  const auto isShorter = [](const SQuantity& a, const SQuantity& b) {
    return a.values.size() < b.values.size();
  };
  for (;;) {
    const auto shortest = std::min_element(quantities.begin(), quantities.end(), isShorter);
    if (shortest != quantities.end() && shortest->values.size() >= start_ + length) {
      break;
    }
    if (shortest != quantities.end() && pieces_ == 0) {
      throw CInputError(whole_.name, std::to_string(shortest->values.size()) +
                                         " samples, fewer than --cut " + std::to_string(length));
    }
    piece = SPart();  // holds no room while a block is read
    if (!reader_->Next(whole_)) {
      return false;
    }
    start_ = 0;
    pieces_ = blocks_ ? pieces_ : 0;
    for (const SQuantity& q : quantities) {
      if (!q.x.empty()) {
        throw CInputError(whole_.name, "quantity " + Quoted(q.name) +
                                           " is not at equal steps, as --cut needs it");
      }
    }
  }
  piece.name = whole_.name + ":" + std::to_string(++pieces_);
  piece.label = whole_.label;
  piece.variant = whole_.variant;
  piece.quantities.resize(quantities.size());
  for (std::size_t i = 0; i < quantities.size(); ++i) {
    CutPiece(whole_.quantities[i], start_, length, piece.quantities[i]);
  }
  start_ += length;
  return true;
}

}  // namespace limes::recordings
