#include "tools/mar_queue/diagnosis.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>

#include "tools/mar_queue/elsewhere.h"
#include "tools/mar_queue/service_diagnosis.h"
#include "tools/mar_queue/text.h"

namespace {

// One of the queue's three kernel objects and what it should be.
struct Part {
  const std::optional<IpcObject>& object;
  const char* name;
  const char* remover;  // the command that removes it, before its id
  bool fits;
};

unsigned hex(key_t key) { return static_cast<unsigned>(key); }

class Diagnosis {
 public:
  explicit Diagnosis(const Snapshot& snapshot)
      : snapshot_(snapshot), place_(snapshot.place), path_(printable(snapshot.place.path)) {}

  // Why a client cannot reach a living engine; nothing if it can.
  Findings Unreachable() {
    if (place_.error != 0) {
      NoControlFile();
    } else if (!snapshot_.segment && !snapshot_.segment_set && !snapshot_.queue_set) {
      NoObjects();
    } else if (!KeyClash() && !NoPermission() && !HalfMade() && !creator_lives(snapshot_)) {
      DeadCreator();
    }
    // The reason comes first, notes behind it.
    std::stable_sort(findings_.begin(), findings_.end(),
                     [](const Finding& a, const Finding& b) { return a.severity > b.severity; });
    return std::move(findings_);
  }

 private:
  void Add(Severity severity, const char* code, std::string sentence) {
    findings_.push_back({severity, code, std::move(sentence)});
  }
  void Trouble(const char* code, std::string sentence) { Add(Severity::kTrouble, code, std::move(sentence)); }

  void NoControlFile() {
    if (place_.error == ENAMETOOLONG) {
      Add(Severity::kBlind, "name-too-long",
          text("The control file's name is too long: clients would look for %s.", path_.c_str()));
    } else if (place_.error != ENOENT && place_.error != ENOTDIR) {
      Add(Severity::kBlind, "no-access",
          text("The control file %s cannot be looked at (%s): let everybody search its directories, or run "
               "this "
               "as root.",
               path_.c_str(), std::strerror(place_.error)));
    } else {
      if (!AddOrphans("control-file-removed", "removed") && !AddOtherInstance(Severity::kTrouble)) {
        Trouble("no-control-file", text("There is no control file %s: start the engine.", path_.c_str()));
      }
      AddOtherNamespaces();
    }
  }

  void NoObjects() {
    const bool found = AddOrphans("control-file-replaced", "replaced");
    if (!AddOtherNamespaces() && !found) {
      Trouble("no-queue", text("The control file %s is there but no queue: the engine has stopped or has not "
                               "made it yet; start "
                               "the engine.",
                               path_.c_str()));
    }
    AddOtherInstance(Severity::kNote);
  }

  void DeadCreator() {
    Trouble("creator-dead",
            text("The engine has died%s and its queue is left over: start the engine, or mar-queue "
                 "remove-stale.",
                 snapshot_.creator > 0 ? text(" (process %d)", snapshot_.creator).c_str() : ""));
    AddOtherNamespaces();
    AddOtherInstance(Severity::kNote);
  }

  std::vector<Part> Parts() const {
    const auto& segment = snapshot_.segment;
    const bool fits = segment_fits(snapshot_);
    const uint64_t heads = fits ? kCommandQueueLayout.capacity(segment->size) : 0;
    const auto size_of = [](const std::optional<IpcObject>& set) { return set ? set->size : 0; };
    return {{segment, "segment", "ipcrm -m", fits},
            {snapshot_.segment_set, "lock's semaphore set", "ipcrm -s", size_of(snapshot_.segment_set) == 2},
            {snapshot_.queue_set, "wake-up semaphore set", "ipcrm -s",
             !fits || size_of(snapshot_.queue_set) == heads + kFirstHeadSem}};
  }

  bool KeyClash() {
    const size_t before = findings_.size();
    for (const Part& part : Parts()) {
      if (!part.object || part.fits) continue;
      const bool segment = &part.object == &snapshot_.segment;
      Trouble("key-clash", text("The object under the key of the %s (id %d, %s, of user %u) is not this "
                                "queue's: stop the program "
                                "that made it or remove it (%s %d), then restart the engine.",
                                part.name, part.object->id,
                                count_of(part.object->size, segment ? "byte" : "semaphore").c_str(),
                                part.object->owner, part.remover, part.object->id));
    }
    return findings_.size() > before;
  }

  bool NoPermission() {
    for (const Part& part : Parts()) {
      if (!part.object || part.object->usable) continue;
      const bool readable = part.object->readable;
      Add(readable ? Severity::kTrouble : Severity::kBlind, "no-permission",
          text(
              "User %u may not %s the queue's %s, which is user %u's: run clients%s as that user or as root.",
              geteuid(), readable ? "write" : "read", part.name, part.object->owner,
              readable ? "" : " and this"));
      return true;
    }
    return false;
  }

  bool HalfMade() {
    std::string missing;
    for (const Part& part : Parts()) {
      if (!part.object) missing += (missing.empty() ? "" : " and ") + std::string(part.name);
    }
    if (missing.empty() && snapshot_.sign == 0) missing = "creator's sign of life";
    if (missing.empty()) return false;
    Trouble(
        "half-made",
        text(
            "The queue is not complete, it lacks the %s: the engine is just starting, or was cut short; look "
            "again in a moment, then start the engine.",
            missing.c_str()));
    return true;
  }

  // A living engine nobody can find is the reason; a dead one is only worth a note.
  bool AddOrphans(const char* code, const char* fate) {
    bool alive = false;
    for (const Orphan& orphan : find_orphans(place_, snapshot_.objects)) {
      const std::string slots = count_of(orphan.slots, "slot");
      if (orphan.alive) {
        alive = true;
        Trouble(code,
                text("The control file %s has been %s since process %s made a queue of %s, which no client "
                     "finds any more: restart that process if it is the engine.",
                     path_.c_str(), fate, process_label(orphan.creator).c_str(), slots.c_str()));
      } else {
        Add(Severity::kNote, "orphan",
            text("A dead process %d has left a queue of %s whose control file is gone: ipcrm -M 0x%08x -S "
                 "0x%08x "
                 "-S 0x%08x removes it.",
                 orphan.creator, slots.c_str(), hex(orphan.keys.segment), hex(orphan.keys.segment_semaphores),
                 hex(orphan.keys.queue_semaphores)));
      }
    }
    return alive;
  }

  bool AddOtherInstance(Severity severity) {
    for (const std::string& file : other_control_files(place_)) {
      if (!has_living_creator(file, snapshot_.objects)) continue;
      Add(severity, "other-instance",
          text("There is no engine for %s, but one for %s: run clients with %s.", path_.c_str(),
               printable(file).c_str(), printable(environment_for(place_, file)).c_str()));
      return true;
    }
    return false;
  }

  // True if the queue of our very control file is in another namespace. Others, in containers with files of
  // their own, are only worth a note.
  bool AddOtherNamespaces() {
    const NamespaceSearch search = search_namespaces(place_);
    for (const NamespaceUser& user : search.users) {
      if (!user.same_file) continue;
      Trouble("other-namespace", text("Process %s uses a queue of this control file in another IPC "
                                      "namespace: run clients there, as by "
                                      "nsenter --target %d --ipc.",
                                      process_label(user.process).c_str(), user.process));
    }
    const auto is_separate = [](const NamespaceUser& user) { return !user.same_file; };
    const auto separate = std::find_if(search.users.begin(), search.users.end(), is_separate);
    if (separate != search.users.end()) {
      Add(Severity::kNote, "other-container",
          text("Process %s uses a queue of a control file of the same name in another IPC namespace and file "
               "system: "
               "if that engine is meant, run clients there, as by nsenter --target %d --ipc --mount.",
               process_label(separate->process).c_str(), separate->process));
    }
    if (!search.complete) {
      Add(Severity::kNote, "search-incomplete",
          text("Some processes could not be looked at%s, so an engine in another IPC namespace may be "
               "overlooked.",
               geteuid() == 0 ? "" : " (run this as root)"));
    }
    return std::any_of(search.users.begin(), search.users.end(), std::not_fn(is_separate));
  }

  const Snapshot& snapshot_;
  const Place& place_;
  const std::string path_;
  Findings findings_;
};

}  // namespace

Findings diagnose(const Snapshot& snapshot, const std::optional<CheckResult>& checked) {
  Findings findings = Diagnosis(snapshot).Unreachable();
  const bool reachable = findings.empty();
  if (!snapshot.image || !checked) return findings;
  if (reachable) findings = diagnose_service(snapshot, *checked);
  add_notes(snapshot, *checked, findings);
  return findings;
}

Findings why_no_image(const Snapshot& snapshot) {
  if (snapshot.image) return {};
  Findings findings = Diagnosis(snapshot).Unreachable();
  for (Finding& finding : findings) {
    if (finding.severity != Severity::kNote) finding.severity = Severity::kBlind;
  }
  return findings;
}
