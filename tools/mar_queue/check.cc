#include "tools/mar_queue/check.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "tools/mar_queue/wording.h"

namespace mar::queue_tool {

namespace {

constexpr size_t kNamedSlots = 8;  // of the lost ones
constexpr int kFreeList = -1;      // a chain's number is its head's, or this

std::string chain_name(int chain) {
  return chain == kFreeList ? "The free list" : fmt::format("The chain of head {}", chain);
}

class QueueCheck {
 public:
  QueueCheck(const QueueImage& image, const std::vector<HeadUse>& uses) : image_(image), uses_(uses) {
    result_.slots.assign(image.slots, SlotUse::kLost);
    result_.damaged.assign(image.slots, false);
    chain_of_.assign(image.slots, kFreeList);
  }

  CheckResult run() {
    result_.free = walk_chain(image_.free_list, SlotUse::kFree, kFreeList);
    for (uint16_t i = 0; i < image_.slots; ++i) walk_head(i);
    for (uint16_t i = 0; i < image_.slots; ++i) check_head(i);
    check_header();
    check_lost();
    return std::move(result_);
  }

 private:
  template <typename... Args>
  void report(const char* code, fmt::format_string<Args...> format, Args&&... args) {
    result_.damage.push_back(trouble(code, format, std::forward<Args>(args)...));
  }

  void mark_damaged(int chain) {
    result_.chains_sound = false;
    if (chain == kFreeList) {
      result_.free_list_sound = false;
    } else {
      result_.damaged[static_cast<size_t>(chain)] = true;
    }
  }

  // Every step marks a slot that was unmarked, or ends the walk. Returns the number of slots marked.
  uint32_t walk_chain(uint32_t first, SlotUse use, int chain) {
    const QueueLayout& layout = kCommandQueueLayout;
    uint32_t passed = 0;
    for (uint32_t offset = first; offset != 0; ++passed) {
      if (!layout.is_slot(image_.slots, offset)) {
        mark_damaged(chain);
        report("bad-offset", "{} leads after {} to offset {}, which is not a slot.", chain_name(chain),
               count_of(passed, "slot"), offset);
        return passed;
      }
      const auto slot =
          static_cast<uint32_t>((offset - layout.slot_offset(image_.slots, 0)) / layout.item_size_bytes);
      if (result_.slots[slot] != SlotUse::kLost) {
        mark_damaged(chain);
        mark_damaged(chain_of_[slot]);
        if (chain_of_[slot] == chain) {
          report("circle", "{} is a circle through slot {}.", chain_name(chain), slot);
        } else {
          report("shared-slot", "{} runs into slot {}, which is already on another chain.", chain_name(chain),
                 slot);
        }
        result_.slots[slot] = SlotUse::kTwice;
        return passed;
      }
      result_.slots[slot] = use;
      chain_of_[slot] = chain;
      offset = image_.next[slot];
    }
    return passed;
  }

  void walk_head(uint16_t index) {
    const bool dead = uses_[index].owner == Owner::kGone;
    const SlotUse use = dead ? SlotUse::kQueuedForDead : SlotUse::kQueued;
    const uint32_t items = walk_chain(image_.heads[index].firstItem, use, index);
    result_.items.push_back(items);
    result_.queued += items;
    if (dead) result_.queued_for_dead += items;
  }

  void check_head(uint16_t index) {
    const _TIPCHeadItem& head = image_.heads[index];
    const HeadUse& use = uses_[index];
    const uint32_t items = result_.items[index];
    if (head.semNumber < kFirstHeadSem || head.semNumber - kFirstHeadSem >= image_.slots) {
      result_.damaged[index] = true;
      report("bad-semaphore", "Head {} names semaphore {}, which belongs to no head.", index, head.semNumber);
    } else if (const auto [other, fresh] = semaphores_.try_emplace(head.semNumber, index); !fresh) {
      result_.damaged[index] = result_.damaged[other->second] = true;
      report("shared-semaphore", "Heads {} and {} share semaphore {}.", other->second, index, head.semNumber);
    }
    if (head.state > HEAD_WITHDRAWN)
      report("bad-state", "Head {} has the unknown state {}.", index, head.state);
    if (items > 0 && use.posts == 0 && use.waiting > 0) {
      report(
          "asleep",
          "The reader of head {} sleeps although it has a message: end that client and repeat its command.",
          index);
    }
    if (use.owner == Owner::kNobody) {
      if (items > 0)
        report("ownerless", "Head {} holds {} but has no owner.", index, count_of(items, "message"));
    } else if (const auto [other, fresh] =
                   owners_.try_emplace({head.owner.process_id, head.owner.thread_id}, index);
               !fresh) {
      result_.damaged[index] = true;  // the queue looks up an owner at its first head only
      report("shared-owner", "Heads {} and {} have the same owner.", other->second, index);
    }
  }

  void check_header() {
    if (image_.items != result_.queued) {
      report("item-count", "The header counts {}, but {} queued.", count_of(image_.items, "message"),
             result_.queued == 1 ? "1 is" : fmt::format("{} are", result_.queued));
    }
    const auto is_owned = [](const HeadUse& use) { return use.owner != Owner::kNobody; };
    const auto owned = std::count_if(uses_.begin(), uses_.end(), is_owned);
    // A client killed while claiming a head has counted it without owning it. That costs
    // nothing and does not last.
    if (image_.heads_in_use < owned || image_.heads_in_use > image_.slots) {
      report("head-count", "The header counts {} in use, but {} of {} have an owner.",
             count_of(image_.heads_in_use, "head"), owned, image_.slots);
    }
    if (image_.state > IPCQUEUE_DESTROY)
      report("queue-state", "The queue has the unknown state {}.", image_.state);
  }

  void check_lost() {
    std::string names;
    for (uint32_t slot = 0; slot < image_.slots; ++slot) {
      if (result_.slots[slot] != SlotUse::kLost) continue;
      if (++result_.lost <= kNamedSlots) names += fmt::format("{}{}", names.empty() ? "" : ", ", slot);
    }
    if (result_.lost == 0) return;
    report("lost-slots", "{} neither free nor queued: {}{}.",
           count_of(result_.lost, "slot") + (result_.lost == 1 ? " is" : " are"), names,
           result_.lost > kNamedSlots ? ", ..." : "");
  }

  const QueueImage& image_;
  const std::vector<HeadUse>& uses_;
  std::vector<int> chain_of_;                                 // of each slot that has been reached
  std::map<uint16_t, uint16_t> semaphores_;                   // the first head of each
  std::map<std::pair<uint32_t, uint32_t>, uint16_t> owners_;  // the first head of each
  CheckResult result_;
};

}  // namespace

CheckResult check_queue(const QueueImage& image, const std::vector<HeadUse>& uses) {
  return QueueCheck(image, uses).run();
}

}  // namespace mar::queue_tool
