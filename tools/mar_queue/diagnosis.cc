#include "tools/mar_queue/diagnosis.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>

#include "tools/mar_queue/elsewhere.h"
#include "tools/mar_queue/wording.h"

namespace mar::queue_tool {

namespace {

// One of the queue's three kernel objects.
struct Part {
  const std::optional<IpcObject>& object;
  const char* name;
  const char* unit;     // of its size
  const char* remover;  // the command that removes it, before its id
  bool fits;
};

// Why a client cannot reach a living engine.
class AccessDiagnosis {
 public:
  explicit AccessDiagnosis(const Snapshot& snapshot)
      : snapshot_(snapshot), file_(snapshot.control_file), path_(printable(snapshot.control_file.path)) {}

  // Empty if a client can reach one. The cause comes first, then notes.
  Findings run() {
    if (file_.error != 0) {
      no_control_file();
    } else if (!snapshot_.segment && !snapshot_.lock_set && !snapshot_.wakeup_set) {
      no_objects();
    } else if (!find_key_clash() && !find_missing_permission() && !find_missing_part() &&
               !creator_lives(snapshot_)) {
      dead_creator();
    }
    std::stable_sort(findings_.begin(), findings_.end(),
                     [](const Finding& a, const Finding& b) { return a.severity > b.severity; });
    return std::move(findings_);
  }

 private:
  void add(Finding finding) { findings_.push_back(std::move(finding)); }

  void no_control_file() {
    if (file_.error == ENAMETOOLONG) {
      add(blind("name-too-long", "The control file's name is too long: clients would look for {}.", path_));
    } else if (file_.error != ENOENT && file_.error != ENOTDIR) {
      add(blind("no-access", "{}", sentence_of(MAR_CAUSE_NO_ACCESS, {path_.c_str(), file_.error})));
    } else {
      if (!add_orphans("control-file-removed", "removed") && !add_other_instance(Severity::kTrouble)) {
        add(trouble("no-control-file", "{}", sentence_of(MAR_CAUSE_NO_CONTROL_FILE, {path_.c_str()})));
      }
      add_other_namespaces();
    }
  }

  void no_objects() {
    const bool found = add_orphans("control-file-replaced", "replaced");
    if (!add_other_namespaces() && !found) {
      add(trouble("no-queue", "{}", sentence_of(MAR_CAUSE_NO_QUEUE, {path_.c_str()})));
    }
    add_other_instance(Severity::kNote);
  }

  void dead_creator() {
    add(trouble("creator-dead", "{}", sentence_of(MAR_CAUSE_CREATOR_DEAD, {.engine = snapshot_.creator})));
    add_other_namespaces();
    add_other_instance(Severity::kNote);
  }

  std::vector<Part> parts() const {
    const bool fits = segment_fits(snapshot_);
    const uint64_t heads = fits ? kCommandQueueLayout.capacity(snapshot_.segment->size) : 0;
    const auto has_size = [](const auto& set, uint64_t size) { return set && set->size == size; };
    return {{snapshot_.segment, "segment", "byte", "ipcrm -m", fits},
            {snapshot_.lock_set, "lock set", "semaphore", "ipcrm -s", has_size(snapshot_.lock_set, 2)},
            {snapshot_.wakeup_set, "wake-up set", "semaphore", "ipcrm -s",
             !fits || has_size(snapshot_.wakeup_set, heads + kFirstHeadSem)}};
  }

  bool find_key_clash() {
    for (const Part& part : parts()) {
      if (!part.object || part.fits) continue;
      add(trouble("key-clash",
                  "The object under the key of the {} (id {}, {}, of user {}) is not this queue's: stop the "
                  "program that made it or remove it ({} {}), then restart the engine.",
                  part.name, part.object->id, count_of(part.object->size, part.unit), part.object->owner,
                  part.remover, part.object->id));
    }
    return !findings_.empty();
  }

  bool find_missing_permission() {
    for (const Part& part : parts()) {
      if (!part.object || part.object->usable) continue;
      if (part.object->readable) {
        add(trouble("no-permission",
                    "User {} may not write the queue's {}, which belongs to user {}: run clients as that "
                    "user or as root.",
                    geteuid(), part.name, part.object->owner));
      } else {
        add(blind("no-permission",
                  "User {} may not read the queue's {}, which belongs to user {}: run clients and "
                  "mar-queue as that user or as root.",
                  geteuid(), part.name, part.object->owner));
      }
      return true;
    }
    return false;
  }

  bool find_missing_part() {
    std::string missing;
    for (const Part& part : parts()) {
      if (!part.object) missing += (missing.empty() ? "" : " and ") + std::string(part.name);
    }
    if (missing.empty() && snapshot_.creator_alive == 0) missing = "creator's sign of life";
    if (missing.empty()) return false;
    add(trouble("half-made",
                "The queue is incomplete, it lacks the {}: the engine is still starting or was interrupted. "
                "Look again in a moment, then start the engine.",
                missing));
    return true;
  }

  // A queue that clients cannot find explains a failure only if its engine lives; a dead one is worth a note.
  bool add_orphans(const char* code, const char* fate) {
    bool alive = false;
    for (const Orphan& orphan : find_orphans(file_, snapshot_.objects)) {
      const std::string slots = count_of(orphan.slots, "slot");
      const auto hex = [](key_t key) { return fmt::format("0x{:08x}", static_cast<uint32_t>(key)); };
      if (orphan.alive) {
        alive = true;
        add(trouble(
            code,
            "The control file {} has been {} since process {} made a queue of {}, which clients can no "
            "longer find: restart that process if it is the engine.",
            path_, fate, process_label(orphan.creator), slots));
      } else {
        add(note(
            "orphan",
            "The dead process {} has left a queue of {} whose control file is gone: ipcrm -M {} -S {} -S "
            "{} removes it.",
            orphan.creator, slots, hex(orphan.keys.segment), hex(orphan.keys.segment_semaphores),
            hex(orphan.keys.queue_semaphores)));
      }
    }
    return alive;
  }

  bool add_other_instance(Severity severity) {
    for (const std::string& other : other_control_files(file_)) {
      if (!has_living_creator(other, snapshot_.objects)) continue;
      add(trouble("other-instance", "No engine runs for {}, but one does for {}: run clients with {}.", path_,
                  printable(other), printable(environment_for(file_, other))));
      findings_.back().severity = severity;
      return true;
    }
    return false;
  }

  // Returns whether the queue of our very control file is in another namespace. A container with files of its
  // own is worth a note.
  bool add_other_namespaces() {
    const NamespaceSearch search = search_namespaces(file_);
    for (const NamespaceUser& user : search.users) {
      if (!user.same_file) continue;
      add(trouble("other-namespace",
                  "Process {} uses a queue of this control file in another IPC namespace: run clients "
                  "there, for example with nsenter --target {} --ipc.",
                  process_label(user.process), user.process));
    }
    const auto separate =
        std::find_if_not(search.users.begin(), search.users.end(), std::mem_fn(&NamespaceUser::same_file));
    if (separate != search.users.end()) {
      add(note("other-container",
               "Process {} uses a queue of a control file of the same name in another IPC namespace and "
               "file system: if that is the engine you mean, run clients there, for example with "
               "nsenter --target {} --ipc --mount.",
               process_label(separate->process), separate->process));
    }
    if (!search.complete) {
      add(note("search-incomplete",
               "Some processes could not be examined{}, so an engine in another IPC namespace may "
               "have been overlooked.",
               geteuid() == 0 ? "" : " (run mar-queue as root)"));
    }
    return std::any_of(search.users.begin(), search.users.end(), std::mem_fn(&NamespaceUser::same_file));
  }

  const Snapshot& snapshot_;
  const ControlFile& file_;
  const std::string path_;
  Findings findings_;
};

}  // namespace

Findings diagnose(const Snapshot& snapshot, const std::optional<CheckResult>& checked) {
  Findings findings = AccessDiagnosis(snapshot).run();
  if (!checked) return findings;
  if (findings.empty()) findings = diagnose_service(snapshot, *checked);
  add_notes(snapshot, *checked, findings);
  return findings;
}

Findings explain_missing_image(const Snapshot& snapshot) {
  if (snapshot.image) return {};
  Findings findings = AccessDiagnosis(snapshot).run();
  for (Finding& finding : findings) {
    if (finding.severity != Severity::kNote) finding.severity = Severity::kBlind;
  }
  if (findings.empty())
    findings.push_back(blind("changed", "The queue has just been removed or replaced: try again."));
  return findings;
}

}  // namespace mar::queue_tool
