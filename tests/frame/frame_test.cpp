// The exported surface of every build, and how the core chooses a build.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "orb/orb_service.h"
#include "tests/support/oracle.hpp"
#include "tests/support/orb_test_hooks.h"

namespace fs = std::filesystem;

namespace {

int expected_level(const std::string& tag) { return tag == "avx512" ? 9 : tag == "avx2" ? 7 : 0; }

// The interface version queries and every listed kernel, by name from the
// lists (a table of names and one loop: an assertion per name written out
// cost the test program a minute of compile time).
const char* const kVersionQueries[] = {"get_kernel_api_version", "get_ikernel_api_version",
                                       "get_bkernel_api_version", "get_fkernel_api_version",
                                       "get_hkernel_api_version"};
const char* const kKernels[] = {
#define ORB_K(ret, kernel, pub, params, args) #kernel,
#include "frame/kernels.def"
#undef ORB_K
};
const char* const kDftKernels[] = {
#define ORB_DFT(ret, name, params, args) #name,
#define ORB_DFT_TABLE(type, name, extents) #name,
#include "frame/kernels_dft.def"
#undef ORB_DFT
#undef ORB_DFT_TABLE
};

TEST(Frame, EveryListedKernelIsExportedByEveryBuild) {
  for (const char* tag : orb::test::runnable_builds()) {
    for (const char* v : kVersionQueries) EXPECT_NE(orb_test_kernel(tag, v), nullptr) << tag << " lacks " << v;
    for (const char* k : kKernels) EXPECT_NE(orb_test_kernel(tag, k), nullptr) << tag << " lacks " << k;
    for (const char* k : kDftKernels) EXPECT_NE(orb_test_dft_kernel(tag, k), nullptr) << tag << " lacks " << k;
  }
}

TEST(Frame, TheLoadedLibraryMatchesTheRequest) {
  const char* isa = std::getenv("ORB_ISA");
  if (!isa) GTEST_SKIP() << "no ORB_ISA";
  EXPECT_EQ(orb_kernel_level(), expected_level(isa));
}

// Runs the probe on a core copied into dir; returns what it printed.
struct ProbeResult {
  std::string out, err;
};

ProbeResult run_probe(const fs::path& dir, const char* isa) {
  const fs::path out = dir / "out.txt", err = dir / "err.txt";
  std::string cmd = std::string(isa ? std::string("ORB_ISA=") + isa + " " : "env -u ORB_ISA ") + ORB_PROBE_PATH +
                    " " + (dir / "liborb_core.so.2").string() + " >" + out.string() + " 2>" + err.string();
  const int rc = std::system(cmd.c_str());
  EXPECT_EQ(rc, 0) << cmd;
  auto slurp = [](const fs::path& p) {
    std::ifstream f(p);
    return std::string(std::istreambuf_iterator<char>(f), {});
  };
  return {slurp(out), slurp(err)};
}

class LoaderFallback : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("orb_loader_" + std::to_string(getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
    fs::copy_file(fs::path(ORB_LIB_DIR) / "liborb_core.so.2", dir_ / "liborb_core.so.2");
  }
  void TearDown() override { fs::remove_all(dir_); }
  fs::path dir_;
};

// The loader tests work on one kernel build copied beside the core: the
// AVX2 build where this tree has it, else the AVX-512 one (some test stages
// build only the portable and the best build).
const std::string kLib = std::string("liborb_") + ORB_LOADER_TAG + ".so.2";

TEST_F(LoaderFallback, MissingKernelLibrariesFallBackToThePortableBuild) {
  auto r = run_probe(dir_, nullptr);
  EXPECT_NE(r.out.find("library=built-in portable kernels level=0 ddot=32"), std::string::npos) << r.out;
  if (orb_serv_cpu_detect() >= 7) {
    EXPECT_NE(r.err.find("liborb_avx2.so.2"), std::string::npos) << r.err;
  }
}

TEST_F(LoaderFallback, ABrokenLibraryIsNamedAndSkipped) {
  if (orb_serv_cpu_detect() < expected_level(ORB_LOADER_TAG)) GTEST_SKIP() << "processor cannot run " << kLib;
  std::ofstream(dir_ / kLib) << "not an ELF file\n";
  auto r = run_probe(dir_, ORB_LOADER_TAG);
  EXPECT_NE(r.err.find("cannot use " + kLib), std::string::npos) << r.err;
  EXPECT_NE(r.out.find("level=0 ddot=32"), std::string::npos) << r.out;
}

TEST_F(LoaderFallback, AnUnknownRequestIsReportedAndIgnored) {
  fs::copy_file(fs::path(ORB_LIB_DIR) / kLib, dir_ / kLib);
  auto r = run_probe(dir_, "sse9");
  EXPECT_NE(r.err.find("ORB_ISA=sse9"), std::string::npos) << r.err;
  EXPECT_NE(r.out.find("ddot=32"), std::string::npos) << r.out;
}

TEST_F(LoaderFallback, ALowerLevelCanBeForced) {
  fs::copy_file(fs::path(ORB_LIB_DIR) / kLib, dir_ / kLib);
  auto r = run_probe(dir_, "def");
  EXPECT_NE(r.out.find("library=built-in portable kernels level=0"), std::string::npos) << r.out;
  EXPECT_EQ(r.err, "");
}

}  // namespace
