#include "limes/signals/signal.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "limes/core/runtime_classes.h"
#include "limes/platform/memory_errors.h"
#include "limes/platform/record_io.h"

namespace limes {

namespace {

constexpr std::size_t kFirstNameCapacity = 40;   ///< characters, the closing 0 included
constexpr std::size_t kLongestNarrowName = 499;  ///< characters that an 8-bit name may give

/// The unit as the file record holds it: a reference only when it counts.
CMeasuringUnit ForRecord(const CMeasuringUnit& unit) {
  CMeasuringUnit result = unit;
  if (!unit.is_log()) {
    result.logref(0.0F);
  }
  return result;
}

/// Alike, the text shown too: it may be older than the fields or the display flags.
bool Same(const CMeasuringUnit& a, const CMeasuringUnit& b) {
  return a == b && a == b.prefixunit();
}

void Lower(float& bound, float other) { bound = other < bound ? other : bound; }
void Raise(float& bound, float other) { bound = other > bound ? other : bound; }

}  // namespace

namespace detail {
constinit const CRuntimeClass kSignalClass = {"CSignal", nullptr, &kRawClass};
}  // namespace detail

CSignal::CSignal() : name_(kFirstNameCapacity) {}

CSignal::CSignal(int n) : CSigRaw(n), name_(kFirstNameCapacity) {}

CSignal::CSignal(const CSignal& other, bool deep)
    : CSigRaw(other),
      CClonable(other),
      CViewable(other),
      info_(other.info_, deep),
      name_(other.name_),
      extName_(other.extName_),
      quinter_(other.quinter_ ? std::make_unique<CQuinterMFC>(*other.quinter_) : nullptr),
      timestamp_(other.timestamp_),
      reserved_(other.reserved_) {}

CSignal& CSignal::operator=(const CSignal& other) {
  if (this != &other) {
    Copy(other, true);
  }
  return *this;
}

CSignal::CSignal(CSignal&& other) noexcept
    : CSigRaw(std::move(other)),
      CClonable(other),
      CViewable(other),
      info_(other.info_),
      name_(std::move(other.name_)),
      extName_(std::move(other.extName_)),
      quinter_(std::move(other.quinter_)),
      timestamp_(other.timestamp_),
      reserved_(other.reserved_) {}

CSignal& CSignal::operator=(CSignal&& other) noexcept {
  WhileYielding(other, [&] { Copy(other, true); });
  return *this;
}

const CRuntimeClass* CSignal::GetRuntimeClass() const { return GetThisClass(); }

const CRuntimeClass* CSignal::GetThisClass() { return &detail::kSignalClass; }

CSignal::~CSignal() { DropExtData(); }

int CSignal::Serialize(CSerializer* archive) { return CSigRaw::Serialize(archive) != 0 ? 1 : 0; }

bool CSignal::Resize(unsigned n) {
  return Reserve(n) && TrySetXLen(n) && CSigRaw::Resize(n);  // with room, the words cannot fail
}

unsigned CSignal::Size() const { return CSigRaw::Size(); }

bool CSignal::Append(const CSignal& other) {
  const std::uint32_t own = DLen();
  const std::uint32_t added = other.DLen();
  // Not the virtual Resize: what a class ties to the size, it settles after appending.
  if (added > kMaxWords - own || !CSignal::Resize(own + added)) {
    return false;
  }
  if (added > 0) {
    std::memcpy(Data() + own, other.Data(), std::size_t{added} * sizeof(std::uint32_t));
  }
  return true;
}

bool CSignal::WriteToFile(CFileStream& file, unsigned version) const {
  if (version == 0) {
    return true;
  }
  const std::string name = WideToUtf8(Name());
  detail::RecordWriter head;
  head.PutChars(Utf8Prefix(name, kNameBytes - 1), kNameBytes);
  head.WriteTo(file);
  return ForRecord(XUnit()).WriteToFile(file) && ForRecord(YUnit()).WriteToFile(file);
}

bool CSignal::ReadFromFile(CFileStream& file, unsigned version) {
  if (version != 1 && version != 2) {
    return false;
  }
  std::array<char, kNameBytes + 1> name{};
  if (!detail::RecordReader(file).GetBytes(name.data(), kNameBytes) || !SetName(name.data())) {
    return false;
  }
  return detail::IfMemoryAllows(false, [&] {
    CMeasuringUnit xUnit;
    if (!xUnit.ReadFromFile(file)) {
      return false;
    }
    SetXUnit(xUnit);
    CMeasuringUnit yUnit;
    if (!yUnit.ReadFromFile(file)) {
      return false;
    }
    SetYUnit(yUnit);
    return true;
  });
}

bool CSignal::Copy(const CClonable& other, bool deep) {
  const auto* const source = dynamic_cast<const CSignal*>(&other);
  return source != nullptr && CopyWithXLen(*source, deep, source->XLen());
}

bool CSignal::CopyWithXLen(const CSignal& other, bool deep, std::uint32_t xLen) {
  return &other != this && detail::IfMemoryAllows(false, [&] {
    CSignalInfoHandle info(other.info_, deep);
    if (std::as_const(info).X1Len() != xLen) {
      info.X1Len(xLen);
    }
    wide_string extName = other.extName_;
    auto quinter = other.quinter_ ? std::make_unique<CQuinterMFC>(*other.quinter_) : nullptr;
    if (!ReserveName(std::u16string_view(other.Name()).size()) || !MakeRoomFor(other)) {
      return false;
    }
    CopyWords(other);  // nothing fails from here on: there is room
    reserved_ = other.reserved_;
    TakeNames(other, info, extName, quinter);
    DropExtData();
    return true;
  });
}

/// Takes over what is there for it: nothing fails.
void CSignal::TakeNames(const CSignal& other, const CSignalInfoHandle& info, wide_string& extName,
                        std::unique_ptr<CQuinterMFC>& quinter) {
  info_ = info;
  WriteName(0, other.Name());
  extName_.swap(extName);
  if (quinter != nullptr) {  // kept: the own name stays when the other has none
    quinter_.swap(quinter);
  }
  timestamp_ = other.timestamp_;
}

/// Name and units of another signal, if room can be made too; false, with nothing changed, when
/// memory is short.
template <class MakeRoom>
bool CSignal::TakeHead(const CSignal& other, bool ownInfo, MakeRoom makeRoom) {
  return detail::IfMemoryAllows(false, [&] {
    CSignalInfoHandle info(info_, ownInfo);
    if (!Same(XUnit(), other.XUnit()) || !Same(YUnit(), other.YUnit())) {
      info.X1Unit(other.XUnit());
      info.YUnit(other.YUnit());
    }
    const std::u16string_view name = other.Name();
    if (!ReserveName(name.size()) || !makeRoom()) {
      return false;
    }
    info_ = info;
    WriteName(0, name);
    return true;
  });
}

bool CSignal::AllocateWithHead(unsigned n, const CSignal& head) {
  return TakeHead(head, true, [&] { return AllocateOrKeep(n); });
}

bool CSignal::TakeNameAndUnits(const CSignal& other) {
  return TakeHead(other, false, [] { return true; });
}

bool CSignal::CopyInfo(const CSignal& other) {
  return &other != this && detail::IfMemoryAllows(false, [&] {
    wide_string extName = other.extName_;
    auto quinter = other.quinter_ ? std::make_unique<CQuinterMFC>(*other.quinter_) : nullptr;
    if (!ReserveName(std::u16string_view(other.Name()).size())) {
      return false;
    }
    TakeNames(other, other.info_, extName, quinter);
    if (ownsExtData_) {  // what the host owns stays attached
      DropExtData();
    }
    return true;
  });
}

void CSignal::InitHeader(const CSignal& other, bool /*deep*/) {
  if (this != &other) {
    extName_ = other.extName_;
    timestamp_ = other.timestamp_;
  }
  DropExtData();
}

void CSignal::ClearNames() {
  WriteName(0, {});
  extName_.clear();
}

bool CSignal::SetName(const wide_char* name) {
  if (name == nullptr) {
    return false;
  }
  // The text may lie in the own buffer, so it is kept until the copy is done.
  std::vector<wide_char> former;
  if (!ReserveName(std::u16string_view(name).size(), &former)) {
    return false;
  }
  WriteName(0, name);
  return true;
}

bool CSignal::SetName(const char* name) {
  return name != nullptr && detail::IfMemoryAllows(false, [&] {
           wide_string text = Utf8ToWide(name);
           if (text.size() > kLongestNarrowName) {
             text.resize(kLongestNarrowName);
           }
           return SetName(text);
         });
}

bool CSignal::AppendToName(const wide_char* text) {
  if (text == nullptr) {
    return false;
  }
  const std::size_t length = std::u16string_view(Name()).size();
  std::vector<wide_char> former;
  if (!ReserveName(length + std::u16string_view(text).size(), &former)) {
    return false;
  }
  WriteName(length, text);
  return true;
}

/// Makes room for a name of so many characters; a buffer that was replaced goes to former.
bool CSignal::ReserveName(std::size_t characters, std::vector<wide_char>* former) {
  if (characters < name_.size()) {
    return true;
  }
  return detail::IfMemoryAllows([&] {
    std::vector<wide_char> grown(characters + 1);
    std::copy(name_.begin(), name_.end(), grown.begin());
    name_.swap(grown);
    if (former != nullptr) {
      former->swap(grown);
    }
  });
}

/// Replaces the name from a position on by a text that fits, and by 0 behind it.
void CSignal::WriteName(std::size_t at, std::u16string_view text) {
  wide_char* const target = name_.data() + at;
  std::char_traits<wide_char>::move(target, text.data(), text.size());
  std::fill(name_.begin() + static_cast<std::ptrdiff_t>(at + text.size()), name_.end(), u'\0');
}

void CSignal::TakeUnits(const CSignal& other) {
  if (XUnit() != other.XUnit()) {
    SetXUnit(other.XUnit());
  }
  if (YUnit() != other.YUnit()) {
    SetYUnit(other.YUnit());
  }
}

bool CSignal::SetXUnit(std::u16string_view text) {
  CMeasuringUnit unit;
  const bool known = unit.set(text);
  SetXUnit(unit);
  return known;
}

bool CSignal::SetYUnit(std::u16string_view text) {
  CMeasuringUnit unit;
  const bool known = unit.set(text);
  SetYUnit(unit);
  return known;
}

bool CSignal::SetXUnit(const wide_char* text) {
  return text != nullptr && SetXUnit(std::u16string_view(text));
}

bool CSignal::SetYUnit(const wide_char* text) {
  return text != nullptr && SetYUnit(std::u16string_view(text));
}

void CSignal::ClearUnits() {
  SetXUnit(u"");
  SetYUnit(u"");
}

const CInfoNode& CSignal::InfoNode(std::u16string_view key) const {
  static const CInfoNode kEmpty;
  const CInfoNode* const node = info_.Rep().Find(key);
  return node == nullptr ? kEmpty : *node;
}

CInfoNode& CSignal::InfoNode(std::u16string_view key) { return info_.Rep().Node(key); }

void CSignal::SetQuinter(const CQuinterMFC& quinter) {
  quinter_ = std::make_unique<CQuinterMFC>(quinter);
}

void CSignal::AttachExtData(CObject* data) {
  if (data != extData_) {
    DropExtData();
  }
  extData_ = data;
  ownsExtData_ = true;
}

void CSignal::DropExtData() {
  if (ownsExtData_) {
    delete extData_;
  }
  extData_ = nullptr;
  ownsExtData_ = false;
}

void CSignal::ExpandRange(Range& range, const Range& other) {
  Lower(range.first.first, other.first.first);
  Lower(range.first.second, other.first.second);
  Raise(range.second.first, other.second.first);
  Raise(range.second.second, other.second.second);
}

void CSignal::ShrinkRange(Range& range, const Range& other) {
  Raise(range.first.first, other.first.first);
  Raise(range.first.second, other.first.second);
  Lower(range.second.first, other.second.first);
  Lower(range.second.second, other.second.second);
}

void CSignal::SetXLen(std::uint32_t n) { static_cast<void>(TrySetXLen(n)); }

bool CSignal::TrySetXLen(std::uint32_t n) noexcept {
  return XLen() == n || detail::IfMemoryAllows([&] { info_.X1Len(n); });
}

bool CSignal::ReserveExtName(const CSignal& other) {
  return detail::IfMemoryAllows([&] { extName_.reserve(other.extName_.size()); });
}

bool CSignal::AllocateValues(unsigned n) {
  const std::uint32_t former = XLen();
  if (!TrySetXLen(n)) {
    return false;
  }
  if (!AllocateOrKeep(n)) {
    SetXLen(former);
    return false;
  }
  return true;
}

}  // namespace limes
