#include "tools/ucvtab/product_source.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "charset/convert.h"
#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/shift.h"

namespace ucvtab {
namespace {

constexpr int kCutInput = 2;
constexpr uint32_t kRoom = 32;  // units; more than any single character takes

class ProductSource : public Source {
 public:
  explicit ProductSource(CodesetHandle codeset)
      : codeset_(std::move(codeset)), kind_(static_cast<Kind>(codeset_->kind)) {}

  Decoded decode(const Code& code) override {
    const std::string bytes = kind_ == kEbcdicMixed ? with_shifts(code) : std::string(code.view());
    Decoded result{Decoded::kMapped, {}};
    codeset_->to_state = 0;
    if (to_unicode(bytes, result.text) == kCutInput) return {Decoded::kIncomplete, {}};
    const bool substituted = result.text == U"?" && encode(U'?') != code;
    return substituted || result.text.empty() ? Decoded{} : result;
  }

  Code encode(char32_t point) override {
    std::string bytes;
    codeset_->from_state = 0;
    from_unicode(point, bytes);
    const char question_mark = is_ebcdic(kind_) ? 0x6F : '?';
    // One per unit: a surrogate pair becomes two.
    const bool substituted = bytes.find_first_not_of(question_mark) == std::string::npos;
    if (point != U'?' && substituted) return {};
    return kind_ == kEbcdicMixed ? without_shifts(bytes) : code_from_bytes(bytes);
  }

 protected:
  // Both convert one character, and flush towards the codeset.
  virtual int to_unicode(const std::string& bytes, std::u32string& text) = 0;
  virtual void from_unicode(char32_t point, std::string& bytes) = 0;

  CodesetHandle codeset_;
  Kind kind_;
};

class ThroughUcs2 : public ProductSource {
 public:
  using ProductSource::ProductSource;

 private:
  int to_unicode(const std::string& bytes, std::u32string& text) override {
    uint16_t units[kRoom];
    uint16_t* out = units;
    uint32_t room = kRoom;
    const char* in = bytes.data();
    auto left = static_cast<uint32_t>(bytes.size());
    const int code = xcs_to_ucs2_r(codeset_.get(), &in, &left, &out, &room);
    for (const uint16_t* unit = units; unit != out; ++unit) {
      const bool joins = unit[0] >> 10 == 0x36 && unit + 1 != out && unit[1] >> 10 == 0x37;
      text += joins ? 0x10000 + ((unit[0] & 0x3FFu) << 10 | (unit[1] & 0x3FFu)) : char32_t{unit[0]};
      if (joins) ++unit;
    }
    return code;
  }

  void from_unicode(char32_t point, std::string& bytes) override {
    uint16_t units[3] = {};  // the mixed family reads one unit behind its input
    uint32_t count = 1;
    if (point < 0x10000) {
      units[0] = static_cast<uint16_t>(point);
    } else {
      count = 2;
      units[0] = static_cast<uint16_t>(0xD800 | (point - 0x10000) >> 10);
      units[1] = static_cast<uint16_t>(0xDC00 | (point & 0x3FF));
    }
    char buffer[kRoom];
    char* out = buffer;
    uint32_t room = kRoom;
    const uint16_t* in = units;
    const uint16_t* none = nullptr;
    xcs_from_ucs2_r(codeset_.get(), &in, &count, &out, &room);
    xcs_from_ucs2_r(codeset_.get(), &none, &count, &out, &room);
    bytes.assign(buffer, out);
  }
};

class ThroughUtf8 : public ProductSource {
 public:
  using ProductSource::ProductSource;

 private:
  int to_unicode(const std::string& bytes, std::u32string& text) override {
    char utf8[kRoom];
    char* out = utf8;
    uint32_t room = kRoom;
    const char* in = bytes.data();
    auto left = static_cast<uint32_t>(bytes.size());
    const int code = xcs_to_utf8_r(codeset_.get(), &in, &left, &out, &room);
    for (const char* at = utf8; at < out;) {
      const auto lead = static_cast<uint8_t>(*at++);
      const int more = lead < 0xC0 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
      char32_t point = more == 0 ? lead : lead & (0x3Fu >> more);
      for (int i = 0; i < more && at < out; ++i) point = point << 6 | (static_cast<uint8_t>(*at++) & 0x3Fu);
      text += point;
    }
    return code;
  }

  void from_unicode(char32_t point, std::string& bytes) override {
    char utf8[5];  // towards a mixed codeset the unit behind the text is read, too
    const uint32_t length = utf8_length(point);
    for (uint32_t i = length; i-- > 1; point >>= 6) utf8[i] = static_cast<char>(0x80 | (point & 0x3F));
    constexpr uint8_t kLeads[] = {0, 0, 0xC0, 0xE0, 0xF0};
    utf8[0] = static_cast<char>(kLeads[length] | point);
    char buffer[kRoom];
    char* out = buffer;
    uint32_t room = kRoom, left = length;
    const char* in = utf8;
    const char* none = nullptr;
    xcs_from_utf8_r(codeset_.get(), &in, &left, &out, &room);
    xcs_from_utf8_r(codeset_.get(), &none, &left, &out, &room);
    bytes.assign(buffer, out);
  }
};

}  // namespace

CodesetHandle open_codeset(const std::string& name) {
  const bool is_path = name.find('/') != std::string::npos;
  // The product puts XCSDIR in front of relative paths, too, before it takes them as they stand.
  const std::string wanted = is_path ? std::filesystem::absolute(name).string() : name;
  CodesetHandle codeset(xcs_cs_new(wanted.c_str()));
  if (codeset) return codeset;
  if (!is_path) {
    throw Failure(kUnknownSource, name + ": no such codeset (tables are looked for in XCSDIR/codeset)");
  }
  if (access(name.c_str(), R_OK) != 0) throw Failure(kFileError, name + ": " + std::strerror(errno));
  throw Failure(kBadInput, name + ": the product finds no table here");
}

std::unique_ptr<Source> open_product(const std::string& path, Form form) {
  CodesetHandle codeset = open_codeset(path.find('/') == std::string::npos ? "./" + path : path);
  if (form == Form::kUcs2) return std::make_unique<ThroughUcs2>(std::move(codeset));
  return std::make_unique<ThroughUtf8>(std::move(codeset));
}

}  // namespace ucvtab
