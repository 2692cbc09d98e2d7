// In-place ascending sort of float vectors; NaN values end up last. Scalar:
// one entry serves every index.
#include "core/image.h"

#if TPX_VARIANT == 0

namespace tpx::TPX_NS {
namespace {

inline TpxStatus checkVector(bool anyNull, int len) {
  if (anyNull) return tpxStsNullPtrErr;
  if (len < 1) return tpxStsSizeErr;
  return tpxStsNoErr;
}

// ----- Sort --------------------------------------------------------------------------

// Parts of at most this many elements are finished by selection.
constexpr int kSelectionMax = 9;
constexpr int kStackPairs = 32;

inline void exchange(Tpx32f* a, int i, int j) {
  const Tpx32f t = a[i];
  a[i] = a[j];
  a[j] = t;
}

// Repeatedly moves the largest element (the first of equal ones) to the end.
void selectionSort(Tpx32f* a, int lo, int hi) {
  for (; hi > lo; --hi) {
    int best = lo;
    for (int k = lo + 1; k <= hi; ++k) {
      if (a[k] > a[best]) best = k;
    }
    exchange(a, best, hi);
  }
}

// Iterative quicksort. The order in which equal keys (such as -0 and +0)
// end up is part of the result, so every step is fixed: the median of three
// is ordered by the exchanges (first, middle), (first, last), (middle, last),
// each made only when the pair is out of order; the partition scans the
// elements strictly between first and last; the larger part is pushed
// (the right one when both are equal) and the smaller one is processed next.
void quickSort(Tpx32f* a, int len) {
  int stack[kStackPairs][2];
  int depth = 0;
  int lo = 0, hi = len - 1;
  for (;;) {
    if (hi - lo + 1 > kSelectionMax) {
      const int mid = lo + (hi - lo + 1) / 2;
      if (a[mid] < a[lo]) exchange(a, lo, mid);
      if (a[hi] < a[lo]) exchange(a, lo, hi);
      if (a[hi] < a[mid]) exchange(a, mid, hi);
      const Tpx32f pivot = a[mid];
      int i = lo + 1, j = hi - 1;
      for (;;) {
        while (i <= j && !(a[i] > pivot)) ++i;  // up to one greater than the pivot
        while (j > lo && a[j] > pivot) --j;     // down to one not greater

        if (i >= j) break;
        exchange(a, i, j);
      }
      // lo..j holds the elements not above the pivot, j+1..hi the rest.
      const int rightLo = j + 1;
      while (j > lo && a[j] == pivot) --j;
      const int leftSize = j - lo + 1, rightSize = hi - rightLo + 1;
      if (leftSize > rightSize) {
        if (leftSize > 1) {
          stack[depth][0] = lo;
          stack[depth][1] = j;
          ++depth;
        }
        lo = rightLo;
      } else {
        if (rightSize > 1) {
          stack[depth][0] = rightLo;
          stack[depth][1] = hi;
          ++depth;
        }
        hi = j;
      }
      continue;
    }
    selectionSort(a, lo, hi);
    if (depth == 0) return;
    --depth;
    lo = stack[depth][0];
    hi = stack[depth][1];
  }
}

// Moves every NaN behind the other values and returns how many values are
// not NaN. NaN compares false with everything, so left among the keys it
// would defeat the partition (every scan stops at it) and make the sort
// quadratic. The values keep their relative order, so an input without NaN
// is untouched; the NaNs end in an order of this exchange's making.
int setNaNsApart(Tpx32f* a, int len) {
  int kept = 0;
  for (int k = 0; k < len; ++k) {
    if (a[k] == a[k]) {
      if (k != kept) exchange(a, kept, k);
      ++kept;
    }
  }
  return kept;
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxsSortAscend_32f_I(Tpx32f* pSrcDst, int len) {
  const TpxStatus status = checkVector(pSrcDst == nullptr, len);
  if (status != tpxStsNoErr) return status;
  const int values = setNaNsApart(pSrcDst, len);
  if (values > 1) quickSort(pSrcDst, values);
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0
