#pragma once

#include <sstream>
#include <string>

#include "recordings/errors.h"
#include "recordings/part_source.h"
#include "recordings/text.h"

namespace limes::recordings {

/// What a file is read as: "name [unit] x0+dx[x unit]: values; ..." and its notes, or the reason
/// why not.
inline std::string ReadStream(CFileStream& stream, const std::string& path,
                              const SReadSettings& settings = {}) {
  std::ostringstream shown;
  std::string notes;
  const std::vector<SCondition> where;
  const SReadContext context{path,   &settings,
                             &where, false,
                             false,  [&](const std::string& note) { notes += "| " + note; }};
  try {
    const auto reader = MakePartReader(DetectKind(path, stream), stream, context);
    for (SPart part; reader->Next(part);) {
      for (const SQuantity& q : part.quantities) {
        shown << q.name << " [" << q.unit.Display() << "] " << q.x0 << "+" << q.dx << "["
              << q.xUnit.Display() << "]:";
        for (std::size_t i = 0; i < q.values.size(); ++i) {
          shown << " " << (q.x.empty() ? "" : NumberText(Shown(q.x[i])) + "@") << q.values[i];
        }
        shown << "; ";
      }
    }
  } catch (const CReadError& e) {
    return e.what();
  }
  return shown.str() + notes;
}

inline std::string Read(const std::string& bytes, const SReadSettings& settings = {}) {
  CMemoryStream stream(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
  return ReadStream(stream, "f", settings);
}

}  // namespace limes::recordings
