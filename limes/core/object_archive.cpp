#include "limes/core/object_archive.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>
#include <vector>

#include "limes/core/runtime_classes.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/message_box.h"
#include "limes/platform/print_window.h"
#include "limes/platform/record_io.h"

namespace limes {

namespace {

constexpr std::uint32_t kNameAt = 2;           ///< first word of the archive's name
constexpr std::size_t kLongestClassName = 39;  ///< characters that StoreObject keeps
constexpr std::size_t kMessageBuffer = 200;    ///< characters of a message and a 0
constexpr int kMaxInt = std::numeric_limits<int>::max();

constexpr CRuntimeClass kSerializerClass = {"CSerializer", nullptr, &detail::kObjectClass};
constexpr CRuntimeClass kRegisterClass = {"CSObjectRegister", nullptr, &detail::kObjectClass};

/// A character as an archive word: its 8 bits, sign-extended.
std::uint32_t ExpandChar(char c) {
  return static_cast<std::uint32_t>(std::int32_t{static_cast<signed char>(c)});
}

/// Words that hold n bytes.
std::uint32_t WordsFor(int n) { return static_cast<std::uint32_t>((std::int64_t{n} + 3) / 4); }

/// One character per word, zeros behind the text.
void ExpandString(std::string_view text, std::uint32_t* words, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    words[i] = i < text.size() ? ExpandChar(text[i]) : 0;
  }
}

/// The low byte of each of the words of a name; those need no terminator.
std::array<char, CSerializer::kNameWords + 1> CondenseName(const std::uint32_t* words) {
  std::array<char, CSerializer::kNameWords + 1> name{};
  std::transform(words, words + CSerializer::kNameWords, name.begin(),
                 [](std::uint32_t word) { return static_cast<char>(word); });
  return name;
}

/// Shows a warning; what does not fit its buffer, or into memory, is lost.
template <class... Args>
void Warn(std::u16string_view format, const Args&... args) {
  detail::IfMemoryAllows(
      [&] { MessageBoxes::Warning(Format(format, args...).substr(0, kMessageBuffer - 1)); });
}

std::string_view ClassName(const CObject& object) {
  const CRuntimeClass* const runtimeClass = object.GetRuntimeClass();
  return runtimeClass == nullptr || runtimeClass->name == nullptr ? "" : runtimeClass->name;
}

/// An archivable object of the class; null when the class cannot create one.
std::unique_ptr<CSObject> CreateObject(const CRuntimeClass& runtimeClass) {
  return detail::IfMemoryAllows(nullptr, [&] {
    std::unique_ptr<CObject> object(runtimeClass.CreateObject());
    auto* const archivable = dynamic_cast<CSObject*>(object.get());
    if (archivable != nullptr) {
      static_cast<void>(object.release());
    }
    return std::unique_ptr<CSObject>(archivable);
  });
}

}  // namespace

namespace detail {
constinit const CRuntimeClass kArchivableClass = {
    "CSObject", [] { return static_cast<CObject*>(new CSObject); }, &kObjectClass};
}  // namespace detail

const CRuntimeClass* CSObject::GetRuntimeClass() const { return GetThisClass(); }

const CRuntimeClass* CSObject::GetThisClass() { return &detail::kArchivableClass; }

int CSObject::Serialize(CSerializer* /*archive*/) { return 1; }

CSerializer::CSerializer() = default;

CSerializer::CSerializer(std::uint32_t* words, unsigned capacity, unsigned mode) {
  Init(words, capacity, mode);
}

const CRuntimeClass* CSerializer::GetRuntimeClass() const { return GetThisClass(); }

const CRuntimeClass* CSerializer::GetThisClass() { return &kSerializerClass; }

void CSerializer::Init(std::uint32_t* words, unsigned capacity, unsigned mode) {
  words_ = words;
  capacity_ = capacity;
  if (mode == kLoad) {
    TakeHeader(words == nullptr || capacity < kHeaderWords ? 0 : kHeaderWords);
    return;
  }
  storing_ = 1;
  position_ = kHeaderWords;
  name_.fill('\0');
  count_ = kHeaderWords;  // kept: the header words stay as they are until something is stored
}

/// Starts loading with what the header words present say; missing words count as 0.
void CSerializer::TakeHeader(std::uint32_t wordsPresent) {
  const auto word = [&](std::uint32_t i) { return i < wordsPresent ? words_[i] : 0; };
  storing_ = 0;
  position_ = kHeaderWords;
  marker_ = word(0);
  count_ = word(1);
  for (std::uint32_t i = 0; i < kNameWords; ++i) {
    name_[i] = static_cast<char>(word(kNameAt + i) & 0xFF);
  }
}

void CSerializer::SetArchiveName(const char* name) {
  std::string_view text = name == nullptr ? "" : name;
  if (text.size() > kNameWords) {
    PrWin::Print(PrWin::kWarnings, PrWin::kAlert,
                 u"CSerializer::SetArchiveName '%s' too long, cutting to %d char's.\n", text,
                 kNameWords);
    text = text.substr(0, kNameWords);
  }
  name_.fill('\0');
  std::copy(text.begin(), text.end(), name_.begin());
  if (words_ != nullptr && capacity_ > kNameAt) {
    ExpandString(text, words_ + kNameAt, std::min(kNameWords, capacity_ - kNameAt));
  }
}

void CSerializer::SetMarker(std::uint32_t marker) {
  marker_ = marker;
  if (words_ != nullptr && capacity_ > 0) {
    words_[0] = marker;
  }
}

/// Stores up to n words, from the source when there is one: their number.
int CSerializer::Store(const std::uint32_t* source, std::uint64_t n) {
  const auto m = static_cast<std::uint32_t>(
      std::min({std::uint64_t{WordsToEnd()}, n, static_cast<std::uint64_t>(kMaxInt)}));
  if (m == 0) {
    return 0;
  }
  if (words_ != nullptr && source != nullptr) {
    std::copy_n(source, m, words_ + position_);
  }
  position_ += m;
  count_ += m;
  if (words_ != nullptr) {
    words_[1] = count_;
  }
  return static_cast<int>(m);
}

int CSerializer::StoreData(const std::uint32_t* source, int n) {
  if (n <= 0 || (source == nullptr && words_ != nullptr)) {
    return 0;
  }
  return Store(source, static_cast<std::uint64_t>(n));
}

int CSerializer::SkipStoreData(unsigned n) { return Store(nullptr, n); }

int CSerializer::StoreBytes(const char* source, int n) {
  if (n <= 0 || (source == nullptr && words_ != nullptr)) {
    return 0;
  }
  const std::uint64_t first = position_;
  const int stored = Store(nullptr, WordsFor(n));
  for (int i = 0; words_ != nullptr && i < stored; ++i) {
    std::uint32_t word = 0;
    for (int k = 0; k < 4 && 4 * std::int64_t{i} + k < n; ++k) {
      word |= std::uint32_t{static_cast<unsigned char>(source[4 * std::int64_t{i} + k])} << 8 * k;
    }
    words_[first + static_cast<std::uint64_t>(i)] = word;
  }
  return static_cast<int>(std::min(std::int64_t{stored} * 4, std::int64_t{kMaxInt}));
}

/// Copies up to n words from the position without moving: their number.
int CSerializer::Peek(std::uint32_t* target, int n) const {
  if (n <= 0 || target == nullptr || words_ == nullptr) {
    return 0;
  }
  const std::uint32_t m = std::min(WordsToEnd(), static_cast<std::uint32_t>(n));
  if (m > 0) {
    std::copy_n(words_ + position_, m, target);
  }
  return static_cast<int>(m);
}

int CSerializer::LoadData(std::uint32_t* target, int n) {
  const int loaded = Peek(target, n);
  position_ += static_cast<std::uint64_t>(loaded);
  return loaded;
}

int CSerializer::LoadDataNoMove(std::uint32_t* target, int n) { return Peek(target, n); }

int CSerializer::LoadBytes(char* target, int n) {
  if (n <= 0 || target == nullptr) {
    return 0;
  }
  const std::uint64_t w = WordsFor(n);
  // kept: the bound is loose by the block's own length; stored archives end in cut blocks
  if (position_ >= capacity_ + w) {
    return 0;
  }
  const std::uint64_t present = words_ == nullptr ? 0 : std::min<std::uint64_t>(WordsToEnd(), w);
  for (int i = 0; i < n; ++i) {
    const auto word = static_cast<std::uint64_t>(i / 4);
    target[i] =
        word < present ? static_cast<char>(words_[position_ + word] >> 8 * (i % 4) & 0xFF) : '\0';
  }
  position_ += w;
  return n;
}

std::uint32_t* CSerializer::SkipData(int n) {
  const std::uint32_t left = WordsToEnd();
  if (n < 0 || left == 0 || words_ == nullptr) {
    return nullptr;
  }
  std::uint32_t* const at = words_ + position_;
  position_ += std::min(left, static_cast<std::uint32_t>(n));
  return at;
}

int CSerializer::StoreObject(CSObject* object) {
  if (object == nullptr) {
    return 0;
  }
  NameWords words;
  ExpandString(ClassName(*object).substr(0, kLongestClassName), words.data(), words.size());
  const int n = static_cast<int>(kNameWords);
  return StoreData(words.data(), n) < n ? 0 : object->Serialize(this);
}

CSObject* CSerializer::LoadObject() {
  NameWords words;
  const int n = static_cast<int>(kNameWords);
  if (LoadData(words.data(), n) < n) {
    return nullptr;
  }
  const auto name = CondenseName(words.data());
  const CRuntimeClass* const runtimeClass = CSObjectRegister::ObjektSuchen(name.data());
  if (runtimeClass == nullptr) {
    return nullptr;
  }
  std::unique_ptr<CSObject> object = CreateObject(*runtimeClass);
  if (object == nullptr) {
    Warn(u"Interner Fehler: konnte kein\n'%s' erzeugen", name.data());
    return nullptr;
  }
  object->Serialize(this);  // kept: the result is not looked at; curves answer 0 and are wanted
  return object.release();
}

int CSerializer::ReloadObject(CSObject* object) {
  NameWords words;
  const int n = static_cast<int>(kNameWords);
  if (object == nullptr || LoadData(words.data(), n) < n) {
    return 0;
  }
  const auto name = CondenseName(words.data());
  if (ClassName(*object) == name.data()) {
    return object->Serialize(this);
  }
  Warn(u"Serialisierungsfehler:\nes wird versucht, %s\nmit %s (=%x%x...) zu überladen!",
       ClassName(*object), name.data(), words[0], words[1]);
  return 0;
}

int CSerializer::TestLoadObject(wide_string& name) {
  name.clear();
  NameWords words;
  const int n = static_cast<int>(kNameWords);
  if (Peek(words.data(), n) < n) {
    return 0;
  }
  const auto stored = CondenseName(words.data());
  const bool isKnown = CSObjectRegister::ObjektSuchen(stored.data()) != nullptr;
  return isKnown && detail::IfMemoryAllows([&] { name = Cp1252ToWide(stored.data()); }) ? 1 : 0;
}

int CSerializer::TestReloadObject(const CSObject* object) {
  NameWords words;
  const int n = static_cast<int>(kNameWords);
  return object != nullptr && Peek(words.data(), n) == n &&
                 ClassName(*object) == CondenseName(words.data()).data()
             ? 1
             : 0;
}

int CSerializer::FetchFromFile(CFileStream& file, int* wordCount) {
  const auto report = [wordCount](int value) {
    if (wordCount != nullptr) {
      *wordCount = value;
    }
  };
  report(-1);
  if (words_ == nullptr) {
    return 0;
  }
  report(0);
  const std::int64_t start = file.Position();
  detail::RecordReader head(file);
  std::uint32_t marker = 0;
  std::uint32_t count = 0;
  if (!head.Get(marker) || !head.Get(count)) {
    return 0;
  }
  try {
    file.Seek(start);
  } catch (const CFileStream::failure&) {
    return 0;
  }
  report(static_cast<int>(std::min(count, static_cast<std::uint32_t>(kMaxInt))));
  if (count == 0 || count > capacity_ ||
      !detail::RecordReader(file).GetSpan(std::span(words_, count))) {
    return 0;
  }
  TakeHeader(std::min(count, kHeaderWords));
  return 1;
}

// The list is constant-initialised, so that entries of any file may come first.
constinit CSObjectRegister* CSObjectRegister::m_wurzel = nullptr;
constinit CSObjectRegister* CSObjectRegister::m_letzter = nullptr;
constinit std::int32_t CSObjectRegister::m_anzahl = 0;

namespace {

// In the file of ObjektSuchen, so that a static library cannot lose them; in this order.
const CSObjectRegister gCurveEntry(&detail::kCurveClass, "CSigCurve");
const CSObjectRegister gCurveExtEntry(&detail::kCurveExtClass, "CSigCurveExt");

}  // namespace

CSObjectRegister::CSObjectRegister(const CRuntimeClass* runtimeClass, const char* name)
    : class_(runtimeClass), name_(name == nullptr ? "" : name) {
  (m_letzter == nullptr ? m_wurzel : m_letzter->next_) = this;
  m_letzter = this;
  ++m_anzahl;
}

const CRuntimeClass* CSObjectRegister::GetRuntimeClass() const { return GetThisClass(); }

const CRuntimeClass* CSObjectRegister::GetThisClass() { return &kRegisterClass; }

const CRuntimeClass* CSObjectRegister::ObjektSuchen(const char* name) {
  const std::string_view wanted = name == nullptr ? "" : name;
  for (const CSObjectRegister* at = m_wurzel; at != nullptr; at = at->next_) {
    if (wanted == at->name_) {
      return at->class_;
    }
  }
  return nullptr;
}

std::int32_t CSObjectRegister::Anzahl() { return m_anzahl; }

}  // namespace limes
