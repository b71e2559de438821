#include "apps/limes/bench/bench_request.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iterator>
#include <nlohmann/json.hpp>

namespace limes::host {
namespace {

/// Takes as long for a wrong text as for a right one.
bool IsSame(const std::string& given, const std::string& wanted) {
  unsigned differs = given.size() == wanted.size() ? 0 : 1;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const char c = i < given.size() ? given[i] : '\0';
    differs |= static_cast<unsigned char>(c ^ wanted[i]);
  }
  return differs == 0;
}

std::string CookieOf(const std::string& cookies, const std::string& name) {
  std::string all = "; ";
  all += cookies;
  const std::size_t at = all.find("; " + name + "=");
  if (at == std::string::npos) {
    return "";
  }
  const std::size_t first = at + name.size() + 3;
  return all.substr(first, all.find(';', first) - first);
}

bool IsTooLong(const std::string& length, std::size_t most) {
  constexpr std::size_t kDigits = 9;
  return length.size() > kDigits || std::strtoull(length.c_str(), nullptr, 10) > most;
}

bool IsOurHost(const std::string& host, const SServed& served) {
  std::string port = ":";
  port += std::to_string(served.port);
  const std::string known[] = {"localhost", "127.0.0.1", "[::1]", HostText(served.address),
                               served.computer};
  const bool named = std::any_of(std::begin(known), std::end(known), [&](const std::string& k) {
    return !k.empty() && (host == k + port || (served.port == 80 && host == k));
  });
  // With a token an address of this computer will do: a foreign page does not know the token.
  return named || (!served.token.empty() &&
                   host.find_first_not_of("0123456789.:[]abcdefABCDEF") == std::string::npos);
}

}  // namespace

std::string HostText(const std::string& address) {
  if (address.find(':') == std::string::npos) {
    return address;
  }
  std::string text = "[";
  text += address;
  text += ']';
  return text;
}

std::optional<SRefusal> RefusalOf(const SRequestHead& head, const SServed& served) {
  if (IsTooLong(head.length, served.mostBody)) {
    return SRefusal{413, "the body is too large"};
  }
  if (!IsOurHost(head.host, served)) {
    return SRefusal{403, "this host name is not served"};
  }
  const bool foreign = (!head.origin.empty() && head.origin != "http://" + head.host) ||
                       head.site == "cross-site" || head.site == "same-site";
  if (foreign && !(head.method == "GET" && head.path == "/" && head.origin.empty())) {
    return SRefusal{403, "another page must not ask here"};
  }
  const bool byPage = !head.origin.empty() || !head.site.empty();
  if (head.method != "GET" && byPage && !served.allowsActions) {
    return SRefusal{403, "a page must not change anything here (--allow-actions)"};
  }
  if (!served.token.empty() && !IsSame(CookieOf(head.cookies, "limes_token"), served.token) &&
      !IsSame(head.authorization, "Bearer " + served.token) &&
      !(head.path == "/" && IsSame(head.token, served.token))) {
    return SRefusal{401, "the token is missing or wrong"};
  }
  return std::nullopt;
}

std::optional<SHeldAction> WishOf(bool accepts, const std::string& body) {
  using Json = nlohmann::json;
  const Json wish = Json::parse(body, nullptr, false);
  if (!wish.is_object() || !wish.value("part", Json()).is_string()) {
    return std::nullopt;
  }
  const Json reason = wish.value("because", Json(""));
  return SHeldAction{accepts, wish["part"].get<std::string>(),
                     reason.is_string() ? reason.get<std::string>() : ""};
}

std::int64_t NumberOr(const std::string& text, std::int64_t otherwise) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : otherwise;
}

}  // namespace limes::host
