// Uses every exported class of an installed limes once, so that no symbol of it is hidden: makes,
// copies, moves and assigns what can be made, and asks the others for their types. The test of the
// installation lists the classes from the headers.
#include <cstdio>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "limes/limes.h"

namespace {

using namespace limes;
using namespace limes::detail;
using namespace limes::DVL;

template <class T>
std::size_t Use() {
  if constexpr (std::is_default_constructible_v<T>) {
    T made;
    if constexpr (std::is_copy_constructible_v<T>) {
      T copy(made);
      if constexpr (std::is_copy_assignable_v<T>) {
        copy = made;
        copy = std::move(made);
      }
      T moved(std::move(copy));
    }
  }
  return typeid(T).hash_code() != 0 ? 1 : 0;
}

template <class... T>
std::size_t UseAll() {
  return (Use<T>() + ...);
}

}  // namespace

int main() {
  const std::size_t used = UseAll<
#include "exported_classes.inc"
      >();
  std::printf("%zu classes\n", used);
  return 0;
}
