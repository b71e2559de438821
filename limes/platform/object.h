#pragma once

#include "limes/export.h"

namespace limes {

class CArchive;
class CObject;

/// What the system knows of a class at run time: its name, how to make an object of it, its base.
struct CRuntimeClass {
  const char* name = nullptr;
  CObject* (*create)() = nullptr;  ///< null: objects cannot be created by name
  const CRuntimeClass* base = nullptr;

  /// A new object, owned by the caller; null when the class cannot create any.
  CObject* CreateObject() const { return create == nullptr ? nullptr : create(); }

  /// True for the class itself and those it derives from. O(depth).
  bool IsDerivedFrom(const CRuntimeClass* other) const {
    const CRuntimeClass* at = this;
    while (at != nullptr && at != other) {
      at = at->base;
    }
    return at != nullptr;
  }
};

namespace detail {
extern const CRuntimeClass kObjectClass;  ///< CObject
}

/// Root of all classes with virtual operations. One thread at a time.
class LIMES_EXPORT CObject {
 public:
  /// Class of the object itself, behind whatever pointer; never null.
  virtual const CRuntimeClass* GetRuntimeClass() const;
  virtual ~CObject();

  /// For an archive of the host's framework; does nothing unless overridden.
  virtual void Serialize(CArchive& archive);
  virtual void AssertValid() const;
  virtual void Dump() const;

  static const CRuntimeClass* GetThisClass();

  /// The object is of that class or of one that derives from it. O(depth).
  bool IsKindOf(const CRuntimeClass* other) const {
    return GetRuntimeClass()->IsDerivedFrom(other);
  }

 protected:
  CObject() = default;
  CObject(const CObject&) = default;
  CObject& operator=(const CObject&) = default;
};

/// Objects that copy themselves behind a base pointer. One thread at a time.
class LIMES_EXPORT CClonable {
 public:
  /// A new object equal to this one, owned by the caller; deep: shared parts are copied too. Null
  /// when memory is short.
  virtual CClonable* Clone(bool deep) const = 0;

  /// Takes over another object's content; false when it cannot.
  virtual bool Copy(const CClonable& other, bool deep) = 0;
  virtual ~CClonable();

 protected:
  CClonable() = default;
  CClonable(const CClonable&) = default;
  CClonable& operator=(const CClonable&) = default;
};

/// Objects that a host shows in its views. One thread at a time.
class LIMES_EXPORT CViewable {
 public:
  virtual ~CViewable();

 protected:
  CViewable() = default;
  CViewable(const CViewable&) = default;
  CViewable& operator=(const CViewable&) = default;
};

}  // namespace limes
