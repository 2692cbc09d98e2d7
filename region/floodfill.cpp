// Flood fill of the 4-connected region around a seed pixel of a one-channel
// 32f image, in place, under three membership rules: equality with the seed's
// value, a fixed range around it, and a gradient rule that compares each
// pixel with an already accepted neighbour.
//
// The fills are scan-line fills driven by a stack of segment records in the
// caller's work buffer, six int32 each {y, xLeft, xRight, parentLeft,
// parentRight, dir}: row numbers and columns, never pointers or size_t, so
// the buffer contract is the same on i386 and x86-64. A popped segment scans
// the row away from its parent over its whole span and the parent's row
// outside the parent's span.
//
// The buffer the size queries promise is not always enough for that scan
// (1 0 1 / 1 1 1 / 1 0 1 seeded on the middle row already pushes four
// records where 86 bytes hold three). The fills therefore never write past
// pBuffer + the queried size, and when a push would not fit they finish
// another way:
//  - equality and range: the pending records are rewritten as 8-byte
//    {row-major index, length} runs whose pop scans both neighbouring rows.
//    Runs on a row are always separated by a pixel that never belonged, so a
//    fill holds at most height * ceil(width / 2) runs, which fit the buffer
//    for widths of 2 and more; in one column the painted pixels form one
//    interval and the run count cannot grow once the switch is made.
//  - gradient: a run that does not fit is marked 2 (accepted, pending) in the
//    visited map instead of 1; when the stack runs dry, a sweep of the map
//    turns pending runs back into records (scanning both neighbouring rows).
//    Acceptance compares original values only, so the accepted set is the
//    same whatever the order.
// Inputs whose scan fits the buffer give exactly the records and results of
// the plain scan.
//
// The SSE2 copy (indices 2 to 4) finds run ends and candidates four pixels at
// a time and paints runs with vector stores. Membership is an exact
// comparison (the range and gradient rules in double, as in the scalar code),
// so image, region record and buffer equal the generic ones byte for byte.
// Vector loads never leave columns 0..width - 1: the last row may end the
// caller's buffer.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "core/image.h"

// Copies built: generic (0) and SSE2 (2, also serving indices 3 and 4); the
// size queries are generic only.
#if TPX_VARIANT == 0 || TPX_VARIANT == 2

namespace tpx::TPX_NS {
namespace {

using std::ptrdiff_t;

// ----- Buffer sizes --------------------------------------------------------------

// 24 * W * H as a signed 64-bit product, divided by 4 (truncating), cut to 32
// bits, plus 32: room for W * H / 4 segment records and 8-byte alignment.
// Formed without signed overflow; the wrap is the documented result.
uint32_t scanBufferBytes(TpxiSize roi) {
  const uint64_t product =
      uint64_t(24) * uint64_t(uint32_t(roi.width)) * uint64_t(uint32_t(roi.height));
  const int64_t signedProduct = static_cast<int64_t>(product);
  return static_cast<uint32_t>(static_cast<uint64_t>(signedProduct / 4)) + 32u;
}

uint32_t mapBytes(TpxiSize roi) { return (uint32_t(roi.width) + 2u) * (uint32_t(roi.height) + 2u); }

// ----- Records in the caller's buffer ---------------------------------------------

struct Segment {
  int32_t y, xl, xr, pl, pr, dir;
};
static_assert(sizeof(Segment) == 24, "a segment record is six int32");

// A run of the equality and range fills' second stack: pixel index y * W + x
// of its left end, and its length.
struct Run {
  uint32_t index, length;
};
static_assert(sizeof(Run) == 8, "a run record is two uint32");

// A stack of records of type R in [base, base + capacity * sizeof(R)).
// Records are copied in and out bytewise: the buffer is the caller's bytes.
template <typename R>
class Stack {
 public:
  Stack(uint8_t* base, size_t capacity) : base_(base), capacity_(capacity) {}
  bool empty() const { return size_ == 0; }
  size_t size() const { return size_; }
  bool full() const { return size_ == capacity_; }
  bool push(const R& r) {
    if (size_ == capacity_) return false;
    std::memcpy(base_ + size_ * sizeof(R), &r, sizeof(R));
    ++size_;
    return true;
  }
  R pop() {
    --size_;
    return at(size_);
  }
  R at(size_t i) const {
    R r;
    std::memcpy(&r, base_ + i * sizeof(R), sizeof(R));
    return r;
  }

 private:
  uint8_t* base_;
  size_t capacity_;
  size_t size_ = 0;
};

// The part of the caller's buffer [begin, buffer + total) a stack may use: from
// begin rounded up to 8 bytes.
struct Area {
  uint8_t* base;
  size_t bytes;
};
Area stackArea(uint8_t* buffer, uint32_t total, uint32_t begin) {
  const uintptr_t at = reinterpret_cast<uintptr_t>(buffer) + begin;
  const uint32_t skip = begin + uint32_t((8 - (at & 7)) & 7);
  return Area{buffer + skip, total > skip ? size_t(total - skip) : 0};
}

// ----- Image and result -----------------------------------------------------------

struct Plane {
  Tpx32f* base;
  ptrdiff_t stride;  // elements
  int w, h;
  Tpx32f* row(int y) const { return base + ptrdiff_t(y) * stride; }
};

struct Box {
  int x0, x1, y0, y1;
  void add(int y, int xl, int xr) {
    if (xl < x0) x0 = xl;
    if (xr > x1) x1 = xr;
    if (y < y0) y0 = y;
    if (y > y1) y1 = y;
  }
};

void writeRegion(TpxiConnectedComp* pRegion, int64_t area, float newVal, const Box& b) {
  pRegion->area = static_cast<Tpx64f>(area);
  pRegion->value[0] = newVal;
  pRegion->value[1] = 0.0;
  pRegion->value[2] = 0.0;
  pRegion->rect = TpxiRect{b.x0, b.y0, b.x1 - b.x0 + 1, b.y1 - b.y0 + 1};
}

void paint(Tpx32f* r, int a, int b, float v) {
  int x = a;
#if TPX_ISA >= TPX_ISA_SSE2
  const __m128 vv = _mm_set1_ps(v);
  for (; x + 3 <= b; x += 4) _mm_storeu_ps(r + x, vv);
#endif
  for (; x <= b; ++x) store(r + x, v);
}

inline int lowestZero(int mask) { return __builtin_ctz(~mask & 15); }
inline int highestZero(int mask) { return 31 - __builtin_clz(~mask & 15); }

// ----- Membership of the equality and range fills ----------------------------------

struct EqualRule {
  explicit EqualRule(float s) : s(s) {
#if TPX_ISA >= TPX_ISA_SSE2
    vs = _mm_set1_ps(s);
#endif
  }
  bool operator()(float v) const { return v == s; }
  float s;
#if TPX_ISA >= TPX_ISA_SSE2
  int mask(__m128 v) const { return _mm_movemask_ps(_mm_cmpeq_ps(v, vs)); }
  __m128 vs;
#endif
};

// low <= v <= high in double; NaN never belongs. `skip` is NaN unless newVal
// itself lies in the range: callers must not ask for that (painted pixels
// would belong again), and excluding newVal keeps such a fill finite and
// inside the buffer.
struct RangeRule {
  RangeRule(double low, double high, float skip) : low(low), high(high), skip(skip) {
#if TPX_ISA >= TPX_ISA_SSE2
    vlow = _mm_set1_pd(low);
    vhigh = _mm_set1_pd(high);
    vskip = _mm_set1_ps(skip);
#endif
  }
  bool operator()(float v) const {
    const double d = v;
    return low <= d && d <= high && !(v == skip);
  }
  double low, high;
  float skip;
#if TPX_ISA >= TPX_ISA_SSE2
  int mask(__m128 v) const {
    const __m128d lo = _mm_cvtps_pd(v);
    const __m128d hi = _mm_cvtps_pd(_mm_movehl_ps(v, v));
    const int inLo = _mm_movemask_pd(_mm_and_pd(_mm_cmple_pd(vlow, lo), _mm_cmple_pd(lo, vhigh)));
    const int inHi = _mm_movemask_pd(_mm_and_pd(_mm_cmple_pd(vlow, hi), _mm_cmple_pd(hi, vhigh)));
    return (inLo | inHi << 2) & _mm_movemask_ps(_mm_cmpneq_ps(v, vskip));
  }
  __m128d vlow, vhigh;
  __m128 vskip;
#endif
};

// Leftmost l such that l..x - 1 all belong.
template <class Rule>
int runLeft(const Rule& rule, const Tpx32f* r, int x) {
#if TPX_ISA >= TPX_ISA_SSE2
  for (; x >= 4; x -= 4) {
    const int m = rule.mask(_mm_loadu_ps(r + x - 4));
    if (m != 15) return x - 3 + highestZero(m);
  }
#endif
  while (x > 0 && rule(load(r + x - 1))) --x;
  return x;
}

// Rightmost e such that x + 1..e all belong.
template <class Rule>
int runRight(const Rule& rule, const Tpx32f* r, int x, int w) {
#if TPX_ISA >= TPX_ISA_SSE2
  for (; x + 4 <= w - 1; x += 4) {
    const int m = rule.mask(_mm_loadu_ps(r + x + 1));
    if (m != 15) return x + lowestZero(m);
  }
#endif
  while (x + 1 < w && rule(load(r + x + 1))) ++x;
  return x;
}

// First column in x..b that belongs, or a column past b.
template <class Rule>
int nextMember(const Rule& rule, const Tpx32f* r, int x, int b) {
#if TPX_ISA >= TPX_ISA_SSE2
  for (; x + 3 <= b; x += 4) {
    const int m = rule.mask(_mm_loadu_ps(r + x));
    if (m != 0) return x + __builtin_ctz(m);
  }
#endif
  while (x <= b && !rule(load(r + x))) ++x;
  return x;
}

// ----- Equality and range fills ---------------------------------------------------

template <class Rule>
class ScanFill {
 public:
  ScanFill(const Plane& im, const Rule& rule, float newVal)
      : im_(im), rule_(rule), newVal_(newVal) {}

  void run(TpxiPoint seed, uint8_t* buffer, uint32_t bufferBytes) {
    Tpx32f* r = im_.row(seed.y);
    const int xl = runLeft(rule_, r, seed.x), xr = runRight(rule_, r, seed.x, im_.w);
    paint(r, xl, xr, newVal_);  // the seed even when it does not belong itself
    area_ = xr - xl + 1;
    box_ = Box{xl, xr, seed.y, seed.y};
    if (im_.h == 1) return;

    const Area space = stackArea(buffer, bufferBytes, 0);
    Stack<Segment> stack(space.base, space.bytes / sizeof(Segment));
    const Segment first{seed.y, xl, xr, xr + 1, xr, seed.y == im_.h - 1 ? -1 : 1};
    if (!stack.push(first)) return finishByRuns(stack, space, nullptr, first);
    while (!stack.empty()) {
      const Segment s = stack.pop();
      box_.add(s.y, s.xl, s.xr);
      Segment failed{};
      auto push = [&](int y, int left, int right, int dir) {
        failed = Segment{y, left, right, s.xl, s.xr, dir};
        return stack.push(failed);
      };
      const int away = s.y - s.dir, back = s.y + s.dir;
      bool ok = true;
      if (away >= 0 && away < im_.h) ok = scan(away, s.xl, s.xr, s.dir, push);
      if (ok && back >= 0 && back < im_.h) {
        ok = scan(back, s.xl, s.pl - 1, -s.dir, push) && scan(back, s.pr + 1, s.xr, -s.dir, push);
      }
      if (!ok) return finishByRuns(stack, space, &s, failed);
    }
  }

  int64_t area() const { return area_; }
  const Box& box() const { return box_; }

 private:
  // Finds, paints and counts the runs that start in columns a..b of row y,
  // handing each to push(y, left, right, dir); false when a push fails.
  template <class Push>
  bool scan(int y, int a, int b, int dir, Push&& push) {
    Tpx32f* r = im_.row(y);
    for (int x = nextMember(rule_, r, a, b); x <= b; x = nextMember(rule_, r, x, b)) {
      const int left = runLeft(rule_, r, x), right = runRight(rule_, r, x, im_.w);
      paint(r, left, right, newVal_);
      area_ += right - left + 1;
      if (!push(y, left, right, dir)) return false;
      x = right + 2;
    }
    return true;
  }

  // The segment stack is full: the pending records, the segment being
  // scanned (if any) and the run that did not fit become 8-byte runs that
  // scan both neighbouring rows. Every run is painted already, and scanning
  // a row again finds only what is still unpainted.
  void finishByRuns(Stack<Segment>& segments, const Area& space, const Segment* current,
                    const Segment& failed) {
    // Row-major indices must fit 32 bits; only images of 2^32 pixels and
    // more, whose size query wraps anyway, are left unfinished here.
    if (uint64_t(im_.w) * uint64_t(im_.h) > 0xFFFFFFFFu) return;
    Stack<Run> runs(space.base, space.bytes / sizeof(Run));
    auto pushRun = [&](int y, int left, int right) {
      // Cannot fail: runs on a row are separated by pixels that never
      // belonged, so at most h * ceil(w / 2) runs exist (and in one column
      // the count cannot grow), which the buffer holds.
      return runs.push(
          Run{uint32_t(y) * uint32_t(im_.w) + uint32_t(left), uint32_t(right - left + 1)});
    };
    // In place: run i lands at byte 8i, below segment i's 24i, which is read
    // before the write.
    const size_t pending = segments.size();
    for (size_t i = 0; i < pending; ++i) {
      const Segment g = segments.at(i);
      pushRun(g.y, g.xl, g.xr);
    }
    if (current != nullptr) pushRun(current->y, current->xl, current->xr);
    pushRun(failed.y, failed.xl, failed.xr);
    while (!runs.empty()) {
      const Run g = runs.pop();
      const int y = int(g.index / uint32_t(im_.w)), xl = int(g.index % uint32_t(im_.w));
      const int xr = xl + int(g.length) - 1;
      box_.add(y, xl, xr);
      auto push = [&](int ry, int left, int right, int) { return pushRun(ry, left, right); };
      if (y > 0) scan(y - 1, xl, xr, 0, push);
      if (y + 1 < im_.h) scan(y + 1, xl, xr, 0, push);
    }
  }

  Plane im_;
  const Rule& rule_;
  float newVal_;
  int64_t area_ = 0;
  Box box_{};
};

// ----- Gradient fill ----------------------------------------------------------------

// !(|(n + half) - c| > mid) in double: NaN anywhere joins.
struct GradRule {
  GradRule(float half, float mid) : half(half), mid(mid) {
#if TPX_ISA >= TPX_ISA_SSE2
    vhalf = _mm_set1_pd(half);
    vmid = _mm_set1_pd(mid);
    vabs = _mm_castsi128_pd(_mm_set1_epi64x(0x7FFFFFFFFFFFFFFFll));
#endif
  }
  bool operator()(float n, float c) const {
    return !(std::fabs((double(n) + half) - double(c)) > mid);
  }
  double half, mid;
#if TPX_ISA >= TPX_ISA_SSE2
  __m128d pairs(__m128 n, __m128 c) const {
    const __m128d d = _mm_sub_pd(_mm_add_pd(_mm_cvtps_pd(n), vhalf), _mm_cvtps_pd(c));
    return _mm_cmpngt_pd(_mm_and_pd(d, vabs), vmid);
  }
  // Lane k: pixel n[k] passes against c[k].
  int mask(__m128 n, __m128 c) const {
    const int lo = _mm_movemask_pd(pairs(n, c));
    const int hi = _mm_movemask_pd(pairs(_mm_movehl_ps(n, n), _mm_movehl_ps(c, c)));
    return lo | hi << 2;
  }
  __m128d vhalf, vmid, vabs;
#endif
};

#if TPX_ISA >= TPX_ISA_SSE2
// Lane k set when map byte m[k] is 0.
inline int unvisited4(const uint8_t* m) {
  uint32_t bytes;
  std::memcpy(&bytes, m, 4);
  const __m128i z = _mm_cmpeq_epi8(_mm_cvtsi32_si128(int(bytes)), _mm_setzero_si128());
  return _mm_movemask_epi8(z) & 15;
}
#endif

class GradFill {
 public:
  GradFill(const Plane& im, const GradRule& rule, float newVal, uint8_t* map)
      : im_(im), rule_(rule), newVal_(newVal), map_(map), pitch_(ptrdiff_t(im.w) + 2) {}

  void run(TpxiPoint seed, uint8_t* buffer, uint32_t bufferBytes) {
    // The ring of 1s stops every extension and every scan of a row outside
    // the image without a bounds test.
    std::memset(map_, 1, size_t(pitch_));
    for (int y = 0; y < im_.h; ++y) {
      uint8_t* m = mapRow(y);
      m[-1] = 1;
      std::memset(m, 0, size_t(im_.w));
      m[im_.w] = 1;
    }
    std::memset(mapRow(im_.h) - 1, 1, size_t(pitch_));

    const Area space = stackArea(buffer, bufferBytes, mapBytes(TpxiSize{im_.w, im_.h}));
    Stack<Segment> stack(space.base, space.bytes / sizeof(Segment));
    // Without room for one record nothing can proceed; only sizes whose
    // query wraps get here.
    if (stack.full()) return;

    const Tpx32f* r = im_.row(seed.y);
    uint8_t* m = mapRow(seed.y);
    m[seed.x] = 1;
    const int xl = left(r, m, seed.x), xr = right(r, nullptr, m, seed.x, -1);
    box_ = Box{xl, xr, seed.y, seed.y};
    accept(Segment{seed.y, xl, xr, xr + 1, xr, 1}, stack);

    int sweepRow = 0;
    for (;;) {
      while (!stack.empty()) {
        const Segment s = stack.pop();
        box_.add(s.y, s.xl, s.xr);
        const Tpx32f* p = im_.row(s.y);
        const int away = s.y - s.dir, back = s.y + s.dir;
        if (away >= 0 && away < im_.h) scan(away, s.xl, s.xr, s.dir, s, p, stack);
        if (back >= 0 && back < im_.h) {
          scan(back, s.xl, s.pl - 1, -s.dir, s, p, stack);
          scan(back, s.pr + 1, s.xr, -s.dir, s, p, stack);
        }
        // Painted only now: every comparison above saw original values.
        paint(im_.row(s.y), s.xl, s.xr, newVal_);
        area_ += s.xr - s.xl + 1;
      }
      if (pending_ == 0) break;
      sweepRow = sweep(sweepRow, stack);
    }
  }

  int64_t area() const { return area_; }
  const Box& box() const { return box_; }

 private:
  uint8_t* mapRow(int y) const { return map_ + (ptrdiff_t(y) + 1) * pitch_ + 1; }

  // Marks a run accepted and pushes it, or marks it pending (2) when the
  // stack is full.
  void accept(const Segment& g, Stack<Segment>& stack) {
    const bool pushed = stack.push(g);
    std::memset(mapRow(g.y) + g.xl, pushed ? 1 : 2, size_t(g.xr - g.xl + 1));
    if (!pushed) pending_ += g.xr - g.xl + 1;
  }

  // Pushes pending runs as records whose pop scans both neighbouring rows
  // (an empty parent span), from row `from` on, cyclically, until the stack is
  // full or nothing is pending; returns the row to resume from.
  int sweep(int from, Stack<Segment>& stack) {
    for (int k = 0; k < im_.h; ++k) {
      const int y = (from + k) % im_.h;
      uint8_t* m = mapRow(y);
      for (int x = 0; x < im_.w; ++x) {
        if (m[x] != 2) continue;
        int e = x;
        while (m[e + 1] == 2) ++e;  // the ring byte stops it
        if (!stack.push(Segment{y, x, e, e + 1, e, 1})) return y;
        std::memset(m + x, 1, size_t(e - x + 1));
        pending_ -= e - x + 1;
        if (pending_ == 0) return y;
        x = e;
      }
    }
    return from;
  }

  // Extends an accepted pixel x leftward: each next pixel unvisited and
  // passing against its right-hand neighbour.
  int left(const Tpx32f* r, const uint8_t* m, int x) const {
#if TPX_ISA >= TPX_ISA_SSE2
    for (; x >= 4; x -= 4) {
      const int ok =
          rule_.mask(_mm_loadu_ps(r + x - 4), _mm_loadu_ps(r + x - 3)) & unvisited4(m + x - 4);
      if (ok != 15) return x - 3 + highestZero(ok);
    }
#endif
    while (m[x - 1] == 0 && rule_(load(r + x - 1), load(r + x))) --x;
    return x;
  }

  // Extends rightward: each next pixel unvisited and passing against its
  // left-hand neighbour or, while the run's end is left of xr (so for next
  // columns up to xr), against the popped row's pixel p in its column. This
  // matches a floating-range fill that scans the same way (cv::floodFill
  // without FLOODFILL_FIXED_RANGE).
  int right(const Tpx32f* r, const Tpx32f* p, const uint8_t* m, int x, int xr) const {
#if TPX_ISA >= TPX_ISA_SSE2
    for (; x + 4 <= im_.w - 1; x += 4) {
      const __m128 next = _mm_loadu_ps(r + x + 1);
      int ok = rule_.mask(next, _mm_loadu_ps(r + x));
      if (p != nullptr && x < xr) {
        const int upToXr = xr - x >= 4 ? 15 : (1 << (xr - x)) - 1;
        ok |= rule_.mask(next, _mm_loadu_ps(p + x + 1)) & upToXr;
      }
      ok &= unvisited4(m + x + 1);
      if (ok != 15) return x + lowestZero(ok);
    }
#endif
    while (m[x + 1] == 0) {
      const float v = load(r + x + 1);
      if (!rule_(v, load(r + x)) && !(p != nullptr && x < xr && rule_(v, load(p + x + 1)))) break;
      ++x;
    }
    return x;
  }

  // First column in x..b that is unvisited and passes against p, or past b.
  int next(const Tpx32f* r, const Tpx32f* p, const uint8_t* m, int x, int b) const {
#if TPX_ISA >= TPX_ISA_SSE2
    for (; x + 3 <= b; x += 4) {
      const int ok = rule_.mask(_mm_loadu_ps(r + x), _mm_loadu_ps(p + x)) & unvisited4(m + x);
      if (ok != 0) return x + __builtin_ctz(ok);
    }
#endif
    while (x <= b && !(m[x] == 0 && rule_(load(r + x), load(p + x)))) ++x;
    return x;
  }

  void scan(int y, int a, int b, int dir, const Segment& s, const Tpx32f* p,
            Stack<Segment>& stack) {
    const Tpx32f* r = im_.row(y);
    const uint8_t* m = mapRow(y);
    for (int x = next(r, p, m, a, b); x <= b; x = next(r, p, m, x, b)) {
      const int l = left(r, m, x), e = right(r, p, m, x, s.xr);
      accept(Segment{y, l, e, s.xl, s.xr, dir}, stack);
      x = e + 2;
    }
  }

  Plane im_;
  const GradRule& rule_;
  float newVal_;
  uint8_t* map_;
  ptrdiff_t pitch_;
  int64_t area_ = 0;
  int64_t pending_ = 0;
  Box box_{};
};

// ----- Argument checks --------------------------------------------------------------

// stepMultiple: 2 for the equality and range fills (odd steps only), 4 for
// the gradient fill.
TpxStatus checkFill(const Tpx32f* pImage, int imageStep, TpxiSize roi, TpxiPoint seed,
                    const TpxiConnectedComp* pRegion, const Tpx8u* pBuffer, int stepMultiple) {
  if (pImage == nullptr || pRegion == nullptr || pBuffer == nullptr) return tpxStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return tpxStsSizeErr;
  if (int64_t(imageStep) < int64_t(4) * roi.width) return tpxStsStepErr;
  if (imageStep % stepMultiple != 0) return tpxStsNotPixelStepErr;
  if (seed.x < 0 || seed.x >= roi.width || seed.y < 0 || seed.y >= roi.height) {
    return tpxStsOutOfRangeErr;
  }
  return tpxStsNoErr;
}

// Rows of the equality and range fills are imageStep / 4 elements apart
// (rounded down: a step of 4k + 2 passes the checks).
Plane planeOf(Tpx32f* pImage, int imageStep, TpxiSize roi) {
  return Plane{pImage, ptrdiff_t(imageStep / 4), roi.width, roi.height};
}

// Neither the equality nor the range fill runs when newVal compares equal to
// the seed's value or either is NaN.
bool sameOrUnordered(float s, float newVal) { return !(s < newVal || s > newVal); }

template <class Rule>
void scanFill(const Plane& im, TpxiPoint seed, float newVal, const Rule& rule,
              TpxiConnectedComp* pRegion, Tpx8u* pBuffer) {
  ScanFill<Rule> fill(im, rule, newVal);
  fill.run(seed, pBuffer, scanBufferBytes(TpxiSize{im.w, im.h}));
  writeRegion(pRegion, fill.area(), newVal, fill.box());
}

}  // namespace
}  // namespace tpx::TPX_NS

// ----- Entries ----------------------------------------------------------------------

#if TPX_VARIANT == 0
TpxStatus tpx::TPX_NS::tpxiFloodFillGetSize(TpxiSize roiSize, int* pBufferSize) {
  if (pBufferSize == nullptr) return tpxStsNullPtrErr;
  if (roiSize.width < 1 || roiSize.height < 1) return tpxStsSizeErr;
  *pBufferSize = static_cast<int>(scanBufferBytes(roiSize));
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiFloodFillGetSize_Grad(TpxiSize roiSize, int* pBufferSize) {
  if (pBufferSize == nullptr) return tpxStsNullPtrErr;
  if (roiSize.width < 1 || roiSize.height < 1) return tpxStsSizeErr;
  *pBufferSize = static_cast<int>(mapBytes(roiSize) + scanBufferBytes(roiSize));
  return tpxStsNoErr;
}
#endif

TpxStatus tpx::TPX_NS::tpxiFloodFill_4Con_32f_C1IR(Tpx32f* pImage, int imageStep, TpxiSize roiSize,
                                                   TpxiPoint seed, Tpx32f newVal,
                                                   TpxiConnectedComp* pRegion, Tpx8u* pBuffer) {
  const TpxStatus st = checkFill(pImage, imageStep, roiSize, seed, pRegion, pBuffer, 2);
  if (st != tpxStsNoErr) return st;
  const Plane im = planeOf(pImage, imageStep, roiSize);
  const float s = load(im.row(seed.y) + seed.x);
  if (sameOrUnordered(s, newVal)) return tpxStsNoErr;
  scanFill(im, seed, newVal, EqualRule(s), pRegion, pBuffer);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiFloodFill_Range4Con_32f_C1IR(Tpx32f* pImage, int imageStep,
                                                        TpxiSize roiSize, TpxiPoint seed,
                                                        Tpx32f newVal, Tpx32f minDelta,
                                                        Tpx32f maxDelta, TpxiConnectedComp* pRegion,
                                                        Tpx8u* pBuffer) {
  const TpxStatus st = checkFill(pImage, imageStep, roiSize, seed, pRegion, pBuffer, 2);
  if (st != tpxStsNoErr) return st;
  const Plane im = planeOf(pImage, imageStep, roiSize);
  const float s = load(im.row(seed.y) + seed.x);
  if (sameOrUnordered(s, newVal)) return tpxStsNoErr;
  // The bounds stay in double: rounding them to float would move them.
  const double low = double(s) - double(minDelta), high = double(s) + double(maxDelta);
  const double nv = newVal;
  const float skip = low <= nv && nv <= high ? newVal : std::numeric_limits<float>::quiet_NaN();
  scanFill(im, seed, newVal, RangeRule(low, high, skip), pRegion, pBuffer);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiFloodFill_Grad4Con_32f_C1IR(Tpx32f* pImage, int imageStep,
                                                       TpxiSize roiSize, TpxiPoint seed,
                                                       Tpx32f newVal, Tpx32f minDelta,
                                                       Tpx32f maxDelta, TpxiConnectedComp* pRegion,
                                                       Tpx8u* pBuffer) {
  const TpxStatus st = checkFill(pImage, imageStep, roiSize, seed, pRegion, pBuffer, 4);
  if (st != tpxStsNoErr) return st;
  if (!(minDelta >= 0.0f) || !(maxDelta >= 0.0f)) return tpxStsOutOfRangeErr;
  // Both rounded to float; so the test is not exactly c - minDelta <= n <=
  // c + maxDelta at the edges.
  const float half = static_cast<float>((double(minDelta) - double(maxDelta)) * 0.5);
  const float mid = static_cast<float>((double(minDelta) + double(maxDelta)) * 0.5);
  const Plane im{pImage, ptrdiff_t(imageStep / 4), roiSize.width, roiSize.height};
  const GradRule rule(half, mid);
  GradFill fill(im, rule, newVal, pBuffer);
  fill.run(seed, pBuffer, mapBytes(roiSize) + scanBufferBytes(roiSize));
  writeRegion(pRegion, fill.area(), newVal, fill.box());
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2
