#include "tools/mar_queue/check.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "tools/mar_queue/text.h"

namespace {

constexpr size_t kNamedSlots = 8;  // of the lost ones
constexpr int kFreeList = -1;      // beside the heads' numbers

std::string chain_name(int chain) {
  return chain == kFreeList ? "The free list" : text("The chain of head %d", chain);
}

class Walk {
 public:
  Walk(const QueueImage& image, const std::vector<HeadUse>& uses) : image_(image), uses_(uses) {}

  CheckResult Run() {
    result_.slots.assign(image_.slots, SlotUse::kLost);
    result_.damaged.assign(image_.slots, false);
    chain_of_.assign(image_.slots, kFreeList);
    result_.free = WalkChain(image_.free_list, SlotUse::kFree, kFreeList);
    for (uint16_t i = 0; i < image_.slots; ++i) WalkHead(i);
    CheckHeads();
    CheckCounts();
    CheckLost();
    return std::move(result_);
  }

 private:
  void Damage(const char* code, std::string sentence) {
    result_.damage.push_back({Severity::kTrouble, code, std::move(sentence)});
  }

  void MarkDamaged(int chain) {
    result_.chains_sound = false;
    if (chain == kFreeList) {
      result_.free_list_sound = false;
    } else {
      result_.damaged[static_cast<size_t>(chain)] = true;
    }
  }

  // Every step marks a slot that was not marked, or ends the walk. Returns how many it has marked.
  uint32_t WalkChain(uint32_t first, SlotUse use, int chain) {
    const QueueLayout& layout = kCommandQueueLayout;
    uint32_t passed = 0;
    for (uint32_t offset = first; offset != 0; ++passed) {
      if (!layout.is_slot(image_.slots, offset)) {
        MarkDamaged(chain);
        Damage("bad-offset", text("%s leads to offset %u after %s, which is no slot.",
                                  chain_name(chain).c_str(), offset, count_of(passed, "slot").c_str()));
        return passed;
      }
      const auto slot =
          static_cast<uint32_t>((offset - layout.slot_offset(image_.slots, 0)) / layout.item_size_bytes);
      if (result_.slots[slot] != SlotUse::kLost) {
        const bool circle = chain_of_[slot] == chain;
        MarkDamaged(chain);
        MarkDamaged(chain_of_[slot]);
        Damage(circle ? "circle" : "shared-slot",
               circle ? text("%s is a circle through slot %u.", chain_name(chain).c_str(), slot)
                      : text("%s runs into slot %u, which is on another chain already.",
                             chain_name(chain).c_str(), slot));
        result_.slots[slot] = SlotUse::kTwice;
        return passed;
      }
      result_.slots[slot] = use;
      chain_of_[slot] = chain;
      offset = image_.next[slot];
    }
    return passed;
  }

  void WalkHead(uint16_t index) {
    const bool dead = uses_[index].owner == Owner::kGone;
    const SlotUse use = dead ? SlotUse::kQueuedForDead : SlotUse::kQueued;
    const uint32_t items = WalkChain(image_.heads[index].firstItem, use, index);
    result_.items.push_back(items);
    result_.queued += items;
    if (dead) result_.queued_for_dead += items;
  }

  void CheckHeads() {
    std::map<std::pair<uint32_t, uint32_t>, uint16_t> owners;
    std::map<uint16_t, uint16_t> semaphores;
    for (uint16_t i = 0; i < image_.slots; ++i) {
      const _TIPCHeadItem& head = image_.heads[i];
      if (head.semNumber < kFirstHeadSem || head.semNumber - kFirstHeadSem >= image_.slots) {
        result_.damaged[i] = true;
        Damage("bad-semaphore", text("Head %u names semaphore %u, which is no head's.", i, head.semNumber));
      } else if (const auto [other, fresh] = semaphores.try_emplace(head.semNumber, i); !fresh) {
        result_.damaged[i] = result_.damaged[other->second] = true;
        Damage("shared-semaphore",
               text("Heads %u and %u have the same semaphore %u.", other->second, i, head.semNumber));
      }
      if (head.state > HEAD_WITHDRAWN)
        Damage("bad-state", text("Head %u has the unknown state %u.", i, head.state));
      CheckUse(i);
      if (uses_[i].owner == Owner::kNobody) continue;
      const auto [other, fresh] = owners.try_emplace({head.owner.process_id, head.owner.thread_id}, i);
      if (fresh) continue;
      result_.damaged[i] = true;  // an owner is found at its first head only
      Damage("shared-owner", text("Heads %u and %u have the same owner.", other->second, i));
    }
  }

  void CheckUse(uint16_t index) {
    const HeadUse& use = uses_[index];
    if (use.owner == Owner::kNobody && result_.items[index] > 0) {
      Damage("ownerless", text("Head %u holds %s but belongs to nobody.", index,
                               count_of(result_.items[index], "message").c_str()));
    }
    if (result_.items[index] > 0 && use.posts == 0 && use.waiting > 0) {
      Damage("asleep",
             text("The reader of head %u sleeps although a message is there: end that client and repeat "
                  "its command.",
                  index));
    }
  }

  void CheckCounts() {
    if (image_.items != result_.queued) {
      Damage("item-count", text("The header counts %s, but %u are queued.",
                                count_of(image_.items, "message").c_str(), result_.queued));
    }
    const auto owned = std::count_if(uses_.begin(), uses_.end(),
                                     [](const HeadUse& use) { return use.owner != Owner::kNobody; });
    // A claimant that was killed has counted its head but not claimed it: that costs nothing and is healed by
    // use.
    if (image_.heads_in_use < owned || image_.heads_in_use > image_.slots) {
      Damage("head-count", text("The header counts %s in use, but %ld are owned.",
                                count_of(image_.heads_in_use, "head").c_str(), static_cast<long>(owned)));
    }
    if (image_.state > IPCQUEUE_DESTROY) {
      Damage("queue-state", text("The queue has the unknown state %u.", image_.state));
    }
  }

  void CheckLost() {
    std::string names;
    for (uint32_t slot = 0; slot < image_.slots; ++slot) {
      if (result_.slots[slot] != SlotUse::kLost) continue;
      if (++result_.lost <= kNamedSlots) names += (names.empty() ? "" : ", ") + std::to_string(slot);
    }
    if (result_.lost == 0) return;
    if (result_.lost > kNamedSlots) names += ", ...";
    Damage("lost-slots", text("%s neither free nor queued: %s.",
                              (count_of(result_.lost, "slot") + (result_.lost == 1 ? " is" : " are")).c_str(),
                              names.c_str()));
  }

  const QueueImage& image_;
  const std::vector<HeadUse>& uses_;
  std::vector<int> chain_of_;  // for each slot that was reached: a head, or kFreeList
  CheckResult result_;
};

}  // namespace

CheckResult check(const QueueImage& image, const std::vector<HeadUse>& uses) {
  return Walk(image, uses).Run();
}
