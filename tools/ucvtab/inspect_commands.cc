// dump, info and diff: what is in a table, as text, in figures, and against another.
#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "charset/table_layout.h"
#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/compare.h"
#include "tools/ucvtab/harvest.h"
#include "tools/ucvtab/table_check.h"
#include "tools/ucvtab/table_reader.h"
#include "tools/ucvtab/text_format.h"

namespace ucvtab {
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
  print("longest-code", image.u16(table_layout::kHdr56) >> 8);
  print("substitute", to_hex(single(*codeset.sub)) + " " + to_text(codeset.sub_source));
  print("decoded", codeset.decode.size());
  print("encoded", encoded);
  print("round-trip", round_trips);
  print("stamp", stamp);
  print("note", codeset.note);
}

std::string describe(const Decoded& decoded) {
  if (decoded.outcome == Decoded::kIncomplete) return "incomplete";
  std::string text = decoded.outcome == Decoded::kInvalid ? "-" : "";
  for (char32_t point : decoded.text) text += (text.empty() ? "" : " ") + to_text(point);
  return text;
}

std::string describe(const Code& code) { return code.empty() ? "-" : to_hex(code); }

bool is_library(const std::string& operand) {
  return operand.starts_with("iconv:") || operand.starts_with("icu:");
}

Codeset load_codeset(const std::string& operand) {
  return operand.starts_with("text:") ? read_text(operand.substr(5)) : read_table(open_table(operand));
}

template <class Action>
ExitCode for_each_file(const std::vector<std::string>& paths, const Action& action) {
  ExitCode gravest = kDone;
  for (const std::string& path : paths) {
    ExitCode result = kDone;
    try {
      result = action(path);
    } catch (const Failure& failure) {
      const bool aliases = std::filesystem::path(path).filename() == kAliasesFile;
      if (aliases && failure.code == kBadInput && paths.size() > 1) continue;
      std::fprintf(stderr, "ucvtab: %s\n", printable(failure.what()).c_str());
      result = failure.code;
    }
    gravest = std::max(gravest, result);
  }
  return gravest;
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

ExitCode run_diff(const std::string& left, const std::string& right) {
  if (is_library(left) && is_library(right)) throw Failure(kUsage, "diff needs a table or a text file");
  const Kind kind = load_codeset(is_library(left) ? right : left).kind;
  auto open = [&](const std::string& operand) {
    if (!is_library(operand)) return open_codeset(load_codeset(operand));
    CatalogueRow row;
    row.kind = kind;
    row.source = row.where = operand;
    return open_source(row, "");
  };
  const std::unique_ptr<Source> a = open(left), b = open(right);
  ExitCode result = kDone;
  compare_decode(*a, *b, kind, [&](const Code& code, const Decoded& in_a, const Decoded& in_b) {
    std::printf("decode\t%s\t%s\t%s\n", to_hex(code).c_str(), describe(in_a).c_str(), describe(in_b).c_str());
    result = kDiffers;
  });
  compare_encode(*a, *b, [&](char32_t point, const Code& in_a, const Code& in_b) {
    std::printf("encode\t%s\t%s\t%s\n", to_text(point).c_str(), describe(in_a).c_str(),
                describe(in_b).c_str());
    result = kDiffers;
  });
  return result;
}

}  // namespace ucvtab
