// Requests to a bench: their heads, a line for each field, and their bodies.
#include <sstream>
#include <string>

#include "apps/limes/bench/bench_request.h"
#include "fuzz/fuzz.h"

void limes::fuzz::Try(Input input) {
  using namespace limes::host;
  const unsigned way = TakeByte(input);
  const std::string text(TextOf(input));
  if (way % 4 == 0) {
    if (const auto wish = WishOf(way % 8 == 0, text)) {
      Require(text.find('"') != std::string::npos);
    }
    return;
  }
  SRequestHead head;
  std::istringstream lines(text);
  for (std::string* field : {&head.method, &head.path, &head.host, &head.origin, &head.site,
                             &head.length, &head.cookies, &head.authorization, &head.token}) {
    std::getline(lines, *field);
  }
  const std::string token = way % 4 == 1 ? "" : "a token that is secret";
  const SServed served{"127.0.0.1", "bench", 8017, token, way % 4 == 2, 1000};
  if (RefusalOf(head, served)) {
    return;
  }
  Require(text.find(token) != std::string::npos);
  Require(head.host.ends_with(":8017") || !token.empty());
  Require(head.origin.empty() || head.origin == "http://" + head.host);
  Require(head.method == "GET" || served.allowsActions || head.origin.empty());
  Require(NumberOr(head.length, 0) <= 1000);
}
