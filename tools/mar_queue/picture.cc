#include <fmt/format.h>

#include <algorithm>

#include "tools/mar_queue/report.h"
#include "tools/mar_queue/wording.h"

namespace mar::queue_tool {

namespace {

constexpr uint32_t kCellsPerRow = 64;
constexpr uint32_t kMaxCells = 16 * kCellsPerRow;
constexpr char kCells[] =
    ".#x?!";  // by SlotUse; of the slots that share a cell, the last in this order shows
constexpr uint32_t kBarLength = 20;
constexpr size_t kHeadLines = 100;

template <size_t count>
const char* name_in(const char* const (&names)[count], size_t index) {
  return index < count ? names[index] : "unknown";
}

std::string draw_header(const Snapshot& snapshot, const CheckResult& checked) {
  const QueueImage& image = *snapshot.image;
  const char* const life = !snapshot.lock_set ? "life unknown" : creator_lives(snapshot) ? "alive" : "dead";
  const char* const lock = snapshot.lock < 0 ? "unknown" : snapshot.lock == 0 ? "free" : "held";
  std::string lines =
      fmt::format("{}   queue {}   lock {}{}\n", printable(snapshot.control_file.path),
                  queue_state_name(image.state), lock, snapshot.settled ? "" : "   (numbers in motion)");
  lines += fmt::format("engine  {}, {}\n",
                       snapshot.creator > 0 ? process_label(snapshot.creator) : "process unknown", life);
  if (snapshot.segment && snapshot.wakeup_set) {
    lines += fmt::format("times   made {}, last message put or taken {}\n", iso_time(snapshot.segment->made),
                         iso_time(snapshot.wakeup_set->used));
  }
  lines += fmt::format("slots   {}: {} queued, {} free", image.slots, checked.queued, checked.free);
  if (checked.lost > 0) lines += fmt::format(", {} LOST", checked.lost);
  if (checked.queued != image.items) lines += fmt::format("   (header: {} queued)", image.items);
  return lines;
}

// One character for each slot, or for several in a large queue.
std::string draw_slots(const CheckResult& checked) {
  const auto slots = static_cast<uint32_t>(checked.slots.size());
  const uint32_t per_cell = (slots + kMaxCells - 1) / kMaxCells;
  std::string map;
  for (uint32_t first = 0, cell = 0; first < slots; first += per_cell, ++cell) {
    const auto begin = checked.slots.begin() + first;
    const auto end = checked.slots.begin() + std::min(first + per_cell, slots);
    if (cell % kCellsPerRow == 0) map += fmt::format("\n  {:5} ", first);
    map += kCells[static_cast<size_t>(*std::max_element(begin, end))];
  }
  map += "\n        . free  # queued  x queued for a dead owner  ? lost  ! on two chains\n";
  if (per_cell > 1) map += fmt::format("        one character for {} slots\n", per_cell);
  return map;
}

// Whether the head is one of the many that are just free to take.
bool is_unused(const _TIPCHeadItem& head, const HeadUse& use) {
  return head.state == HEAD_IDLE && head.firstItem == 0 && use.waiting <= 0 && use.owner != Owner::kEngine &&
         use.owner != Owner::kAlive;
}

std::string owner_label(const _TIPCHeadItem& head, const HeadUse& use, const Snapshot& snapshot) {
  if (use.owner == Owner::kNobody) return "-";
  if (use.owner == Owner::kEngine) return "the engine";
  if (use.owner == Owner::kAlive) return process_label(static_cast<pid_t>(head.owner.process_id));
  return fmt::format("{} {}", head.owner.process_id, in_another_process_namespace(snapshot) ? "?" : "ended");
}

std::string number_or_dash(int number) { return number < 0 ? "-" : std::to_string(number); }

std::string draw_head(const Snapshot& snapshot, const CheckResult& checked, uint16_t index) {
  const _TIPCHeadItem& head = snapshot.image->heads[index];
  const HeadUse& use = snapshot.uses[index];
  const uint32_t items = checked.items[index];
  std::string bar(std::min(items, kBarLength), use.owner == Owner::kGone ? 'x' : '#');
  if (items > kBarLength) bar += '+';
  return fmt::format("{:6}  {:24} {:9} {:6} {:>6} {:>7}  {}\n", index, owner_label(head, use, snapshot),
                     head_state_name(head.state), items, number_or_dash(use.posts),
                     number_or_dash(use.waiting), bar);
}

std::string draw_heads(const Snapshot& snapshot, const CheckResult& checked) {
  const QueueImage& image = *snapshot.image;
  std::string lines =
      fmt::format("\nheads   {}: {} claimed\n{:>6}  {:24} {:9} {:>6} {:>6} {:>7}\n", image.slots,
                  image.heads_in_use, "head", "owner", "state", "queued", "posts", "waiting");
  size_t used = 0;
  for (uint16_t i = 0; i < image.slots; ++i) {
    if (is_unused(image.heads[i], snapshot.uses[i])) continue;
    if (++used <= kHeadLines) lines += draw_head(snapshot, checked, i);
  }
  if (used > kHeadLines)
    lines += fmt::format("        and {} more like these (--json shows all)\n", used - kHeadLines);
  return lines + fmt::format("        {} idle and empty, free for the next client\n",
                             count_of(image.slots - used, "head"));
}

}  // namespace

const char* head_state_name(uint8_t state) {
  static constexpr const char* kNames[] = {"idle", "reader", "channel", "withdrawn"};
  return name_in(kNames, state);
}

const char* queue_state_name(uint32_t state) {
  static constexpr const char* kNames[] = {"open", "closing", "destroyed"};
  return name_in(kNames, state);
}

const char* owner_name(Owner owner) {
  static constexpr const char* kNames[] = {"nobody", "engine", "alive", "ended"};
  return name_in(kNames, static_cast<size_t>(owner));
}

std::string draw(const Snapshot& snapshot, const CheckResult& checked) {
  return draw_header(snapshot, checked) + draw_slots(checked) + draw_heads(snapshot, checked);
}

}  // namespace mar::queue_tool
