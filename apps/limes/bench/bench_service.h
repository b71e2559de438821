#pragma once

#include <functional>
#include <memory>
#include <string>

#include "apps/limes/bench/bench.h"
#include "apps/limes/bench/bench_request.h"
#include "apps/limes/bench/bench_settings.h"
#include "apps/limes/bench/bench_state.h"

namespace limes::host {

/// The page of a bench and its JSON interface (openapi.json), over HTTP, in threads of its own.
class CBenchService {
 public:
  virtual ~CBenchService() = default;

  /// Where the page is.
  virtual std::string Url() const = 0;
};

/// act: carries a wish out, in the thread that judges; what it gives is shown. Throws CUsageError
/// for settings that cannot be used, and when the program was built without HTTP; CHostError when
/// the port cannot be had.
std::unique_ptr<CBenchService> MakeBenchService(const SServeSettings& settings, CBench& bench,
                                                CBenchState& state, const std::string& store,
                                                std::function<std::string(const SHeldAction&)> act);

}  // namespace limes::host
