#include "limes/version.h"
