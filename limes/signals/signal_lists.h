#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "limes/core/signal_key.h"
#include "limes/export.h"
#include "limes/platform/text.h"

namespace limes {

class CFileStream;
class CSigCurveExt;
class CSigPairs;

namespace detail {

/// Ordered owner of signals, each with a key of integers. No slot is empty. One thread at a time.
template <class Signal>
class LIMES_EXPORT SignalList {
 public:
  SignalList();
  SignalList(const SignalList& other);
  SignalList(SignalList&& other) noexcept;
  SignalList& operator=(const SignalList& other);
  SignalList& operator=(SignalList&& other) noexcept;
  ~SignalList();

  /// Takes the signal to the end of the list: it. Null for null, and when memory is short: the
  /// signal stays the caller's then. O(1) on average.
  Signal* Add(std::unique_ptr<Signal>&& signal, const CClavis& key = {});

  /// Moves the other's signals and keys to the end of the list; the other is empty then. False,
  /// with both as before, when memory is short. O(n).
  bool Append(SignalList&& other);

  /// Hands signal i over to the caller, those behind it move up; null when there is none. O(n).
  std::unique_ptr<Signal> Detach(int i);

  /// Deletes all signals.
  void Clear();

  int Anzahl() const { return static_cast<int>(signals_.size()); }
  bool IsEmpty() const { return signals_.empty(); }

  /// Signal i; null when there is none.
  Signal* operator[](int i) { return Has(i) ? signals_[Slot(i)].get() : nullptr; }
  const Signal* operator[](int i) const { return Has(i) ? signals_[Slot(i)].get() : nullptr; }

  /// Key of signal i; not set (six times -1) when there is none.
  CClavis Key(int i) const { return Has(i) ? keys_[Slot(i)] : CClavis(); }

  /// Sets the key of signal i; no effect when there is none.
  void SetKey(int i, const CClavis& key);

  /// Index of the first signal of exactly this name from start on, -1 when there is none. O(n).
  int Find(std::u16string_view name, int start = 0) const;

  /// Index of the first signal from start on whose key has the coordinates given; -1 there stands
  /// for any. -1 when there is none. O(n).
  int FindKey(const CClavis& key, int start = 0) const;

  /// Sorts by name, in 16-bit characters; equal ones keep their order. False, with nothing changed,
  /// when memory is short. O(n log n).
  bool SortByName();

  /// The same by key.
  bool SortByKey();

  /// The signals in order, for loops.
  std::span<const std::unique_ptr<Signal>> Signals() const { return signals_; }
  auto begin() const { return signals_.begin(); }
  auto end() const { return signals_.end(); }

  /// Writes the count and the signals' records of version 2, values unchanged; keys are not in it.
  /// False when a signal cannot be written; what the stream throws passes through. O(values).
  [[nodiscard]] bool WriteToFile(CFileStream& file) const;

  /// Reads such a record, the keys not set. False, with nothing changed, when it is cut short or
  /// malformed or memory is short. Never allocates more than the stream still holds.
  [[nodiscard]] bool ReadFromFile(CFileStream& file);

 protected:
  /// Sorts by less(i, j) of two indices; what it finds equal keeps its order.
  template <class Less>
  bool Sort(Less less);

  /// The first index from start on for which is(i) holds, -1 when there is none.
  template <class Predicate>
  int FindIf(int start, Predicate is) const {
    for (std::size_t i = start < 0 ? 0 : Slot(start); i < signals_.size(); ++i) {
      if (is(i)) {
        return static_cast<int>(i);
      }
    }
    return -1;
  }

 private:
  /// Room for so many more signals; false when memory is short.
  bool MakeRoom(std::size_t more);

  bool Has(int i) const { return i >= 0 && i < Anzahl(); }
  static std::size_t Slot(int i) { return static_cast<std::size_t>(i); }

  std::vector<std::unique_ptr<Signal>> signals_;
  std::vector<CClavis> keys_;  ///< as many as signals
};

extern template class SignalList<CSigCurveExt>;
extern template class SignalList<CSigPairs>;

}  // namespace detail

/// Ordered owner of extended curves, each with an optional key. One thread at a time.
class LIMES_EXPORT CSigCurveList : public detail::SignalList<CSigCurveExt> {
 public:
  /// Sorts by date; equal ones keep their order, NaN come last. False, with nothing changed, when
  /// memory is short. O(n log n).
  bool SortByDate();
};

/// Ordered owner of pair signals, each with an optional key. One thread at a time.
class LIMES_EXPORT CSigPairsList : public detail::SignalList<CSigPairs> {
 public:
  /// Index of the first signal of that number from start on, -1 when there is none. O(n).
  int FindNumber(std::int32_t number, int start = 0) const;

  /// Sorts by number; equal ones keep their order. False, with nothing changed, when memory is
  /// short. O(n log n).
  bool SortByNumber();
};

/// The curves of one tested part, in lists by key. One thread at a time.
class LIMES_EXPORT CSigCurveCollection {
 public:
  /// The list of exactly that key; made when there is none. O(log n).
  CSigCurveList& List(const CClavis& key);

  /// The list of exactly that key; null when there is none. O(log n).
  const CSigCurveList* FindList(const CClavis& key) const;

  /// The lists whose keys have the coordinates given; -1 there stands for any. In key order. O(n).
  std::vector<const CSigCurveList*> Find(const CClavis& key) const;

  /// The curves whose six-part names match the pattern; "*" there stands for any. Curves without
  /// a name of six parts match nothing. In key order. O(n).
  std::vector<const CSigCurveExt*> Find(const CQuinterMFC& pattern) const;

  /// Moves the other's curves behind this collection's of the same key; the other is empty then.
  /// O(curves). False when memory is short: each curve is in one of them then.
  bool Merge(CSigCurveCollection&& other);

  /// Deletes all curves.
  void Clear();

  /// Number of curves. O(lists).
  int Anzahl() const;

  const std::map<CClavis, CSigCurveList>& Lists() const { return lists_; }

 private:
  std::map<CClavis, CSigCurveList> lists_;
};

/// Every coordinate of the pattern is -1 or equals the key's.
LIMES_EXPORT bool MatchesKey(const CClavis& key, const CClavis& pattern);

}  // namespace limes
