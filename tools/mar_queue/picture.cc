#include "tools/mar_queue/picture.h"

#include <algorithm>
#include <iterator>

#include "tools/mar_queue/text.h"

namespace {

constexpr uint32_t kCellsPerRow = 64;
constexpr uint32_t kMaxCells = 16 * kCellsPerRow;
constexpr char kCells[] = ".#x?!";  // by SlotUse: of the slots that share a cell the last in this order shows
constexpr uint32_t kBarLength = 20;
constexpr size_t kHeadLines = 100;

template <size_t count>
const char* name_in(const char* const (&names)[count], size_t index) {
  return index < count ? names[index] : "unknown";
}

std::string header_lines(const Snapshot& snapshot, const CheckResult& checked) {
  const QueueImage& image = *snapshot.image;
  const char* life = creator_lives(snapshot) ? "alive" : "dead";
  const char* lock = snapshot.lock < 0 ? "unknown" : snapshot.lock == 0 ? "free" : "held";
  std::string lines =
      text("%s   queue %s   lock %s%s\n", printable(snapshot.place.path).c_str(),
           queue_state_name(image.state), lock, snapshot.settled ? "" : "   (numbers in motion)");
  lines += text("engine  %s, %s\n",
                snapshot.creator > 0 ? process_label(snapshot.creator).c_str() : "process unknown",
                snapshot.segment_set ? life : "life unknown");
  lines += text("slots   %u: %u queued, %u free", image.slots, checked.queued, checked.free);
  if (checked.lost > 0) lines += text(", %u LOST", checked.lost);
  if (checked.queued != image.items) lines += text("   (header: %u queued)", image.items);
  return lines + '\n';
}

// One character for each slot, or for several in a large queue.
std::string slot_map(const CheckResult& checked) {
  const auto slots = static_cast<uint32_t>(checked.slots.size());
  const uint32_t per_cell = (slots + kMaxCells - 1) / kMaxCells;
  std::string map;
  for (uint32_t first = 0, cell = 0; first < slots; first += per_cell, ++cell) {
    const auto begin = checked.slots.begin() + first;
    const auto end = checked.slots.begin() + std::min(first + per_cell, slots);
    if (cell % kCellsPerRow == 0) map += text("%s  %5u ", cell == 0 ? "" : "\n", first);
    map += kCells[static_cast<size_t>(*std::max_element(begin, end))];
  }
  map += "\n        . free  # queued  x queued for a dead owner  ? lost  ! on two chains\n";
  if (per_cell > 1) map += text("        one sign for %u slots\n", per_cell);
  return map;
}

std::string owner_text(const _TIPCHeadItem& head, const HeadUse& use, const Snapshot& snapshot) {
  if (use.owner == Owner::kNobody) return "-";
  if (use.owner == Owner::kEngine) return "the engine";
  if (use.owner == Owner::kAlive) return process_label(static_cast<pid_t>(head.owner.process_id));
  // Seen from another process namespace nobody can be said to have ended.
  return text("%u %s", head.owner.process_id, in_another_process_namespace(snapshot) ? "?" : "ended");
}

std::string number_or_dash(int number) { return number < 0 ? "-" : std::to_string(number); }

std::string head_line(const Snapshot& snapshot, const CheckResult& checked, uint16_t index) {
  const _TIPCHeadItem& head = snapshot.image->heads[index];
  const HeadUse& use = snapshot.uses[index];
  const uint32_t items = checked.items[index];
  std::string bar(std::min(items, kBarLength), use.owner == Owner::kGone ? 'x' : '#');
  if (items > kBarLength) bar += '+';
  return text("%6u  %-24s %-9s %6u %6s %7s  %s", index, owner_text(head, use, snapshot).c_str(),
              state_name(head.state), items, number_or_dash(use.posts).c_str(),
              number_or_dash(use.waiting).c_str(), bar.c_str());
}

std::string head_lines(const Snapshot& snapshot, const CheckResult& checked) {
  const QueueImage& image = *snapshot.image;
  std::string lines = text("\nheads   %u: %u claimed\n%6s  %-24s %-9s %6s %6s %7s\n", image.slots,
                           image.heads_in_use, "head", "owner", "state", "queued", "posts", "waiting");
  size_t shown = 0;
  size_t hidden = 0;
  size_t free = 0;
  for (uint16_t i = 0; i < image.slots; ++i) {
    if (!worth_a_line(image.heads[i], snapshot.uses[i])) {
      ++free;
    } else if (shown < kHeadLines) {
      lines += head_line(snapshot, checked, i) + '\n';
      ++shown;
    } else {
      ++hidden;
    }
  }
  if (hidden > 0) lines += text("        and %zu more like these (--json shows all)\n", hidden);
  return lines +
         text("        %s idle and empty, free for the next client\n", count_of(free, "head").c_str());
}

}  // namespace

const char* state_name(uint8_t head_state) {
  static constexpr const char* kNames[] = {"idle", "reader", "channel", "withdrawn"};
  return name_in(kNames, head_state);
}

const char* queue_state_name(uint32_t state) {
  static constexpr const char* kNames[] = {"open", "closing", "destroyed"};
  return name_in(kNames, state);
}

const char* owner_name(Owner owner) {
  static constexpr const char* kNames[] = {"nobody", "engine", "alive", "ended"};
  return name_in(kNames, static_cast<size_t>(owner));
}

bool worth_a_line(const _TIPCHeadItem& head, const HeadUse& use) {
  const bool unused = head.state == HEAD_IDLE && head.firstItem == 0 && use.waiting <= 0;
  return !unused || use.owner == Owner::kEngine || use.owner == Owner::kAlive;
}

std::string picture(const Snapshot& snapshot, const CheckResult& checked) {
  return header_lines(snapshot, checked) + slot_map(checked) + head_lines(snapshot, checked);
}
