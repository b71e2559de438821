#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <map>
#include <string_view>

#include "limes/export.h"
#include "limes/platform/conversions.h"
#include "limes/platform/text.h"

namespace limes {

/// A value of an info object: nothing, an integer, a number or a text. One thread at a time.
class LIMES_EXPORT CInfoNode {
 public:
  CInfoNode() = default;

  bool IsEmpty() const { return kind_ == Kind::kEmpty; }
  bool IsText() const { return kind_ == Kind::kText; }

  /// The value as text: integers in decimal, numbers in the shortest form that reads back the
  /// same; empty for an empty node.
  wide_string AsText() const;

  /// The value as integer: numbers truncated and held to the range, NaN its smallest value; texts
  /// read as far as they are an integer that fits; else 0.
  std::int64_t AsInt() const;

  /// The value as number, texts read as far as they are one; else 0.0.
  double AsFloat() const;

  void Clear();

  /// Integers of any type, held to the range of 64 bits with sign.
  void Set(std::int64_t value);
  template <std::integral T>
  void Set(T value) {
    Set(SaturateTo<std::int64_t>(value));
  }
  void Set(double value);
  void Set(std::u16string_view value);
  void Set(const wide_char* value);

  bool operator==(const CInfoNode& other) const;

 private:
  enum class Kind { kEmpty, kInteger, kNumber, kText };

  Kind kind_ = Kind::kEmpty;
  std::int64_t integer_ = 0;  ///< these three are 0 or empty unless they are the value
  double number_ = 0.0;
  wide_string text_;
};

/// A record of nodes by text key, shared by handles until one of them changes it.
/// One thread at a time.
class LIMES_EXPORT CInfoObject {
 public:
  CInfoObject();
  /// A copy has an id of its own.
  CInfoObject(const CInfoObject& other);
  CInfoObject& operator=(const CInfoObject&) = delete;
  virtual ~CInfoObject();

  /// Number of this object, from 1, never used twice before 2^32 objects.
  std::uint32_t Id() const { return id_; }

  /// A new copy, owned by the caller. The nodes are values, so both forms copy them.
  virtual CInfoObject* clone(bool deep) const;

  /// The node of a key; null when there is none. O(log n).
  const CInfoNode* Find(std::u16string_view key) const;

  /// The node of a key, made when there is none. O(log n).
  CInfoNode& Node(std::u16string_view key);

  /// Removes a node; false when there is none.
  bool Erase(std::u16string_view key);

  const std::map<wide_string, CInfoNode, std::less<>>& Nodes() const { return nodes_; }

 private:
  friend class CInfoHandleBase;

  std::uint32_t id_;
  std::atomic<std::uint32_t> handles_ = 0;
  std::map<wide_string, CInfoNode, std::less<>> nodes_;
};

/// Makes info objects. One thread at a time.
class LIMES_EXPORT CInfoObjectServerBase {
 public:
  virtual ~CInfoObjectServerBase();

  /// A new info object, owned by the caller.
  virtual CInfoObject* Create() = 0;
};

/// Makes info objects of one class.
template <class Info>
class CInfoObjectServer : public CInfoObjectServerBase {
 public:
  Info* Create() override { return new Info; }
};

/// A counted reference to a shared info object; always refers to one. Several handles of one
/// object may be used by several threads, a single handle by one at a time.
class LIMES_EXPORT CInfoHandleBase {
 public:
  /// Shares the other's object.
  CInfoHandleBase(const CInfoHandleBase& other) noexcept;
  CInfoHandleBase& operator=(const CInfoHandleBase& other) noexcept;
  ~CInfoHandleBase();

  /// Takes the other's object: deep an own copy of it, otherwise the same one.
  void copy(const CInfoHandleBase& other, bool deep);

  /// True when another handle refers to the same object.
  bool IsShared() const;

 protected:
  /// Takes ownership of an object, which must not be null.
  explicit CInfoHandleBase(CInfoObject* object) noexcept;
  CInfoHandleBase(const CInfoHandleBase& other, bool deep);

  const CInfoObject* Object() const { return object_; }

  /// Makes the object private to this handle by copying it when it is shared; returns it.
  CInfoObject* modify();

 private:
  void Release() noexcept;

  CInfoObject* object_;
};

/// A handle on an info object of class Info.
template <class Info>
class CInfoHandle : public CInfoHandleBase {
 public:
  /// A new object from the server.
  explicit CInfoHandle(CInfoObjectServer<Info>& server) : CInfoHandleBase(server.Create()) {}

  /// Deep: an own copy of the other's object; otherwise the same one.
  CInfoHandle(const CInfoHandle& other, bool deep) : CInfoHandleBase(other, deep) {}

  /// The object for reading.
  const Info& Rep() const { return static_cast<const Info&>(*Object()); }

  /// The object for changing: private to this handle from now on.
  Info& Rep() { return static_cast<Info&>(*modify()); }
};

}  // namespace limes
