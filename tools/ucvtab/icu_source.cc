// ICU's converters as a source.
#include <unicode/ucnv.h>

#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/source.h"

namespace mar::ucvtab {
namespace {

struct Close {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};

class IcuSource : public Source {
 public:
  IcuSource(const std::string& name, Kind kind) : mixed_(kind == kEbcdicMixed) {
    UErrorCode error = U_ZERO_ERROR;
    converter_.reset(ucnv_open(name.c_str(), &error));
    ucnv_setToUCallBack(converter_.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
    ucnv_setFromUCallBack(converter_.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
    if (U_FAILURE(error)) throw Failure(kUnknownSource, "ICU does not know " + name);
    // One-way encodings come with the rest; which of them stay is the catalogue's decision, not ICU's.
    ucnv_setFallback(converter_.get(), true);
  }

  Decoded decode(const Code& code) override {
    const std::string in = mixed_ ? with_shifts(code) : std::string(code.view());
    UChar out[16];
    UChar* to = out;
    const char* from = in.data();
    UErrorCode error = U_ZERO_ERROR;
    ucnv_resetToUnicode(converter_.get());
    ucnv_toUnicode(converter_.get(), &to, out + 16, &from, in.data() + in.size(), nullptr, true, &error);
    if (error == U_TRUNCATED_CHAR_FOUND) return {Decoded::kIncomplete, {}};
    if (U_FAILURE(error) || to == out) return {};
    Decoded result{Decoded::kMapped, {}};
    for (const UChar* unit = out; unit != to; ++unit) {
      const bool joins = U16_IS_LEAD(unit[0]) && unit + 1 != to && U16_IS_TRAIL(unit[1]);
      result.text += joins ? static_cast<char32_t>(U16_GET_SUPPLEMENTARY(unit[0], unit[1])) : unit[0];
      if (joins) ++unit;
    }
    return result;
  }

  Code encode(char32_t point) override {
    UChar in[2];
    int length = 0;
    U16_APPEND_UNSAFE(in, length, point);
    char out[16];
    char* to = out;
    const UChar* from = in;
    UErrorCode error = U_ZERO_ERROR;
    ucnv_resetFromUnicode(converter_.get());
    ucnv_fromUnicode(converter_.get(), &to, out + sizeof out, &from, in + length, nullptr, true, &error);
    if (U_FAILURE(error)) return {};
    const std::string_view bytes(out, static_cast<size_t>(to - out));
    return mixed_ ? without_shifts(bytes) : code_from_bytes(bytes);
  }

 private:
  bool mixed_;
  std::unique_ptr<UConverter, Close> converter_;
};

}  // namespace

std::unique_ptr<Source> open_icu(const std::string& name, Kind kind) {
  return std::make_unique<IcuSource>(name, kind);
}

}  // namespace mar::ucvtab
