#include "limes/platform/object.h"

namespace limes {

namespace detail {
constinit const CRuntimeClass kObjectClass = {"CObject", nullptr, nullptr};
}

const CRuntimeClass* CObject::GetRuntimeClass() const { return GetThisClass(); }

CObject::~CObject() = default;

void CObject::Serialize(CArchive& /*archive*/) {}

void CObject::AssertValid() const {}

void CObject::Dump() const {}

const CRuntimeClass* CObject::GetThisClass() { return &detail::kObjectClass; }

CClonable::~CClonable() = default;

CViewable::~CViewable() = default;

}  // namespace limes
