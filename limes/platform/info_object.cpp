#include "limes/platform/info_object.h"

#include <utility>

namespace limes {

namespace {

std::uint32_t NextId() {
  static std::atomic<std::uint32_t> last = 0;
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

void CInfoNode::Clear() { *this = CInfoNode(); }

void CInfoNode::Set(std::int64_t value) {
  Clear();
  kind_ = Kind::kInteger;
  integer_ = value;
}

void CInfoNode::Set(double value) {
  Clear();
  kind_ = Kind::kNumber;
  number_ = value;
}

void CInfoNode::Set(std::u16string_view value) {
  CInfoNode node;
  node.kind_ = Kind::kText;
  node.text_ = value;
  *this = std::move(node);
}

void CInfoNode::Set(const wide_char* value) {
  Set(std::u16string_view(value == nullptr ? u"" : value));
}

bool CInfoNode::operator==(const CInfoNode& other) const = default;

wide_string CInfoNode::AsText() const {
  return kind_ == Kind::kInteger  ? Format(u"%d", integer_)
         : kind_ == Kind::kNumber ? Format(u"%s", number_)
                                  : text_;
}

std::int64_t CInfoNode::AsInt() const {
  std::int64_t value = kind_ == Kind::kNumber ? TruncToInt64(number_) : integer_;
  if (IsText()) {
    Scan(text_, u"%d", &value);
  }
  return value;
}

double CInfoNode::AsFloat() const {
  double value = kind_ == Kind::kInteger ? static_cast<double>(integer_) : number_;
  if (IsText()) {
    Scan(text_, u"%f", &value);
  }
  return value;
}

CInfoObject::CInfoObject() : id_(NextId()) {}

CInfoObject::CInfoObject(const CInfoObject& other) : id_(NextId()), nodes_(other.nodes_) {}

CInfoObject::~CInfoObject() = default;

CInfoObject* CInfoObject::clone(bool /*deep*/) const { return new CInfoObject(*this); }

const CInfoNode* CInfoObject::Find(std::u16string_view key) const {
  const auto at = nodes_.find(key);
  return at == nodes_.end() ? nullptr : &at->second;
}

CInfoNode& CInfoObject::Node(std::u16string_view key) {
  const auto at = nodes_.lower_bound(key);
  if (at != nodes_.end() && at->first == key) {
    return at->second;
  }
  return nodes_.emplace_hint(at, wide_string(key), CInfoNode())->second;
}

bool CInfoObject::Erase(std::u16string_view key) {
  const auto at = nodes_.find(key);
  if (at == nodes_.end()) {
    return false;
  }
  nodes_.erase(at);
  return true;
}

CInfoObjectServerBase::~CInfoObjectServerBase() = default;

CInfoHandleBase::CInfoHandleBase(CInfoObject* object) noexcept : object_(object) {
  object_->handles_.fetch_add(1, std::memory_order_relaxed);
}

CInfoHandleBase::CInfoHandleBase(const CInfoHandleBase& other) noexcept
    : CInfoHandleBase(other.object_) {}

CInfoHandleBase::CInfoHandleBase(const CInfoHandleBase& other, bool deep)
    : CInfoHandleBase(deep ? other.object_->clone(true) : other.object_) {}

CInfoHandleBase& CInfoHandleBase::operator=(const CInfoHandleBase& other) noexcept {
  CInfoHandleBase next(other);
  std::swap(object_, next.object_);
  return *this;
}

CInfoHandleBase::~CInfoHandleBase() { Release(); }

void CInfoHandleBase::Release() noexcept {
  // The last handle must see what the others did to the object.
  if (object_->handles_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete object_;
  }
}

void CInfoHandleBase::copy(const CInfoHandleBase& other, bool deep) {
  CInfoHandleBase next(other, deep);
  std::swap(object_, next.object_);
}

bool CInfoHandleBase::IsShared() const {
  return object_->handles_.load(std::memory_order_acquire) > 1;
}

CInfoObject* CInfoHandleBase::modify() {
  if (IsShared()) {
    copy(*this, true);
  }
  return object_;
}

}  // namespace limes
