#include "limes/version.h"

#include <cstdio>

int main() { return std::puts("limes " LIMES_VERSION_STRING) < 0 ? 4 : 0; }
