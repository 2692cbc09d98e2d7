// Test main: records the load-time variant before anything can change it,
// and fails any test that leaves a different variant behind.
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace {

class VariantLeakCheck : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo& info) override {
    if (tpxGetVariantIndex() != tpxtest::loadTimeVariant()) {
      ADD_FAILURE() << info.name() << " left variant " << tpxGetVariantIndex() << " selected";
      tpxSetCpuType(tpxGetCpuType());
    }
  }
};

}  // namespace

int main(int argc, char** argv) {
  tpxtest::loadTimeVariant();
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new VariantLeakCheck);
  return RUN_ALL_TESTS();
}
