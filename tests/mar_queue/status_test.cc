// Every reason why a client gets no answer, brought about for real and told apart by `mar-queue status`.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>

#include "tests/mar_queue/scene.h"
#include "tests/support/files.h"

namespace mar {

namespace {

// What must stay alive while mar-queue looks.
using Props = std::shared_ptr<void>;
using Stage = std::function<Props()>;

// An engine, and a change to it or to its queue.
Stage with_engine(const std::function<void(Engine&)>& change) {
  return [change] {
    auto engine = std::make_shared<Engine>();
    change(*engine);
    return engine;
  };
}

Stage with_state(uint32_t state) {
  return with_engine([state](Engine& engine) { engine.made.u32(8) = state; });
}

Props control_file_alone() {
  write_file(CLI_IPC_NAME, "");
  return nullptr;
}

Props foreign_segment() {
  control_file_alone();
  EXPECT_NE(shmget(ftok(CLI_IPC_NAME, 2), 10291, IPC_CREAT | 0666), -1);
  return nullptr;
}

Props dead_creator() {
  EngineChild().child.kill();
  return nullptr;
}

// Sets a semaphore of the lock set from a process that then ends.
void set_by_hand(int semaphore, int value) {
  EXPECT_EQ(Child([=] { return semctl(set_of(1), semaphore, SETVAL, value); }).result(), 0);
}

Props life_by_hand() {
  dead_creator();
  set_by_hand(kCreatorAliveSem, 2);
  return nullptr;
}

Props other_instance() {
  setenv("ARM_AGENT_PREFIX", "two", 1);
  auto made = std::make_shared<MadeQueue>(kSlots, "/var/zarn/controls_cl.zarn.two");
  unsetenv("ARM_AGENT_PREFIX");
  return made;
}

// The file is moved, not removed, so that its inode is not reused.
void lose_control_file(bool replaced) {
  std::filesystem::rename(CLI_IPC_NAME, "/var/lost");
  if (replaced) write_file(CLI_IPC_NAME, "");
}

// Makes a control file with the inode number of ours on a container's new file system /var/zarn.
bool make_twin(ino_t inode) {
  struct stat file {};
  for (int tries = 0; file.st_ino < inode && tries < 10000; ++tries) {
    const std::string name = "/var/zarn/" + std::to_string(tries);
    write_file(name, "");
    if (stat(name.c_str(), &file) == 0 && file.st_ino == inode)
      return rename(name.c_str(), CLI_IPC_NAME) == 0;
  }
  return false;
}

// An engine in new namespaces; a new mount namespace gives it a /var/zarn of its own.
Props engine_in(int namespaces) {
  int ready[2];
  EXPECT_EQ(pipe(ready), 0);
  struct stat ours {};
  EXPECT_EQ(stat(CLI_IPC_NAME, &ours), 0);
  auto child = std::make_shared<Child>([&] {
    if (unshare(namespaces) != 0) return 1L;
    if ((namespaces & CLONE_NEWNS) != 0 &&
        (mount("tmpfs", "/var/zarn", "tmpfs", 0, nullptr) != 0 || !make_twin(ours.st_ino))) {
      return 2L;
    }
    const Engine engine;
    if (write(ready[1], "r", 1) == 1) pause();
    return 0L;
  });
  close(ready[1]);
  char sign = 0;
  EXPECT_EQ(read(ready[0], &sign, 1), 1);
  close(ready[0]);
  return child;
}

Props other_namespace() {
  control_file_alone();
  return engine_in(CLONE_NEWIPC);
}

void stop(const Child& child) {
  kill(child.pid(), SIGSTOP);
  waitpid(child.pid(), nullptr, WUNTRACED);
}

Props stopped_engine() {
  auto engine = std::make_shared<EngineChild>();
  stop(engine->child);
  return engine;
}

Props lock_by_nobody() {
  auto engine = std::make_shared<Engine>();
  set_by_hand(kLockSem, 1);
  return engine;
}

// Every head belongs to the engine or to a living client at work.
void take_all_heads(Engine& engine) {
  for (uint32_t thread = 1; thread < kSlots; ++thread) {
    long key = 0;
    EXPECT_EQ(engine.queue.OpenChannel({static_cast<uint32_t>(getpid()), thread}, &key), 0);
  }
}

Props no_slots() {
  auto made = std::make_shared<MadeQueue>(0, CLI_IPC_NAME, 10279);
  EXPECT_NE(semget(ftok(CLI_IPC_NAME, 3), 2, IPC_CREAT | 0666), -1);
  return made;
}

void resize_semaphores(Engine& engine) {
  engine.made.semaphores().implDestroy();
  EXPECT_TRUE(engine.made.semaphores().implInitialize(CLI_IPC_NAME, kSlots + 1));
}

struct Trouble {
  const char* name;
  Stage stage;
  const char* code;
};

const Trouble kTroubles[] = {
    {"all is well", with_engine([](Engine&) {}), "running"},
    {"no control file", [] { return nullptr; }, "no-control-file"},
    {"control file alone", control_file_alone, "no-queue"},
    {"another instance's", other_instance, "other-instance"},
    {"control file removed", with_engine([](Engine&) { lose_control_file(false); }), "control-file-removed"},
    {"control file replaced", with_engine([](Engine&) { lose_control_file(true); }), "control-file-replaced"},
    {"another IPC namespace", other_namespace, "other-namespace"},
    {"segment too small", foreign_segment, "key-clash"},
    {"wake-up semaphores of another size", with_engine(resize_semaphores), "key-clash"},
    {"no wake-up semaphores", with_engine([](Engine& engine) { engine.made.semaphores().implDestroy(); }),
     "half-made"},
    {"dead creator", dead_creator, "creator-dead"},
    {"dead creator that looks alive", life_by_hand, "false-life"},
    {"closing", with_state(1), "closing"},
    {"destroyed", with_state(2), "destroyed"},
    {"a state that is none", with_state(3), "bad-state"},
    {"full", with_engine([](Engine& engine) { engine.put(ZARNENGINE_ID, kSlots); }), "full"},
    {"no free head", with_engine(take_all_heads), "no-free-head"},
    {"engine without a head", with_engine([](Engine& engine) { *engine.made.at(12) = HEAD_IDLE; }),
     "no-engine-head"},
    {"engine stopped", stopped_engine, "engine-stopped"},
    {"lock held", with_engine([](Engine& engine) { EXPECT_EQ(engine.made.memory().Lock(), 0); }),
     "lock-held"},
    {"lock held by nobody", lock_by_nobody, "lock-lost"},
    {"more heads counted than there are",
     with_engine([](Engine& engine) { engine.made.u16(2) = kSlots + 1; }), "no-free-head"},
    {"no slots", no_slots, "no-slots"},
    {"a lost slot", with_engine([](Engine& engine) { engine.lose_slot(); }), "damaged"},
};

}  // namespace

TEST(Status, TellsEveryTroubleApart) {
  for (const Trouble& trouble : kTroubles) {
    SCOPED_TRACE(trouble.name);
    clear_scene();
    const Props props = trouble.stage();
    const Report report = mar_queue({"status"});
    EXPECT_EQ(report.codes.at(0), trouble.code);
    EXPECT_EQ(report.status, report.codes[0] == "running" ? 0 : 1);
  }
}

// Two engines do not explain a failure but are worth a note: one in a container of its own, even if its
// control file has the same inode number, and one that died before its control file was replaced.
TEST(Status, AddsWhatElseThereIs) {
  clear_scene();
  dead_creator();
  lose_control_file(true);
  const Props other = engine_in(CLONE_NEWIPC | CLONE_NEWNS);
  const Report report = mar_queue({"status"});
  EXPECT_EQ(report.codes.at(0), "no-queue");
  for (const char* note : {"orphan", "other-container"})
    EXPECT_EQ(std::count(report.codes.begin(), report.codes.end(), note), 1) << note;
}

TEST(Status, NamesTheClientThatHoldsTheMessages) {
  clear_scene();
  Engine engine;
  Child client([]() -> long { return pause(); });
  engine.put({static_cast<uint32_t>(client.pid()), 1}, kSlots - 1);
  engine.put(ZARNENGINE_ID, 1);
  const std::string pid = std::to_string(client.pid());
  EXPECT_TRUE(mar_queue({"status"}).says("wait until client " + pid + " is done"));
  EXPECT_TRUE(eventually([&] {
    return mar_queue({"status"})
        .says("1 client (process " + pid + " (mar_queue_test)) has not read its answer");
  }));
  stop(client);
  const Report report = mar_queue({"status"});
  EXPECT_EQ(report.codes, (std::vector<std::string>{"full", "unanswered", "client-stopped"}));
  EXPECT_TRUE(report.says("client " + pid + " (mar_queue_test, stopped) holds 3 messages")) << report.json;
  EXPECT_TRUE(report.says("continue client " + pid + " (kill -CONT " + pid + ") or end it")) << report.json;
  EXPECT_FALSE(report.says("wait until the engine")) << report.json;
  EXPECT_TRUE(eventually([] { return !mar_queue({"status"}).says("at least 0 s old"); }));
  TCLIMessage message;
  bool taken = false;
  EXPECT_EQ(engine.queue.KeyTryGet(0, message, taken), 0);
  semid_ds wakeup_set = {};
  EXPECT_EQ(semctl(set_of(3), 0, IPC_STAT, &wakeup_set), 0);
  EXPECT_EQ(mar_queue({"status"}).json["queue"]["times"]["used"], wakeup_set.sem_otime);
}

TEST(Status, NamesTheClientThatWaits) {
  clear_scene();
  Engine engine;
  Child client([]() -> long {
    TCLIMessage message;
    return CommandQueue(CLI_IPC_NAME, false).Get({static_cast<uint32_t>(getpid()), 1}, message);
  });
  const std::string who = "1 client waiting for an answer (process " + std::to_string(client.pid());
  EXPECT_TRUE(eventually([&] { return mar_queue({"status"}).says(who); }));
}

TEST(Status, TellsMissingPermissions) {
  struct {
    const char* name;
    mode_t segment, directory;
    long want;  // the exit status, plus 10 if missing rights are named as the cause
  } const rows[] = {{"nothing", 0600, 0755, 12},
                    {"reading only", 0644, 0755, 11},
                    {"no directory", 0666, 0700, 12},
                    {"all", 0666, 0755, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    clear_scene();
    Engine engine;
    const int segment = shmget(ftok(CLI_IPC_NAME, 2), 0, 0);
    shmid_ds info{};
    ASSERT_EQ(shmctl(segment, IPC_STAT, &info), 0);
    info.shm_perm.mode = row.segment & 0777;
    ASSERT_EQ(shmctl(segment, IPC_SET, &info), 0);
    ASSERT_EQ(chmod("/var/zarn", row.directory), 0);
    Child user([]() -> long {
      if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0) return -1;
      const Report report = mar_queue({"status"});
      const bool rights = report.codes.at(0) == "no-permission" || report.codes.at(0) == "no-access";
      return report.status + (rights ? 10 : 0);
    });
    const long status = user.result();
    chmod("/var/zarn", 0777);
    if (status == -1) GTEST_SKIP() << "cannot become another user here";
    EXPECT_EQ(status, row.want);
  }
}

}  // namespace mar
