// FFT plans: records, their tables, and their release. Not dispatched:
// every variant's transforms read the same tables.
//
// sin and cos are evaluated only for a quarter-wave table of the plan's
// length N (N/4 + 1 values); every other factor is read from it through the
// symmetries of sine and cosine, so all tables agree to the bit.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/alloc.h"
#include "fft/engine.h"
#include "fft/tables.h"

namespace tpx {
namespace {

constexpr int kMaxOrder = 30;

template <typename T>
T* allocZeroed(int64_t count) {
  const int64_t bytes = count * static_cast<int64_t>(sizeof(T));
  if (count < 1 || bytes > INT32_MAX) return nullptr;
  void* p = mallocAligned(static_cast<int32_t>(bytes));
  if (p != nullptr) std::memset(p, 0, static_cast<std::size_t>(bytes));
  return static_cast<T*>(p);
}

// The quarter-wave table of a length-n circle: q[i] = sin(2 pi i / n) for
// i <= n/4, from sin for the first eighth and cos for the second so the
// arguments stay small.
struct QuarterWave {
  const Tpx32f* q;
  int64_t n;
  Tpx32f sinAt(int64_t i) const {  // sin(2 pi i / n), 0 <= i < n
    const int64_t quarter = n / 4;
    if (i <= quarter) return q[i];
    if (i <= 2 * quarter) return q[2 * quarter - i];
    if (i <= 3 * quarter) return -q[i - 2 * quarter];
    return -q[n - i];
  }
  Tpx32f cosAt(int64_t i) const { return sinAt((i + n / 4) % n); }
};

Tpx32f* buildQuarterWave(int64_t n) {
  Tpx32f* q = allocZeroed<Tpx32f>(n / 4 + 1);
  if (q == nullptr) return nullptr;
  const double step = 2.0 * 3.14159265358979323846 / static_cast<double>(n);
  for (int64_t i = 0; i <= n / 4; ++i) {
    q[i] = i <= n / 8 ? static_cast<Tpx32f>(std::sin(step * static_cast<double>(i)))
                      : static_cast<Tpx32f>(std::cos(step * static_cast<double>(n / 4 - i)));
  }
  return q;
}

// Twiddles of the radix-4 stages with a quarter of q >= 2 complex values:
// per stage, per pair (j, j+1), six groups of four floats (see fft/tables.h).
TpxStatus buildKernelTables(TpxFftSpec* plan, int complexOrder, const QuarterWave& wave) {
  const int64_t m = int64_t(1) << complexOrder;
  plan->swapList = allocZeroed<int32_t>(m);
  plan->twiddles = allocZeroed<Tpx32f>(kernelTwiddleFloats(complexOrder) + 4);
  if (plan->swapList == nullptr || plan->twiddles == nullptr) return tpxStsMemAllocErr;
  for (int64_t i = 0; i < m; ++i) {
    int64_t r = 0;
    for (int b = 0; b < complexOrder; ++b) r |= ((i >> b) & 1) << (complexOrder - 1 - b);
    plan->swapList[i] = static_cast<int32_t>(r);
  }
  Tpx32f* t = plan->twiddles;
  for (int64_t length = firstRadix4Length(complexOrder); length <= m; length *= 4) {
    const int64_t q = length / 4;
    if (q < 2) continue;
    const int64_t stride = wave.n / length;  // index step of 2 pi / length
    for (int64_t j = 0; j < q; j += 2) {
      for (int k = 1; k <= 3; ++k) {
        for (int64_t h = 0; h < 2; ++h) {
          const int64_t index = k * (j + h) * stride;
          const Tpx32f c = wave.cosAt(index);
          const Tpx32f s = wave.sinAt(index);  // the forward factor is (c, -s)
          t[2 * h] = c;
          t[2 * h + 1] = c;
          t[4 + 2 * h] = s;       // multiplies -Im: (a, b)(c, -s) = (ac + bs, bc - as)
          t[4 + 2 * h + 1] = -s;  // multiplies Re
        }
        t += 8;
      }
    }
  }
  return tpxStsNoErr;
}

TpxStatus initPlan(TpxFftSpec** ppSpec, int order, int flag, int hint, bool real) {
  if (ppSpec == nullptr) return tpxStsNullPtrErr;
  if (order < 0 || order > kMaxOrder) return tpxStsFftOrderErr;
  TpxFftSpec* plan = allocZeroed<TpxFftSpec>(1);
  if (plan == nullptr) return tpxStsMemAllocErr;
  plan->tag = real ? tpxFftTagReal : tpxFftTagComplex;
  plan->order = order;
  plan->hint = hint;
  plan->owned = 1;
  const int64_t n = int64_t(1) << order;
  switch (flag) {
    case tpxFftScaleFwd:
    case tpxFftScaleInv:
      plan->scaleFwd = flag == tpxFftScaleFwd;
      plan->scaleInv = flag == tpxFftScaleInv;
      plan->scale = static_cast<Tpx32f>(1.0 / static_cast<double>(n));
      break;
    case tpxFftScaleSqrt:
      plan->scaleFwd = plan->scaleInv = 1;
      plan->scale = static_cast<Tpx32f>(1.0 / std::sqrt(static_cast<double>(n)));
      break;
    case tpxFftScaleNone:
      plan->scale = 1.0f;
      break;
    default:
      freeAligned(plan);
      return tpxStsFftFlagErr;
  }
  if (order >= kMinTableOrder) {
    // One copy of the data, for the blocked handling of long transforms.
    const int64_t work = n * static_cast<int64_t>(real ? sizeof(Tpx32f) : sizeof(Tpx32fc));
    plan->workSize = work > INT32_MAX - 64 ? INT32_MAX - 64 : static_cast<int32_t>(work);
    Tpx32f* q = buildQuarterWave(n);
    TpxStatus status = q == nullptr ? tpxStsMemAllocErr : tpxStsNoErr;
    if (status == tpxStsNoErr) {
      const QuarterWave wave{q, n};
      status = buildKernelTables(plan, real ? order - 1 : order, wave);
      if (status == tpxStsNoErr && real) {
        const int64_t pairs = n / 4;
        plan->postTable = allocZeroed<Tpx32f>(2 * pairs);
        plan->preTable = allocZeroed<Tpx32f>(2 * pairs);
        if (plan->postTable == nullptr || plan->preTable == nullptr) {
          status = tpxStsMemAllocErr;
        } else {
          for (int64_t k = 0; k < pairs; ++k) {
            plan->postTable[2 * k] = 0.5f * wave.cosAt(k);
            plan->postTable[2 * k + 1] = 0.5f - 0.5f * wave.sinAt(k);
            plan->preTable[2 * k] = wave.cosAt(k);
            plan->preTable[2 * k + 1] = -wave.sinAt(k);
          }
        }
      }
      freeAligned(q);
    }
    if (status != tpxStsNoErr) {
      tpxsFftFree(plan);
      return status;
    }
  }
  *ppSpec = plan;
  return tpxStsNoErr;
}

int bufferOf(const TpxFftSpec* plan) {
  return plan == nullptr || plan->workSize < 1 ? 0 : plan->workSize + 16;
}

}  // namespace
}  // namespace tpx

extern "C" TpxStatus tpxsFftInitR_32f(TpxFftSpecR** ppSpec, int order, int flag, int hint) {
  return tpx::initPlan(ppSpec, order, flag, hint, true);
}

extern "C" TpxStatus tpxsFftInitC_32fc(TpxFftSpecC** ppSpec, int order, int flag, int hint) {
  return tpx::initPlan(ppSpec, order, flag, hint, false);
}

extern "C" TpxStatus tpxsFftGetBufSize(const TpxFftSpec* pSpec, int* pSize) {
  if (pSpec == nullptr || pSize == nullptr) return tpxStsNullPtrErr;
  if (pSpec->tag != tpxFftTagReal && pSpec->tag != tpxFftTagComplex) return tpxStsContextMatchErr;
  *pSize = tpx::bufferOf(pSpec);
  return tpxStsNoErr;
}

extern "C" void tpxsFftFree(TpxFftSpec* pSpec) {
  if (pSpec == nullptr) return;
  pSpec->tag = 0;
  if (pSpec->owned) {
    tpx::freeAligned(pSpec->swapList);
    tpx::freeAligned(pSpec->twiddles);
    tpx::freeAligned(pSpec->blocks[0]);
    tpx::freeAligned(pSpec->blocks[1]);
    tpx::freeAligned(pSpec->postTable);
    tpx::freeAligned(pSpec->preTable);
    tpx::freeAligned(pSpec);
  }
}

extern "C" TpxStatus tpxiFftInitR_32f(TpxFft2DSpecR** ppSpec, int orderX, int orderY, int flag,
                                      int hint) {
  if (ppSpec == nullptr) return tpxStsNullPtrErr;
  if (orderX < 0 || orderX > tpx::kMaxOrder || orderY < 0 || orderY > tpx::kMaxOrder) {
    return tpxStsFftOrderErr;
  }
  TpxFft2DSpecR* plan = tpx::allocZeroed<TpxFft2DSpecR>(1);
  if (plan == nullptr) return tpxStsMemAllocErr;
  plan->tag = tpxFftTag2D;
  plan->orderX = orderX;
  plan->orderY = orderY;
  plan->hint = hint;
  TpxStatus status = tpxsFftInitR_32f(&plan->row, orderX, flag, hint);
  if (status == tpxStsNoErr && orderY != orderX) {
    status = tpxsFftInitR_32f(&plan->columnReal, orderY, flag, hint);
  }
  if (status == tpxStsNoErr)
    status = tpxsFftInitC_32fc(&plan->columnComplex[1], orderY, flag, hint);
  if (status != tpxStsNoErr) {
    plan->tag = tpxFftTag2D;
    tpxiFftFree(plan);
    return status;
  }
  // Room for one gathered real row or column and four complex column pairs
  // (with a second copy), each followed by its 1-D plan's own buffer.
  const int64_t nx = int64_t(1) << orderX, ny = int64_t(1) << orderY;
  const TpxFftSpec* realColumn = plan->columnReal != nullptr ? plan->columnReal : plan->row;
  int64_t work = 16 * nx + tpx::bufferOf(plan->row);
  work = std::max<int64_t>(work, 16 * ny + tpx::bufferOf(realColumn));
  work = std::max<int64_t>(work, 64 * ny + tpx::bufferOf(plan->columnComplex[1]));
  plan->workSize = work > INT32_MAX - 64 ? INT32_MAX - 64 : static_cast<int32_t>(work);
  *ppSpec = plan;
  return tpxStsNoErr;
}

extern "C" TpxStatus tpxiFftGetBufSize(const TpxFft2DSpecR* pSpec, int* pSize) {
  if (pSpec == nullptr || pSize == nullptr) return tpxStsNullPtrErr;
  if (pSpec->tag != tpxFftTag2D) return tpxStsContextMatchErr;
  *pSize = pSpec->workSize + 16;
  return tpxStsNoErr;
}

extern "C" TpxStatus tpxiFftFree(TpxFft2DSpecR* pSpec) {
  if (pSpec == nullptr) return tpxStsNullPtrErr;
  if (pSpec->tag != tpxFftTag2D) return tpxStsContextMatchErr;
  pSpec->tag = 0;
  tpxsFftFree(pSpec->row);
  tpxsFftFree(pSpec->columnReal);
  tpxsFftFree(pSpec->columnComplex[0]);
  tpxsFftFree(pSpec->columnComplex[1]);
  tpx::freeAligned(pSpec);
  return tpxStsNoErr;
}
