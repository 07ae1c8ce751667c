// dump, info, check and diff: what is in a table, as text, in figures, with its faults, and against another.
#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/compile.h"
#include "tools/ucvtab/table_image.h"
#include "tools/ucvtab/text_format.h"

namespace mar::ucvtab {
namespace {

TableImage open_table(const std::string& path) { return {read_table_file(path, kMaxTableSize), path}; }

void print(const char* key, const std::string& value) {
  std::printf("%s\t%s\n", key, printable(value).c_str());
}
void print(const char* key, size_t value) { print(key, std::to_string(value)); }

void print_info(const std::string& path) {
  const TableImage image = open_table(path);
  const Codeset codeset = read_table(image);
  size_t encoded = 0, round_trips = 0;
  for (char32_t unit = 0; unit < 0x10000; ++unit) {
    const Code& code = codeset.encode[unit];
    if (code.empty()) continue;
    ++encoded;
    const auto found = codeset.decode.find(code);
    round_trips += found != codeset.decode.end() && found->second == unit;
  }
  std::string stamp;
  for (unsigned i = 0; i < kStampSize; ++i) stamp += to_hex(single(image.file()[table_layout::kHdr64 + i]));
  print("file", path);
  print("name", codeset.name);
  print("kind", codeset.kind);
  print("bytes", image.file().size());
  print("order", image.order() == std::endian::little ? "little" : "big");
  print("longest-code", image.header16(table_layout::kHdr56) >> 8);
  print("substitute", to_hex(single(*codeset.sub)) + " " + to_text(codeset.sub_source));
  print("decoded", codeset.decode.size());
  print("encoded", encoded);
  print("round-trip", round_trips);
  print("stamp", stamp);
  print("note", codeset.note);
}

template <class Action>
ExitCode for_each_file(const std::vector<std::string>& paths, const Action& action) {
  ExitCode highest = kDone;
  for (const std::string& path : paths) {
    ExitCode result = kDone;
    try {
      result = action(path);
    } catch (const Failure& failure) {
      const bool is_aliases = std::filesystem::path(path).filename() == kAliasesFile;
      if (is_aliases && failure.code == kBadInput && paths.size() > 1) continue;
      std::fprintf(stderr, "ucvtab: %s\n", printable(failure.what()).c_str());
      result = failure.code;
    }
    highest = std::max(highest, result);
  }
  return highest;
}

std::string describe(const Decoded& decoded) {
  if (decoded.outcome == Decoded::kIncomplete) return "incomplete";
  std::string text = decoded.outcome == Decoded::kInvalid ? "-" : "";
  for (const char32_t point : decoded.text) text += (text.empty() ? "" : " ") + to_text(point);
  return text;
}

std::string describe(const Code& code) { return code.empty() ? "-" : to_hex(code); }

bool is_library(const std::string& operand) {
  return operand.starts_with("iconv:") || operand.starts_with("icu:");
}

Codeset load_codeset(const std::string& operand) {
  return operand.starts_with("text:") ? read_text(operand.substr(5)) : read_table(open_table(operand));
}

std::unique_ptr<Source> open_operand(const std::string& operand, Kind kind) {
  if (!is_library(operand)) return open_codeset(load_codeset(operand));
  CatalogueRow row;
  row.kind = kind;
  row.source = row.where = operand;
  return open_source(row, "");
}

}  // namespace

ExitCode run_dump(const std::string& table) {
  std::fputs(write_text(read_table(open_table(table))).c_str(), stdout);
  return kDone;
}

ExitCode run_info(const std::vector<std::string>& tables) {
  return for_each_file(tables, [](const std::string& path) {
    print_info(path);
    return kDone;
  });
}

ExitCode run_check(const std::vector<std::string>& tables) {
  return for_each_file(tables, [](const std::string& path) {
    const std::vector<Fault> faults = check_table(open_table(path));
    for (const Fault& fault : faults) std::printf("%s: %s\n", path.c_str(), printable(fault.text).c_str());
    return faults.empty() ? kDone : kDiffers;
  });
}

// The codes are those of `left`. A code that only `right` has, after a byte that `left` refuses, shows at
// that byte. Characters past U+FFFF are asked for, too, although only GB18030 has them.
ExitCode run_diff(const std::string& left, const std::string& right) {
  if (is_library(left) && is_library(right)) throw Failure(kUsage, "diff needs a table or a text file");
  const Kind kind = load_codeset(is_library(left) ? right : left).kind;
  const std::unique_ptr<Source> a = open_operand(left, kind), b = open_operand(right, kind);
  ExitCode result = kDone;
  const auto compare = [&](const char* direction, const std::string& what, const auto& in_a,
                           const auto& in_b) {
    if (in_a == in_b) return;
    std::printf("%s\t%s\t%s\t%s\n", direction, what.c_str(), describe(in_a).c_str(), describe(in_b).c_str());
    result = kDiffers;
  };
  for_each_code(*a, kind, [&](const Code& code, const Decoded& in_a) {
    compare("decode", to_hex(code), in_a, b->decode(code));
  });
  for (char32_t point = 0; point <= 0x10FFFF; ++point) {
    if (!is_surrogate(point)) compare("encode", to_text(point), a->encode(point), b->encode(point));
  }
  return result;
}

}  // namespace mar::ucvtab
