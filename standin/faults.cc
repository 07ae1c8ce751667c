#include "standin/faults.h"

#include <algorithm>
#include <charconv>

#include "standin/messages.h"

namespace mar::standin {

namespace {

constexpr int64_t kInt32Min = std::numeric_limits<int32_t>::min();
constexpr int64_t kInt32Max = std::numeric_limits<int32_t>::max();
constexpr int64_t kUint32Max = std::numeric_limits<uint32_t>::max();
constexpr int64_t kMaxHoldMs = 3600000;
constexpr int64_t kMaxAnswerBytes = int64_t{1} << 40;

constexpr FaultAction kActions[] = {
    {"result", "R", "answer R, whatever the request says", "add-edge-policy#2:result=-5", kInt32Min,
     kInt32Max, [](FaultEffects& effects, int64_t value) { effects.result = static_cast<int32_t>(value); }},
    {"delay", "MS", "answer MS milliseconds late", "*%10:delay=500", 0, kInt32Max,
     [](FaultEffects& effects, int64_t value) { effects.delay_ms = static_cast<int>(value); }},
    {"hold-lock", "MS", "hold the queue's lock for MS milliseconds, then answer", "dump#2-:hold-lock=3000", 0,
     kMaxHoldMs,
     [](FaultEffects& effects, int64_t value) { effects.hold_lock_ms = static_cast<int>(value); }},
    {"silent", "", "never answer", "127:silent", 0, 0,
     [](FaultEffects& effects, int64_t) { effects.no_answer = true; }},
    {"marker", "M", "start the answer with M instead of 1200", "dump:marker=7", 0, kUint32Max,
     [](FaultEffects& effects, int64_t value) { effects.answer.marker = static_cast<uint32_t>(value); }},
    {"kind", "K", "give the answer's first record the framing kind K", "dump:kind=2", 0, kUint32Max,
     [](FaultEffects& effects, int64_t value) { effects.answer.kind = static_cast<uint32_t>(value); }},
    {"length", "L", "write L into the length field of the answer's first record", "dump:length=-1", kInt32Min,
     kInt32Max,
     [](FaultEffects& effects, int64_t value) { effects.answer.length_field = static_cast<int32_t>(value); }},
    {"size", "BYTES", "answer BYTES bytes: below 8 a short answer, above 10240 a long one", "dump:size=30000",
     0, kMaxAnswerBytes,
     [](FaultEffects& effects, int64_t value) { effects.answer.size_bytes = static_cast<uint64_t>(value); }},
    {"no-end", "", "leave out the last record of a long answer", "dump:size=30000,no-end", 0, 0,
     [](FaultEffects& effects, int64_t) { effects.answer.without_end = true; }},
    {"endless", "", "never stop answering, until the client is gone", "dump:endless", 0, 0,
     [](FaultEffects& effects, int64_t) { effects.answer.size_bytes = kEndlessAnswer; }},
    {"echo", "", "repeat the request's sender and payload after the answer's header", "*:echo", 0, 0,
     [](FaultEffects& effects, int64_t) { effects.answer.echo = true; }},
    {"die-before", "", "be killed instead of answering", "clear-engine:die-before", 0, 0,
     [](FaultEffects& effects, int64_t) { effects.death = Death::kBeforeAnswer; }},
    {"die-after", "", "be killed just after answering", "clear-engine:die-after", 0, 0,
     [](FaultEffects& effects, int64_t) { effects.death = Death::kAfterAnswer; }},
    {"stop", "", "end cleanly after the answer", "*#100:stop", 0, 0,
     [](FaultEffects& effects, int64_t) { effects.stop = true; }},
    {"close", "", "close the queue instead of answering", "debug#3:close", 0, 0,
     [](FaultEffects& effects, int64_t) { effects.state = IPCQUEUE_CLOSE; }},
    {"destroy", "", "set the queue's state to destroyed instead of answering", "debug:destroy", 0, 0,
     [](FaultEffects& effects, int64_t) { effects.state = IPCQUEUE_DESTROY; }},
    {"full", "", "keep the queue full once the answer is read", "start:full", 0, 0,
     [](FaultEffects& effects, int64_t) { effects.fill_queue = true; }},
    {"withdraw", "", "withdraw the client's head instead of answering", "dump:withdraw", 0, 0,
     [](FaultEffects& effects, int64_t) { effects.withdraw = true; }},
};

template <typename Number>
bool parse_number(std::string_view text, Number minimum, Number maximum, Number& number) {
  const char* end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stopped == end && number >= minimum && number <= maximum;
}

// "3" is one request, "3-7" several, "3-" all from the third on.
bool parse_range(std::string_view text, uint64_t& first, uint64_t& last) {
  const size_t dash = text.find('-');
  if (!parse_number<uint64_t>(text.substr(0, dash), 1, UINT64_MAX, first)) return false;
  if (dash == std::string_view::npos) last = first;
  return dash >= text.size() - 1 || parse_number<uint64_t>(text.substr(dash + 1), first, UINT64_MAX, last);
}

void append(std::string& list, char separator, std::string_view item) {
  if (!list.empty()) list += separator;
  list += item;
}

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

// Cuts `text` at the last `mark`, if there is one. Returns whether there is; `tail` receives what follows it.
bool cut_tail(std::string_view& text, char mark, std::string_view& tail) {
  const size_t at = text.rfind(mark);
  if (at == std::string_view::npos) return false;
  tail = text.substr(at + 1);
  text = text.substr(0, at);
  return true;
}

}  // namespace

std::span<const FaultAction> fault_actions() { return kActions; }

Outcome<> FaultPlan::add(std::string_view text) {
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos) return Failure{quoted(text) + " is not WHEN:WHAT"};
  Fault fault;
  fault.text = text;
  if (auto parsed = parse_when(text.substr(0, colon), fault); !parsed) return parsed;
  const auto actions = FaultActions::parse(text.substr(colon + 1));
  if (!actions) return Failure{actions.reason()};
  if (const std::string_view name = actions->first_for_requests(); fault.at_start && !name.empty())
    return Failure{quoted(name) + " applies to requests only"};
  fault.actions = *actions;
  faults_.push_back(std::move(fault));
  return {};
}

Outcome<> FaultPlan::parse_when(std::string_view when, Fault& fault) {
  std::string_view number;
  if (cut_tail(when, '%', number) && !parse_number<uint64_t>(number, 0, 100, fault.percent)) {
    return Failure{quoted(number) + " is not a percentage"};
  }
  if (cut_tail(when, '#', number) && !parse_range(number, fault.first, fault.last)) {
    return Failure{quoted(number) + " is not a request's number or a range of them"};
  }
  fault.at_start = when == "start";
  if (fault.at_start || when == "*") return {};
  uint32_t code = 0;
  if (const Message* message = find_message(when)) {
    fault.code = message->code;
  } else if (parse_number<uint32_t>(when, 0, UINT32_MAX, code)) {
    fault.code = code;
  } else {
    return Failure{quoted(when) + " is neither a message name nor a code"};
  }
  return {};
}

Outcome<FaultActions> FaultActions::parse(std::string_view text) {
  FaultActions actions;
  actions.text_ = text;
  while (true) {
    const size_t comma = text.find(',');
    const std::string_view item = text.substr(0, comma);
    const size_t equals = item.find('=');
    const std::string_view name = item.substr(0, equals);
    const auto action = std::find_if(std::begin(kActions), std::end(kActions),
                                     [name](const FaultAction& row) { return row.name == name; });
    if (action == std::end(kActions)) return Failure{quoted(name) + " is not a fault"};
    const bool has_value = equals != std::string_view::npos;
    if (has_value == action->value.empty()) {
      return Failure{quoted(name) + (has_value ? " takes no value" : " needs a value")};
    }
    int64_t value = 0;
    if (has_value && !parse_number(item.substr(equals + 1), action->minimum, action->maximum, value)) {
      return Failure{quoted(item) + ": the value is not a number in range"};
    }
    actions.actions_.push_back({action, value});
    if (comma == std::string_view::npos) return actions;
    text.remove_prefix(comma + 1);
  }
}

void FaultActions::apply_to(FaultEffects& effects) const {
  for (const Applied& applied : actions_) applied.action->apply(effects, applied.value);
  append(effects.text, ',', text_);
}

std::string_view FaultActions::first_for_requests() const {
  for (const Applied& applied : actions_) {
    FaultEffects alone;
    applied.action->apply(alone, applied.value);
    if (!alone.fill_queue && !alone.state) return applied.action->name;
  }
  return {};
}

void FaultPlan::apply_to(FaultEffects& effects, const Fault& fault) {
  fault.actions.apply_to(effects);
  append(effects.remark, ' ', fault.text);
}

FaultEffects FaultPlan::for_request(uint32_t code, FaultEffects effects) {
  for (Fault& fault : faults_) {
    if (fault.at_start || (fault.code && *fault.code != code)) continue;
    ++fault.seen;
    if (fault.seen < fault.first || fault.seen > fault.last) continue;
    if (fault.percent < 100 && random_() % 100 >= fault.percent) continue;
    apply_to(effects, fault);
  }
  return effects;
}

FaultEffects FaultPlan::at_start() const {
  FaultEffects effects;
  for (const Fault& fault : faults_) {
    if (fault.at_start) apply_to(effects, fault);
  }
  return effects;
}

}  // namespace mar::standin
