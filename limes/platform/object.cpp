#include "limes/platform/object.h"

namespace limes {

namespace {

constexpr CRuntimeClass kObjectClass = {"CObject", nullptr, nullptr};

}  // namespace

const CRuntimeClass* CObject::GetRuntimeClass() const { return GetThisClass(); }

CObject::~CObject() = default;

void CObject::Serialize(CArchive& /*archive*/) {}

void CObject::AssertValid() const {}

void CObject::Dump() const {}

const CRuntimeClass* CObject::GetThisClass() { return &kObjectClass; }

CClonable::~CClonable() = default;

CViewable::~CViewable() = default;

}  // namespace limes
