#include "apps/limes/plant/connection.h"

#include <algorithm>
#include <array>

#include "apps/limes/errors.h"

#ifdef LIMES_HAVE_POSTGRESQL
#include <libpq-fe.h>
#endif

namespace limes::host {
namespace {

constexpr std::string_view kHidden = "***";

std::size_t EndOfWord(std::string_view text, std::size_t from, std::string_view ends) {
  return std::min(text.find_first_of(ends, from), text.size());
}

/// Where the address that begins behind "://" ends, as far as it may hold a password.
std::string_view Address(std::string_view text, std::size_t from) {
  return text.substr(from, EndOfWord(text, from, " \t\r\n\"'") - from);
}

}  // namespace

bool NamesDatabase(std::string_view text) {
  return text.starts_with("postgresql://") || text.starts_with("postgres://");
}

std::string WithoutPasswords(std::string_view text) {
  std::string out(text);
  constexpr std::string_view kScheme = "://";
  for (std::size_t at = out.find(kScheme); at != std::string::npos; at = out.find(kScheme, at)) {
    at += kScheme.size();
    const std::string_view address = Address(out, at);
    const std::size_t colon = address.find(':');
    const std::size_t end = address.rfind('@');
    if (end != std::string_view::npos && colon < end) {
      out.replace(at + colon + 1, end - colon - 1, kHidden);
    }
  }
  constexpr std::string_view kWord = "password";
  for (std::size_t at = out.find(kWord); at != std::string::npos; at = out.find(kWord, at)) {
    at += kWord.size();
    std::size_t first = std::min(out.find_first_not_of(' ', at), out.size());
    if (first == out.size() || out[first] != '=') {
      continue;
    }
    first = std::min(out.find_first_not_of(' ', first + 1), out.size());
    std::size_t end = EndOfWord(out, first, " &\t\r\n");
    if (first < out.size() && out[first] == '\'') {
      for (end = first + 1; end < out.size() && out[end] != '\''; ++end) {
        end += out[end] == '\\' ? 1 : 0;
      }
      end = std::min(end + 1, out.size());
    }
    out.replace(first, end - first, kHidden);
  }
  return out;
}

std::string HexText(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text = "\\x";
  text.reserve(2 + 2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 15U];
  }
  return text;
}

std::vector<std::uint8_t> BytesOfHex(std::string_view text) {
  const auto digit = [](char c) -> unsigned {
    return c >= '0' && c <= '9'   ? static_cast<unsigned>(c - '0')
           : c >= 'a' && c <= 'f' ? static_cast<unsigned>(c - 'a') + 10U
                                  : 16U;
  };
  std::vector<std::uint8_t> bytes;
  if (!text.starts_with("\\x") || text.size() % 2 != 0) {
    return bytes;
  }
  bytes.reserve(text.size() / 2 - 1);
  for (std::size_t i = 2; i < text.size(); i += 2) {
    const unsigned high = digit(text[i]);
    const unsigned low = digit(text[i + 1]);
    if (std::max(high, low) > 15U) {
      return {};
    }
    bytes.push_back(static_cast<std::uint8_t>(16 * high + low));
  }
  return bytes;
}

#ifdef LIMES_HAVE_POSTGRESQL

namespace {

struct Finish {
  void operator()(PGconn* c) const { PQfinish(c); }
  void operator()(PGresult* r) const { PQclear(r); }
  void operator()(PQconninfoOption* o) const { PQconninfoFree(o); }
};

/// What libpq says of a wrong text may hold a piece of a password, so it is not told.
void CheckText(const std::string& text) {
  const std::unique_ptr<PQconninfoOption, Finish> options(PQconninfoParse(text.c_str(), nullptr));
  const std::size_t at = text.substr(0, text.find('?')).rfind('@');
  const bool isCut = NamesDatabase(text) && at != std::string::npos &&
                     text.find('/', text.find("://") + 3) < at;  // a password with a slash
  if (options == nullptr || isCut) {
    throw CUsageError(
        "the database is named as postgresql://USER@HOST/NAME or as \"host=HOST dbname=NAME\" "
        "(with "
        "%2F for a slash within a name or password)");
  }
}

}  // namespace

struct CPlantConnection::Impl {
  using Result = std::unique_ptr<PGresult, Finish>;

  [[noreturn]] void Fail(const char* told) const {
    std::string reason = WithoutPasswords(told);
    while (!reason.empty() && reason.back() == '\n') {
      reason.pop_back();
    }
    throw CStoreError("the database: " + reason);
  }

  Result Checked(PGresult* raw, ExecStatusType expected) const {
    Result result(raw);
    const ExecStatusType status = PQresultStatus(raw);
    if (status != expected && (expected != PGRES_COMMAND_OK || status != PGRES_TUPLES_OK)) {
      Fail(raw != nullptr && *PQresultErrorMessage(raw) != '\0' ? PQresultErrorMessage(raw)
                                                                : PQerrorMessage(connection.get()));
    }
    return result;
  }

  std::unique_ptr<PGconn, Finish> connection;
};

CPlantConnection::CPlantConnection(const std::string& text) : impl_(std::make_unique<Impl>()) {
  CheckText(text);
  // What the text says itself replaces what stands before it.
  constexpr std::array<const char*, 7> kNames = {"fallback_application_name",
                                                 "connect_timeout",
                                                 "keepalives_idle",
                                                 "tcp_user_timeout",
                                                 "dbname",
                                                 "client_encoding",
                                                 nullptr};
  const std::array<const char*, 7> values = {"limes",      "10",   "30",   "60000",
                                             text.c_str(), "UTF8", nullptr};
  impl_->connection.reset(PQconnectdbParams(kNames.data(), values.data(), 1));
  if (PQstatus(impl_->connection.get()) != CONNECTION_OK) {
    impl_->Fail(impl_->connection ? PQerrorMessage(impl_->connection.get()) : "not enough memory");
  }
  PQsetNoticeProcessor(
      impl_->connection.get(), [](void*, const char*) {}, nullptr);
  // Names are given whole: nothing in another schema takes the place of what is meant.
  Execute("SELECT pg_catalog.set_config('search_path', '', false)");
}

void CPlantConnection::Execute(const std::string& sql) {
  impl_->Checked(PQexec(impl_->connection.get(), sql.c_str()), PGRES_COMMAND_OK);
}

std::vector<CPlantConnection::Row> CPlantConnection::Query(const std::string& sql,
                                                           const Row& values) {
  std::vector<const char*> texts;
  for (const Value& value : values) {
    texts.push_back(value ? value->c_str() : nullptr);
  }
  const Impl::Result result = impl_->Checked(
      PQexecParams(impl_->connection.get(), sql.c_str(), static_cast<int>(texts.size()), nullptr,
                   texts.data(), nullptr, nullptr, 0),
      PGRES_COMMAND_OK);
  std::vector<Row> rows(static_cast<std::size_t>(PQntuples(result.get())));
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (int column = 0; column < PQnfields(result.get()); ++column) {
      const int row = static_cast<int>(i);
      rows[i].emplace_back();
      if (PQgetisnull(result.get(), row, column) == 0) {
        rows[i].back().emplace(PQgetvalue(result.get(), row, column),
                               static_cast<std::size_t>(PQgetlength(result.get(), row, column)));
      }
    }
  }
  return rows;
}

void CPlantConnection::Copy(const std::string& into, const std::string& rows) {
  if (rows.empty()) {
    return;
  }
  PGconn* const connection = impl_->connection.get();
  impl_->Checked(PQexec(connection, ("COPY " + into + " FROM STDIN").c_str()), PGRES_COPY_IN);
  constexpr std::size_t kMost = std::size_t{1} << 20U;
  for (std::size_t at = 0; at < rows.size(); at += kMost) {
    const std::size_t size = std::min(kMost, rows.size() - at);
    if (PQputCopyData(connection, rows.data() + at, static_cast<int>(size)) != 1) {
      impl_->Fail(PQerrorMessage(connection));
    }
  }
  if (PQputCopyEnd(connection, nullptr) != 1) {
    impl_->Fail(PQerrorMessage(connection));
  }
  impl_->Checked(PQgetResult(connection), PGRES_COMMAND_OK);
  while (const Impl::Result more{PQgetResult(connection)}) {
  }
}

#else

struct CPlantConnection::Impl {};

CPlantConnection::CPlantConnection(const std::string&) {
  throw CUsageError("this program was built without PostgreSQL (libpq-dev)");
}
void CPlantConnection::Execute(const std::string&) {}
std::vector<CPlantConnection::Row> CPlantConnection::Query(const std::string&, const Row&) {
  return {};
}
void CPlantConnection::Copy(const std::string&, const std::string&) {}

#endif

CPlantConnection::~CPlantConnection() = default;

}  // namespace limes::host
