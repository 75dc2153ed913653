// Bounded strings and the message catalogue.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "orb/orb_service.h"

namespace {

// A destination of `size` bytes between two guard zones: anything written
// outside the room shows up in the guards.
struct guarded {
  static constexpr std::size_t kGuard = 32;
  static constexpr char kMark = '\x5a';
  std::vector<char> raw;
  std::size_t size;
  explicit guarded(std::size_t n, char fill = '\x11') : raw(n + 2 * kGuard, kMark), size(n) {
    std::memset(room(), fill, n);
  }
  char* room() { return raw.data() + kGuard; }
  bool guards_intact() const {
    for (std::size_t i = 0; i < kGuard; ++i)
      if (raw[i] != kMark || raw[kGuard + size + i] != kMark) return false;
    return true;
  }
  std::string text() { return std::string(room(), strnlen(room(), size)); }
  bool terminated() { return std::memchr(room(), '\0', size) != nullptr; }
};

const std::string kLong(300, 'x');

TEST(SafeStrings, CopyFitsOrIsCut) {
  for (std::size_t size : {1u, 2u, 5u, 16u, 64u}) {
    for (std::size_t count : {0u, 3u, 15u, 16u, 1000u}) {
      SCOPED_TRACE(testing::Message() << "size " << size << " count " << count);
      guarded d(size);
      const std::string src = "abcdefghijklmnopqrstuvwxyz";
      const int rc = orb_serv_strncpy_s(d.room(), size, src.c_str(), count);
      const std::size_t want = std::min(src.size(), count);
      EXPECT_TRUE(d.guards_intact());
      EXPECT_TRUE(d.terminated());
      if (want <= size - 1) {
        EXPECT_EQ(rc, ORB_SAFE_OK);
        EXPECT_EQ(d.text(), src.substr(0, want));
      } else {
        EXPECT_EQ(rc, ORB_SAFE_ERANGE);
        EXPECT_EQ(d.text(), src.substr(0, size - 1)) << "cut, not emptied";
      }
    }
  }
}

TEST(SafeStrings, CatAppendsUpToTheRoom) {
  // As the diagnostics use it: a 4096-byte text, pieces of at most 512.
  guarded d(4096);
  d.room()[0] = '\0';
  std::string expect;
  int cut = 0;
  for (int i = 0; i < 20; ++i) {
    const std::string piece = std::to_string(i) + ":" + std::string(600, char('a' + i % 26));
    const int rc = orb_serv_strncat_s(d.room(), 4096, piece.c_str(), 512);
    const std::string add = piece.substr(0, 512);
    const std::size_t fit = std::min(add.size(), 4095 - expect.size());
    expect += add.substr(0, fit);
    if (rc == ORB_SAFE_ERANGE) ++cut;
    else EXPECT_EQ(rc, ORB_SAFE_OK);
  }
  EXPECT_TRUE(d.guards_intact());
  EXPECT_EQ(d.text(), expect);
  EXPECT_EQ(d.text().size(), 4095u);
  EXPECT_GE(cut, 1);
}

TEST(SafeStrings, CatOnAnUnterminatedRoomWritesOnlyInside) {
  guarded d(8, 'q');  // no terminator anywhere
  EXPECT_EQ(orb_serv_strncat_s(d.room(), 8, "zz", 2), ORB_SAFE_EINVAL);
  EXPECT_TRUE(d.guards_intact());
  EXPECT_TRUE(d.terminated());
}

TEST(SafeStrings, NullAndZeroSizeWriteNothing) {
  guarded d(8);
  EXPECT_EQ(orb_serv_strncpy_s(d.room(), 0, "abc", 3), ORB_SAFE_EINVAL);
  EXPECT_EQ(orb_serv_strncat_s(d.room(), 0, "abc", 3), ORB_SAFE_EINVAL);
  EXPECT_EQ(orb_serv_snprintf_s(d.room(), 0, 5, "%s", "abc"), -1);
  EXPECT_EQ(d.room()[0], '\x11') << "a size of 0 allows no write at all";
  EXPECT_EQ(orb_serv_strncpy_s(nullptr, 8, "abc", 3), ORB_SAFE_EINVAL);
  EXPECT_EQ(orb_serv_strncpy_s(d.room(), 8, nullptr, 3), ORB_SAFE_EINVAL);
  EXPECT_EQ(d.text(), "") << "a null source leaves an empty text";
  EXPECT_TRUE(d.guards_intact());
}

TEST(SafeStrings, FormattedTextsAreBounded) {
  for (std::size_t size : {1u, 7u, 8u, 9u, 300u}) {
    for (std::size_t count : {0u, 4u, 299u, 5000u}) {
      SCOPED_TRACE(testing::Message() << "size " << size << " count " << count);
      guarded d(size);
      const int n = orb_serv_snprintf_s(d.room(), size, count, "%s(%d)", "DDTSVB", 12345);
      const std::string full = "DDTSVB(12345)";
      const std::size_t keep = std::min({full.size(), size - 1, count});
      EXPECT_TRUE(d.guards_intact());
      EXPECT_EQ(d.text(), full.substr(0, keep));
      EXPECT_EQ(n, keep == full.size() ? int(full.size()) : -1);
    }
    guarded e(size);
    const int n = orb_serv_sprintf_s(e.room(), size, "%s", kLong.c_str());
    EXPECT_TRUE(e.guards_intact());
    EXPECT_EQ(e.text(), kLong.substr(0, std::min(kLong.size(), size - 1)));
    EXPECT_EQ(n, size > kLong.size() ? int(kLong.size()) : -1);
  }
}

TEST(SafeStrings, CharChainStopsAtTheEnd) {
  guarded d(24);
  char* const end = d.room() + 24;
  char* p = d.room();
  p = orb_serv_sprintf_char_s(p, end, "FFT(%s", "dci");
  EXPECT_EQ(p, d.room() + 7);
  p = orb_serv_sprintf_char_s(p, end, "x%zi", std::size_t(1024));
  EXPECT_EQ(d.text(), "FFT(dcix1024");
  for (int i = 0; i < 10; ++i) p = orb_serv_sprintf_char_s(p, end, ",%s", "tLim=1");
  EXPECT_EQ(p, end - 1) << "a full buffer leaves the position on its terminator";
  EXPECT_EQ(d.text(), std::string("FFT(dcix1024,tLim=1,tLim=1").substr(0, 23));
  EXPECT_EQ(orb_serv_sprintf_char_s(p, end, "more"), end - 1);
  EXPECT_TRUE(d.guards_intact());
}

TEST(SafeStrings, MemoryCopiesRespectTheSize) {
  guarded d(16);
  const char src[32] = "0123456789abcdefghijklmnopqrstu";
  EXPECT_EQ(orb_serv_memmove_s(d.room(), 16, src, 17), ORB_SAFE_ERANGE);
  EXPECT_EQ(d.room()[0], '\x11') << "nothing copied when the count is too large";
  EXPECT_EQ(orb_serv_memcpy_unbounded_s(d.room(), 16, src, 16), ORB_SAFE_OK);
  EXPECT_EQ(std::memcmp(d.room(), src, 16), 0);
  EXPECT_EQ(orb_serv_memmove_s(d.room() + 2, 14, d.room(), 10), ORB_SAFE_OK) << "overlap";
  EXPECT_EQ(std::memcmp(d.room() + 2, src, 10), 0);
  EXPECT_EQ(orb_serv_memmove_s(d.room(), 16, nullptr, 4), ORB_SAFE_EINVAL);
  EXPECT_TRUE(d.guards_intact());
}

TEST(SafeStrings, VersionTextFitsAnyRoom) {
  for (int size : {1, 5, 12, 198}) {
    guarded d(size);
    orb_serv_get_version_string_c(d.room(), size);
    EXPECT_TRUE(d.guards_intact());
    EXPECT_TRUE(d.terminated());
    if (size >= 10) {
      EXPECT_EQ(d.text().rfind("orb 2.0.0", 0), 0u) << d.text();
    }
  }
}

// Every number the diagnostics use has a text; a text's %s places take the
// arguments, and no format directive survives into the finished text.
TEST(Messages, EveryNumberInUseHasText) {
  std::vector<int> numbers{0};
  for (int n = 10; n <= 565; ++n) numbers.push_back(n);
  for (int n = 1184; n <= 1219; ++n) numbers.push_back(n);
  for (int n : numbers) {
    const std::string plain = orb_serv_get_msg(n, 0);
    const std::string with = orb_serv_get_msg(n, 2, "ARGONE", "ARGTWO");
    EXPECT_EQ(plain.find("not in the catalogue"), std::string::npos) << n;
    EXPECT_EQ(with.find("%s"), std::string::npos) << n;
    if (n != 0) {
      EXPECT_FALSE(plain.empty()) << n;
    }
    // An argument shows unless the message takes none.
    if (plain.find("note") != std::string::npos) {
      EXPECT_NE(with.find("ARGONE"), std::string::npos) << n;
    }
  }
  EXPECT_NE(std::string(orb_serv_get_msg(9999, 0)).find("9999"), std::string::npos);
}

TEST(Messages, ArgumentsFillPlacesInOrder) {
  const std::string one = orb_serv_get_msg(451, 1, "1");
  EXPECT_NE(one.find("n = 1 "), std::string::npos) << one;
  const std::string two = orb_serv_get_msg(472, 2, "0.5", "1e-12");
  EXPECT_LT(two.find("0.5"), two.find("1e-12")) << two;
  const std::string missing = orb_serv_get_msg(472, 0);
  EXPECT_EQ(missing.find("%"), std::string::npos) << missing;
  const std::string huge = orb_serv_get_msg(481, 1, std::string(10000, 'e').c_str());
  EXPECT_LT(huge.size(), 4096u) << "a long argument is cut, not overrun";
}

TEST(Messages, EachThreadHasItsOwnText) {
  const char* mine = orb_serv_get_msg(451, 1, "17");
  std::string other;
  std::thread t([&] { other = orb_serv_get_msg(453, 1, "9"); });
  t.join();
  EXPECT_NE(std::string(mine).find("17"), std::string::npos) << "another thread's call left it alone";
  EXPECT_NE(other.find("9"), std::string::npos);
}

TEST(Messages, LogFileRoundTrip) {
  const std::string name = testing::TempDir() + "orb_messages_test.log";
  std::remove(name.c_str());
  for (int i = 0; i < 2; ++i) {
    void* f = orb_serv_fopen(name.c_str(), "a+");
    ASSERT_NE(f, nullptr);
    EXPECT_GT(orb_serv_fprintf_s(f, "%s", orb_serv_get_msg(396, 0)), 0);
    EXPECT_EQ(orb_serv_fclose(f), 0);
  }
  std::FILE* f = std::fopen(name.c_str(), "r");
  ASSERT_NE(f, nullptr);
  char buf[512] = {};
  const std::size_t got = std::fread(buf, 1, sizeof buf - 1, f);
  std::fclose(f);
  std::remove(name.c_str());
  const std::string heading = orb_serv_get_msg(396, 0);
  EXPECT_EQ(std::string(buf, got), heading + heading) << "append mode keeps the first report";
  EXPECT_EQ(orb_serv_fopen("/nonexistent-dir/x.log", "a+"), nullptr);
}

}  // namespace
