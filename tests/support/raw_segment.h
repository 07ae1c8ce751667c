// The fields of a command queue's segment at literal offsets, which do not come from the code under test.
#pragma once

#include <cstdint>

namespace mar {

class RawSegment {
 public:
  // Does not own `address`. `slots` is N of the layout.
  void attach(void* address, uint16_t slots) {
    address_ = static_cast<uint8_t*>(address);
    slots_ = slots;
  }

  uint32_t slot(uint32_t k) const { return 12 + 16u * slots_ + 10264 * k; }
  static uint32_t head(uint32_t i) { return 12 + 16 * i; }
  uint8_t* at(uint32_t offset) { return address_ + offset; }
  uint16_t& u16(uint32_t offset) { return *reinterpret_cast<uint16_t*>(at(offset)); }
  uint32_t& u32(uint32_t offset) { return *reinterpret_cast<uint32_t*>(at(offset)); }

 private:
  uint8_t* address_ = nullptr;
  uint16_t slots_ = 0;
};

}  // namespace mar
