// SHA-256 (FIPS 180-4), for stamps and the manifest.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace ucvtab {

using Sha256Digest = std::array<uint8_t, 32>;

Sha256Digest sha256(const std::vector<uint8_t>& message);
std::string sha256_hex(const std::vector<uint8_t>& message);

}  // namespace ucvtab
