// Version records and the dispatch of each call to the selected variant.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/harness.h"

namespace {

struct Expected {
  const char* code;
  const char* imageName;
  const char* imageDate;
  const char* signalName;
  const char* signalDate;
};

const Expected kExpected[tpxtest::kVariantCount] = {
    {"px", "tpxipxl.lib", "Jul 18 2006", "tpxspxl.lib", "Jun 18 2006"},
    {"a6", "tpxia6l.lib", "Jul 18 2006", "tpxsa6l.lib", "Jun 17 2006"},
    {"w7", "tpxiw7l.lib", "Jul 19 2006", "tpxsw7l.lib", "Jun 17 2006"},
    {"t7", "tpxit7l.lib", "Jul 19 2006", "tpxst7l.lib", "Jun 17 2006"},
    {"v8", "tpxiv8l.lib", "Jul 19 2006", "tpxsv8l.lib", "Jun 17 2006"},
};

void expectRecord(const TpxVersionRecord* r, int buildNumber, const char* code, const char* name,
                  const char* date) {
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->major, 5);
  EXPECT_EQ(r->minor, 1);
  EXPECT_EQ(r->buildSeries, 133);
  EXPECT_EQ(r->buildNumber, buildNumber);
  const char cpuCode[4] = {code[0], code[1], 0, 0};
  EXPECT_EQ(std::memcmp(r->cpuCode, cpuCode, 4), 0);
  EXPECT_STREQ(r->libraryName, name);
  EXPECT_STREQ(r->versionText, "5.1.1");
  EXPECT_STREQ(r->buildDate, date);
}

// Every index can be selected, whatever this processor supports: the
// version entries use no vector instructions.
TEST(Version, EachVariantReportsItsOwnRecords) {
  for (int index = 0; index < tpxtest::kVariantCount; ++index) {
    SCOPED_TRACE(index);
    tpxtest::ScopedVariant v(index);
    const Expected& e = kExpected[index];
    expectRecord(tpxiGetLibVersion(), 272, e.code, e.imageName, e.imageDate);
    expectRecord(tpxsGetLibVersion(), 274, e.code, e.signalName, e.signalDate);
  }
}

TEST(Version, RecordsAreConstantAcrossCalls) {
  EXPECT_EQ(tpxiGetLibVersion(), tpxiGetLibVersion());
  EXPECT_NE(static_cast<const void*>(tpxiGetLibVersion()),
            static_cast<const void*>(tpxsGetLibVersion()));
}

TEST(Version, LoadTimeRecordNamesTheLoadTimeVariant) {
  EXPECT_STREQ(tpxiGetLibVersion()->cpuCode, tpxtest::variantCode(tpxtest::loadTimeVariant()));
}

}  // namespace
