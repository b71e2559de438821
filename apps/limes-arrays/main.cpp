// Reads the file that is open as descriptor 0 and answers requests on descriptor 1, for a program
// that must not be harmed by what a library does with a hostile file.
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "apps/limes-arrays/array_source.h"
#include "apps/limes-arrays/sandbox.h"
#include "limes/platform/record_io.h"
#include "recordings/formats/expansion.h"

namespace limes::arrays {

SArray& CArraySource::AddArray(const std::string& group, const std::string& name) {
  constexpr std::size_t kMost = 100'000;
  if (list_.arrays.size() == kMost) {
    throw CFault("holds more than " + std::to_string(kMost) + " arrays");
  }
  SArray& array = list_.arrays.emplace_back();
  array.group = group;
  array.name = name;
  return array;
}

void CArraySource::LeaveOut(const std::string& why, const std::string& name) {
  constexpr std::size_t kMost = 1000;
  if (auto& names = list_.leftOut[why]; names.size() < kMost) {
    names.push_back(name);
  }
}

bool TakeShape(const std::vector<std::uint64_t>& dimensions, SArray& array) {
  std::vector<std::uint64_t> lengths;
  for (const std::uint64_t length : dimensions) {
    if (length != 1) {
      lengths.push_back(length);
    }
  }
  array.rows = lengths.empty() ? 1 : lengths[0];
  array.columns = lengths.size() > 1 ? lengths[1] : 1;
  return lengths.size() <= 2 && array.columns > 0;
}

namespace {

constexpr int kChannel = STDOUT_FILENO;

/// The other side is gone: nobody waits for an answer.
[[noreturn]] void End() { _exit(0); }

void Send(const void* data, std::size_t bytes) {
  for (const auto* from = static_cast<const char*>(data); bytes > 0;) {
    const ssize_t sent = write(kChannel, from, bytes);
    if (sent <= 0) {
      End();
    }
    from += sent;
    bytes -= static_cast<std::size_t>(sent);
  }
}

void Answer(bool failed, const void* data, std::uint64_t bytes) {
  std::array<std::uint8_t, 16> head;
  detail::ToLittleEndian(std::uint64_t{failed ? 1U : 0U}, head.data());
  detail::ToLittleEndian(bytes, head.data() + 8);
  Send(head.data(), head.size());
  Send(data, static_cast<std::size_t>(bytes));
}

bool Receive(recordings::SArrayRequest& request) {
  std::array<std::uint8_t, 24> bytes;
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t got = read(kChannel, bytes.data() + done, bytes.size() - done);
    if (got <= 0) {
      return false;
    }
    done += static_cast<std::size_t>(got);
  }
  request = {detail::FromLittleEndian<std::uint64_t>(bytes.data()),
             detail::FromLittleEndian<std::uint64_t>(bytes.data() + 8),
             detail::FromLittleEndian<std::uint64_t>(bytes.data() + 16)};
  return true;
}

bool IsHdf5() {
  constexpr std::array<off_t, 2> kPlaces = {0, 512};  // MATLAB puts a head of its own in front
  std::array<char, 8> start{};
  for (const off_t place : kPlaces) {
    if (pread(STDIN_FILENO, start.data(), start.size(), place) == 8 &&
        std::memcmp(start.data(), "\x89HDF\r\n\x1a\n", start.size()) == 0) {
      return true;
    }
  }
  return false;
}

std::unique_ptr<CArraySource> Open(bool mat) {
  const auto opened = [] { LimitCalls(false); };
  if (IsHdf5()) {
#ifdef LIMES_HAS_HDF5
    return OpenHdf5File(opened);
#endif
  } else if (!mat) {
    throw CFault("does not begin as such a file does");
  } else {
#ifdef LIMES_HAS_MAT
    return OpenMatFile(opened);
#endif
  }
  throw CFault("this program was built without a library that reads it");
}

void Serve(CArraySource& source) {
  const std::vector<std::uint8_t> list = recordings::EncodeList(source.List());
  if (list.size() > recordings::kMostListBytes) {
    throw CFault("names and texts of its arrays take too much room");
  }
  Answer(false, list.data(), list.size());
  std::vector<double> values;
  for (recordings::SArrayRequest request; Receive(request);) {
    const auto& arrays = source.List().arrays;
    const bool known = request.array < arrays.size();
    const std::uint64_t rows = known ? arrays[request.array].rows : 0;
    if (!known || request.first > rows || request.count > rows - request.first) {
      throw CFault("values are asked for that are not there");
    }
    values.resize(request.count * arrays[request.array].columns);
    source.Read(request.array, request.first, request.count, values);
    Answer(false, values.data(), values.size() * sizeof(double));
  }
}

int Run(bool mat) {
  std::string fault = "takes more memory than there is";
  try {
    struct stat state {};
    if (fstat(STDIN_FILENO, &state) != 0) {
      throw CFault("cannot be read");
    }
    LimitResources(static_cast<std::uint64_t>(state.st_size));
    LimitCalls(true);
    Serve(*Open(mat));
    End();
  } catch (const CFault& e) {
    fault = e.what();
  } catch (const std::exception&) {
  }
  fault.resize(std::min<std::size_t>(fault.size(), recordings::kMostReasonBytes));
  Answer(true, fault.data(), fault.size());
  End();
}

}  // namespace
}  // namespace limes::arrays

int main(int count, char** arguments) {
  return limes::arrays::Run(count > 1 && std::strcmp(arguments[1], "MAT") == 0);
}
