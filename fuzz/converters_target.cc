// The converters on a real table of each kind, changed as the input says. Text at once and text in
// pieces, with checked and with unchecked readers, must all have the same result. TABLES is the
// directory of the tables.
#include <algorithm>
#include <map>
#include <memory>

#include "charset/convert.h"
#include "charset/flat_tables.h"
#include "fuzz/target.h"
#include "tests/support/files.h"

namespace mar {

namespace {

constexpr const char* kTables[] = {"ISO88597", "CP037", "BIG5",    "TCVN57121", "CP1255",
                                   "EUCJP",    "CP939", "GB18030", "UTF8"};
constexpr size_t kLongestOutput = 16;  // units that one unit of input can become

template <class Out>
struct Result {
  std::basic_string<Out> out;
  size_t consumed;
  int code;
  uint8_t from_state, to_state;
  bool operator==(const Result&) const = default;
};

struct Pieces {
  size_t piece;  // input units of one call
  size_t room;   // output units of one call
  uint8_t state;
};

// Converts `in` in pieces, into outputs that end where the heap block ends. A call that made no progress is
// repeated with more room.
template <class In, class Out, class Convert>
Result<Out> convert(Convert call, xcs_cs_t* codeset, const std::basic_string<In>& in, const Pieces& pieces) {
  const size_t buffer_size = std::max(pieces.room, kLongestOutput);
  const auto buffer = std::make_unique<Out[]>(buffer_size);
  Result<Out> result{};
  size_t end = std::min(pieces.piece, in.size());
  size_t size = pieces.room;
  for (size_t calls = 0;; ++calls) {
    check(calls <= 20 * (kLongestOutput + 1) * (in.size() + 1), "a bound of calls");
    const In* const in_start = in.data() + result.consumed;
    Out* const out_start = &buffer[buffer_size - size];
    const In* from = in_start;
    Out* to = out_start;
    auto left = static_cast<uint32_t>(end - result.consumed), room = static_cast<uint32_t>(size);
    result.code = call(codeset, &from, &left, &to, &room);
    check(from >= in_start && from == in.data() + end - left, "the input's pointer");
    check(to >= out_start && to == out_start + size - room, "the output's pointer");
    result.out.append(out_start, to);
    result.consumed = end - left;
    if (result.code == XCS_OUTPUT_FULL) {
      const bool progressed = from != in_start || to != out_start;
      check(progressed || size < kLongestOutput, "no character is longer");
      size = progressed ? pieces.room : size + 1;
      continue;
    }
    check(result.code == XCS_CONVERTED ? left == 0 : result.code == XCS_INPUT_CUT && left != 0,
          "the result code");
    if (end == in.size()) break;
    end = result.code == XCS_INPUT_CUT ? in.size() : std::min(end + pieces.piece, in.size());
  }
  result.from_state = codeset->from_state;
  result.to_state = codeset->to_state;
  return result;
}

// Converts `text`, taken as In units, by `call`: at once, and in pieces with each kind of reader.
template <class In, class Out, class Convert>
void agree(Convert call, xcs_cs_t* codeset, const std::string& text, const Pieces& pieces) {
  std::basic_string<In> in(text.size() / sizeof(In), 0);
  std::memcpy(in.data(), text.data(), in.size() * sizeof(In));
  const auto run = [&](const Pieces& with) {
    codeset->from_state = codeset->to_state = pieces.state;
    return convert<In, Out>(call, codeset, in, with);
  };
  const auto whole = run({in.size(), kLongestOutput * (in.size() + 1), pieces.state});
  const uint8_t verified = codeset->verified;
  for (uint8_t reader = 0; reader <= verified; ++reader) {
    codeset->verified = reader;
    check(run(pieces) == whole, "pieces give the whole");
  }
  check(call(codeset, nullptr, nullptr, nullptr, nullptr) <= XCS_OUTPUT_FULL, "the end of the text");
}

// Takes an input apart from its front. Past its end everything is zero.
struct Input {
  template <class T>
  T take() {
    T value{};
    const size_t size = std::min(sizeof value, text.size());
    std::memcpy(&value, text.data(), size);
    text.erase(0, size);
    return value;
  }
  std::string text;
};

// The table of `name` with the input's changes, in a heap block of exactly its size.
xcs_cs_t* changed_codeset(const std::string& name, Input& input) {
  static const MemoryFile file;
  static std::map<std::string, std::string> images;
  if (name == "UTF8") return xcs_cs_new(name.c_str());
  if (images[name].empty()) images[name] = read_file(TABLES "/" + name);
  std::string image = images[name];
  check(!image.empty(), "the tables are there");
  for (uint32_t count = input.take<uint8_t>() % 16; count != 0; --count) {
    // Half of the changes hit the header and its tables.
    const auto place = input.take<uint32_t>();
    const auto value = input.take<uint16_t>();
    std::memcpy(&image[(place >> 1) % ((place & 1) != 0 ? 1760 : image.size() - 1)], &value, sizeof value);
  }
  const auto cut = input.take<uint16_t>();
  if (cut % 4 == 1) image.resize(1760 + cut * size_t{3} % (image.size() - 1760));
  image.replace(8, 3, "ucv");
  file.fill(image);
  xcs_cs_t* codeset = xcs_cs_new(file.path.c_str());
  check(codeset != nullptr, "a bad table loads");
  codeset->table = static_cast<unsigned char*>(
      std::realloc(const_cast<unsigned char*>(codeset->table), codeset->table_size));
  return codeset;
}

// By converting so much that they pay. Unchecked readers then ask them, checked ones the table.
void build_flat_tables(xcs_cs_t* codeset) {
  const std::basic_string<uint16_t> text(charset::kFlatWorth, 'a');
  std::basic_string<uint16_t> units(text.size(), 0);
  std::string bytes(4 * text.size(), '\0');
  const auto bytes_size = static_cast<uint32_t>(bytes.size()), size = static_cast<uint32_t>(units.size());
  xcs_from_ucs2(codeset, text.data(), static_cast<int>(text.size()), bytes.data(), bytes_size);
  xcs_to_ucs2(codeset, bytes.data(), static_cast<int>(text.size()), units.data(), size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input{{data, data + size}};
  xcs_cs_t* codeset = changed_codeset(kTables[input.take<uint8_t>() % std::size(kTables)], input);
  const size_t piece = 1u + input.take<uint8_t>();
  const size_t room = input.take<uint8_t>();
  const auto flags = input.take<uint8_t>();
  const Pieces pieces = {piece, room, static_cast<uint8_t>(flags & 1)};
  if ((flags & 2) != 0) build_flat_tables(codeset);
  agree<char, uint16_t>(xcs_to_ucs2_r, codeset, input.text, pieces);
  agree<uint16_t, char>(xcs_from_ucs2_r, codeset, input.text, pieces);
  agree<char, char>(xcs_to_utf8_r, codeset, input.text, pieces);
  agree<char, char>(xcs_from_utf8_r, codeset, input.text, pieces);
  xcs_cs_free(codeset);
  return 0;
}

}  // namespace mar
