// The generated-kernel table, the allocation hook, the processor probes and
// the settings read from the environment.
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "orb/orb_service.h"
#include "tests/support/orb_test_hooks.h"

extern char** environ;

namespace {

// An entry as a kernel library would build it: its own link, its own key.
struct entry {
  int key;
  int writer;
  entry* next;
};

// Writers insert under the bucket's write lock (linking the old head,
// then publishing the entry), counting under the counter mutex taken inside
// the bucket lock; readers walk chains under read locks meanwhile and must
// always see well-formed chains. At the end every entry is in its bucket
// exactly once and the count grew by the number inserted.
TEST(JitTable, ConcurrentInsertsAndReads) {
  const int writers = 4, per_writer = 3000, buckets_used = 64;
  const int before = orb__blas_get_total_jits();
  std::vector<std::vector<entry>> made(writers, std::vector<entry>(per_writer));
  std::atomic<bool> done{false};
  std::atomic<long> bad_chain{0}, walked{0};
  // Buckets from the top of the table, far from any a kernel test may use.
  auto bucket_of = [&](int key) { return 4095 - key % buckets_used; };

  std::vector<std::thread> team;
  for (int w = 0; w < writers; ++w)
    team.emplace_back([&, w] {
      for (int i = 0; i < per_writer; ++i) {
        entry& e = made[w][i];
        e.key = w * per_writer + i, e.writer = w;
        const int b = bucket_of(e.key);
        orb__blas_write_lock_jit_hashtable(b);
        void* head = nullptr;
        orb__blas_read_no_lock_jit_hashtable(&head, b);
        e.next = static_cast<entry*>(head);
        orb__blas_lock_total_jits();
        orb__blas_write_jit_hashtable(&e, b);
        orb__blas_incr_number_jits(b);
        orb__blas_unlock_total_jits();
        orb__blas_write_unlock_jit_hashtable(b);
      }
    });
  for (int r = 0; r < 2; ++r)
    team.emplace_back([&] {
      // Walk while the writers run, then once more after they finished, so
      // at least one walk sees every entry however the threads were scheduled.
      for (bool last = false; !last;) {
        last = done.load();
        for (int b = 4095; b > 4095 - buckets_used; --b) {
          orb__blas_read_lock_jit_hashtable(b);
          void* head = nullptr;
          orb__blas_read_no_lock_jit_hashtable(&head, b);
          for (entry* e = static_cast<entry*>(head); e; e = e->next) {
            if (bucket_of(e->key) != b || e->writer < 0 || e->writer >= writers) ++bad_chain;
            ++walked;
          }
          orb__blas_read_unlock_jit_hashtable(b);
        }
      }
    });
  for (int w = 0; w < writers; ++w) team[w].join();
  done = true;
  for (std::size_t t = writers; t < team.size(); ++t) team[t].join();

  EXPECT_EQ(bad_chain.load(), 0);
  EXPECT_GT(walked.load(), 0);
  EXPECT_EQ(orb__blas_get_total_jits() - before, writers * per_writer);
  std::set<int> seen;
  for (int b = 4095; b > 4095 - buckets_used; --b) {
    orb__blas_read_lock_jit_hashtable(b);
    void* head = nullptr;
    orb__blas_read_no_lock_jit_hashtable(&head, b);
    for (entry* e = static_cast<entry*>(head); e; e = e->next) EXPECT_TRUE(seen.insert(e->key).second);
    orb__blas_read_unlock_jit_hashtable(b);
    orb__blas_write_lock_jit_hashtable(b);  // leave the buckets empty for anyone after us
    orb__blas_write_jit_hashtable(nullptr, b);
    orb__blas_write_unlock_jit_hashtable(b);
  }
  EXPECT_EQ(int(seen.size()), writers * per_writer);
}

TEST(JitTable, IndicesOutsideTheTableAreRefused) {
  int marker = 0;
  orb__blas_write_jit_hashtable(&marker, 4096);
  orb__blas_write_jit_hashtable(&marker, -1);
  void* head = &marker;
  orb__blas_read_no_lock_jit_hashtable(&head, 4096);
  EXPECT_EQ(head, nullptr);
  const int before = orb__blas_get_total_jits();
  orb__blas_incr_number_jits(5000);
  EXPECT_EQ(orb__blas_get_total_jits(), before);
}

TEST(AllocationHook, NthAllocationFailsOnce) {
  const long live = orb_test_live_blocks();
  orb_test_fail_allocation(3, 0);
  void* a = orb_serv_allocate(100, 128);
  void* b = orb_serv_malloc(100, 4096);
  void* c = orb_serv_calloc(10, 8, 64);  // the third: fails
  void* d = orb_dft_kepMalloc(64);
  EXPECT_TRUE(a && b && d);
  EXPECT_EQ(c, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(a) % 128, 0u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(b) % 4096, 0u);
  EXPECT_EQ(orb_test_live_blocks(), live + 3);
  orb_serv_deallocate(a);
  orb_serv_free(b);
  orb_dft_kepFree(d);
  EXPECT_EQ(orb_test_live_blocks(), live);
  orb_test_fail_allocation(0, 0);
}

TEST(AllocationHook, PersistentFailureAndRecovery) {
  const long live = orb_test_live_blocks();
  orb_test_fail_allocation(2, 1);
  void* a = orb_serv_allocate(64, 0x400000);
  EXPECT_NE(a, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(a) % 0x400000, 0u);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(orb_serv_malloc(8, 64), nullptr);
  orb_test_fail_allocation(0, 0);
  void* b = orb_serv_calloc(1000, 4, 128);
  ASSERT_NE(b, nullptr);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(static_cast<int*>(b)[i], 0);
  orb_serv_free(b);
  orb_serv_deallocate(a);
  EXPECT_EQ(orb_test_live_blocks(), live);
  EXPECT_EQ(orb_serv_calloc(std::size_t(-1) / 2, 4, 64), nullptr) << "count times size overflows";
  EXPECT_EQ(orb_serv_check_ptr(nullptr, "GEMM_S8U8S32"), 1);
  EXPECT_EQ(orb_serv_check_ptr(&live, "GEMM_S8U8S32"), 0);
  testing::internal::CaptureStderr();
  EXPECT_NE(orb_serv_check_ptr_and_warn(nullptr, "DGEMM"), 0);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("DGEMM"), std::string::npos);
}

std::set<std::string> cpuinfo_flags() {
  std::ifstream in("/proc/cpuinfo");
  std::string line;
  while (std::getline(in, line))
    if (line.rfind("flags", 0) == 0) {
      std::istringstream words(line.substr(line.find(':') + 1));
      std::set<std::string> flags;
      for (std::string w; words >> w;) flags.insert(w);
      return flags;
    }
  return {};
}

// The kernel's flags already leave out what the OS does not enable, so
// they are an independent view of the same facts.
TEST(Processor, LevelsAgreeWithTheKernelsFlags) {
  const auto f = cpuinfo_flags();
  if (f.empty()) GTEST_SKIP() << "no /proc/cpuinfo";
  const int level = orb_serv_cpu_detect();
  const bool avx2 = f.count("avx2") && f.count("fma") && f.count("f16c");
  const bool avx512 = f.count("avx512f") && f.count("avx512dq") && f.count("avx512bw") && f.count("avx512vl");
  EXPECT_EQ(level >= 7, avx2) << level;
  EXPECT_EQ(level >= 8, avx2 && f.count("avx512f") > 0) << level;
  EXPECT_EQ(level >= 9, avx2 && avx512) << level;
  EXPECT_EQ(level >= 6, f.count("avx") > 0) << level;
  EXPECT_GE(level, 1) << "every x86-64 and every supported i386 machine has SSE2";
  if (orb_serv_cpuistvl() || orb_serv_cpuisvsq()) {
    EXPECT_TRUE(avx512 && f.count("avx512_vnni"));
  }
  if (orb_serv_cpuisvsq()) {
    EXPECT_TRUE(f.count("avx512_vbmi2") && f.count("avx512_bitalg"));
  }
  EXPECT_FALSE(orb_serv_cpuistvl() && orb_serv_cpuisvsq()) << "one generation at a time";
  if (avx512 && f.count("avx512_vnni")) {
    EXPECT_TRUE(orb_serv_cpuistvl() || orb_serv_cpuisvsq());
  }
  if (orb_serv_cpuisnrd()) {
    EXPECT_TRUE(f.count("avx512_fp16") || f.count("amx_tile"));
  }
}

// Sizes that sysfs gives for one level's data or unified cache, over every
// processor: on a hybrid machine the cores differ, and the probe answers
// for whichever core it ran on.
std::set<long> sysfs_cache(int level) {
  std::set<long> sizes;
  for (int cpu = 0; cpu < 1024; ++cpu) {
    const std::string base = "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cache/";
    for (int i = 0; i < 8; ++i) {
      const std::string dir = base + "index" + std::to_string(i) + "/";
      std::ifstream lv(dir + "level"), ty(dir + "type"), sz(dir + "size");
      int l = 0;
      std::string type, size;
      if (!(lv >> l) || !(ty >> type) || !(sz >> size)) continue;
      if (l != level || type == "Instruction") continue;
      long v = std::atol(size.c_str());
      if (size.back() == 'K') v *= 1024;
      if (size.back() == 'M') v *= 1024 * 1024;
      sizes.insert(v);
    }
    if (cpu > 0 && !std::ifstream(base + "index0/level")) break;
  }
  return sizes;
}

TEST(Processor, CacheSizesAgreeWithSysfs) {
  int deepest = 0;
  for (int level = 1; level <= 3; ++level) {
    const auto expect = sysfs_cache(level);
    if (expect.empty()) continue;
    deepest = level;
    EXPECT_EQ(expect.count(orb_serv_get_cache_size(level)), 1u)
        << "level " << level << ": " << orb_serv_get_cache_size(level) << ", sysfs has " << *expect.begin();
  }
  if (deepest == 0) GTEST_SKIP() << "no cache description in sysfs";
  EXPECT_EQ(orb_serv_get_cache_size(0), orb_serv_get_cache_size(deepest)) << "0 is the last level";
  EXPECT_EQ(orb_serv_get_cache_size(4), 0);
  EXPECT_EQ(orb_serv_get_cache_size(-1), 0);
}

// The settings are read once per process, so each variant runs in a child
// copy of this program with its own environment.
int run_child(const std::string& filter, const std::vector<std::string>& env_add) {
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) {
    const std::string s = *e;
    if (s.rfind("ORB_CBWR=", 0) == 0 || s.rfind("ORB_VERBOSE=", 0) == 0 || s.rfind("ORB_NUM_THREADS=", 0) == 0 ||
        s.rfind("OMP_NUM_THREADS=", 0) == 0)
      continue;
    env.push_back(s);
  }
  for (const auto& s : env_add) env.push_back(s);
  std::vector<char*> envp;
  for (auto& s : env) envp.push_back(s.data());
  envp.push_back(nullptr);
  std::string flag = "--gtest_filter=" + filter;
  char self[] = "/proc/self/exe";
  char disabled[] = "--gtest_also_run_disabled_tests";
  char* argv[] = {self, flag.data(), disabled, nullptr};
  pid_t pid;
  if (posix_spawn(&pid, "/proc/self/exe", nullptr, nullptr, argv, envp.data()) != 0) return -1;
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Runs only in a child: checks the settings against ORB_EXPECT.
TEST(Settings, DISABLED_ChildReports) {
  const char* e = std::getenv("ORB_EXPECT");
  ASSERT_NE(e, nullptr);
  int cbwr = 0, verbose = 0, threads = 0;
  ASSERT_EQ(std::sscanf(e, "%d %d %d", &cbwr, &verbose, &threads), 3);
  EXPECT_EQ(orb_serv_cbwr_get(1), cbwr);
  EXPECT_EQ(*orb_serv_verbose_mode(), verbose);
  if (threads > 0) {
    EXPECT_EQ(orb_get_max_threads(), threads);
  }
}

TEST(Settings, ReadFromTheEnvironment) {
  auto run = [](std::vector<std::string> env, const char* expect) {
    env.push_back(std::string("ORB_EXPECT=") + expect);
    return run_child("Settings.DISABLED_ChildReports", env);
  };
  EXPECT_EQ(run({}, "1 0 0"), 0) << "defaults: fast path, quiet";
  EXPECT_EQ(run({"ORB_CBWR=auto", "ORB_VERBOSE=1"}, "1 1 0"), 0);
  EXPECT_EQ(run({"ORB_CBWR=compatible", "ORB_VERBOSE=0"}, "2 0 0"), 0);
  EXPECT_EQ(run({"ORB_CBWR=2", "ORB_VERBOSE=on"}, "2 1 0"), 0);
  EXPECT_EQ(run({"OMP_NUM_THREADS=3,2"}, "1 0 3"), 0);
  EXPECT_EQ(run({"ORB_NUM_THREADS=5", "OMP_NUM_THREADS=3"}, "1 0 5"), 0);
}

TEST(Settings, VerboseLineAndClock) {
  const double t0 = orb_serv_dsecnd();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const double dt = orb_serv_dsecnd() - t0;
  EXPECT_GE(dt, 0.019);
  EXPECT_LT(dt, 5.0);
  int* mode = orb_serv_verbose_mode();
  EXPECT_EQ(mode, orb_serv_verbose_mode()) << "one process-wide word";
  testing::internal::CaptureStdout();
  orb_serv_print_verbose_info(0, "DDTSVB(4,1,0x1,0x2,0x3,0x4,4,0)", 0.0015);
  const std::string line = testing::internal::GetCapturedStdout();
  EXPECT_EQ(line.rfind("orb_verbose: DDTSVB(4,1,0x1,0x2,0x3,0x4,4,0) ", 0), 0u) << line;
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
}

}  // namespace
