#include "limes/c/boundary.h"

namespace limes::c {

void Require(bool holds, const char* text) {
  if (!holds) {
    throw SFailure{LIMES_ARGUMENT, text};
  }
}

}  // namespace limes::c

extern "C" const char* limes_status_text(int32_t status) {
  switch (status) {
    case LIMES_OK:
      return "ok";
    case LIMES_ARGUMENT:
      return "an argument that is not allowed";
    case LIMES_MEMORY:
      return "memory is short";
    case LIMES_KIND:
      return "the limit is of another kind of measurement";
    case LIMES_UNIT:
      return "no known unit";
    case LIMES_PART:
      return "the part cannot be learnt";
    case LIMES_STATE:
      return "no state, or a damaged one";
    case LIMES_MERGE:
      return "the states cannot be joined";
    case LIMES_BUFFER:
      return "the buffer is too small";
    case LIMES_NOTHING:
      return "there is nothing yet";
    case LIMES_UNKNOWN:
      return "an error of the host's own was thrown";
    default:
      return "no such status";
  }
}
