// Polar to Cartesian conversion of float vectors, with the sine evaluated
// inline in double. The SSE2 copy (indices 2 to 4) takes two elements at a
// time with the same double operations in the same order.
#include <cmath>

#include "core/image.h"

#if TPX_VARIANT == 0 || TPX_VARIANT == 2

namespace tpx::TPX_NS {
namespace {

inline TpxStatus checkVector(bool anyNull, int len) {
  if (anyNull) return tpxStsNullPtrErr;
  if (len < 1) return tpxStsSizeErr;
  return tpxStsNoErr;
}

constexpr double kInvPi = 0.3183098861837907;
constexpr double kPi = 3.141592653589793;
constexpr double kHalfPi = 1.5707963267948966;
constexpr double kC3 = -0.16666665094466732;
constexpr double kC5 = 0.008333215738643764;
constexpr double kC7 = -0.00019820663968799938;
constexpr double kC9 = 2.630033909762885e-06;
// Angles whose quotient by pi converts to a 32-bit integer take the reduced
// path below (two at a time in the vector code); others keep the quotient
// in double, with the same arithmetic.
constexpr double kReducibleBelow = 2147483647.0 * kPi;

// The odd polynomial on the reduced argument, in Horner form.
inline double polynomial(double r) {
  const double r2 = r * r;
  double p = kC9;
  p = p * r2 + kC7;
  p = p * r2 + kC5;
  p = p * r2 + kC3;
  return r + r * r2 * p;
}

// sin(x): x = k pi + r with k = x/pi truncated; r moved by pi toward zero
// when beyond pi/2 (flipping the sign), the sign flipped again for odd k.
inline double inlineSine(double x) {
  const double k = std::trunc(x * kInvPi);
  double r = x - k * kPi;
  double sign = 1.0;
  if (std::fabs(r) > kHalfPi) {
    r = x > 0.0 ? r - kPi : r + kPi;
    sign = -1.0;
  }
  if (std::fmod(k, 2.0) != 0.0) sign = -sign;
  return sign * polynomial(r);
}

inline void polarOne(Tpx32f magn, Tpx32f phase, Tpx32f* re, Tpx32f* im) {
  const double m = magn, x = phase;
  *im = static_cast<Tpx32f>(m * inlineSine(x));
  *re = static_cast<Tpx32f>(m * inlineSine(x + kHalfPi));
}

#if TPX_ISA >= TPX_ISA_SSE2

// inlineSine on two lanes whose |x| is below kReducibleBelow.
inline __m128d vectorSine(__m128d x) {
  const __m128d signMask = _mm_set1_pd(-0.0);
  const __m128i k = _mm_cvttpd_epi32(_mm_mul_pd(x, _mm_set1_pd(kInvPi)));
  const __m128d kd = _mm_cvtepi32_pd(k);
  __m128d r = _mm_sub_pd(x, _mm_mul_pd(kd, _mm_set1_pd(kPi)));
  const __m128d beyond = _mm_cmpgt_pd(_mm_andnot_pd(signMask, r), _mm_set1_pd(kHalfPi));
  const __m128d positive = _mm_cmpgt_pd(x, _mm_setzero_pd());
  const __m128d pi = _mm_set1_pd(kPi);
  const __m128d moved = _mm_or_pd(_mm_and_pd(positive, _mm_sub_pd(r, pi)),
                                  _mm_andnot_pd(positive, _mm_add_pd(r, pi)));
  r = _mm_or_pd(_mm_and_pd(beyond, moved), _mm_andnot_pd(beyond, r));
  // The sign flips when beyond pi/2 and again for odd k.
  const __m128i odd32 = _mm_sub_epi32(_mm_setzero_si128(), _mm_and_si128(k, _mm_set1_epi32(1)));
  const __m128d oddMask = _mm_castsi128_pd(_mm_shuffle_epi32(odd32, 0x50));
  const __m128d flip = _mm_and_pd(_mm_xor_pd(beyond, oddMask), signMask);
  const __m128d r2 = _mm_mul_pd(r, r);
  __m128d p = _mm_set1_pd(kC9);
  p = _mm_add_pd(_mm_mul_pd(p, r2), _mm_set1_pd(kC7));
  p = _mm_add_pd(_mm_mul_pd(p, r2), _mm_set1_pd(kC5));
  p = _mm_add_pd(_mm_mul_pd(p, r2), _mm_set1_pd(kC3));
  const __m128d poly = _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r2), p));
  // sign * poly with sign = +-1.0 is poly with its sign bit flipped.
  return _mm_xor_pd(poly, flip);
}

#endif

void polarRow(const Tpx32f* magn, const Tpx32f* phase, Tpx32f* re, Tpx32f* im, std::size_t n) {
  std::size_t i = 0;
#if TPX_ISA >= TPX_ISA_SSE2
  const __m128d limit = _mm_set1_pd(kReducibleBelow);
  const __m128d absMask = _mm_castsi128_pd(_mm_set1_epi64x(0x7fffffffffffffffLL));
  for (; i + 2 <= n; i += 2) {
    const __m128d x = _mm_cvtps_pd(
        _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(phase + i))));
    // Out-of-range or NaN angles take the scalar path for this pair.
    if (_mm_movemask_pd(_mm_cmplt_pd(_mm_and_pd(x, absMask), limit)) != 3) {
      polarOne(magn[i], phase[i], re + i, im + i);
      polarOne(magn[i + 1], phase[i + 1], re + i + 1, im + i + 1);
      continue;
    }
    const __m128d m =
        _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(magn + i))));
    const __m128d s = _mm_mul_pd(m, vectorSine(x));
    const __m128d c = _mm_mul_pd(m, vectorSine(_mm_add_pd(x, _mm_set1_pd(kHalfPi))));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(im + i), _mm_castps_si128(_mm_cvtpd_ps(s)));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(re + i), _mm_castps_si128(_mm_cvtpd_ps(c)));
  }
#endif
  for (; i < n; ++i) polarOne(magn[i], phase[i], re + i, im + i);
}

}  // namespace
}  // namespace tpx::TPX_NS

TpxStatus tpx::TPX_NS::tpxsPolarToCart_32f(const Tpx32f* pSrcMagn, const Tpx32f* pSrcPhase,
                                           Tpx32f* pDstRe, Tpx32f* pDstIm, int len) {
  const TpxStatus status = checkVector(
      pSrcMagn == nullptr || pSrcPhase == nullptr || pDstRe == nullptr || pDstIm == nullptr, len);
  if (status != tpxStsNoErr) return status;
  if (len == 1) {
    // A single element: the standard library's sine and cosine.
    const double m = *pSrcMagn, x = *pSrcPhase;
    *pDstIm = static_cast<Tpx32f>(m * std::sin(x));
    *pDstRe = static_cast<Tpx32f>(m * std::cos(x));
    return tpxStsNoErr;
  }
  polarRow(pSrcMagn, pSrcPhase, pDstRe, pDstIm, static_cast<std::size_t>(len));
  return tpxStsNoErr;
}

#endif  // TPX_VARIANT == 0 || TPX_VARIANT == 2
