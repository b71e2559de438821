#include "recordings/formats/mdf_blocks.h"

#include <zlib.h>

#include <algorithm>

#include "recordings/formats/expansion.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr std::uint64_t kHead = 24;

/// Content of an XML element without elements in it.
std::string Element(std::string_view xml, const std::string& name) {
  const auto begin = xml.find("<" + name + ">");
  if (begin == std::string_view::npos) {
    return "";
  }
  const std::string_view behind = xml.substr(begin + name.size() + 2);
  std::string text(behind.substr(0, behind.find("</")));
  constexpr std::pair<std::string_view, char> kMarks[] = {
      {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}, {"&amp;", '&'}};
  for (const auto& [mark, c] : kMarks) {
    for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + 1)) {
      text.replace(at, mark.size(), 1, c);
    }
  }
  return text;
}

void Transpose(std::span<const std::uint8_t> from, std::uint64_t columns,
               std::span<std::uint8_t> to) {
  const auto width = static_cast<std::size_t>(columns);
  const std::size_t rows = from.size() / width;
  for (std::size_t column = 0; column < width && rows > 0; ++column) {
    for (std::size_t row = 0; row < rows; ++row) {
      to[row * width + column] = from[column * rows + row];
    }
  }
  const std::size_t rest = rows * width;
  std::copy(from.begin() + static_cast<std::ptrdiff_t>(rest), from.end(),
            to.begin() + static_cast<std::ptrdiff_t>(rest));
}

}  // namespace

std::uint64_t SMdfBlock::Link(std::size_t i) const {
  if (i >= links.size()) {
    data.Fail("block " + id + " has only " + std::to_string(links.size()) + " links");
  }
  return links[i];
}

SMdfBlock CMdfFile::Block(std::uint64_t place, std::string_view ids) const {
  CByteCursor at = file_;
  at.GoTo(place);
  at.Require(place % 8 == 0, "a link leads to a place that is no multiple of 8");
  const CByteCursor start = at;
  const std::string mark = at.GetText(4);
  at.Skip(4);
  const auto length = at.Get<std::uint64_t>();
  const auto links = at.Get<std::uint64_t>();
  const std::string id = mark.substr(2);
  if (!mark.starts_with("##") || ids.find(id) == std::string_view::npos) {
    start.Fail("block " + Quoted(mark) + " where one of " + std::string(ids) + " is expected");
  }
  if (length < kHead || length - kHead > at.Left()) {
    start.Fail("cut short: block " + id + " of " + std::to_string(length) + " bytes, " +
               std::to_string(start.Left()) + " are left");
  }
  SMdfBlock block{id, {}, start.At(at.Place(), length - kHead)};
  block.data.Need(links, sizeof(std::uint64_t), "the links");
  block.links.resize(static_cast<std::size_t>(links));
  for (std::uint64_t& link : block.links) {
    link = block.data.Get<std::uint64_t>();
  }
  return block;
}

SMdfBlock CMdfFile::ListBlock(std::uint64_t place, std::string_view ids) {
  SMdfBlock block = Block(place, ids);
  if (!seen_.insert(place).second) {
    block.data.Fail("lists lead in a circle, to a block for a second time");
  }
  return block;
}

std::string CMdfFile::Text(std::uint64_t place) const {
  if (place == 0) {
    return "";
  }
  SMdfBlock block = Block(place, "TX MD");
  std::string text = block.data.GetText(block.data.Left());
  text.erase(std::min(text.find('\0'), text.size()));
  text = TextOfFile(block.id == "MD" ? Element(text, "TX") : text);
  text.erase(text.find_last_not_of(" \t\r\n") + 1);
  return text;
}

void CMdfFile::Expand(std::uint64_t bytes) {
  const std::uint64_t most = MostExpanded(file_.End());
  if (__builtin_add_overflow(expanded_, bytes, &expanded_) || expanded_ > most) {
    file_.Fail("zipped blocks expand to more than " + std::to_string(most) + " bytes");
  }
}

CMdfData::CMdfData(CMdfFile& file, std::uint64_t link) {
  if (link == 0) {
    return;
  }
  SMdfBlock block = file.Block(link, "DT DZ DL HL LD");
  if (block.id == "LD") {
    block.data.Fail("data stored by columns (block LD) are not read");
  }
  if (block.id != "HL" && block.id != "DL") {
    AddBlock(file, link);
    return;
  }
  std::uint64_t list = block.id == "HL" ? block.Link(0) : link;
  while (list != 0) {
    SMdfBlock part = file.ListBlock(list, "DL");
    part.data.Skip(4);
    const auto count = part.data.Get<std::uint32_t>();
    for (std::size_t i = 1; i <= count; ++i) {
      AddBlock(file, part.Link(i));
    }
    list = part.Link(0);
  }
}

void CMdfData::AddBlock(CMdfFile& file, std::uint64_t place) {
  SMdfBlock block = file.ListBlock(place, "DT DZ");
  CByteCursor& at = block.data;
  SPiece piece{bytes_, at.Left(), at, 0, block.id == "DZ"};
  if (piece.zipped) {
    constexpr std::uint64_t kMostRatio = 1032;  // of deflate
    const std::string kind = at.GetText(2);
    const auto method = at.Get<std::uint8_t>();
    at.Skip(1);
    piece.columns = at.Get<std::uint32_t>();
    piece.bytes = at.Get<std::uint64_t>();
    const auto packed = at.Get<std::uint64_t>();
    if (kind != "DT" || method > 1) {
      at.Fail("a zipped block of " + Quoted(kind) + " by method " + std::to_string(method) +
              " is not known");
    }
    at.Require(method == 0 || piece.columns > 0, "a transposed block has no columns");
    piece.columns = method == 0 ? 0 : piece.columns;
    at.Need(packed, 1, "the zipped data");
    at.Require(piece.bytes / kMostRatio <= packed, "zipped data cannot expand to what is stated");
    file.Expand(piece.bytes);
    piece.stored = at.At(at.Place(), packed);
  }
  const bool wraps = __builtin_add_overflow(bytes_, piece.bytes, &bytes_);
  at.Require(!wraps, "the length of data is out of range");
  pieces_.push_back(std::move(piece));
}

const std::vector<std::uint8_t>& CMdfData::Inflated(std::size_t index) {
  constexpr std::uint64_t kMostHeld = std::uint64_t{64} << 20;
  const auto [found, isNew] = inflated_.try_emplace(index);
  if (!isNew) {
    return found->second;
  }
  const SPiece& piece = pieces_[index];
  if (inflatedBytes_ + piece.bytes > kMostHeld) {
    inflated_.clear();
    inflatedBytes_ = 0;
  }
  CByteCursor at = piece.stored;
  std::vector<std::uint8_t> packed(static_cast<std::size_t>(at.Left()));
  at.Read(packed.data(), packed.size());
  std::vector<std::uint8_t> plain(static_cast<std::size_t>(piece.bytes));
  uLongf got = plain.size();
  if (uncompress(plain.data(), &got, packed.data(), packed.size()) != Z_OK || got != plain.size()) {
    inflated_.erase(index);
    piece.stored.Fail("the zipped data are damaged");
  }
  if (piece.columns > 0) {
    packed = plain;
    Transpose(packed, piece.columns, plain);
  }
  inflatedBytes_ += piece.bytes;
  return inflated_[index] = std::move(plain);
}

void CMdfData::Read(std::uint64_t place, std::span<std::uint8_t> to) {
  auto piece = std::upper_bound(pieces_.begin(), pieces_.end(), place,
                                [](std::uint64_t p, const SPiece& q) { return p < q.first; });
  for (--piece; !to.empty(); ++piece) {
    const std::uint64_t within = place - piece->first;
    const auto n =
        static_cast<std::size_t>(std::min<std::uint64_t>(piece->bytes - within, to.size()));
    if (piece->zipped) {
      const auto& bytes = Inflated(static_cast<std::size_t>(piece - pieces_.begin()));
      std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(within), n, to.begin());
    } else {
      CByteCursor at = piece->stored;
      at.Skip(within);
      at.Read(to.data(), n);
    }
    place += n;
    to = to.subspan(n);
  }
}

}  // namespace limes::recordings
