#include "limes/platform/info_object.h"

#include <utility>

#include "limes/platform/conversions.h"

namespace limes {

namespace {

std::uint32_t NextId() {
  static std::atomic<std::uint32_t> last = 0;
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

wide_string CInfoNode::AsText() const {
  if (const auto* const integer = std::get_if<std::int64_t>(&value_)) {
    return Format(u"%d", *integer);
  }
  if (const auto* const number = std::get_if<double>(&value_)) {
    return Format(u"%s", *number);
  }
  const auto* const text = std::get_if<wide_string>(&value_);
  return text == nullptr ? wide_string() : *text;
}

std::int64_t CInfoNode::AsInt() const {
  std::int64_t value = 0;
  if (const auto* const number = std::get_if<double>(&value_)) {
    value = TruncToInt64(*number);
  } else if (const auto* const integer = std::get_if<std::int64_t>(&value_)) {
    value = *integer;
  } else if (const auto* const text = std::get_if<wide_string>(&value_)) {
    Scan(*text, u"%d", &value);
  }
  return value;
}

double CInfoNode::AsFloat() const {
  double value = 0.0;
  if (const auto* const number = std::get_if<double>(&value_)) {
    value = *number;
  } else if (const auto* const integer = std::get_if<std::int64_t>(&value_)) {
    value = static_cast<double>(*integer);
  } else if (const auto* const text = std::get_if<wide_string>(&value_)) {
    Scan(*text, u"%f", &value);
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
