#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/output_file.h"
#include "apps/limes/errors.h"
#include "recordings/part_source.h"
#include "recordings/part_writer.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// Standard output as a file that can only be written.
class CConsoleFile : public CFileStream {
 public:
  explicit CConsoleFile(std::ostream& out) : out_(out) {}

  std::size_t Read(void* /*data*/, std::size_t /*bytes*/) override { return 0; }
  void Write(const void* data, std::size_t bytes) override {
    if (!out_.write(static_cast<const char*>(data), static_cast<std::streamsize>(bytes))) {
      throw CFileStream::failure("standard output fails");
    }
  }
  void Seek(std::int64_t /*position*/) override {
    throw CFileStream::failure("standard output has no places");
  }
  std::int64_t Position() override { return 0; }
  std::int64_t Remaining() override { return -1; }

 private:
  std::ostream& out_;
};

OutputFormat ChooseFormat(const SOptions& options) {
  if (options.format) {
    const auto format = FormatByName(*options.format);
    if (!format) {
      throw CUsageError("--to must be " + FormatNames() + ", not " + Quoted(*options.format));
    }
    return *format;
  }
  if (options.output.empty()) {
    return OutputFormat::kCsv;
  }
  const auto format = FormatByEnding(options.output);
  if (!format) {
    throw CUsageError("the ending of " + Quoted(options.output) +
                      " does not say what to write; say it with --to");
  }
  return *format;
}

std::vector<SPart> ReadAll(const SOptions& options, SConsole& console) {
  const NoteTaker note = [&console](const std::string& text) { Warn(console, text); };
  const SSettings settings = Resolve(SettingsWithSkip(options, note), std::nullopt, true);
  CPartSource source(options.files, CPartSource::SConfig{settings, options.selection, options.where,
                                                         false, true, note, JobsOf(options)});
  source.CheckFiles();
  CProgressBar bar(console);
  std::vector<SPart> parts;
  while (source.OpenNext()) {
    for (SPart part; source.Next(part);) {
      parts.push_back(std::move(part));
      if (bar.IsDue()) {
        bar.Show(source.Progress());
      }
    }
  }
  if (!parts.empty() && parts[0].quantities.empty()) {
    throw CInputError(parts[0].name, "holds none of the quantities of --use");
  }
  if (parts.empty()) {
    throw CHostError(ExitCode::kBadInput, source.WhyNone() + "; nothing is written");
  }
  return parts;
}

}  // namespace

int RunConvert(const SOptions& options, SConsole& console) {
  const OutputFormat format = ChooseFormat(options);
  const bool table = format == OutputFormat::kCsv || format == OutputFormat::kText;
  if (options.output.empty() && !table) {
    throw CUsageError("records are no text: name their file with --out");
  }
  const std::vector<SPart> parts = ReadAll(options, console);
  std::vector<std::string> losses;
  try {
    if (options.output.empty()) {
      CConsoleFile file(console.out);
      losses = WriteParts(parts, format, file);
    } else {
      COutputFile file(options.output, options.force);
      losses = WriteParts(parts, format, file.Stream());
      file.Finish();
    }
  } catch (const CFileStream::failure&) {
    throw CHostError(ExitCode::kStore, (options.output.empty() ? "the output" : options.output) +
                                           std::string(" cannot be written"));
  }
  for (const std::string& loss : losses) {
    Warn(console, loss);
  }
  if (!options.output.empty()) {
    std::size_t quantities = 0;
    for (const SPart& part : parts) {
      quantities += part.quantities.size();
    }
    console.out << "wrote " << quantities << (quantities == 1 ? " quantity" : " quantities")
                << " to " << Escaped(options.output) << '\n';
  }
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host
