// FFT transforms: the complex kernel, the real split, 1-D and 2-D transforms
// and the spectrum helpers.
//
// The SSE copy (indices 1 to 4; SSE2 and above add nothing the kernels use)
// works on two complex values per register and performs, lane by lane,
// exactly the generic code's operations in the same order: products with
// the factors' (c, c) and (s, -s) forms, sums and differences, sign flips by
// negation. No fused multiply-add, so every variant gives the same bits.
#include <cmath>
#include <cstring>

#include "core/alloc.h"
#include "core/image.h"
#include "fft/engine.h"
#include "fft/tables.h"

#if TPX_VARIANT <= 1

namespace tpx::TPX_NS {
namespace {

// ----- Complex values in float arrays ------------------------------------------------

inline void copyComplex(const Tpx32f* src, Tpx32f* dst) { std::memcpy(dst, src, 8); }

// ----- Fixed kernels for N <= 8 --------------------------------------------------------

// cos and sin of 2 pi k / 8 exactly rounded to double.
constexpr double kSqrtHalf = 0.70710678118654752440;
constexpr double kCos8[8] = {1, kSqrtHalf, 0, -kSqrtHalf, -1, -kSqrtHalf, 0, kSqrtHalf};
constexpr double kSin8[8] = {0, kSqrtHalf, 1, kSqrtHalf, 0, -kSqrtHalf, -1, -kSqrtHalf};

// Direct DFT of n <= 8 complex values in double, sign -1 forward, +1
// inverse; out may alias in.
void smallComplexDft(const Tpx32f* in, Tpx32f* out, int n, int sign, Tpx32f scale, bool scaled) {
  double re[8], im[8];
  const int stride = 8 / n;
  for (int k = 0; k < n; ++k) {
    double sr = 0, si = 0;
    for (int t = 0; t < n; ++t) {
      const int e = (k * t % n) * stride;
      const double c = kCos8[e], s = sign * kSin8[e];
      sr += in[2 * t] * c - in[2 * t + 1] * s;
      si += in[2 * t] * s + in[2 * t + 1] * c;
    }
    re[k] = sr;
    im[k] = si;
  }
  for (int k = 0; k < n; ++k) {
    out[2 * k] = static_cast<Tpx32f>(re[k]);
    out[2 * k + 1] = static_cast<Tpx32f>(im[k]);
    if (scaled) {
      out[2 * k] *= scale;
      out[2 * k + 1] *= scale;
    }
  }
}

void smallRealForward(const Tpx32f* in, Tpx32f* out, int n, Tpx32f scale, bool scaled) {
  Tpx32f z[16] = {};
  for (int t = 0; t < n; ++t) z[2 * t] = in[t];
  smallComplexDft(z, z, n, -1, scale, scaled);
  // Pack: R0, R1, I1, ..., R(n/2).
  out[0] = z[0];
  for (int k = 1; k < (n + 1) / 2; ++k) {
    out[2 * k - 1] = z[2 * k];
    out[2 * k] = z[2 * k + 1];
  }
  if (n >= 2) out[n - 1] = z[n];
}

void smallRealInverse(const Tpx32f* in, Tpx32f* out, int n, Tpx32f scale, bool scaled) {
  Tpx32f z[16] = {};
  z[0] = in[0];
  for (int k = 1; k < (n + 1) / 2; ++k) {
    z[2 * k] = in[2 * k - 1];
    z[2 * k + 1] = in[2 * k];
    z[2 * (n - k)] = in[2 * k - 1];  // Hermitian: X[n-k] = conj(X[k])
    z[2 * (n - k) + 1] = -in[2 * k];
  }
  if (n >= 2) z[n] = in[n - 1];
  smallComplexDft(z, z, n, 1, scale, scaled);
  for (int t = 0; t < n; ++t) out[t] = z[2 * t];
}

// ----- The complex kernel -----------------------------------------------------------------

struct Kernel {
  int order;  // log2 of the number of complex points
  const int32_t* reversal;
  const Tpx32f* twiddles;
};

// dst[i] = src[reverse(i)], or the same in place by exchanges.
void bitReverse(const Tpx32f* src, Tpx32f* dst, const Kernel& k) {
  const int64_t m = int64_t(1) << k.order;
  if (src != dst) {
    for (int64_t i = 0; i < m; ++i) copyComplex(src + 2 * int64_t(k.reversal[i]), dst + 2 * i);
    return;
  }
  for (int64_t i = 0; i < m; ++i) {
    const int64_t r = k.reversal[i];
    if (i < r) {
      Tpx32f t[2];
      copyComplex(dst + 2 * i, t);
      copyComplex(dst + 2 * r, dst + 2 * i);
      copyComplex(t, dst + 2 * r);
    }
  }
}

#if TPX_ISA >= TPX_ISA_SSE

inline __m128 swapPairs(__m128 v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(2, 3, 0, 1)); }
// Sign masks: on the imaginary lanes, on the real lanes.
inline __m128 imagSigns() { return _mm_castsi128_ps(_mm_set_epi32(INT32_MIN, 0, INT32_MIN, 0)); }
inline __m128 realSigns() { return _mm_castsi128_ps(_mm_set_epi32(0, INT32_MIN, 0, INT32_MIN)); }

#endif

// The factor-free radix-4 butterfly on four complex inputs x0..x3 (blocks
// F0, F2, F1, F3), written to p[0..7] in order: u0 = x0 + x1, u1 = x0 - x1,
// u2 = x2 + x3, u3 = x2 - x3; X0 = u0 + u2, X2 = u0 - u2, X1 = u1 + m,
// X3 = u1 - m with m = -i u3 (forward) or i u3 (inverse).
inline void butterfly4(const Tpx32f* x0, const Tpx32f* x1, const Tpx32f* x2, const Tpx32f* x3,
                       Tpx32f* p, bool inverse) {
  const Tpx32f u0r = x0[0] + x1[0], u0i = x0[1] + x1[1];
  const Tpx32f u1r = x0[0] - x1[0], u1i = x0[1] - x1[1];
  const Tpx32f u2r = x2[0] + x3[0], u2i = x2[1] + x3[1];
  const Tpx32f u3r = x2[0] - x3[0], u3i = x2[1] - x3[1];
  const Tpx32f mr = inverse ? -u3i : u3i, mi = inverse ? u3r : -u3r;
  p[0] = u0r + u2r;
  p[1] = u0i + u2i;
  p[2] = u1r + mr;
  p[3] = u1i + mi;
  p[4] = u0r - u2r;
  p[5] = u0i - u2i;
  p[6] = u1r - mr;
  p[7] = u1i - mi;
}

#if TPX_ISA >= TPX_ISA_SSE
// The same butterfly with x = [x0 x2] and y = [x1 x3] in registers.
inline void butterfly4(__m128 x, __m128 y, Tpx32f* p, __m128 rotate) {
  const __m128 s = _mm_add_ps(x, y), d = _mm_sub_ps(x, y);  // [u0 u2], [u1 u3]
  const __m128 u0u1 = _mm_movelh_ps(s, d);
  const __m128 u3 = _mm_movehl_ps(d, d);
  const __m128 mm = _mm_xor_ps(swapPairs(u3), rotate);
  const __m128 u2m = _mm_movelh_ps(_mm_movehl_ps(s, s), mm);
  _mm_storeu_ps(p, _mm_add_ps(u0u1, u2m));
  _mm_storeu_ps(p + 4, _mm_sub_ps(u0u1, u2m));
}
#endif

// Radix-2 pass: (x0, x1) -> (x0 + x1, x0 - x1) over consecutive pairs.
void radix2Pass(Tpx32f* a, int64_t m) {
  int64_t g = 0;
#if TPX_ISA >= TPX_ISA_SSE
  for (; g + 2 <= m / 2; g += 2) {
    const __m128 v0 = _mm_loadu_ps(a + 4 * g), v1 = _mm_loadu_ps(a + 4 * g + 4);
    const __m128 x = _mm_movelh_ps(v0, v1), y = _mm_movehl_ps(v1, v0);
    const __m128 s = _mm_add_ps(x, y), d = _mm_sub_ps(x, y);
    _mm_storeu_ps(a + 4 * g, _mm_movelh_ps(s, d));
    _mm_storeu_ps(a + 4 * g + 4, _mm_movehl_ps(d, s));
  }
#endif
  for (; g < m / 2; ++g) {
    Tpx32f* p = a + 4 * g;
    const Tpx32f r0 = p[0], i0 = p[1], r1 = p[2], i1 = p[3];
    p[0] = r0 + r1;
    p[1] = i0 + i1;
    p[2] = r0 - r1;
    p[3] = i0 - i1;
  }
}

// Radix-4 pass of length 4: no factors.
void radix4FirstPass(Tpx32f* a, int64_t m, bool inverse) {
  int64_t g = 0;
#if TPX_ISA >= TPX_ISA_SSE
  const __m128 rotate = inverse ? realSigns() : imagSigns();
  for (; g < m / 4; ++g) {
    Tpx32f* p = a + 8 * g;
    const __m128 v0 = _mm_loadu_ps(p), v1 = _mm_loadu_ps(p + 4);
    butterfly4(_mm_movelh_ps(v0, v1), _mm_movehl_ps(v1, v0), p, rotate);
  }
#endif
  for (; g < m / 4; ++g) {
    Tpx32f* p = a + 8 * g;
    Tpx32f x[8];
    std::memcpy(x, p, sizeof x);
    butterfly4(x, x + 2, x + 4, x + 6, p, inverse);
  }
}

// x * W (forward) or x * conj(W) (inverse) with W given as (c, c, s, -s).
inline void twiddle(Tpx32f a, Tpx32f b, Tpx32f c, Tpx32f s, Tpx32f ns, Tpx32f* re, Tpx32f* im) {
  *re = a * c + b * s;
  *im = b * c + a * ns;
}

// A radix-4 pass with quarter q >= 2 and its factors.
void radix4Pass(Tpx32f* a, int64_t m, int64_t q, const Tpx32f* table, bool inverse) {
  const int64_t length = 4 * q;
  for (int64_t base = 0; base < m; base += length) {
    Tpx32f* p0 = a + 2 * base;
    Tpx32f* p1 = p0 + 2 * q;
    Tpx32f* p2 = p1 + 2 * q;
    Tpx32f* p3 = p2 + 2 * q;
    const Tpx32f* t = table;
    int64_t j = 0;
#if TPX_ISA >= TPX_ISA_SSE
    const __m128 flip = inverse ? _mm_castsi128_ps(_mm_set1_epi32(INT32_MIN)) : _mm_setzero_ps();
    const __m128 rotate = inverse ? realSigns() : imagSigns();
    for (; j < q; j += 2, t += 24) {
      const __m128 x0 = _mm_loadu_ps(p0 + 2 * j), x1 = _mm_loadu_ps(p1 + 2 * j);
      const __m128 x2 = _mm_loadu_ps(p2 + 2 * j), x3 = _mm_loadu_ps(p3 + 2 * j);
      // t1 = x2 W^j, t2 = x1 W^2j, t3 = x3 W^3j.
      const __m128 t1 =
          _mm_add_ps(_mm_mul_ps(x2, _mm_loadu_ps(t)),
                     _mm_mul_ps(swapPairs(x2), _mm_xor_ps(_mm_loadu_ps(t + 4), flip)));
      const __m128 t2 =
          _mm_add_ps(_mm_mul_ps(x1, _mm_loadu_ps(t + 8)),
                     _mm_mul_ps(swapPairs(x1), _mm_xor_ps(_mm_loadu_ps(t + 12), flip)));
      const __m128 t3 =
          _mm_add_ps(_mm_mul_ps(x3, _mm_loadu_ps(t + 16)),
                     _mm_mul_ps(swapPairs(x3), _mm_xor_ps(_mm_loadu_ps(t + 20), flip)));
      const __m128 u0 = _mm_add_ps(x0, t2), u1 = _mm_sub_ps(x0, t2);
      const __m128 u2 = _mm_add_ps(t1, t3), u3 = _mm_sub_ps(t1, t3);
      const __m128 mm = _mm_xor_ps(swapPairs(u3), rotate);
      _mm_storeu_ps(p0 + 2 * j, _mm_add_ps(u0, u2));
      _mm_storeu_ps(p2 + 2 * j, _mm_sub_ps(u0, u2));
      _mm_storeu_ps(p1 + 2 * j, _mm_add_ps(u1, mm));
      _mm_storeu_ps(p3 + 2 * j, _mm_sub_ps(u1, mm));
    }
#endif
    for (; j < q; ++j) {
      const Tpx32f* w = t + 24 * (j / 2) + 2 * (j % 2);
      // The table holds (s, -s) for the forward factor; the inverse one is
      // its conjugate, (-s, s).
      const Tpx32f s1 = inverse ? -w[4] : w[4], n1 = inverse ? -w[5] : w[5];
      const Tpx32f s2 = inverse ? -w[12] : w[12], n2 = inverse ? -w[13] : w[13];
      const Tpx32f s3 = inverse ? -w[20] : w[20], n3 = inverse ? -w[21] : w[21];
      Tpx32f t1r, t1i, t2r, t2i, t3r, t3i;
      twiddle(p2[2 * j], p2[2 * j + 1], w[0], s1, n1, &t1r, &t1i);
      twiddle(p1[2 * j], p1[2 * j + 1], w[8], s2, n2, &t2r, &t2i);
      twiddle(p3[2 * j], p3[2 * j + 1], w[16], s3, n3, &t3r, &t3i);
      const Tpx32f x0r = p0[2 * j], x0i = p0[2 * j + 1];
      const Tpx32f u0r = x0r + t2r, u0i = x0i + t2i, u1r = x0r - t2r, u1i = x0i - t2i;
      const Tpx32f u2r = t1r + t3r, u2i = t1i + t3i, u3r = t1r - t3r, u3i = t1i - t3i;
      const Tpx32f mr = inverse ? -u3i : u3i, mi = inverse ? u3r : -u3r;
      p0[2 * j] = u0r + u2r;
      p0[2 * j + 1] = u0i + u2i;
      p2[2 * j] = u0r - u2r;
      p2[2 * j + 1] = u0i - u2i;
      p1[2 * j] = u1r + mr;
      p1[2 * j + 1] = u1i + mi;
      p3[2 * j] = u1r - mr;
      p3[2 * j + 1] = u1i - mi;
    }
  }
}

// Out of place, the bit reversal is fused with the first pass: the first
// pass's inputs are gathered from their reversed positions and its results
// written in order, the same operations on the same values as reversing
// first and then running the pass in place.
void reverseWithFirstPass(const Tpx32f* src, Tpx32f* dst, const Kernel& k, bool inverse) {
  const int64_t m = int64_t(1) << k.order;
  const int32_t* rev = k.reversal;
  if (k.order % 2) {
    // Radix 2: the partner of reversed index r is r + m/2.
    const int64_t half = m / 2;
    int64_t g = 0;
#if TPX_ISA >= TPX_ISA_SSE
    for (; g + 2 <= half; g += 2) {
      const Tpx32f* a = src + 2 * int64_t(rev[2 * g]);
      const Tpx32f* b = src + 2 * int64_t(rev[2 * g + 2]);
      const __m128 x =
          _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(a)),
                       reinterpret_cast<const __m64*>(b));
      const __m128 y =
          _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(a + 2 * half)),
                       reinterpret_cast<const __m64*>(b + 2 * half));
      const __m128 s = _mm_add_ps(x, y), d = _mm_sub_ps(x, y);
      _mm_storeu_ps(dst + 4 * g, _mm_movelh_ps(s, d));
      _mm_storeu_ps(dst + 4 * g + 4, _mm_movehl_ps(d, s));
    }
#endif
    for (; g < half; ++g) {
      const Tpx32f* a = src + 2 * int64_t(rev[2 * g]);
      const Tpx32f* b = a + 2 * half;
      Tpx32f* p = dst + 4 * g;
      const Tpx32f r0 = a[0], i0 = a[1], r1 = b[0], i1 = b[1];
      p[0] = r0 + r1;
      p[1] = i0 + i1;
      p[2] = r0 - r1;
      p[3] = i0 - i1;
    }
    return;
  }
  // Radix 4 without factors: reversed positions r, r + m/2, r + m/4, r + 3m/4.
  const int64_t half = m / 2, quarter = m / 4;
#if TPX_ISA >= TPX_ISA_SSE
  const __m128 rotate = inverse ? realSigns() : imagSigns();
#endif
  for (int64_t g = 0; g < m / 4; ++g) {
    const Tpx32f* x0 = src + 2 * int64_t(rev[4 * g]);
    const Tpx32f* x1 = x0 + 2 * half;
    const Tpx32f* x2 = x0 + 2 * quarter;
    const Tpx32f* x3 = x0 + 2 * (half + quarter);
#if TPX_ISA >= TPX_ISA_SSE
    const __m128 x =
        _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(x0)),
                     reinterpret_cast<const __m64*>(x2));
    const __m128 y =
        _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(x1)),
                     reinterpret_cast<const __m64*>(x3));
    butterfly4(x, y, dst + 8 * g, rotate);
#else
    butterfly4(x0, x1, x2, x3, dst + 8 * g, inverse);
#endif
  }
}

// Passes up to this length run block by block, each block of complex
// values (32 KiB) staying in the first-level cache through all of them; the
// longer passes then run over the whole array. Each butterfly is computed
// exactly as in a pass-by-pass order: the blocking only reorders
// independent butterflies.
constexpr int64_t kBlockPoints = 4096;

// The butterflies on data in bit-reversed order; with firstDone the first
// pass has been run already (by reverseWithFirstPass).
void butterflies(Tpx32f* a, const Kernel& k, bool inverse, bool firstDone = false) {
  const int64_t m = int64_t(1) << k.order;
  const int64_t block = m < kBlockPoints ? m : kBlockPoints;
  const Tpx32f* table = k.twiddles;
  for (int64_t base = 0; base < m; base += block) {
    Tpx32f* b = a + 2 * base;
    if (k.order % 2 && !firstDone) radix2Pass(b, block);
    table = k.twiddles;
    for (int64_t length = firstRadix4Length(k.order); length <= block; length *= 4) {
      const int64_t q = length / 4;
      if (q == 1) {
        if (!firstDone) radix4FirstPass(b, block, inverse);
      } else {
        radix4Pass(b, block, q, table, inverse);
        table += 12 * q;
      }
    }
  }
  int64_t length = firstRadix4Length(k.order);
  while (length <= block) length *= 4;
  for (; length <= m; length *= 4) {
    const int64_t q = length / 4;
    radix4Pass(a, m, q, table, inverse);
    table += 12 * q;
  }
}

void scaleAll(Tpx32f* a, int64_t n, Tpx32f scale) {
  int64_t i = 0;
#if TPX_ISA >= TPX_ISA_SSE
  const __m128 s = _mm_set1_ps(scale);
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(a + i, _mm_mul_ps(_mm_loadu_ps(a + i), s));
#endif
  for (; i < n; ++i) a[i] = a[i] * scale;
}

// The complex kernel from src (natural order) into dst.
void transformComplex(const Tpx32f* src, Tpx32f* dst, const Kernel& k, bool inverse) {
  if (src != dst) {
    reverseWithFirstPass(src, dst, k, inverse);
    butterflies(dst, k, inverse, true);
  } else {
    bitReverse(dst, dst, k);
    butterflies(dst, k, inverse);
  }
}

Kernel kernelOf(const TpxFftSpec* plan, bool real) {
  return Kernel{real ? plan->order - 1 : plan->order, plan->swapList, plan->twiddles};
}

// ----- Real transforms -----------------------------------------------------------------

// Split of the half-length complex transform Z (in place, m complex values)
// into the real spectrum, written straight into Pack order: with (c, s) =
// post-table entry k, for the pair of bins (k, m - k)
//   D = Z[k] - conj(Z[m-k]),  P = (s, -c) x D,
//   X[k] = conj(Z[m-k]) + P,  X[m-k] = conj(Z[k] - P),
// X[j] going to floats 2j - 1 and 2j. Pairs are taken with k rising; the
// store of X[m-k] covers the imaginary part of the next pair's partner, so
// that partner is read first and carried to the next step. Z[0] and the
// middle bin Z[m/2] are read before anything is written.
inline void splitPair(Tpx32f* a, int64_t k, int64_t m, const Tpx32f* post, Tpx32f* carry) {
  const Tpx32f ar = a[2 * k], ai = a[2 * k + 1];
  const Tpx32f br = carry[0], bi = -carry[1];  // conj(Z[m-k])
  const Tpx32f c = post[2 * k], s = post[2 * k + 1];
  const Tpx32f dr = ar - br, di = ai - bi;
  const Tpx32f pr = s * dr + c * di, pi = s * di + c * -dr;
  copyComplex(a + 2 * (m - k - 1), carry);  // the next pair's partner
  a[2 * k - 1] = br + pr;
  a[2 * k] = bi + pi;
  a[2 * (m - k) - 1] = ar - pr;
  a[2 * (m - k)] = -(ai - pi);
}

void splitForward(Tpx32f* a, int64_t m, const Tpx32f* post) {
  const Tpx32f z0r = a[0], z0i = a[1], middleR = a[m], middleI = a[m + 1];
  Tpx32f carry[2];
  copyComplex(a + 2 * (m - 1), carry);
  int64_t k = 1;
#if TPX_ISA >= TPX_ISA_SSE
  const __m128 conj = imagSigns();
  const __m128 rotate = imagSigns();  // (di, -dr)
  __m128 partner = _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(carry));
  for (; k + 1 <= m / 2 - 1; k += 2) {
    const __m128 z = _mm_loadu_ps(a + 2 * k);  // Z[k], Z[k+1]
    // Z[m-k-1] from memory, Z[m-k] carried.
    const __m128 wv = _mm_movelh_ps(
        _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(a + 2 * (m - k - 1))),
        partner);
    const __m128 b = _mm_xor_ps(_mm_shuffle_ps(wv, wv, _MM_SHUFFLE(1, 0, 3, 2)), conj);
    const __m128 t = _mm_loadu_ps(post + 2 * k);  // c_k, s_k, c_k+1, s_k+1
    const __m128 c = _mm_shuffle_ps(t, t, _MM_SHUFFLE(2, 2, 0, 0));
    const __m128 s = _mm_shuffle_ps(t, t, _MM_SHUFFLE(3, 3, 1, 1));
    const __m128 d = _mm_sub_ps(z, b);
    const __m128 p = _mm_add_ps(_mm_mul_ps(s, d), _mm_mul_ps(c, _mm_xor_ps(swapPairs(d), rotate)));
    const __m128 e = _mm_xor_ps(_mm_sub_ps(z, p), conj);  // X[m-k], X[m-k-1]
    partner = _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(a + 2 * (m - k - 2)));
    _mm_storeu_ps(a + 2 * k - 1, _mm_add_ps(b, p));
    _mm_storeu_ps(a + 2 * (m - k - 1) - 1, _mm_shuffle_ps(e, e, _MM_SHUFFLE(1, 0, 3, 2)));
  }
  _mm_storel_pi(reinterpret_cast<__m64*>(carry), partner);
#endif
  for (; k <= m / 2 - 1; ++k) splitPair(a, k, m, post, carry);
  // The middle bin is its own partner: X[m/2] = conj(Z[m/2]).
  a[m - 1] = middleR;
  a[m] = -middleI;
  a[0] = z0r + z0i;          // R0
  a[2 * m - 1] = z0r - z0i;  // R(N/2)
}

// The inverse of the split, for the pair (k, m - k) with (c, t) = pre-table
// entry k = (cos, -sin):
//   F = X[k] + conj(X[m-k]),  G = X[k] - conj(X[m-k]),  Q = (t, c) x G,
//   Z[k] = F + Q,  Z[m-k] = conj(F - Q).
inline void mergePair(Tpx32f* a, int64_t k, int64_t m, const Tpx32f* pre) {
  const Tpx32f xr = a[2 * k], xi = a[2 * k + 1];
  const Tpx32f yr = a[2 * (m - k)], yi = -a[2 * (m - k) + 1];  // conj(X[m-k])
  const Tpx32f c = pre[2 * k], t = pre[2 * k + 1];
  const Tpx32f fr = xr + yr, fi = xi + yi, gr = xr - yr, gi = xi - yi;
  const Tpx32f qr = t * gr + c * -gi, qi = t * gi + c * gr;
  a[2 * k] = fr + qr;
  a[2 * k + 1] = fi + qi;
  a[2 * (m - k)] = fr - qr;
  a[2 * (m - k) + 1] = -(fi - qi);
}

void mergeInverse(Tpx32f* a, int64_t m, const Tpx32f* pre) {
  const Tpx32f r0 = a[0], rn = a[1];
  a[0] = r0 + rn;
  a[1] = r0 - rn;
  int64_t k = 1;
#if TPX_ISA >= TPX_ISA_SSE
  const __m128 conj = imagSigns();
  const __m128 rotate = realSigns();  // (-gi, gr)
  for (; k + 1 <= m / 2 - 1; k += 2) {
    const __m128 x = _mm_loadu_ps(a + 2 * k);
    const __m128 wv = _mm_loadu_ps(a + 2 * (m - k - 1));
    const __m128 y = _mm_xor_ps(_mm_shuffle_ps(wv, wv, _MM_SHUFFLE(1, 0, 3, 2)), conj);
    const __m128 tab = _mm_loadu_ps(pre + 2 * k);
    const __m128 c = _mm_shuffle_ps(tab, tab, _MM_SHUFFLE(2, 2, 0, 0));
    const __m128 t = _mm_shuffle_ps(tab, tab, _MM_SHUFFLE(3, 3, 1, 1));
    const __m128 f = _mm_add_ps(x, y), g = _mm_sub_ps(x, y);
    const __m128 q = _mm_add_ps(_mm_mul_ps(t, g), _mm_mul_ps(c, _mm_xor_ps(swapPairs(g), rotate)));
    _mm_storeu_ps(a + 2 * k, _mm_add_ps(f, q));
    const __m128 e = _mm_xor_ps(_mm_sub_ps(f, q), conj);
    _mm_storeu_ps(a + 2 * (m - k - 1), _mm_shuffle_ps(e, e, _MM_SHUFFLE(1, 0, 3, 2)));
  }
#endif
  for (; k <= m / 2 - 1; ++k) mergePair(a, k, m, pre);
  // The middle bin: Z[m/2] = 2 conj(X[m/2]).
  a[m] = a[m] + a[m];
  a[m + 1] = -(a[m + 1] + a[m + 1]);
}

void realForward(const Tpx32f* src, Tpx32f* dst, const TpxFftSpec* plan) {
  const int64_t n = int64_t(1) << plan->order;
  if (plan->order < kMinTableOrder) {
    smallRealForward(src, dst, int(n), plan->scale, plan->scaleFwd != 0);
    return;
  }
  const int64_t m = n / 2;
  const Kernel k = kernelOf(plan, true);
  transformComplex(src, dst, k, false);
  if (plan->scaleFwd) scaleAll(dst, n, plan->scale);
  splitForward(dst, m, plan->postTable);
}

void realInverse(const Tpx32f* src, Tpx32f* dst, const TpxFftSpec* plan) {
  const int64_t n = int64_t(1) << plan->order;
  if (plan->order < kMinTableOrder) {
    smallRealInverse(src, dst, int(n), plan->scale, plan->scaleInv != 0);
    return;
  }
  const int64_t m = n / 2;
  const Tpx32f r0 = src[0], nyquist = src[n - 1];
  std::memmove(dst + 2, src + 1, static_cast<std::size_t>(n - 2) * sizeof(Tpx32f));
  dst[0] = r0;
  dst[1] = nyquist;
  mergeInverse(dst, m, plan->preTable);
  const Kernel k = kernelOf(plan, true);
  bitReverse(dst, dst, k);
  butterflies(dst, k, true);
  if (plan->scaleInv) scaleAll(dst, n, plan->scale);
}

void complexTransform(const Tpx32f* src, Tpx32f* dst, const TpxFftSpec* plan, bool inverse) {
  const int64_t n = int64_t(1) << plan->order;
  const bool scaled = inverse ? plan->scaleInv != 0 : plan->scaleFwd != 0;
  if (plan->order < kMinTableOrder) {
    smallComplexDft(src, dst, int(n), inverse ? 1 : -1, plan->scale, scaled);
    return;
  }
  const Kernel k = kernelOf(plan, false);
  transformComplex(src, dst, k, inverse);
  if (scaled) scaleAll(dst, 2 * n, plan->scale);
}

TpxStatus check1D(const void* pSrc, const void* pDst, const TpxFftSpec* plan, int tag) {
  if (plan == nullptr) return tpxStsNullPtrErr;
  if (plan->tag != tag) return tpxStsContextMatchErr;
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  return tpxStsNoErr;
}

// ----- 2-D transforms ---------------------------------------------------------------------

// The caller's work buffer aligned up to 16 bytes, or one allocated for the
// call (released by the destructor).
class WorkBuffer {
 public:
  WorkBuffer(Tpx8u* given, int bytes) {
    if (given != nullptr) {
      const uintptr_t p = (reinterpret_cast<uintptr_t>(given) + 15) & ~uintptr_t(15);
      data_ = reinterpret_cast<Tpx8u*>(p);
    } else {
      owned_ = static_cast<Tpx8u*>(mallocAligned(bytes));
      data_ = owned_;
    }
  }
  ~WorkBuffer() { freeAligned(owned_); }
  WorkBuffer(const WorkBuffer&) = delete;
  WorkBuffer& operator=(const WorkBuffer&) = delete;
  Tpx32f* floats() const { return reinterpret_cast<Tpx32f*>(data_); }
  bool ok() const { return data_ != nullptr; }

 private:
  Tpx8u* data_ = nullptr;
  Tpx8u* owned_ = nullptr;
};

inline Tpx32f* rowOf(Tpx32f* base, int step, int64_t y) {
  return reinterpret_cast<Tpx32f*>(reinterpret_cast<char*>(base) + y * step);
}
inline const Tpx32f* rowOf(const Tpx32f* base, int step, int64_t y) {
  return reinterpret_cast<const Tpx32f*>(reinterpret_cast<const char*>(base) + y * step);
}

// One real column: gathered into the buffer, transformed out of place into
// its second half (so the bit reversal fuses with the first pass), scattered.
void realColumn(const Tpx32f* src, int srcStep, Tpx32f* dst, int dstStep, int64_t x, int64_t ny,
                const TpxFftSpec* plan, Tpx32f* buffer, bool inverse) {
  Tpx32f* gathered = buffer;
  Tpx32f* transformed = buffer + ny;
  for (int64_t y = 0; y < ny; ++y) gathered[y] = rowOf(src, srcStep, y)[x];
  if (inverse) {
    realInverse(gathered, transformed, plan);
  } else {
    realForward(gathered, transformed, plan);
  }
  for (int64_t y = 0; y < ny; ++y) rowOf(dst, dstStep, y)[x] = transformed[y];
}

// The interior column pairs (2k-1, 2k), k = 1 .. nx/2 - 1, as complex
// columns, four pairs (eight floats of every row) at a time: gathered into
// four arrays, transformed into four more, scattered.
void complexColumns(const Tpx32f* src, int srcStep, Tpx32f* dst, int dstStep, int64_t nx,
                    int64_t ny, const TpxFftSpec* plan, Tpx32f* buffer, bool inverse) {
  const int64_t pairs = nx / 2 - 1;
  Tpx32f* gathered = buffer;
  Tpx32f* transformed = buffer + 8 * ny;
  for (int64_t first = 0; first < pairs; first += 4) {
    const int64_t count = pairs - first < 4 ? pairs - first : 4;
    const int64_t x0 = 2 * first + 1;
    for (int64_t y = 0; y < ny; ++y) {
      const Tpx32f* r = rowOf(src, srcStep, y) + x0;
      for (int64_t c = 0; c < count; ++c) copyComplex(r + 2 * c, gathered + 2 * (c * ny + y));
    }
    for (int64_t c = 0; c < count; ++c) {
      complexTransform(gathered + 2 * c * ny, transformed + 2 * c * ny, plan, inverse);
    }
    for (int64_t y = 0; y < ny; ++y) {
      Tpx32f* r = rowOf(dst, dstStep, y) + x0;
      for (int64_t c = 0; c < count; ++c) copyComplex(transformed + 2 * (c * ny + y), r + 2 * c);
    }
  }
}

TpxStatus transform2D(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst, int dstStep,
                      const TpxFft2DSpecR* plan, Tpx8u* pBuffer, bool inverse) {
  if (plan == nullptr) return tpxStsNullPtrErr;
  if (plan->tag != tpxFftTag2D) return tpxStsContextMatchErr;
  if (pSrc == nullptr || pDst == nullptr) return tpxStsNullPtrErr;
  if (srcStep < 1 || dstStep < 1) return tpxStsStepErr;
  const WorkBuffer work(pBuffer, plan->workSize);
  if (!work.ok()) return tpxStsMemAllocErr;
  const int64_t nx = int64_t(1) << plan->orderX, ny = int64_t(1) << plan->orderY;
  const TpxFftSpec* rowPlan = plan->row;
  const TpxFftSpec* columnPlan = plan->columnReal != nullptr ? plan->columnReal : plan->row;
  Tpx32f* buffer = work.floats();
  if (ny == 1) {
    if (inverse) {
      realInverse(pSrc, pDst, rowPlan);
    } else {
      realForward(pSrc, pDst, rowPlan);
    }
    return tpxStsNoErr;
  }
  if (nx == 1) {
    realColumn(pSrc, srcStep, pDst, dstStep, 0, ny, columnPlan, buffer, inverse);
    return tpxStsNoErr;
  }
  if (!inverse) {
    for (int64_t y = 0; y < ny; ++y)
      realForward(rowOf(pSrc, srcStep, y), rowOf(pDst, dstStep, y), rowPlan);
    pSrc = pDst;
    srcStep = dstStep;
  }
  realColumn(pSrc, srcStep, pDst, dstStep, 0, ny, columnPlan, buffer, inverse);
  complexColumns(pSrc, srcStep, pDst, dstStep, nx, ny, plan->columnComplex[1], buffer, inverse);
  realColumn(pSrc, srcStep, pDst, dstStep, nx - 1, ny, columnPlan, buffer, inverse);
  if (inverse) {
    for (int64_t y = 0; y < ny; ++y)
      realInverse(rowOf(pDst, dstStep, y), rowOf(pDst, dstStep, y), rowPlan);
  }
  return tpxStsNoErr;
}

// ----- Spectrum product, conjugation, staging ------------------------------------------

// (a, b) x (c, d) with x = srcDst, y = src: (a c + b (-d), b c + a d).
inline void complexProduct(const Tpx32f* y, Tpx32f* x) {
  const Tpx32f a = x[0], b = x[1], c = y[0], d = y[1];
  x[0] = a * c + b * -d;
  x[1] = b * c + a * d;
}

// A real column of the 2-D Pack layout: row 0 real, then vertical (Re, Im)
// pairs, and a real last row when the height is even.
void multiplyColumn(const Tpx32f* src, int srcStep, Tpx32f* dst, int dstStep, int64_t x,
                    int64_t height) {
  rowOf(dst, dstStep, 0)[x] = rowOf(dst, dstStep, 0)[x] * rowOf(src, srcStep, 0)[x];
  int64_t y = 1;
  for (; y + 1 < height; y += 2) {
    const Tpx32f yc[2] = {rowOf(src, srcStep, y)[x], rowOf(src, srcStep, y + 1)[x]};
    Tpx32f xc[2] = {rowOf(dst, dstStep, y)[x], rowOf(dst, dstStep, y + 1)[x]};
    complexProduct(yc, xc);
    rowOf(dst, dstStep, y)[x] = xc[0];
    rowOf(dst, dstStep, y + 1)[x] = xc[1];
  }
  if (y < height) rowOf(dst, dstStep, y)[x] = rowOf(dst, dstStep, y)[x] * rowOf(src, srcStep, y)[x];
}

void multiplyRowPairs(const Tpx32f* src, Tpx32f* dst, int64_t pairs) {
  int64_t p = 0;
#if TPX_ISA >= TPX_ISA_SSE
  const __m128 negateReal = realSigns();
  for (; p + 2 <= pairs; p += 2) {
    const __m128 x = _mm_loadu_ps(dst + 2 * p), y = _mm_loadu_ps(src + 2 * p);
    const __m128 c = _mm_shuffle_ps(y, y, _MM_SHUFFLE(2, 2, 0, 0));
    const __m128 d = _mm_xor_ps(_mm_shuffle_ps(y, y, _MM_SHUFFLE(3, 3, 1, 1)), negateReal);
    _mm_storeu_ps(dst + 2 * p, _mm_add_ps(_mm_mul_ps(x, c), _mm_mul_ps(swapPairs(x), d)));
  }
#endif
  for (; p < pairs; ++p) complexProduct(src + 2 * p, dst + 2 * p);
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxsFftFwd_RToPack_32f(const Tpx32f* pSrc, Tpx32f* pDst,
                                              const TpxFftSpecR* pSpec, Tpx8u* pBuffer) {
  (void)pBuffer;  // the transforms up to the longest lengths work in place
  const TpxStatus status = check1D(pSrc, pDst, pSpec, tpxFftTagReal);
  if (status != tpxStsNoErr) return status;
  realForward(pSrc, pDst, pSpec);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxsFftInv_PackToR_32f(const Tpx32f* pSrc, Tpx32f* pDst,
                                              const TpxFftSpecR* pSpec, Tpx8u* pBuffer) {
  (void)pBuffer;
  const TpxStatus status = check1D(pSrc, pDst, pSpec, tpxFftTagReal);
  if (status != tpxStsNoErr) return status;
  realInverse(pSrc, pDst, pSpec);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxsFftFwd_CToC_32fc(const Tpx32fc* pSrc, Tpx32fc* pDst,
                                            const TpxFftSpecC* pSpec, Tpx8u* pBuffer) {
  (void)pBuffer;
  const TpxStatus status = check1D(pSrc, pDst, pSpec, tpxFftTagComplex);
  if (status != tpxStsNoErr) return status;
  complexTransform(&pSrc->re, &pDst->re, pSpec, false);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxsFftInv_CToC_32fc(const Tpx32fc* pSrc, Tpx32fc* pDst,
                                            const TpxFftSpecC* pSpec, Tpx8u* pBuffer) {
  (void)pBuffer;
  const TpxStatus status = check1D(pSrc, pDst, pSpec, tpxFftTagComplex);
  if (status != tpxStsNoErr) return status;
  complexTransform(&pSrc->re, &pDst->re, pSpec, true);
  return tpxStsNoErr;
}

TpxStatus tpx::TPX_NS::tpxiFftFwd_RToPack_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                                  int dstStep, const TpxFft2DSpecR* pSpec,
                                                  Tpx8u* pBuffer) {
  return transform2D(pSrc, srcStep, pDst, dstStep, pSpec, pBuffer, false);
}

TpxStatus tpx::TPX_NS::tpxiFftInv_PackToR_32f_C1R(const Tpx32f* pSrc, int srcStep, Tpx32f* pDst,
                                                  int dstStep, const TpxFft2DSpecR* pSpec,
                                                  Tpx8u* pBuffer) {
  return transform2D(pSrc, srcStep, pDst, dstStep, pSpec, pBuffer, true);
}

TpxStatus tpx::TPX_NS::tpxiMulPack_32f_C1IR(const Tpx32f* pSrc, int srcStep, Tpx32f* pSrcDst,
                                            int srcDstStep, int width, int height) {
  if (pSrc == nullptr || pSrcDst == nullptr) return tpxStsNullPtrErr;
  if (srcStep < 1 || srcDstStep < 1) return tpxStsStepErr;
  if (width < 1 || height < 1) return tpxStsSizeErr;
  const int64_t w = width, h = height;
  multiplyColumn(pSrc, srcStep, pSrcDst, srcDstStep, 0, h);
  const bool lastReal = w >= 2 && w % 2 == 0;
  if (lastReal) multiplyColumn(pSrc, srcStep, pSrcDst, srcDstStep, w - 1, h);
  const int64_t pairs = (w - 1) / 2;
  for (int64_t y = 0; y < h; ++y) {
    multiplyRowPairs(rowOf(pSrc, srcStep, y) + 1, rowOf(pSrcDst, srcDstStep, y) + 1, pairs);
  }
  return tpxStsNoErr;
}

void tpx::TPX_NS::tpxiConjPack_32f_C1IR(Tpx32f* pSrcDst, int step, int width, int height) {
  const int64_t w = width, h = height;
  for (int64_t y = 2; y < h; y += 2) {
    Tpx32f* r = rowOf(pSrcDst, step, y);
    r[0] = -r[0];
    if (w >= 2 && w % 2 == 0) r[w - 1] = -r[w - 1];
  }
  for (int64_t y = 0; y < h; ++y) {
    Tpx32f* r = rowOf(pSrcDst, step, y);
    for (int64_t x = 2; x <= w - 2 || (w % 2 == 1 && x <= w - 1); x += 2) r[x] = -r[x];
  }
}

void tpx::TPX_NS::tpxiCopyPadZero_32f_C1R(const Tpx32f* pSrc, int srcStep, int blockWidth,
                                          int blockHeight, Tpx32f* pTile, int tileWidth,
                                          int tileHeight, int offsetX, int offsetY) {
  const int nx = tileWidth, ny = tileHeight;
  const int tileStep = nx * static_cast<int>(sizeof(Tpx32f));
  const int ox = offsetX < 0 ? 0 : offsetX > nx ? nx : offsetX;
  const int oy = offsetY < 0 ? 0 : offsetY > ny ? ny : offsetY;
  int w = blockWidth < nx - ox ? blockWidth : nx - ox;
  int h = blockHeight < ny - oy ? blockHeight : ny - oy;
  w = w < 0 ? 0 : w;
  h = h < 0 ? 0 : h;
  auto zero = [](Tpx32f* p, int64_t len) {
    if (len > 0) tpx::table::tpxsZero_32f[TPX_VARIANT](p, static_cast<int>(len));
  };
  // Rows above the block, the block's rows with their margins, rows below.
  zero(pTile, static_cast<int64_t>(oy) * nx);
  for (int y = 0; y < h; ++y) {
    Tpx32f* r = pTile + static_cast<int64_t>(oy + y) * nx;
    zero(r, ox);
    if (w > 0) {
      tpx::table::tpxiCopy_32f_C1R[TPX_VARIANT](rowOf(pSrc, srcStep, y), srcStep, r + ox, tileStep,
                                                {w, 1});
    }
    zero(r + ox + w, nx - ox - w);
  }
  if (ny - oy - h > 0) {
    tpx::table::tpxiSet_32f_C1R[TPX_VARIANT](0.0f, pTile + static_cast<int64_t>(oy + h) * nx,
                                             tileStep, {nx, ny - oy - h});
  }
}

#endif  // TPX_VARIANT <= 1
