#include "apps/limes/checked_pages.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <span>

#include "apps/limes/store_schema.h"
#include "limes/platform/record_io.h"

namespace limes::host {
namespace {

constexpr int kCheckBytes = 8;
constexpr int kHeaderBytes = 100;
constexpr int kLargestPage = 65536;

/// Lies behind the default layer's own file in the memory that SQLite allocates for both.
struct SState {
  sqlite3_io_methods methods;      ///< the real ones but for reading and writing
  const sqlite3_io_methods* real;  ///< of the default layer
  bool checked;                    ///< pages carry checks
};

std::size_t StateOffset() {
  static const auto kSize = static_cast<std::size_t>(sqlite3_vfs_find(nullptr)->szOsFile);
  return (kSize + alignof(SState) - 1) / alignof(SState) * alignof(SState);
}

SState& StateOf(sqlite3_file* file) {
  return *reinterpret_cast<SState*>(reinterpret_cast<char*>(file) + StateOffset());
}

/// Either of two places tells, so that damage to one of them is not the end of checking.
bool HasChecks(const std::uint8_t* header) {
  const auto number = [&](int at) {  // SQLite's headers have the most significant byte first
    return std::uint32_t{header[at]} << 24 | std::uint32_t{header[at + 1]} << 16 |
           std::uint32_t{header[at + 2]} << 8 | header[at + 3];
  };
  constexpr int kReserved = 20;
  constexpr int kUserVersion = 60;
  constexpr int kApplicationPlace = 68;
  return header[kReserved] == kCheckBytes ||
         (number(kApplicationPlace) == kApplicationId && number(kUserVersion) >= kCheckedSince);
}

bool IsPage(int size, sqlite3_int64 offset) {
  return size >= 512 && size <= kLargestPage && std::has_single_bit(static_cast<unsigned>(size)) &&
         offset % size == 0;
}

/// Each step maps its words one to one: no change within one word goes unseen. The place counts, so
/// a page in another's place does not pass.
std::uint64_t CheckOf(const std::uint8_t* page, int size, sqlite3_int64 offset) {
  auto check = static_cast<std::uint64_t>(offset) + 0x9E3779B97F4A7C15U;
  for (int i = 0; i + kCheckBytes < size; i += kCheckBytes) {
    check =
        (check ^ limes::detail::FromLittleEndian<std::uint64_t>(page + i)) * 0xFF51AFD7ED558CCDU;
    check ^= check >> 32;
  }
  return check;
}

int ReadChecked(sqlite3_file* file, void* data, int size, sqlite3_int64 offset) {
  SState& state = StateOf(file);
  const int code = state.real->xRead(file, data, size, offset);
  if (code == SQLITE_IOERR_SHORT_READ && state.checked && IsPage(size, offset)) {
    sqlite3_int64 end = 0;  // half a page would be filled with zeros
    return state.real->xFileSize(file, &end) == SQLITE_OK && end <= offset ? code
                                                                           : SQLITE_IOERR_DATA;
  }
  if (code != SQLITE_OK) {
    return code;
  }
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  if (offset == 0 && size >= kHeaderBytes) {
    state.checked = HasChecks(bytes);
  }
  if (state.checked && IsPage(size, offset) &&
      limes::detail::FromLittleEndian<std::uint64_t>(bytes + size - kCheckBytes) !=
          CheckOf(bytes, size, offset)) {
    return SQLITE_IOERR_DATA;
  }
  return SQLITE_OK;
}

int WriteChecked(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
  SState& state = StateOf(file);
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  if (offset == 0 && size >= kHeaderBytes) {
    state.checked = HasChecks(bytes);
  } else if (!state.checked) {  // another process may have brought the store up to date
    std::array<std::uint8_t, kHeaderBytes> header;
    state.checked = state.real->xRead(file, header.data(), kHeaderBytes, 0) == SQLITE_OK &&
                    HasChecks(header.data());
  }
  if (!state.checked || !IsPage(size, offset)) {
    return state.real->xWrite(file, data, size, offset);
  }
  std::array<std::uint8_t, kLargestPage> page;
  std::copy_n(bytes, size - kCheckBytes, page.data());
  limes::detail::ToLittleEndian(CheckOf(bytes, size, offset), page.data() + size - kCheckBytes);
  return state.real->xWrite(file, page.data(), size, offset);
}

int OpenChecked(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);
  const int code = real->xOpen(real, name, file, flags, outFlags);
  if (code == SQLITE_OK && (flags & SQLITE_OPEN_MAIN_DB) != 0) {
    SState& state = StateOf(file);
    state.real = file->pMethods;
    state.methods = *state.real;
    state.methods.iVersion = std::min(state.methods.iVersion, 2);  // pages are not mapped
    state.methods.xRead = ReadChecked;
    state.methods.xWrite = WriteChecked;
    state.checked = false;
    file->pMethods = &state.methods;
  }
  return code;
}

}  // namespace

const char* CheckedPages() {
  static sqlite3_vfs layer = [] {
    sqlite3_vfs made = *sqlite3_vfs_find(nullptr);
    made.szOsFile = static_cast<int>(StateOffset() + sizeof(SState));
    made.pNext = nullptr;
    made.zName = "limes-checked-pages";
    made.xOpen = OpenChecked;
    return made;
  }();
  static const int kRegistered = sqlite3_vfs_register(&layer, 0);
  return kRegistered == SQLITE_OK ? layer.zName : nullptr;
}

void ReserveChecks(sqlite3* database) {
  int bytes = kCheckBytes;
  sqlite3_file_control(database, "main", SQLITE_FCNTL_RESERVE_BYTES, &bytes);
}

const char* ReasonOf(sqlite3* database) {
  return sqlite3_extended_errcode(database) == SQLITE_IOERR_DATA
             ? "the store is damaged: a page is not as it was written"
             : sqlite3_errmsg(database);
}

}  // namespace limes::host
