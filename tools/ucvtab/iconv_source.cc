// The C library's iconv as a source.
#include <iconv.h>

#include <cerrno>

#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/source.h"

namespace mar::ucvtab {
namespace {

constexpr const char* kPivot = "UTF-32LE";

class Converter {
 public:
  Converter(const std::string& to, const std::string& from) : handle_(iconv_open(to.c_str(), from.c_str())) {
    if (!valid()) throw Failure(kUnknownSource, "iconv does not convert from " + from + " to " + to);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  ~Converter() {
    if (valid()) iconv_close(handle_);
  }

  // Converts all of `in` from the initial state, with what the converter holds back. Returns 0 or errno.
  int run(std::string_view in, std::string& out) {
    char buffer[64];
    char* to = buffer;
    size_t room = sizeof buffer;
    char* from = const_cast<char*>(in.data());
    size_t left = in.size();
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    if (iconv(handle_, &from, &left, &to, &room) == kFailed) return errno;
    if (iconv(handle_, nullptr, nullptr, &to, &room) == kFailed) return errno;
    out.assign(buffer, to);
    return 0;
  }

 private:
  static constexpr size_t kFailed = static_cast<size_t>(-1);
  [[nodiscard]] bool valid() const { return reinterpret_cast<intptr_t>(handle_) != -1; }
  iconv_t handle_;
};

class IconvSource : public Source {
 public:
  IconvSource(const std::string& name, Kind kind)
      : mixed_(kind == kEbcdicMixed), decoder_(kPivot, name), encoder_(name, kPivot) {}

  Decoded decode(const Code& code) override {
    std::string out;
    switch (decoder_.run(mixed_ ? with_shifts(code) : std::string(code.view()), out)) {
      case 0:
        break;
      case EINVAL:
        return {Decoded::kIncomplete, {}};
      default:
        return {};
    }
    Decoded result{Decoded::kMapped, {}};
    for (size_t i = 0; i + 4 <= out.size(); i += 4) {
      auto byte = [&](size_t at) { return static_cast<char32_t>(static_cast<uint8_t>(out[i + at])); };
      result.text.push_back(byte(0) | byte(1) << 8 | byte(2) << 16 | byte(3) << 24);
    }
    return result.text.empty() ? Decoded{} : result;
  }

  Code encode(char32_t point) override {
    const char in[] = {static_cast<char>(point), static_cast<char>(point >> 8),
                       static_cast<char>(point >> 16), 0};
    std::string out;
    if (encoder_.run({in, sizeof in}, out) != 0) return {};
    return mixed_ ? without_shifts(out) : code_from_bytes(out);
  }

 private:
  bool mixed_;
  Converter decoder_;
  Converter encoder_;
};

}  // namespace

std::unique_ptr<Source> open_iconv(const std::string& name, Kind kind) {
  return std::make_unique<IconvSource>(name, kind);
}

}  // namespace mar::ucvtab
