// Status codes and their messages.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "tpx.h"

namespace {

struct Message {
  TpxStatus status;
  const char* text;
};

// Typed from the documented table, quirks included.
const Message kMessages[] = {
    {0, "No error, it's OK"},
    {1, "No operation has been executed"},
    {6, "Zero value(s) of the divisor in the function Div"},
    {13, "Quantized LP syntethis filter stability check is applied at the low boundary of [0,pi]"},
    {20, "The target cpu is not Genuine Korvo"},
    {21, "The library for given cpu cannot be set"},
    {38, "The Kernel is not symmetric"},
    {-2, "Unknown/unspecified error"},
    {-8, "Null pointer error"},
    {-14, "Step value is not valid"},
    {-80, "Frame width is less then 8"},
    {-105, "Incorrect bit offset value"},
    {-120, "A compromised key causes suspansion of requested cryptographic operation"},
    {-125, "Noise value for Wiener Filter is out range."},
    {-182, "Stride value is not positive or not dividend to size of data type"},
    {-193, "Incorrect bit offset value"},
    {-209,
     "Ripple in passband for Chebyshev1 design is less zero, equal to zero or greater than 29"},
    {-9998, "The target cpu is not supported"},
    {-9999, "The requested mode is currently not supported"},
    // Gaps and values beyond the table.
    {-1, "Unknown Status Code"},
    {-3, "Unknown Status Code"},
    {-68, "Unknown Status Code"},
    {-131, "Unknown Status Code"},
    {-165, "Unknown Status Code"},
    {-210, "Unknown Status Code"},
    {39, "Unknown Status Code"},
    {-10000, "Unknown Status Code"},
    {INT_MIN, "Unknown Status Code"},
    {INT_MAX, "Unknown Status Code"},
};

TEST(StatusString, DocumentedMessagesByteForByte) {
  for (const Message& m : kMessages) {
    SCOPED_TRACE(m.status);
    EXPECT_STREQ(tpxGetStatusString(m.status), m.text);
  }
}

TEST(StatusString, KnowsExactly239Codes) {
  // Every code lies in [-9999, 38]; count the ones with a message of their own.
  int known = 0;
  for (int s = -9999; s <= 38; ++s) {
    if (std::strcmp(tpxGetStatusString(s), "Unknown Status Code") != 0) ++known;
  }
  EXPECT_EQ(known, 239);
}

TEST(StatusString, TextIsStableAndShared) {
  // The same code always gives the same constant text.
  EXPECT_EQ(tpxGetStatusString(-8), tpxGetStatusString(-8));
  EXPECT_EQ(std::string(tpxGetStatusString(-105)), tpxGetStatusString(-193));
}

TEST(StatusString, NamedConstantsHaveDocumentedValues) {
  const std::pair<int, int> kValues[] = {
      {tpxStsNoErr, 0},
      {tpxStsNoOperation, 1},
      {tpxStsSqrtNegArg, 3},
      {tpxStsDivByZero, 6},
      {tpxStsLnZeroArg, 7},
      {tpxStsLnNegArg, 8},
      {tpxStsNonKorvoCpu, 20},
      {tpxStsCpuMismatch, 21},
      {tpxStsKernelNotSymmetric, 38},
      {tpxStsErr, -2},
      {tpxStsNoMemErr, -4},
      {tpxStsSizeErr, -6},
      {tpxStsNullPtrErr, -8},
      {tpxStsMemAllocErr, -9},
      {tpxStsStepErr, -14},
      {tpxStsContextMatchErr, -17},
      {tpxStsStrideErr, -37},
      {tpxStsHistoLevelsErr, -107},
      {tpxStsNotPixelStepErr, -108},
      {tpxStsNotPosDefErr, -179},
      {tpxStsStrideMatrixErr, -182},
      {tpxStsSingularErr, -195},
      {tpxStsRoiShiftMatrixErr, -202},
      {tpxStsSizeMatchMatrixErr, -204},
      {tpxStsCpuNotSupportedErr, -9998},
      {tpxStsNotSupportedModeErr, -9999},
  };
  for (const auto& [constant, value] : kValues) EXPECT_EQ(constant, value);
}

TEST(StatusString, EveryNamedConstantHasAMessage) {
  const int kNamed[] = {tpxStsNoErr,
                        tpxStsMisalignedBuf,
                        tpxStsNanArg,
                        tpxStsResFloor,
                        tpxStsOverflow,
                        tpxStsUnderflow,
                        tpxStsSingularity,
                        tpxStsDomain,
                        tpxStsAffineQuadChanged,
                        tpxStsWrongIntersectQuad,
                        tpxStsNotSupportedCpu,
                        tpxStsUnknownCacheSize,
                        tpxStsBadArgErr,
                        tpxStsBoundsOrderErr,
                        tpxStsFftOrderErr,
                        tpxStsFftFlagErr,
                        tpxStsThreshNegLevelErr,
                        tpxStsMoment00ZeroErr,
                        tpxStsSamplePhaseErr,
                        tpxStsShiftErr,
                        tpxStsAnchorErr,
                        tpxStsChannelErr,
                        tpxStsDivisorErr,
                        tpxStsCoeffErr,
                        tpxStsZeroMaskValuesErr,
                        tpxStsCountMatrixErr};
  for (int s : kNamed) {
    EXPECT_STRNE(tpxGetStatusString(s), "Unknown Status Code") << s;
  }
}

}  // namespace
