// Argument checks of every export, one row each: the order of the checks
// (which error wins when two arguments are bad) and that a refused call
// writes nothing. The valid call of each row sits at the edge of what is
// allowed (one-pixel regions, the shortest legal steps), so that moving a
// bound by one shows up too.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "filter/linear.h"
#include "tests/harness.h"

namespace {

using tpxtest::Check;
using tpxtest::CheckRow;
using tpxtest::slot;

constexpr TpxStatus kNull = tpxStsNullPtrErr, kSize = tpxStsSizeErr, kStep = tpxStsStepErr;
const float kNaN = std::numeric_limits<float>::quiet_NaN();

// Check k spoils its argument when bit k of bad is set.
#define BAD(k) (((bad) >> (k)) & 1u)
// A pointer into slot s, or null when check k spoils it.
#define PTR(T, s, k) (BAD(k) ? nullptr : slot<T>(m, s))
// The one-pixel region; check kw makes its width 0, check kh its height -1.
#define ROI(kw, kh) (TpxiSize{BAD(kw) ? 0 : 1, BAD(kh) ? -1 : 1})
#define CALL(...) +[](uint32_t bad, uint8_t* m) -> TpxStatus { __VA_ARGS__ }

Check null(const char* what) { return {what, kNull}; }
const Check kW = {"width 0", kSize}, kH = {"height -1", kSize};
const Check kLen = {"length 0", kSize};

void runRows(const std::vector<CheckRow>& rows) {
  for (const CheckRow& row : rows) tpxtest::expectCheckOrder(row);
}

// ----- Copy, set, conversion -----------------------------------------------------------

template <typename S, typename D, TpxStatus (*F)(const S*, int, D*, int, TpxiSize)>
CheckRow convertRow(const char* name) {
  return {
    name, {null("src"), null("dst"), kW, kH, {"src step 0", kStep}, {"dst step -1", kStep}},
        CALL(return F(PTR(S, 0, 0), BAD(4) ? 0 : 1, PTR(D, 1, 1), BAD(5) ? -1 : 1, ROI(2, 3));)
  };
}
TpxStatus convert32f8u(const Tpx32f* s, int ss, Tpx8u* d, int ds, TpxiSize r) {
  return tpxiConvert_32f8u_C1R(s, ss, d, ds, r, 1);
}
TpxStatus convert32f16s(const Tpx32f* s, int ss, Tpx16s* d, int ds, TpxiSize r) {
  return tpxiConvert_32f16s_C1R(s, ss, d, ds, r, 0);
}
// Copy looks at no step at all.
template <typename T, TpxStatus (*F)(const T*, int, T*, int, TpxiSize)>
CheckRow copyRow(const char* name) {
  return {
    name, {null("src"), null("dst"), kW, kH},
        CALL(return F(PTR(T, 0, 0), -7, PTR(T, 1, 1), 0, ROI(2, 3));)
  };
}
template <typename T, TpxStatus (*F)(T, T*, int, TpxiSize)>
CheckRow setRow(const char* name) {
  return {
    name, {null("dst"), kW, kH, {"step 0", kStep}},
        CALL(return F(T(1), PTR(T, 0, 0), BAD(3) ? 0 : 1, ROI(1, 2));)
  };
}

TEST(Checks, CopySetConvert) {
  runRows({copyRow<Tpx8u, tpxiCopy_8u_C1R>("Copy_8u"),
           copyRow<Tpx16s, tpxiCopy_16s_C1R>("Copy_16s"),
           copyRow<Tpx32f, tpxiCopy_32f_C1R>("Copy_32f"), setRow<Tpx8u, tpxiSet_8u_C1R>("Set_8u"),
           setRow<Tpx16s, tpxiSet_16s_C1R>("Set_16s"), setRow<Tpx32s, tpxiSet_32s_C1R>("Set_32s"),
           setRow<Tpx32f, tpxiSet_32f_C1R>("Set_32f"),
           convertRow<Tpx8u, Tpx16s, tpxiConvert_8u16s_C1R>("Convert_8u16s"),
           convertRow<Tpx8u, Tpx32f, tpxiConvert_8u32f_C1R>("Convert_8u32f"),
           convertRow<Tpx16s, Tpx32f, tpxiConvert_16s32f_C1R>("Convert_16s32f"),
           convertRow<Tpx16s, Tpx8u, tpxiConvert_16s8u_C1R>("Convert_16s8u"),
           convertRow<Tpx32f, Tpx8u, convert32f8u>("Convert_32f8u"),
           convertRow<Tpx32f, Tpx16s, convert32f16s>("Convert_32f16s")});
}

// ----- Scaled integer arithmetic ----------------------------------------------------------

// Two sources and a destination; only the divisions look at steps.
template <typename T, TpxStatus (*F)(const T*, int, const T*, int, T*, int, TpxiSize, int)>
CheckRow scaledRow(const char* name, bool stepChecked) {
  std::vector<Check> c = {null("src1"), null("src2"), null("dst"), kW, kH};
  if (!stepChecked) {
    return {
      name, c, CALL(return F(PTR(T, 0, 0), 0, PTR(T, 1, 1), -3, PTR(T, 2, 2), 0, ROI(3, 4), 1);)
    };
  }
  for (const char* s : {"src1 step 0", "src2 step 0", "dst step 0"}) c.push_back({s, kStep});
  return {
    name, c,
        CALL(return F(PTR(T, 0, 0), BAD(5) ? 0 : 1, PTR(T, 1, 1), BAD(6) ? 0 : 1, PTR(T, 2, 2),
                      BAD(7) ? 0 : 1, ROI(3, 4), 1);)
  };
}
template <typename T, TpxStatus (*F)(const T*, int, T*, int, TpxiSize, int)>
CheckRow scaledInPlaceRow(const char* name, bool stepChecked) {
  std::vector<Check> c = {null("src"), null("srcDst"), kW, kH};
  if (!stepChecked) {
    return { name, c, CALL(return F(PTR(T, 0, 0), 0, PTR(T, 1, 1), -5, ROI(2, 3), 1);) };
  }
  for (const char* s : {"src step 0", "srcDst step 0"}) c.push_back({s, kStep});
  return {
    name, c,
        CALL(return F(PTR(T, 0, 0), BAD(4) ? 0 : 1, PTR(T, 1, 1), BAD(5) ? 0 : 1, ROI(2, 3), 1);)
  };
}
template <typename T, TpxStatus (*F)(T, T*, int, TpxiSize, int)>
CheckRow scaledConstRow(const char* name) {
  return { name, {null("srcDst"), kW, kH}, CALL(return F(T(3), PTR(T, 0, 0), 0, ROI(1, 2), 1);) };
}
template <typename T, TpxStatus (*F)(const T*, int, T, T*, int, TpxiSize, int)>
CheckRow scaledConstOutRow(const char* name) {
  return {
    name, {null("src"), null("dst"), kW, kH},
        CALL(return F(PTR(T, 0, 0), -1, T(3), PTR(T, 1, 1), 0, ROI(2, 3), 1);)
  };
}

TEST(Checks, ScaledArithmetic) {
  using U = Tpx8u;
  using S = Tpx16s;
  runRows({
      scaledRow<U, tpxiAdd_8u_C1RSfs>("Add_8u", false),
      scaledRow<S, tpxiAdd_16s_C1RSfs>("Add_16s", false),
      scaledRow<U, tpxiSub_8u_C1RSfs>("Sub_8u", false),
      scaledRow<S, tpxiSub_16s_C1RSfs>("Sub_16s", false),
      scaledRow<U, tpxiDiv_8u_C1RSfs>("Div_8u", true),
      scaledRow<S, tpxiDiv_16s_C1RSfs>("Div_16s", true),
      scaledInPlaceRow<U, tpxiAdd_8u_C1IRSfs>("Add_8u_I", false),
      scaledInPlaceRow<S, tpxiAdd_16s_C1IRSfs>("Add_16s_I", false),
      scaledInPlaceRow<U, tpxiMul_8u_C1IRSfs>("Mul_8u_I", false),
      scaledInPlaceRow<S, tpxiMul_16s_C1IRSfs>("Mul_16s_I", false),
      scaledInPlaceRow<U, tpxiDiv_8u_C1IRSfs>("Div_8u_I", true),
      scaledInPlaceRow<S, tpxiDiv_16s_C1IRSfs>("Div_16s_I", true),
      scaledConstRow<U, tpxiAddC_8u_C1IRSfs>("AddC_8u_I"),
      scaledConstRow<S, tpxiAddC_16s_C1IRSfs>("AddC_16s_I"),
      scaledConstRow<S, tpxiSubC_16s_C1IRSfs>("SubC_16s_I"),
      scaledConstRow<U, tpxiMulC_8u_C1IRSfs>("MulC_8u_I"),
      scaledConstRow<S, tpxiMulC_16s_C1IRSfs>("MulC_16s_I"),
      scaledConstOutRow<U, tpxiMulC_8u_C1RSfs>("MulC_8u"),
      scaledConstOutRow<S, tpxiMulC_16s_C1RSfs>("MulC_16s"),
  });
}

// ----- Float arithmetic, math, accumulation ----------------------------------------------

using F = Tpx32f;
template <TpxStatus (*Fn)(const F*, int, const F*, int, F*, int, TpxiSize)>
CheckRow floatRow(const char* name) {
  return {
    name,
        {null("src1"),
         null("src2"),
         null("dst"),
         kW,
         kH,
         {"src1 step 0", kStep},
         {"src2 step -4", kStep},
         {"dst step 0", kStep}},
        CALL(return Fn(PTR(F, 0, 0), BAD(5) ? 0 : 1, PTR(F, 1, 1), BAD(6) ? -4 : 1, PTR(F, 2, 2),
                       BAD(7) ? 0 : 1, ROI(3, 4));)
  };
}
// Without step checks the spoilt steps are legal: the row says so.
CheckRow noStepChecks(CheckRow row, size_t firstStep) {
  for (size_t k = firstStep; k < row.checks.size(); ++k) row.checks[k].status = tpxStsNoErr;
  return row;
}
template <TpxStatus (*Fn)(const F*, int, F*, int, TpxiSize)>
CheckRow floatInPlaceRow(const char* name) {
  return {
    name, {null("src"), null("srcDst"), kW, kH, {"src step 0", kStep}, {"srcDst step -4", kStep}},
        CALL(return Fn(PTR(F, 0, 0), BAD(4) ? 0 : 1, PTR(F, 1, 1), BAD(5) ? -4 : 1, ROI(2, 3));)
  };
}
template <TpxStatus (*Fn)(F*, int, TpxiSize)>
CheckRow unaryRow(const char* name) {
  return {
    name, {null("srcDst"), kW, kH, {"step 0", kStep}},
        CALL(return Fn(PTR(F, 0, 0), BAD(3) ? 0 : 1, ROI(1, 2));)
  };
}
template <TpxStatus (*Fn)(const Tpx8u*, int, F*, int, TpxiSize)>
CheckRow accumulateRow(const char* name) {
  // A 4 x 2 region with the tightest steps: 4 bytes and 16 bytes.
  return {
    name,
        {null("src"),
         null("acc"),
         kW,
         kH,
         {"src step 3", kStep},
         {"acc step 15", kStep, 5},
         {"acc step 18", tpxStsNotPixelStepErr, 5}},
        CALL(return Fn(PTR(Tpx8u, 0, 0), BAD(4) ? 3 : 4, PTR(F, 1, 1),
                       BAD(5)   ? 15
                       : BAD(6) ? 18
                                : 16,
                       {BAD(2) ? 0 : 4, BAD(3) ? -1 : 2});)
  };
}
TpxStatus addWeighted(const Tpx8u* s, int ss, F* a, int as, TpxiSize r) {
  return tpxiAddWeighted_8u32f_C1IR(s, ss, a, as, r, 0.25f);
}

TEST(Checks, FloatArithmeticMathAccumulation) {
  runRows({
      noStepChecks(floatRow<tpxiAdd_32f_C1R>("Add_32f"), 5),
      noStepChecks(floatRow<tpxiSub_32f_C1R>("Sub_32f"), 5),
      noStepChecks(floatRow<tpxiMul_32f_C1R>("Mul_32f"), 5),
      floatRow<tpxiDiv_32f_C1R>("Div_32f"),
      noStepChecks(floatInPlaceRow<tpxiAdd_32f_C1IR>("Add_32f_I"), 4),
      noStepChecks(floatInPlaceRow<tpxiMul_32f_C1IR>("Mul_32f_I"), 4),
      floatInPlaceRow<tpxiDiv_32f_C1IR>("Div_32f_I"),
      unaryRow<tpxiAbs_32f_C1IR>("Abs_32f"),
      unaryRow<tpxiSqr_32f_C1IR>("Sqr_32f"),
      unaryRow<tpxiSqrt_32f_C1IR>("Sqrt_32f"),
      unaryRow<tpxiExp_32f_C1IR>("Exp_32f"),
      unaryRow<tpxiLn_32f_C1IR>("Ln_32f"),
      {"AddC_32f_I",
       {null("srcDst"), kW, kH},
       CALL(return tpxiAddC_32f_C1IR(1.0f, PTR(F, 0, 0), 0, ROI(1, 2));)},
      {"MulC_32f_I",
       {null("srcDst"), kW, kH},
       CALL(return tpxiMulC_32f_C1IR(2.0f, PTR(F, 0, 0), -4, ROI(1, 2));)},
      {"MulC_32f",
       {null("src"), null("dst"), kW, kH},
       CALL(return tpxiMulC_32f_C1R(PTR(F, 0, 0), 0, 2.0f, PTR(F, 1, 1), 0, ROI(2, 3));)},
      // The divisor is checked last: zero of either sign and NaN are refused.
      {"DivC_32f_I",
       {null("srcDst"),
        kW,
        kH,
        {"step 0", kStep},
        {"value -0", tpxStsDivByZeroErr, 4},
        {"value NaN", tpxStsDivByZeroErr, 4}},
       CALL(return tpxiDivC_32f_C1IR(BAD(4)   ? -0.0f
                                     : BAD(5) ? kNaN
                                              : 2.0f,
                                     PTR(F, 0, 0), BAD(3) ? 0 : 1, ROI(1, 2));)},
      accumulateRow<tpxiAdd_8u32f_C1IR>("Add_8u32f_I"),
      accumulateRow<addWeighted>("AddWeighted_8u32f_I"),
  });
}

// ----- Statistics ----------------------------------------------------------------------

// Reductions with one 64f result. Sum and Mean look at the step before the
// size; the norms the other way round.
template <typename T, TpxStatus (*Fn)(const T*, int, TpxiSize, Tpx64f*)>
CheckRow reductionRow(const char* name, bool stepFirst) {
  const Check step = {"step 0", kStep};
  std::vector<Check> c = {null("src"), null("result")};
  if (stepFirst) c.push_back(step);
  c.insert(c.end(), {kW, kH});
  if (!stepFirst) c.push_back(step);
  if (stepFirst) {
    return {
      name, c, CALL(return Fn(PTR(T, 0, 0), BAD(2) ? 0 : 1, ROI(3, 4), PTR(Tpx64f, 1, 1));)
    };
  }
  return { name, c, CALL(return Fn(PTR(T, 0, 0), BAD(4) ? 0 : 1, ROI(2, 3), PTR(Tpx64f, 1, 1));) };
}
template <TpxStatus (*Fn)(const F*, int, TpxiSize, Tpx64f*, TpxAccuracyHint)>
TpxStatus hinted(const F* s, int st, TpxiSize r, Tpx64f* o) {
  return Fn(s, st, r, o, tpxAccuracyHintAccurate);
}
template <typename T, TpxStatus (*Fn)(const T*, int, TpxiSize, T*, int*, int*)>
CheckRow extremumRow(const char* name) {
  return {
    name, {null("src"), null("value"), null("x"), null("y"), kW, kH, {"step 0", kStep}},
        CALL(return Fn(PTR(T, 0, 0), BAD(6) ? 0 : 1, ROI(4, 5), PTR(T, 1, 1), PTR(int, 2, 2),
                       PTR(int, 3, 3));)
  };
}
// Mean_StdDev wants a step of a whole row, and of whole pixels beyond 8 bits;
// either output may be null. A 3 x 2 region at the tightest step.
template <typename T, TpxStatus (*Fn)(const T*, int, TpxiSize, Tpx64f*, Tpx64f*)>
CheckRow meanStdDevRow(const char* name) {
  std::vector<Check> c = {null("src"), kW, kH, {"step one below the row", kStep, 3}};
  if (sizeof(T) > 1) c.push_back({"step one above the row", tpxStsNotPixelStepErr, 3});
  return {
    name, c,
        CALL(const int r = 3 * int(sizeof(T));
             return Fn(PTR(T, 0, 0),
                       BAD(3)   ? r - 1
                       : BAD(4) ? r + 1
                                : r,
                       {BAD(1) ? 0 : 3, BAD(2) ? -1 : 2}, nullptr, slot<Tpx64f>(m, 1));)
  };
}

TEST(Checks, Statistics) {
  using U = Tpx8u;
  using S = Tpx16s;
  runRows({
      reductionRow<F, hinted<tpxiSum_32f_C1R>>("Sum_32f", true),
      reductionRow<U, tpxiMean_8u_C1R>("Mean_8u", true),
      reductionRow<S, tpxiMean_16s_C1R>("Mean_16s", true),
      reductionRow<F, hinted<tpxiMean_32f_C1R>>("Mean_32f", true),
      reductionRow<U, tpxiNorm_L1_8u_C1R>("Norm_L1_8u", false),
      reductionRow<S, tpxiNorm_L1_16s_C1R>("Norm_L1_16s", false),
      reductionRow<F, hinted<tpxiNorm_L1_32f_C1R>>("Norm_L1_32f", false),
      reductionRow<U, tpxiNorm_L2_8u_C1R>("Norm_L2_8u", false),
      reductionRow<S, tpxiNorm_L2_16s_C1R>("Norm_L2_16s", false),
      reductionRow<F, hinted<tpxiNorm_L2_32f_C1R>>("Norm_L2_32f", false),
      extremumRow<U, tpxiMinIndx_8u_C1R>("MinIndx_8u"),
      extremumRow<S, tpxiMinIndx_16s_C1R>("MinIndx_16s"),
      extremumRow<F, tpxiMinIndx_32f_C1R>("MinIndx_32f"),
      extremumRow<U, tpxiMaxIndx_8u_C1R>("MaxIndx_8u"),
      extremumRow<S, tpxiMaxIndx_16s_C1R>("MaxIndx_16s"),
      extremumRow<F, tpxiMaxIndx_32f_C1R>("MaxIndx_32f"),
      meanStdDevRow<U, tpxiMean_StdDev_8u_C1R>("Mean_StdDev_8u"),
      meanStdDevRow<Tpx16u, tpxiMean_StdDev_16u_C1R>("Mean_StdDev_16u"),
      meanStdDevRow<F, tpxiMean_StdDev_32f_C1R>("Mean_StdDev_32f"),
      // Step before size before the bounds; equal bounds are fine, NaN not.
      {"CountInRange_32f",
       {null("src"),
        null("count"),
        {"step 0", kStep},
        kW,
        kH,
        {"lower > upper", tpxStsBoundsOrderErr, 5},
        {"NaN lower", tpxStsBoundsOrderErr, 5},
        {"NaN upper", tpxStsBoundsOrderErr, 5}},
       CALL(return tpxiCountInRange_32f_C1R(PTR(F, 0, 0), BAD(2) ? 0 : 1, ROI(3, 4), PTR(int, 1, 1),
                                            BAD(6)   ? kNaN
                                            : BAD(5) ? 1.5f
                                                     : 1.0f,
                                            BAD(7) ? kNaN : 1.0f);)},
      // Size before step before the number of levels (two at least).
      {"HistogramRange_32f",
       {null("src"),
        null("hist"),
        null("levels"),
        kW,
        kH,
        {"step 0", kStep},
        {"one level", tpxStsHistoLevelsErr}},
       CALL(static const float kLevels[2] = {0.0f, 1.0f}; return tpxiHistogramRange_32f_C1R(
                PTR(F, 0, 0), BAD(5) ? 0 : 1, ROI(3, 4), PTR(int, 1, 1), BAD(2) ? nullptr : kLevels,
                BAD(6) ? 1 : 2);)},
  });
}

// ----- Signal vectors --------------------------------------------------------------------

using S16 = Tpx16s;
// (pointer slots spoilt by checks 0..n-1, then the length by check n)
#define LEN(k) (BAD(k) ? 0 : 1)

TEST(Checks, SignalVectors) {
  const std::vector<Check> two = {null("src"), null("srcDst"), kLen};
  const std::vector<Check> three = {null("src1"), null("src2"), null("dst"), kLen};
  runRows({
      {"Add_16s", three,
       CALL(return tpxsAdd_16s(PTR(S16, 0, 0), PTR(S16, 1, 1), PTR(S16, 2, 2), LEN(3));)},
      {"Sub_16s", three,
       CALL(return tpxsSub_16s(PTR(S16, 0, 0), PTR(S16, 1, 1), PTR(S16, 2, 2), LEN(3));)},
      {"Add_16s_I", two, CALL(return tpxsAdd_16s_I(PTR(S16, 0, 0), PTR(S16, 1, 1), LEN(2));)},
      {"Sub_16s_I", two, CALL(return tpxsSub_16s_I(PTR(S16, 0, 0), PTR(S16, 1, 1), LEN(2));)},
      {"Add_16s_ISfs", two,
       CALL(return tpxsAdd_16s_ISfs(PTR(S16, 0, 0), PTR(S16, 1, 1), LEN(2), 40);)},
      {"Sub_16s_ISfs", two,
       CALL(return tpxsSub_16s_ISfs(PTR(S16, 0, 0), PTR(S16, 1, 1), LEN(2), -40);)},
      {"Add_32f_I", two, CALL(return tpxsAdd_32f_I(PTR(F, 0, 0), PTR(F, 1, 1), LEN(2));)},
      {"AddC_32f_I",
       {null("srcDst"), kLen},
       CALL(return tpxsAddC_32f_I(1.0f, PTR(F, 0, 0), LEN(1));)},
      // A negative shift is refused after the length.
      {"RShiftC_16s",
       {null("src"), null("dst"), kLen, {"shift -1", tpxStsShiftErr}},
       CALL(return tpxsRShiftC_16s(PTR(S16, 0, 0), BAD(3) ? -1 : 0, PTR(S16, 1, 1), LEN(2));)},
      {"RShiftC_16s_I",
       {null("srcDst"), kLen, {"shift -1", tpxStsShiftErr}},
       CALL(return tpxsRShiftC_16s_I(BAD(2) ? -1 : 0, PTR(S16, 0, 0), LEN(1));)},
      {"SortAscend_32f_I",
       {null("srcDst"), kLen},
       CALL(return tpxsSortAscend_32f_I(PTR(F, 0, 0), LEN(1));)},
      {"PolarToCart_32f",
       {null("magn"), null("phase"), null("re"), null("im"), kLen},
       CALL(return tpxsPolarToCart_32f(PTR(F, 0, 0), PTR(F, 1, 1), PTR(F, 2, 2), PTR(F, 3, 3),
                                       LEN(4));)},
      {"Copy_32f",
       {null("src"), null("dst"), kLen},
       CALL(return tpxsCopy_32f(PTR(F, 0, 0), PTR(F, 1, 1), LEN(2));)},
      {"Set_32s", {null("dst"), kLen}, CALL(return tpxsSet_32s(7, PTR(Tpx32s, 0, 0), LEN(1));)},
      {"Zero_32f", {null("dst"), kLen}, CALL(return tpxsZero_32f(PTR(F, 0, 0), LEN(1));)},
  });
}

// Sampling: pointers, the source length, the factor, then the phase, which
// must lie in [0, factor). The phase is the caller's word, read at entry.
template <TpxStatus (*Fn)(const S16*, int, S16*, int*, int, int*)>
CheckRow samplingRow(const char* name) {
  return {
    name,
        {null("src"),
         null("dst"),
         null("dstLen"),
         null("phase"),
         kLen,
         {"factor 0", tpxStsSampleFactorErr},
         {"phase -1", tpxStsSamplePhaseErr, 6},
         {"phase equal to the factor", tpxStsSamplePhaseErr, 6}},
        CALL(int phase = BAD(6)   ? -1
                         : BAD(7) ? 2
                                  : 1;
             return Fn(PTR(S16, 0, 0), LEN(4), PTR(S16, 1, 1), PTR(int, 2, 2), BAD(5) ? 0 : 2,
                       BAD(3) ? nullptr : &phase);)
  };
}

TEST(Checks, SignalSampling) {
  runRows({samplingRow<tpxsSampleDown_16s>("SampleDown_16s"),
           samplingRow<tpxsSampleUp_16s>("SampleUp_16s")});
}

// ----- Linear filters -------------------------------------------------------------------
//
// One output pixel under a 3 x 3 kernel anchored at its centre. The source
// sits in slot 1, so the rows the kernel reaches above it stay in the arena.
// Source steps must cover width + kernel width - 1 elements (the column
// filter: width alone), destination steps width elements.

#define KSIZE(kw, kh) (TpxiSize{BAD(kw) ? 0 : 3, BAD(kh) ? -1 : 3})

TEST(Checks, LinearFilters) {
  const std::vector<Check> ptrs = {null("src"), null("dst"), null("kernel")};
  auto with = [](std::vector<Check> c, std::initializer_list<Check> more) {
    c.insert(c.end(), more);
    return c;
  };
  runRows({
      {"Filter_8u",
       with(ptrs, {kW,
                   kH,
                   {"kernel width 0", kSize},
                   {"kernel height -1", kSize},
                   {"divisor 0", tpxStsDivisorErr},
                   {"src step 2", kStep},
                   {"dst step 0", kStep}}),
       CALL(return tpxiFilter_8u_C1R(PTR(Tpx8u, 1, 0), BAD(8) ? 2 : 3, PTR(Tpx8u, 3, 1),
                                     BAD(9) ? 0 : 1, ROI(3, 4), PTR(Tpx32s, 4, 2), KSIZE(5, 6),
                                     {1, 1}, BAD(7) ? 0 : 9);)},
      // The 16s filter folds the divisor into float taps in scratch first:
      // the kernel, its size and the divisor are checked before the scratch
      // is allocated, the images after it.
      {"Filter_16s",
       {null("kernel"),
        {"kernel width 0", kSize},
        {"kernel height -1", kSize},
        {"divisor 0", tpxStsDivisorErr},
        {"no scratch for 60000 x 60000 taps", tpxStsMemAllocErr},
        null("src"),
        null("dst"),
        kW,
        kH,
        {"src step 5", kStep},
        {"dst step 1", kStep}},
       CALL(const int side = BAD(4) ? 60000 : 3; return tpxiFilter_16s_C1R(
                PTR(Tpx16s, 1, 5), BAD(9) ? 5 : 6, PTR(Tpx16s, 3, 6), BAD(10) ? 1 : 2, ROI(7, 8),
                PTR(Tpx32s, 4, 0), {BAD(1) ? 0 : side, BAD(2) ? -1 : side}, {1, 1},
                BAD(3) ? 0 : 3);)},
      {"Filter32f_16s (internal)",
       with(ptrs, {kW,
                   kH,
                   {"kernel width 0", kSize},
                   {"kernel height -1", kSize},
                   {"src step 5", kStep},
                   {"dst step 1", kStep}}),
       CALL(return tpxiFilter32f_16s_C1R(PTR(Tpx16s, 1, 0), BAD(7) ? 5 : 6, PTR(Tpx16s, 3, 1),
                                         BAD(8) ? 1 : 2, ROI(3, 4), PTR(F, 4, 2), KSIZE(5, 6),
                                         {1, 1});)},
      {"Filter_32f",
       with(ptrs, {kW,
                   kH,
                   {"kernel width 0", kSize},
                   {"kernel height -1", kSize},
                   {"src step 11", kStep},
                   {"dst step 3", kStep}}),
       CALL(return tpxiFilter_32f_C1R(PTR(F, 1, 0), BAD(7) ? 11 : 12, PTR(F, 3, 1), BAD(8) ? 3 : 4,
                                      ROI(3, 4), PTR(F, 4, 2), KSIZE(5, 6), {1, 1});)},
      {"FilterRow_32f",
       with(ptrs,
            {kW, kH, {"kernel size 0", kSize}, {"src step 11", kStep}, {"dst step 3", kStep}}),
       CALL(return tpxiFilterRow_32f_C1R(PTR(F, 1, 0), BAD(6) ? 11 : 12, PTR(F, 3, 1),
                                         BAD(7) ? 3 : 4, ROI(3, 4), PTR(F, 4, 2), BAD(5) ? 0 : 3,
                                         1);)},
      {"FilterColumn_32f",
       with(ptrs,
            {kW, kH, {"kernel size -1", kSize}, {"src step 3", kStep}, {"dst step 3", kStep}}),
       CALL(return tpxiFilterColumn_32f_C1R(PTR(F, 1, 0), BAD(6) ? 3 : 4, PTR(F, 3, 1),
                                            BAD(7) ? 3 : 4, ROI(3, 4), PTR(F, 4, 2),
                                            BAD(5) ? -1 : 3, 1);)},
  });
}

// ----- Template matching ------------------------------------------------------------------

// Pointers, the four sizes, the template fitting inside the source (in every
// mode), then the three steps.
template <TpxStatus (*Fn)(const F*, int, TpxiSize, const F*, int, TpxiSize, F*, int)>
CheckRow matchRow(const char* name) {
  return {
    name,
        {null("src"),
         null("template"),
         null("dst"),
         {"src width 0", kSize},
         {"src height -1", kSize},
         {"template width 0", kSize, 5},
         {"template height -1", kSize, 6},
         {"template wider than the source", kSize, 5},
         {"template taller than the source", kSize, 6},
         {"src step 0", kStep},
         {"template step 0", kStep},
         {"dst step -4", kStep}},
        CALL(return Fn(PTR(F, 0, 0), BAD(9) ? 0 : 1, ROI(3, 4), PTR(F, 1, 1), BAD(10) ? 0 : 1,
                       {BAD(5)   ? 0
                        : BAD(7) ? 2
                                 : 1,
                        BAD(6)   ? -1
                        : BAD(8) ? 2
                                 : 1},
                       PTR(F, 2, 2), BAD(11) ? -4 : 1);)
  };
}

TEST(Checks, TemplateMatching) {
  runRows({
      matchRow<tpxiCrossCorrFull_Norm_32f_C1R>("CrossCorrFull_Norm"),
      matchRow<tpxiCrossCorrSame_Norm_32f_C1R>("CrossCorrSame_Norm"),
      matchRow<tpxiCrossCorrValid_Norm_32f_C1R>("CrossCorrValid_Norm"),
      matchRow<tpxiCrossCorrFull_NormLevel_32f_C1R>("CrossCorrFull_NormLevel"),
      matchRow<tpxiCrossCorrSame_NormLevel_32f_C1R>("CrossCorrSame_NormLevel"),
      matchRow<tpxiCrossCorrValid_NormLevel_32f_C1R>("CrossCorrValid_NormLevel"),
      matchRow<tpxiSqrDistanceFull_Norm_32f_C1R>("SqrDistanceFull_Norm"),
      matchRow<tpxiSqrDistanceSame_Norm_32f_C1R>("SqrDistanceSame_Norm"),
      matchRow<tpxiSqrDistanceValid_Norm_32f_C1R>("SqrDistanceValid_Norm"),
  });
}

}  // namespace
