// The helpers must catch what they are there to catch.
#include "tests/harness.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cstring>

namespace {

using tpxtest::Image;

TEST(Harness, GuardsCatchWritesJustOutsideEachRow) {
  struct Case {
    int width, height, step;
  };
  // Tight, padded, odd, negative and zero steps of a 16-bit image.
  const Case kCases[] = {
      {5, 3, 0}, {5, 3, 13}, {5, 3, 11}, {5, 3, -12}, {4, 3, Image<Tpx16s>::kZeroStep}};
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.step);
    Image<Tpx16s> img(c.width, c.height, c.step);
    img.fill([](int x, int y) { return Tpx16s(x * 100 + y); });
    EXPECT_TRUE(img.guardsIntact());
    // With a zero step every row is the same memory: the last row written wins.
    const int last = c.height - 1;
    EXPECT_EQ(img.get(c.width - 1, last), Tpx16s((c.width - 1) * 100 + last));
    for (int y = 0; y < c.height; ++y) {
      for (int x : {-1, c.width}) {  // one element before and after the row
        // With tight rows, those are the neighbouring rows' pixels.
        const bool neighbour = c.step == 0 && (x < 0 ? y > 0 : y < c.height - 1);
        if (neighbour) continue;
        Image<Tpx16s> probe(c.width, c.height, c.step);
        probe.set(x, y, 0x7777);
        EXPECT_FALSE(probe.guardsIntact()) << "x " << x << " y " << y;
      }
    }
  }
}

TEST(Harness, VariantComparisonReportsDifferences) {
  if (tpxtest::runnableVariants().size() < 2) GTEST_SKIP() << "only one variant runs here";
  // A body whose output depends on the variant that runs it (through the
  // version record) and differs in the last variant only: exactly one report.
  static const char* lastCode = tpxtest::variantCode(tpxtest::runnableVariants().back());
  EXPECT_NONFATAL_FAILURE(tpxtest::expectVariantsMatchGeneric([] {
                            tpxtest::Outcome o;
                            o.add(std::strcmp(tpxiGetLibVersion()->cpuCode, lastCode) == 0);
                            return o;
                          }),
                          "differs from generic");
  // And stays quiet when every variant agrees.
  tpxtest::expectVariantsMatchGeneric([] {
    tpxtest::Outcome o;
    o.status = 0;
    o.add(tpxiGetLibVersion()->major);
    return o;
  });
}

}  // namespace
