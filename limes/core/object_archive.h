#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "limes/export.h"
#include "limes/platform/object.h"
#include "limes/platform/text.h"

namespace limes {

class CFileStream;
class CSerializer;

/// Base of the classes that an object archive stores and creates. One thread at a time.
class LIMES_EXPORT CSObject : public CObject {
 public:
  using CObject::Serialize;

  const CRuntimeClass* GetRuntimeClass() const override;

  /// Stores or loads the fields, by the archive's IsStoring, in one fixed order: not 0 on success.
  /// Here: nothing, 1.
  virtual int Serialize(CSerializer* archive);

  static const CRuntimeClass* GetThisClass();
};

/// Archive of objects and raw words in an array of 32-bit words that the caller owns and moves to
/// and from files.
///
/// Words: 0 marker, 1 count of words in use (these 42 included), 2..41 the archive's name, one
/// sign-extended character per word, then the data in the order stored. An object is 40 words with
/// its class name, then its fields. No operation throws; failures are 0 or null.
/// One thread at a time. Neither copied nor moved: what it stores and loads holds a pointer to it.
class LIMES_EXPORT CSerializer : public CObject {
 public:
  static constexpr std::uint32_t kHeaderWords = 42;
  static constexpr std::uint32_t kNameWords = 40;

  /// Mode of Init: read an archive. Every other mode stores.
  static constexpr unsigned kLoad = 1;

  /// No array, capacity 0.
  CSerializer();
  CSerializer(std::uint32_t* words, unsigned capacity, unsigned mode);
  CSerializer(const CSerializer&) = delete;
  CSerializer& operator=(const CSerializer&) = delete;

  const CRuntimeClass* GetRuntimeClass() const override;
  static const CRuntimeClass* GetThisClass();

  /// Attaches an array of capacity words, which must outlive its use. Mode 1 loads: marker, count
  /// and name come from the array (nothing from a null array or one shorter than the header). Any
  /// other mode stores: count 42, no name, the array untouched. Position behind the header. A null
  /// array with a capacity only counts: stores advance without copying.
  void Init(std::uint32_t* words, unsigned capacity, unsigned mode);

  /// Keeps the first 40 characters, with a message when there are more, and writes them into the
  /// array. Null is the empty name.
  void SetArchiveName(const char* name);

  /// At most 40 characters; valid until the name changes.
  const char* ArchiveName() const { return name_.data(); }

  /// Keeps the marker and writes it into word 0 of an attached array.
  void SetMarker(std::uint32_t marker);
  std::uint32_t Marker() const { return marker_; }

  /// Data words stored or loaded so far.
  std::uint32_t GetPosition() const { return static_cast<std::uint32_t>(position_ - kHeaderWords); }

  /// Size: words in use, header included. Of a counting archive, what a real one needs.
  std::uint32_t Groesse() const { return count_; }

  /// Words in use behind the position: what an honest archive can still deliver.
  std::uint32_t DataLeft() const { return WordsTo(count_); }

  /// Not 0 while storing.
  int IsStoring() const { return storing_; }

  /// Stores as many of the n words as fit: their number. A null source is stored by a counting
  /// archive only. O(n).
  int StoreData(const std::uint32_t* source, int n);

  /// As StoreData without copying: the words keep what they hold.
  int SkipStoreData(unsigned n);

  /// Stores a block of n bytes, padded with zeros to whole words: the bytes stored, padded. O(n).
  int StoreBytes(const char* source, int n);

  /// Loads as many of n words as the capacity allows: their number. O(n).
  int LoadData(std::uint32_t* target, int n);

  /// As LoadData, but stays at the position. O(n).
  int LoadDataNoMove(std::uint32_t* target, int n);

  /// Loads n bytes and passes over whole words: n, or 0 behind the end. Bytes that a block across
  /// the end lacks are 0. O(n).
  int LoadBytes(char* target, int n);

  /// Passes over n words, at most to the end; where they begin, null at the end or without an
  /// array. They are the caller's words. Ask WordsToEnd before for how many lie there.
  std::uint32_t* SkipData(int n);

  /// Words between the position and the end of the array.
  std::uint32_t WordsToEnd() const { return WordsTo(capacity_); }

  /// Stores the class name and the object's fields: the result of its Serialize, or 0 when the
  /// name does not fit or the object is null.
  int StoreObject(CSObject* object);

  /// A new object of the class named next, owned by the caller, after its Serialize, whose result
  /// is not looked at. Null when fewer than 40 words are left or the class is not registered, and,
  /// with a message, when it cannot be created.
  CSObject* LoadObject();

  /// Loads the fields of an object of the class named next: the result of its Serialize; 0, with
  /// a message and behind the name, when the name is another class's.
  int ReloadObject(CSObject* object);

  /// 1 and the name of the class named next when it is registered, else 0 and an empty name. Stays
  /// at the position.
  int TestLoadObject(wide_string& name);

  /// 1 when the class named next is the object's, else 0. Stays at the position.
  int TestReloadObject(const CSObject* object);

  /// Reads an archive into the attached array and starts loading: 1, or 0 with the state as it
  /// was; the array may then hold a part. wordCount: -1 without an array, 0 when the file is too
  /// short, else the count that the file states (at most 2^31 - 1), of which 0 and more than
  /// the capacity are refused, with the file where it stood. O(words).
  int FetchFromFile(CFileStream& file, int* wordCount = nullptr);

 private:
  using NameWords = std::array<std::uint32_t, kNameWords>;

  std::uint32_t WordsTo(std::uint32_t end) const {
    return position_ < end ? end - static_cast<std::uint32_t>(position_) : 0;
  }
  int Store(const std::uint32_t* source, std::uint64_t n);
  int Peek(std::uint32_t* target, int n) const;
  void TakeHeader(std::uint32_t wordsPresent);

  int storing_ = 0;
  std::uint32_t* words_ = nullptr;
  std::uint32_t capacity_ = 0;
  std::uint64_t position_ = kHeaderWords;    ///< may pass the capacity, see LoadBytes
  std::array<char, kNameWords + 1> name_{};  ///< always ends with 0
  std::uint32_t count_ = kHeaderWords;
  std::uint32_t marker_ = 0;
};

/// Entry of the process-wide list of classes that the archive creates by name.
///
/// Entries are static objects made while the library (or a host's module) is loaded; the list never
/// shrinks, and as it links the entries themselves, they cannot be copied. Any thread may look up;
/// no code is to be loaded meanwhile.
class LIMES_EXPORT CSObjectRegister : public CObject {
 public:
  /// An empty entry outside the list.
  CSObjectRegister() = default;

  /// Appends an entry to the list; the name must outlive it.
  CSObjectRegister(const CRuntimeClass* runtimeClass, const char* name);
  CSObjectRegister(const CSObjectRegister&) = delete;
  CSObjectRegister& operator=(const CSObjectRegister&) = delete;

  const CRuntimeClass* GetRuntimeClass() const override;
  static const CRuntimeClass* GetThisClass();

  /// Finds a class: that of the first entry of exactly this name; null when there is none. O(n).
  static const CRuntimeClass* ObjektSuchen(const char* name);

  /// Number of entries.
  static std::int32_t Anzahl();

 private:
  static CSObjectRegister* m_wurzel;   ///< first entry
  static CSObjectRegister* m_letzter;  ///< last entry
  static std::int32_t m_anzahl;

  const CRuntimeClass* class_ = nullptr;
  CSObjectRegister* next_ = nullptr;
  const char* name_ = "";
};

}  // namespace limes
