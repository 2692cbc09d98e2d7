// Small matrices: argument checks and their order, layout invariance (tight,
// padded, column-major, wide element strides), QR and Cholesky solves against
// Eigen (and OpenCV), products replayed in float, and variant agreement.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <functional>
#include <random>

#include "tests/harness.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
using tpxtest::bitsOf;
using tpxtest::expectVariantsMatchGeneric;
using tpxtest::forEachVariant;
using tpxtest::fromBits;
using tpxtest::Outcome;

constexpr uint32_t kGuard = 0x7fa0beefu;  // a signalling NaN: no result looks like it
enum Layout { kTight, kPadded, kColMajor, kStride8, kStride12, kLayouts };

// rows x cols floats at (i, j) -> i * s1 + j * s2 bytes, guard words around
// and between them. A vector is a 1 x n Mat (element i at i * s2).
struct Mat {
  int rows, cols, s1, s2;
  std::vector<uint32_t> words;
  Mat(int r, int c, int layout = kTight) : rows(r), cols(c) {
    const int s[kLayouts][2] = {{4 * c, 4}, {4 * c + 12, 4}, {4, 4 * r}, {8 * c, 8}, {12 * c, 12}};
    s1 = s[layout][0];
    s2 = s[layout][1];
    words.assign(size_t((r - 1) * s1 + (c - 1) * s2) / 4 + 7, kGuard);
  }
  float* p() { return reinterpret_cast<float*>(words.data() + 3); }
  uint32_t& w(int i, int j) { return words[3 + size_t(i * s1 + j * s2) / 4]; }
  float operator()(int i, int j) { return fromBits(w(i, j)); }
  void set(int i, int j, float v) { w(i, j) = bitsOf(v); }
  template <class F>
  void each(F&& f) {
    for (int i = 0; i < rows; ++i)
      for (int j = 0; j < cols; ++j) f(i, j);
  }
  std::vector<float> dense() {
    std::vector<float> d;
    each([&](int i, int j) { d.push_back((*this)(i, j)); });
    return d;
  }
  Mat as(int layout) {  // the same values in another layout
    Mat m(rows, cols, layout);
    each([&](int i, int j) { m.w(i, j) = w(i, j); });
    return m;
  }
  bool gapsIntact() {
    Mat copy = *this;
    each([&](int i, int j) { copy.w(i, j) = kGuard; });
    return copy.words == std::vector<uint32_t>(words.size(), kGuard);
  }
};

// Entries in [-1, 1), plus `diag` on the diagonal (well-conditioned solves).
Mat random(int r, int c, uint32_t seed, float diag = 0) {
  Mat m(r, c);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> d(-1, 1);
  m.each([&](int i, int j) { m.set(i, j, d(rng) + (i == j ? diag : 0)); });
  return m;
}
Mat fromRows(int r, int c, const std::vector<float>& rowMajor) {
  Mat m(r, c);
  m.each([&](int i, int j) { m.set(i, j, rowMajor[size_t(i * c + j)]); });
  return m;
}
MatrixXd eig(Mat& m) {
  MatrixXd e(m.rows, m.cols);
  m.each([&](int i, int j) { e(i, j) = m(i, j); });
  return e;
}

// ----- The eight operations on Mats ---------------------------------------------------

TpxStatus qr(Mat& a, Mat& dst) {
  std::vector<float> buf(a.rows);
  return tpxmQRDecomp_m_32f(a.p(), a.s1, a.s2, buf.data(), dst.p(), dst.s1, dst.s2, a.cols, a.rows);
}
TpxStatus qrSolve(Mat& qrs, Mat& b, Mat& x) {
  std::vector<float> buf(qrs.rows);
  return tpxmQRBackSubst_mv_32f(qrs.p(), qrs.s1, qrs.s2, buf.data(), b.p(), b.s2, x.p(), x.s2,
                                qrs.cols, qrs.rows);
}
TpxStatus chol(Mat& f, Mat& b, Mat& x) {
  return tpxmCholeskyBackSubst_mv_32f(f.p(), f.s1, f.s2, b.p(), b.s2, x.p(), x.s2, f.rows);
}
TpxStatus mulMv(Mat& a, Mat& x, Mat& y) {
  return tpxmMul_mv_32f(a.p(), a.s1, a.s2, a.cols, a.rows, x.p(), x.s2, x.cols, y.p(), y.s2);
}
TpxStatus mulTv(Mat& a, Mat& x, Mat& y) {
  return tpxmMul_tv_32f(a.p(), a.s1, a.s2, a.cols, a.rows, x.p(), x.s2, x.cols, y.p(), y.s2);
}

// A solvable QR storage, b and x for an h x w system.
struct QrSystem {
  Mat a, storage, b;
  QrSystem(int h, int w, uint32_t seed)
      : a(random(h, w, seed, 3)), storage(h, w), b(random(1, h, seed + 1)) {
    EXPECT_EQ(qr(a, storage), tpxStsNoErr);
  }
};

// A Cholesky factor of a random SPD matrix (double factorisation, diagonal
// stored inverted, upper triangle NaN) and the matrix itself.
struct CholSystem {
  Mat f;
  MatrixXd a;
  CholSystem(int n, uint32_t seed) : f(n, n) {
    Mat r = random(n, n, seed);
    a = eig(r) * eig(r).transpose() + MatrixXd::Identity(n, n);
    const MatrixXd l = a.llt().matrixL();
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) f.set(i, j, j > i ? NAN : float(i == j ? 1 / l(i, i) : l(i, j)));
  }
};

// ----- Checks -----------------------------------------------------------------------

// An operation's integer arguments: their good values, and a role letter
// each: s a stride, n a count.
struct CheckOp {
  const char* name;
  const char* roles;
  std::vector<int> good;
  int pointers;
  TpxStatus (*call)(float* const* p, const std::vector<int>& v);
};
using V = const std::vector<int>&;

// clang-format off
const std::vector<CheckOp> kCheckOps = {
  {"QRDecomp", "ssssnn", {12, 4, 12, 4, 3, 4}, 3, [](float* const* p, V v) {
     return tpxmQRDecomp_m_32f(p[0], v[0], v[1], p[1], p[2], v[2], v[3], v[4], v[5]); }},
  {"QRBackSubst", "ssssnn", {12, 4, 4, 4, 3, 4}, 4, [](float* const* p, V v) {
     return tpxmQRBackSubst_mv_32f(p[0], v[0], v[1], p[1], p[2], v[2], p[3], v[3], v[4], v[5]); }},
  {"Cholesky", "ssssn", {16, 4, 4, 4, 4}, 3, [](float* const* p, V v) {
     return tpxmCholeskyBackSubst_mv_32f(p[0], v[0], v[1], p[1], v[2], p[2], v[3], v[4]); }},
  {"Mul_mv", "ssnnsns", {12, 4, 3, 4, 4, 3, 4}, 3, [](float* const* p, V v) {
     return tpxmMul_mv_32f(p[0], v[0], v[1], v[2], v[3], p[1], v[4], v[5], p[2], v[6]); }},
  {"Mul_tv", "ssnnsns", {12, 4, 3, 4, 4, 4, 4}, 3, [](float* const* p, V v) {
     return tpxmMul_tv_32f(p[0], v[0], v[1], v[2], v[3], p[1], v[4], v[5], p[2], v[6]); }},
  {"Dot", "ssn", {4, 4, 5}, 3, [](float* const* p, V v) {
     return tpxmDotProduct_vv_32f(p[0], v[0], p[1], v[1], p[2], v[2]); }},
  {"Saxpy", "sssn", {4, 4, 4, 5}, 3, [](float* const* p, V v) {
     return tpxmSaxpy_vv_32f(p[0], v[0], 2.0f, p[1], v[1], p[2], v[2], v[3]); }},
  {"Transpose", "ssnnss", {12, 4, 3, 4, 16, 4}, 2, [](float* const* p, V v) {
     return tpxmTranspose_m_32f(p[0], v[0], v[1], v[2], v[3], p[1], v[4], v[5]); }},
};
// clang-format on

// Runs op with pointer `nullAt` null (-1: none) and the given arguments;
// expects `want` and every buffer, inputs and outputs, left as it was.
void expectCheck(const CheckOp& op, int nullAt, const std::vector<int>& v, TpxStatus want) {
  std::vector<std::vector<uint32_t>> bufs(4, std::vector<uint32_t>(64, kGuard));
  float* p[4];
  for (int k = 0; k < 4; ++k)
    p[k] = k == nullAt ? nullptr : reinterpret_cast<float*>(bufs[k].data());
  EXPECT_EQ(op.call(p, v), want) << op.name << " null " << nullAt << " args "
                                 << ::testing::PrintToString(v);
  for (auto& b : bufs) EXPECT_EQ(b, std::vector<uint32_t>(64, kGuard));
}

TEST(MatrixChecks, EachBadArgumentAloneAndPrecedence) {
  forEachVariant([&](int) {
    for (const CheckOp& op : kCheckOps) {
      for (int k = 0; k < op.pointers; ++k) expectCheck(op, k, op.good, tpxStsNullPtrErr);
      std::vector<int> all = op.good;  // everything bad at once: null, then size wins
      for (size_t i = 0; i < all.size(); ++i) {
        const bool stride = op.roles[i] == 's';
        all[i] = stride ? 6 : 0;
        for (int bad : stride ? std::vector<int>{0, -4, 2, 6} : std::vector<int>{0, -1}) {
          std::vector<int> v = op.good;
          v[i] = bad;
          expectCheck(op, -1, v, stride ? tpxStsStrideMatrixErr : tpxStsSizeErr);
        }
      }
      expectCheck(op, op.pointers - 1, all, tpxStsNullPtrErr);
      expectCheck(op, -1, all, tpxStsSizeErr);
    }
    // QR: strides before width > height; products: size match before strides.
    for (int q : {0, 1}) {
      expectCheck(kCheckOps[q], -1, {12, 4, 12, 6, 5, 4}, tpxStsStrideMatrixErr);
      expectCheck(kCheckOps[q], -1, {12, 4, 12, 4, 5, 4}, tpxStsSizeMatchMatrixErr);
    }
    expectCheck(kCheckOps[3], -1, {12, 6, 3, 4, 4, 4, 4}, tpxStsSizeMatchMatrixErr);
    expectCheck(kCheckOps[4], -1, {12, 6, 3, 4, 4, 3, 4}, tpxStsSizeMatchMatrixErr);
  });
}

// ----- Layout invariance and variants --------------------------------------------------

// Each runner builds its inputs (from n and a seed) in one layout, runs its
// operation(s), and returns the statuses and outputs in dense row-major order.
using Runner = std::function<Outcome(int n, int layout)>;

Outcome collect(Outcome o, TpxStatus s, Mat& out) {
  o.status |= s;
  EXPECT_TRUE(out.gapsIntact());
  return o.add(out.dense());
}

const std::vector<std::pair<const char*, Runner>>& runners() {
  static const std::vector<std::pair<const char*, Runner>> list = {
      {"QRDecomp",
       [](int n, int l) {
         Outcome o;
         for (int h : {n, n + 2}) {
           Mat a = random(h, n, 7 * n + h, 2).as(l), d(h, n, l);
           o = collect(o, qr(a, d), d);
         }
         return o;
       }},
      {"QRBackSubst",
       [](int n, int l) {
         Outcome o;
         for (int h : {n, n + 3}) {
           QrSystem s(h, n, 11 * n + h);
           Mat st = s.storage.as(l), b = s.b.as(l), x(1, n, l);
           o = collect(o, qrSolve(st, b, x), x);
         }
         return o;
       }},
      {"Cholesky",
       [](int n, int l) {
         CholSystem c(n, 5 * n);
         Mat f = c.f.as(l), b = random(1, n, n).as(l), x(1, n, l);
         return collect(Outcome(), chol(f, b, x), x);
       }},
      {"Mul",
       [](int n, int l) {
         Outcome o;
         for (int h : {n, n + 1}) {
           Mat a = random(h, n, 3 * n + h).as(l), x = random(1, n, n).as(l), y(1, h, l);
           Mat xt = random(1, h, h).as(l), yt(1, n, l);
           o = collect(o, mulMv(a, x, y), y);
           o = collect(o, mulTv(a, xt, yt), yt);
         }
         return o;
       }},
      {"DotSaxpyTranspose",
       [](int n, int l) {
         Mat a = random(1, n, n).as(l), b = random(1, n, n + 1).as(l), y(1, n, l), d(1, 1, l);
         Outcome o = collect(Outcome(),
                             tpxmSaxpy_vv_32f(a.p(), a.s2, -1.5f, b.p(), b.s2, y.p(), y.s2, n), y);
         o = collect(o, tpxmDotProduct_vv_32f(a.p(), a.s2, b.p(), b.s2, d.p(), n), d);
         Mat m = random(n, n + 1, n).as(l), t(n + 1, n, l);
         return collect(o, tpxmTranspose_m_32f(m.p(), m.s1, m.s2, n + 1, n, t.p(), t.s1, t.s2), t);
       }},
  };
  return list;
}

TEST(MatrixLayout, EveryLayoutAndVariantGivesTheSameBytes) {
  for (const auto& [name, run] : runners())
    for (int n = 1; n <= 8; ++n) {
      SCOPED_TRACE(std::string(name) + " n " + std::to_string(n));
      const Outcome tight = expectVariantsMatchGeneric([&] { return run(n, kTight); });
      EXPECT_EQ(tight.status, tpxStsNoErr);
      for (int l = kPadded; l < kLayouts; ++l) {
        const Outcome other = expectVariantsMatchGeneric([&] { return run(n, l); });
        EXPECT_EQ(tpxtest::firstDifference(tight, other), "") << "layout " << l;
      }
    }
}

// ----- QR against Eigen and OpenCV -------------------------------------------------------

double relErr(const VectorXd& got, const VectorXd& want) {
  return (got - want).lpNorm<Eigen::Infinity>() / std::max(1.0, want.lpNorm<Eigen::Infinity>());
}
VectorXd solveWithTpx(QrSystem& s) {
  Mat x(1, s.a.cols);
  EXPECT_EQ(qrSolve(s.storage, s.b, x), tpxStsNoErr);
  return eig(x).transpose();
}

TEST(MatrixQr, SolvesAndLeastSquaresMatchEigenAndOpenCv) {
  const std::vector<std::pair<int, int>> shapes = {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 6},
                                                   {7, 7}, {8, 8}, {3, 2}, {6, 3}, {10, 4}};
  forEachVariant([&](int) {
    for (auto [h, w] : shapes) {
      QrSystem s(h, w, uint32_t(100 + 10 * h + w));
      const MatrixXd a = eig(s.a);
      const VectorXd b = eig(s.b).transpose(), x = solveWithTpx(s);
      EXPECT_LT(relErr(x, a.householderQr().solve(b)), 1e-4) << h << "x" << w;
#ifdef TPX_HAVE_OPENCV
      cv::Mat ca(h, w, CV_64F), cb(h, 1, CV_64F), cx;
      for (int i = 0; i < h; ++i) {
        cb.at<double>(i) = b(i);
        for (int j = 0; j < w; ++j) ca.at<double>(i, j) = a(i, j);
      }
      ASSERT_TRUE(cv::solve(ca, cb, cx, cv::DECOMP_QR));
      EXPECT_LT(relErr(x, Eigen::Map<VectorXd>(cx.ptr<double>(), w)), 1e-4) << h << "x" << w;
#endif
      // Q R rebuilt from the storage (Q = H0 H1 ..., H = I - 2 v v^T / v^T v).
      MatrixXd q = MatrixXd::Identity(h, h), r = MatrixXd::Zero(h, w);
      for (int k = 0; k < (h == w ? w - 1 : w); ++k) {
        VectorXd v = VectorXd::Zero(h);
        v(k) = 1;
        for (int i = k + 1; i < h; ++i) v(i) = s.storage(i, k);
        q = q * (MatrixXd::Identity(h, h) - 2 * v * v.transpose() / v.squaredNorm());
      }
      for (int i = 0; i < w; ++i)
        for (int j = i; j < w; ++j) r(i, j) = s.storage(i, j);
      EXPECT_LT((q * r - a).lpNorm<Eigen::Infinity>(), 1e-5 * a.lpNorm<Eigen::Infinity>());
    }
  });
}

TEST(MatrixQr, SignRuleAndColumnTest) {
  forEachVariant([&](int) {
    // R(0,0) = -sign(A(0,0)) * |column 0|, positive for a zero A(0,0).
    for (float a00 : {3.0f, -3.0f, 0.0f, -0.0f}) {
      Mat a = fromRows(2, 2, {a00, 1, 4, 2}), d(2, 2);
      ASSERT_EQ(qr(a, d), tpxStsNoErr);
      const float norm = a00 == 0 ? 4.0f : 5.0f;
      EXPECT_NEAR(d(0, 0), a00 > 0 ? -norm : norm, 1e-6) << a00;
    }
    struct Case {
      int h, w;
      std::vector<float> rowMajor;
      TpxStatus want;
    };
    const std::vector<Case> cases = {
        {3, 3, {0, 1, 2, 0, 3, 4, 0, 5, 7}, tpxStsDivByZeroErr},    // zero first column
        {3, 1, {2e-4f, 2e-4f, 0}, tpxStsDivByZeroErr},              // norm 2.8e-4: s < 2^-23
        {3, 1, {2.5e-4f, 2.5e-4f, 0}, tpxStsNoErr},                 // norm 3.5e-4 passes
        {3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 0}, tpxStsNoErr},           // last column alone deficient
        {1, 1, {0}, tpxStsNoErr},                                   // no step: copied
        {3, 3, {1, 2, 5, 2, 4, -1, 2, 4, 3}, tpxStsDivByZeroErr}};  // column 1 = 2 x column 0
    for (const Case& c : cases) {
      Mat a = fromRows(c.h, c.w, c.rowMajor), d(c.h, c.w);
      EXPECT_EQ(qr(a, d), c.want) << c.rowMajor[0];
    }
    // The last case stops at step 1 with step 0 done: R(0,0) = -3, column 1
    // reflected to (-6, 0, 0) and column 2 to H0 a2, H0 from the stored v.
    Mat a = fromRows(3, 3, cases.back().rowMajor), d(3, 3);
    ASSERT_EQ(qr(a, d), tpxStsDivByZeroErr);
    const Eigen::Vector3d v(1, d(1, 0), d(2, 0)), a2(5, -1, 3);
    const Eigen::Vector3d h2 = a2 - 2 * v * v.dot(a2) / v.squaredNorm();
    const Eigen::Vector3d got[2] = {{d(0, 1), d(1, 1), d(2, 1)}, {d(0, 2), d(1, 2), d(2, 2)}};
    EXPECT_NEAR(d(0, 0), -3, 1e-6);
    EXPECT_LT((got[0] - Eigen::Vector3d(-6, 0, 0)).norm(), 1e-5);
    EXPECT_LT((got[1] - h2).norm(), 1e-5);
  });
}

// ----- Cholesky against Eigen ----------------------------------------------------------

TEST(MatrixCholesky, SolvesMatchEigenAndOrderOneIsExact) {
  forEachVariant([&](int) {
    for (int n = 1; n <= 8; ++n) {
      CholSystem c(n, uint32_t(40 + n));
      Mat b = random(1, n, n), x(1, n);
      ASSERT_EQ(chol(c.f, b, x), tpxStsNoErr);
      const VectorXd want = c.a.llt().solve(VectorXd(eig(b).transpose()));
      EXPECT_LT(relErr(eig(x).transpose(), want), 1e-4) << n;
      Mat inPlace = b;  // b may be the destination
      ASSERT_EQ(chol(c.f, inPlace, inPlace), tpxStsNoErr);
      EXPECT_EQ(inPlace.words, x.words);
    }
    Mat f(1, 1), b(1, 1), x(1, 1);
    f.set(0, 0, 0.3f);
    b.set(0, 0, 0.7f);
    ASSERT_EQ(chol(f, b, x), tpxStsNoErr);
    EXPECT_EQ(bitsOf(x(0, 0)), bitsOf((0.7f * 0.3f) * 0.3f));
  });
}

// ----- Products replayed in float ---------------------------------------------------------

// term(0) + term(1) + ... in float, left to right.
template <class Term>
float replay(int n, Term&& term) {
  float s = term(0);
  for (int k = 1; k < n; ++k) s = s + term(k);
  return s;
}

TEST(MatrixProducts, BitExactAgainstTheWrittenOrder) {
  forEachVariant([&](int) {
    for (auto [h, w] : std::vector<std::pair<int, int>>{{4, 4}, {7, 3}, {2, 9}, {6, 6}}) {
      Mat a = random(h, w, uint32_t(h * w)), x = random(1, w, 1), xt = random(1, h, 2);
      for (int j = 0; j < w; ++j) {  // -0 x positive, all along row 0: sums to -0
        a.set(0, j, -0.0f);
        x.set(0, j, std::fabs(x(0, j)));
      }
      Mat y(1, h), yt(1, w);
      ASSERT_EQ(mulMv(a, x, y), tpxStsNoErr);
      ASSERT_EQ(mulTv(a, xt, yt), tpxStsNoErr);
      for (int i = 0; i < h; ++i)
        EXPECT_EQ(bitsOf(y(0, i)), bitsOf(replay(w, [&](int j) { return a(i, j) * x(0, j); })));
      for (int j = 0; j < w; ++j)
        EXPECT_EQ(bitsOf(yt(0, j)), bitsOf(replay(h, [&](int i) { return a(i, j) * xt(0, i); })));
      EXPECT_EQ(bitsOf(y(0, 0)), 0x80000000u);
    }
    const int n = 11;
    Mat a = random(1, n, 5), b = random(1, n, 6), y(1, n), d(1, 1);
    a.set(0, 3, 1e30f);  // a*s + b and b*s + a differ here
    ASSERT_EQ(tpxmSaxpy_vv_32f(a.p(), 4, 3.0f, b.p(), 4, y.p(), 4, n), tpxStsNoErr);
    ASSERT_EQ(tpxmDotProduct_vv_32f(a.p(), 4, b.p(), 4, d.p(), n), tpxStsNoErr);
    for (int i = 0; i < n; ++i) EXPECT_EQ(bitsOf(y(0, i)), bitsOf(a(0, i) * 3.0f + b(0, i))) << i;
    EXPECT_EQ(bitsOf(d(0, 0)), bitsOf(replay(n, [&](int i) { return a(0, i) * b(0, i); })));
    // Transposition moves bit patterns, signalling NaNs included.
    Mat m = random(5, 6, 9), t(6, 5);
    m.w(2, 3) = 0x7f800001u;
    m.w(4, 5) = 0xff812345u;
    ASSERT_EQ(tpxmTranspose_m_32f(m.p(), m.s1, m.s2, 6, 5, t.p(), t.s1, t.s2), tpxStsNoErr);
    for (int i = 0; i < 5; ++i)
      for (int j = 0; j < 6; ++j) EXPECT_EQ(t.w(j, i), m.w(i, j));
  });
}

}  // namespace
