#include <nlohmann/json.hpp>

#include "tools/mar_queue/report.h"

namespace mar::queue_tool {

namespace {

using Json = nlohmann::ordered_json;

Json number_or_null(int number) { return number < 0 ? Json(nullptr) : Json(number); }

Json head_json(const _TIPCHeadItem& head, const HeadUse& use, uint32_t items) {
  return {{"owner", owner_name(use.owner)},     {"process", head.owner.process_id},
          {"thread", head.owner.thread_id},     {"state", head_state_name(head.state)},
          {"semaphore", head.semNumber},        {"queued", items},
          {"posts", number_or_null(use.posts)}, {"waiting", number_or_null(use.waiting)}};
}

Json queue_json(const Snapshot& snapshot, const CheckResult& checked) {
  const QueueImage& image = *snapshot.image;
  Json heads = Json::array();
  for (uint16_t i = 0; i < image.slots; ++i) {
    heads.push_back(head_json(image.heads[i], snapshot.uses[i], checked.items[i]));
  }
  return {{"settled", snapshot.settled},
          {"state", queue_state_name(image.state)},
          {"creator", {{"process", snapshot.creator}, {"alive", creator_lives(snapshot)}}},
          {"times",
           {{"made", snapshot.segment->made},
            {"used", snapshot.wakeup_set ? Json(snapshot.wakeup_set->used) : Json(nullptr)}}},
          {"lock_held", snapshot.lock < 0 ? Json(nullptr) : Json(snapshot.lock > 0)},
          {"header",
           {{"itemCount", image.items}, {"headsInUse", image.heads_in_use}, {"freeList", image.free_list}}},
          {"slots",
           {{"total", image.slots},
            {"free", checked.free},
            {"queued", checked.queued},
            {"queued_for_ended", checked.queued_for_dead},
            {"lost", checked.lost}}},
          {"heads", std::move(heads)}};
}

const char* severity_name(Severity severity) {
  return severity == Severity::kNote ? "note" : severity == Severity::kTrouble ? "trouble" : "blind";
}

}  // namespace

std::string json_report(const std::string& command, const Snapshot& snapshot, const CheckResult* checked,
                        const Findings& findings, std::optional<double> round_trip_ms) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    list.push_back(
        {{"severity", severity_name(finding.severity)}, {"code", finding.code}, {"text", finding.text}});
  }
  Json report = {{"command", command},
                 {"exit", static_cast<int>(worst(findings))},
                 {"control_file", snapshot.control_file.path},
                 {"findings", std::move(list)},
                 {"queue", checked == nullptr ? Json(nullptr) : queue_json(snapshot, *checked)}};
  if (round_trip_ms) report["round_trip_ms"] = *round_trip_ms;
  // Paths need not be UTF-8.
  return report.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace mar::queue_tool
