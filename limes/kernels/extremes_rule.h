#pragma once

namespace limes::detail {

// The rule of extremes, for floats and lanes alike: a becomes the lower (the higher) one of both
// and stays where they tie or b is NaN. So a leading NaN stays, another one is passed over, and of
// zeros the first one's sign counts as long as the values come in order.
struct SLower {
  template <class T>
  void operator()(T& a, const T& b) const {
    a = b < a ? b : a;
  }
};
struct SHigher {
  template <class T>
  void operator()(T& a, const T& b) const {
    a = b > a ? b : a;
  }
};

}  // namespace limes::detail
