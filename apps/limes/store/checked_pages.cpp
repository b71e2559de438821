#include "apps/limes/store/checked_pages.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "apps/limes/store/checked_file.h"
#include "apps/limes/store/checked_log.h"
#include "apps/limes/store/page_check.h"

namespace limes::host {
namespace {

std::size_t StateOffset() {
  static const auto kSize = static_cast<std::size_t>(sqlite3_vfs_find(nullptr)->szOsFile);
  return (kSize + alignof(SCheckedFile) - 1) / alignof(SCheckedFile) * alignof(SCheckedFile);
}

bool IsPage(int size, sqlite3_int64 offset) { return IsPageSize(size) && offset % size == 0; }

int ReadChecked(sqlite3_file* file, void* data, int size, sqlite3_int64 offset) {
  SCheckedFile& state = CheckedFileOf(file);
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
  return !state.checked || !IsPage(size, offset) ||
                 CheckHolds({bytes, static_cast<std::size_t>(size)}, offset)
             ? SQLITE_OK
             : SQLITE_IOERR_DATA;
}

int WriteChecked(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
  SCheckedFile& state = CheckedFileOf(file);
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
  std::copy_n(bytes, size, page.data());
  PutCheck({page.data(), static_cast<std::size_t>(size)}, offset);
  return state.real->xWrite(file, page.data(), size, offset);
}

int OpenChecked(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);
  const int code = real->xOpen(real, name, file, flags, outFlags);
  const bool isLog = (flags & SQLITE_OPEN_WAL) != 0;
  if (code == SQLITE_OK && (isLog || (flags & SQLITE_OPEN_MAIN_DB) != 0)) {
    SCheckedFile& state = CheckedFileOf(file);
    state.real = file->pMethods;
    state.methods = *state.real;
    state.methods.iVersion = std::min(state.methods.iVersion, 2);  // pages are not mapped
    state.methods.xRead = isLog ? ReadLog : ReadChecked;
    state.methods.xWrite = isLog ? WriteLog : WriteChecked;
    state.store = isLog ? &CheckedFileOf(sqlite3_database_file_object(name)) : &state;
    state.checked = false;
    file->pMethods = &state.methods;
  }
  return code;
}

}  // namespace

SCheckedFile& CheckedFileOf(sqlite3_file* file) {
  return *reinterpret_cast<SCheckedFile*>(reinterpret_cast<char*>(file) + StateOffset());
}

const char* CheckedPages() {
  static sqlite3_vfs layer = [] {
    sqlite3_vfs made = *sqlite3_vfs_find(nullptr);
    made.szOsFile = static_cast<int>(StateOffset() + sizeof(SCheckedFile));
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
  const int code = sqlite3_extended_errcode(database);
  return code == SQLITE_IOERR_DATA ? "the store is damaged: a page is not as it was written"
         : (code & 0xFF) == SQLITE_READONLY ? "the store or its folder must not be written"
                                            : sqlite3_errmsg(database);
}

}  // namespace limes::host
