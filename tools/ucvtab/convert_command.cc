// convert: a filter between two codesets of the product.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "charset/convert.h"
#include "tools/ucvtab/careful_converter.h"
#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/product_source.h"
#include "tools/ucvtab/progress.h"

namespace mar::ucvtab {
namespace {

constexpr uint32_t kBlock = 32768;  // bytes read, units held, bytes written at a time

class Filter {
 public:
  explicit Filter(const ConvertOptions& options)
      : from_(open_codeset(options.from)), to_(open_codeset(options.to)) {
    if (options.strict || options.omit) careful_.emplace(from_.get(), to_.get(), options.omit);
  }

  void run(std::FILE* file, const std::string& name) {
    while (size_t count = std::fread(in_ + in_count_, 1, kBlock - in_count_, file)) {
      in_count_ += static_cast<uint32_t>(count);
      if (careful_) {
        careful_->convert(in_, in_count_);
      } else {
        convert_block();
      }
      progress_.advance(total_bytes_ += count);
    }
    if (std::ferror(file)) throw Failure(kFileError, name + ": " + std::strerror(errno));
  }

  void finish() {
    char* out = out_;
    uint32_t room = kBlock, nothing = 0;
    const uint16_t* none = nullptr;
    xcs_from_ucs2_r(to_.get(), &none, &nothing, &out, &room);
    write_until(out);
    if (in_count_ != 0 || unit_count_ != 0 || (careful_ && careful_->is_cut()))
      throw Failure(kBadInput, "the input ends inside a character");
  }

  // What was substituted, in words; empty if nothing was, or if it is not counted.
  std::string substitutions() const { return careful_ ? careful_->report() : ""; }

 private:
  // Converts the bytes held. Keeps a character that the end of the block cuts.
  void convert_block() {
    const char* in = in_;
    int result = XCS_OUTPUT_FULL;
    while (result == XCS_OUTPUT_FULL) {
      uint16_t* unit = units_ + unit_count_;
      uint32_t room = kBlock - unit_count_;
      result = xcs_to_ucs2_r(from_.get(), &in, &in_count_, &unit, &room);
      unit_count_ = kBlock - room;
      write_units();
    }
    std::memmove(in_, in, in_count_);
  }

  void write_units() {
    const uint16_t* unit = units_;
    int result = XCS_OUTPUT_FULL;
    while (result == XCS_OUTPUT_FULL) {
      char* out = out_;
      uint32_t room = kBlock;
      result = xcs_from_ucs2_r(to_.get(), &unit, &unit_count_, &out, &room);
      write_until(out);
    }
    std::memmove(units_, unit, unit_count_ * sizeof *unit);
  }

  void write_until(const char* end) { write_output(out_, static_cast<size_t>(end - out_)); }

  CodesetHandle from_, to_;
  char in_[kBlock];
  uint32_t in_count_ = 0;
  uint16_t units_[kBlock + 1] = {};  // the mixed family reads one unit past its input
  uint32_t unit_count_ = 0;
  char out_[kBlock];
  std::optional<CarefulConverter> careful_;
  uint64_t total_bytes_ = 0;
  ByteProgress progress_;
};

}  // namespace

ExitCode run_convert(const ConvertOptions& options) {
  auto filter = std::make_unique<Filter>(options);
  if (options.files.empty()) filter->run(stdin, "standard input");
  for (const std::string& name : options.files) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rbe"), &std::fclose);
    if (!file) throw Failure(kFileError, name + ": " + std::strerror(errno));
    filter->run(file.get(), name);
  }
  filter->finish();
  const std::string substitutions = filter->substitutions();
  filter.reset();  // clears the line of progress
  if (substitutions.empty()) return kDone;
  std::fprintf(stderr, "ucvtab: %s\n", substitutions.c_str());
  return kDiffers;
}

}  // namespace mar::ucvtab
