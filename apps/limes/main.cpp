#include <string>
#include <vector>

#include "apps/limes/commands/commands.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  limes::host::EndWhenMemoryIsShort();
  limes::host::SConsole console = limes::host::StandardConsole();
  return limes::host::RunHost(std::vector<std::string>(argv + 1, argv + argc), console);
}
