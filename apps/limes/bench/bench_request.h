#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace limes::host {

// What stands in the requests to a bench, whoever sent them.

/// The head of a request, as far as it decides who is answered; empty texts for what is missing.
struct SRequestHead {
  std::string method;
  std::string path;
  std::string host;
  std::string origin;
  std::string site;  ///< where a browser says that it comes from
  std::string length;
  std::string cookies;
  std::string authorization;
  std::string token;  ///< as a parameter
};

/// Where the bench is, and what it lets others do.
struct SServed {
  std::string address;
  std::string computer;  ///< its name
  int port = 0;
  std::string token;  ///< empty: none is asked for
  bool allowsActions = false;
  std::size_t mostBody = 0;
};

struct SRefusal {
  int status = 0;
  std::string reason;
};

/// Why a request is refused: by its size, as it comes from a foreign page or by a foreign name, as
/// pages must not act, without the token.
std::optional<SRefusal> RefusalOf(const SRequestHead& head, const SServed& served);

/// An address as it stands in a URL.
std::string HostText(const std::string& address);

/// A person's wish for a part that is held back.
struct SHeldAction {
  bool accepts = false;  ///< learn it; else forget it
  std::string part;
  std::string reason;
};

/// The wish in a body, {"part": NAME, "because": REASON}; empty when there is none.
std::optional<SHeldAction> WishOf(bool accepts, const std::string& body);

/// A whole decimal number; the other one for anything else.
std::int64_t NumberOr(const std::string& text, std::int64_t otherwise);

}  // namespace limes::host
