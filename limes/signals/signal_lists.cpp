#include "limes/signals/signal_lists.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <new>
#include <numeric>
#include <utility>

#include "limes/platform/memory_errors.h"
#include "limes/platform/record_io.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/pair_signal.h"
#include "limes/signals/record_buffer.h"

namespace limes {

namespace {

/// Version of the signals' records.
constexpr unsigned kVersion = 2;

/// Bytes of the record of a signal without values.
constexpr std::size_t kLeastCurveBytes = 116;
constexpr std::size_t kLeastPairsBytes = 156;

constexpr std::size_t LeastBytes(const CSigCurveExt* /*unused*/) { return kLeastCurveBytes; }
constexpr std::size_t LeastBytes(const CSigPairs* /*unused*/) { return kLeastPairsBytes; }

/// Curves with their values unchanged, which every reader takes.
bool WriteSignal(CSigCurveExt& curve, CFileStream& file) {
  const detail::RecordBuffer buffer(curve);
  return curve.WriteToFileRaw(file, kVersion);
}
bool WriteSignal(const CSigPairs& pairs, CFileStream& file) {
  return pairs.WriteToFile(file, kVersion);
}

bool ReadSignal(CSigCurveExt& curve, CFileStream& file) {
  const detail::RecordBuffer buffer(curve);
  return curve.ReadFromFileChecked(file, kVersion) == CurveReadStatus::kOk;
}

bool ReadSignal(CSigPairs& pairs, CFileStream& file) { return pairs.ReadFromFile(file, kVersion); }

template <class Signal>
std::unique_ptr<Signal> Copied(const Signal& signal) {
  std::unique_ptr<Signal> copy(signal.Clone(true));
  if (copy == nullptr) {
    throw std::bad_alloc();
  }
  return copy;
}

}  // namespace

bool MatchesKey(const CClavis& key, const CClavis& pattern) {
  for (unsigned i = 0; i < 6; ++i) {
    if (pattern[i] != -1 && pattern[i] != key[i]) {
      return false;
    }
  }
  return true;
}

namespace detail {

// Defaulted members of an exported template would be hidden.
template <class Signal>
SignalList<Signal>::SignalList() {}

template <class Signal>
SignalList<Signal>::SignalList(const SignalList& other) : keys_(other.keys_) {
  signals_.reserve(other.signals_.size());
  for (const auto& signal : other.signals_) {
    signals_.push_back(Copied(*signal));
  }
}

template <class Signal>
SignalList<Signal>::SignalList(SignalList&& other) noexcept
    : signals_(std::exchange(other.signals_, {})), keys_(std::exchange(other.keys_, {})) {}

template <class Signal>
SignalList<Signal>& SignalList<Signal>::operator=(const SignalList& other) {
  if (this != &other) {
    *this = SignalList(other);
  }
  return *this;
}

template <class Signal>
SignalList<Signal>& SignalList<Signal>::operator=(SignalList&& other) noexcept {
  if (this != &other) {
    signals_ = std::exchange(other.signals_, {});
    keys_ = std::exchange(other.keys_, {});
  }
  return *this;
}

template <class Signal>
SignalList<Signal>::~SignalList() {}

template <class Signal>
Signal* SignalList<Signal>::Add(std::unique_ptr<Signal>&& signal, const CClavis& key) {
  if (signal == nullptr || !MakeRoom(1)) {
    return nullptr;
  }
  keys_.push_back(key);
  signals_.push_back(std::move(signal));
  return signals_.back().get();
}

template <class Signal>
bool SignalList<Signal>::Append(SignalList&& other) {
  if (this == &other) {
    return true;
  }
  if (!MakeRoom(other.signals_.size())) {
    return false;
  }
  keys_.insert(keys_.end(), other.keys_.begin(), other.keys_.end());
  signals_.insert(signals_.end(), std::make_move_iterator(other.signals_.begin()),
                  std::make_move_iterator(other.signals_.end()));
  other.Clear();
  return true;
}

template <class Signal>
bool SignalList<Signal>::MakeRoom(std::size_t more) {
  return IfMemoryAllows([&] {
    const std::size_t needed = signals_.size() + more;
    if (needed > std::min(signals_.capacity(), keys_.capacity())) {
      signals_.reserve(std::max(needed, 2 * signals_.size()));
      keys_.reserve(signals_.capacity());
    }
  });
}

template <class Signal>
std::unique_ptr<Signal> SignalList<Signal>::Detach(int i) {
  if (!Has(i)) {
    return nullptr;
  }
  std::unique_ptr<Signal> signal = std::move(signals_[Slot(i)]);
  signals_.erase(signals_.begin() + i);
  keys_.erase(keys_.begin() + i);
  return signal;
}

template <class Signal>
void SignalList<Signal>::Clear() {
  signals_.clear();
  keys_.clear();
}

template <class Signal>
void SignalList<Signal>::SetKey(int i, const CClavis& key) {
  if (Has(i)) {
    keys_[Slot(i)] = key;
  }
}

template <class Signal>
int SignalList<Signal>::Find(std::u16string_view name, int start) const {
  return FindIf(start, [&](std::size_t i) { return signals_[i]->Name() == name; });
}

template <class Signal>
int SignalList<Signal>::FindKey(const CClavis& key, int start) const {
  return FindIf(start, [&](std::size_t i) { return MatchesKey(keys_[i], key); });
}

template <class Signal>
bool SignalList<Signal>::SortByName() {
  return Sort([this](std::size_t a, std::size_t b) {
    return std::u16string_view(signals_[a]->Name()) < std::u16string_view(signals_[b]->Name());
  });
}

template <class Signal>
bool SignalList<Signal>::SortByKey() {
  return Sort([this](std::size_t a, std::size_t b) { return keys_[a] < keys_[b]; });
}

template <class Signal>
template <class Less>
bool SignalList<Signal>::Sort(Less less) {
  return IfMemoryAllows([&] {
    std::vector<std::size_t> order(signals_.size());
    std::vector<std::unique_ptr<Signal>> signals(order.size());
    std::vector<CClavis> keys(order.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), less);
    for (std::size_t i = 0; i < order.size(); ++i) {
      signals[i] = std::move(signals_[order[i]]);
      keys[i] = keys_[order[i]];
    }
    signals_.swap(signals);
    keys_.swap(keys);
  });
}

template <class Signal>
bool SignalList<Signal>::WriteToFile(CFileStream& file) const {
  RecordWriter count;
  count.Put(static_cast<std::uint32_t>(signals_.size()));
  count.WriteTo(file);
  return std::all_of(signals_.begin(), signals_.end(),
                     [&](const auto& signal) { return WriteSignal(*signal, file); });
}

template <class Signal>
bool SignalList<Signal>::ReadFromFile(CFileStream& file) {
  RecordReader in(file);
  std::uint32_t count = 0;
  if (!in.Get(count) || !in.Fits(count, LeastBytes(static_cast<const Signal*>(nullptr)))) {
    return false;
  }
  return IfMemoryAllows(false, [&] {
    SignalList read;
    for (; count > 0; --count) {
      auto signal = std::make_unique<Signal>();
      if (!ReadSignal(*signal, file) || read.Add(std::move(signal)) == nullptr) {
        return false;
      }
    }
    *this = std::move(read);
    return true;
  });
}

template class SignalList<CSigCurveExt>;
template class SignalList<CSigPairs>;

}  // namespace detail

bool CSigCurveList::SortByDate() {
  return Sort([this](std::size_t a, std::size_t b) {
    const float left = Signals()[a]->Date();
    const float right = Signals()[b]->Date();
    return left < right || (std::isnan(right) && !std::isnan(left));
  });
}

int CSigPairsList::FindNumber(std::int32_t number, int start) const {
  return FindIf(start, [&](std::size_t i) { return Signals()[i]->Nummer() == number; });
}

bool CSigPairsList::SortByNumber() {
  return Sort([this](std::size_t a, std::size_t b) {
    return Signals()[a]->Nummer() < Signals()[b]->Nummer();
  });
}

CSigCurveList& CSigCurveCollection::List(const CClavis& key) { return lists_[key]; }

void CSigCurveCollection::Clear() { lists_.clear(); }

const CSigCurveList* CSigCurveCollection::FindList(const CClavis& key) const {
  const auto found = lists_.find(key);
  return found == lists_.end() ? nullptr : &found->second;
}

std::vector<const CSigCurveList*> CSigCurveCollection::Find(const CClavis& key) const {
  std::vector<const CSigCurveList*> found;
  for (const auto& [own, list] : lists_) {
    if (MatchesKey(own, key)) {
      found.push_back(&list);
    }
  }
  return found;
}

std::vector<const CSigCurveExt*> CSigCurveCollection::Find(const CQuinterMFC& pattern) const {
  std::vector<const CSigCurveExt*> found;
  for (const auto& [key, list] : lists_) {
    for (const auto& curve : list) {
      if (curve->HasQuinter() && curve->Quinter()->matchesPattern(pattern)) {
        found.push_back(curve.get());
      }
    }
  }
  return found;
}

bool CSigCurveCollection::Merge(CSigCurveCollection&& other) {
  return this == &other || detail::IfMemoryAllows(false, [&] {
           for (auto& [key, list] : other.lists_) {
             if (!lists_[key].Append(std::move(list))) {
               return false;
             }
           }
           other.lists_.clear();
           return true;
         });
}

int CSigCurveCollection::Anzahl() const {
  int count = 0;
  for (const auto& [key, list] : lists_) {
    count += list.Anzahl();
  }
  return count;
}

}  // namespace limes
