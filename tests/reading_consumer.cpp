// Reads recordings with the installed library: the quantities of each file, one a line.
#include <cstdio>

#include "recordings/errors.h"
#include "recordings/part_source.h"

int main(int argc, char** argv) {
  using namespace limes::recordings;
  try {
    CPartSource source({argv + 1, argv + argc}, {});
    while (source.OpenNext()) {
      for (SPart part; source.Next(part);) {
        for (const SQuantity& q : part.quantities) {
          std::printf("%s [%s]: %zu values, the first %g\n", q.name.c_str(),
                      q.unit.DisplayFull().c_str(), q.values.size(),
                      static_cast<double>(q.values.at(0)));
        }
      }
    }
  } catch (const CReadError& e) {
    std::puts(e.what());
    return 1;
  }
}
