// Small matrices in batches of 10 000 systems, single thread: QR solve
// (decomposition and back substitution) beside cv::solve(DECOMP_QR), the
// Cholesky solve on a precomputed factor, and the matrix-vector product beside
// cv::gemm. Eigen's fixed-size HouseholderQR and LLT are a second peer column.
#include <random>
#include <string>
#include <vector>

#include "bench/bench.h"

#ifdef TPX_HAVE_EIGEN
#include <Eigen/Dense>
#endif

namespace {

constexpr int kBatch = 10000;

// kBatch row-major n x n matrices, diagonally dominant, and right-hand sides.
struct Batch {
  explicit Batch(int n) : n(n), a(size_t(kBatch) * n * n), b(size_t(kBatch) * n), x(b.size()) {
    std::mt19937 rng{uint32_t(n)};
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    for (size_t k = 0; k < a.size(); ++k) a[k] = d(rng) + ((k % (n * n)) % (n + 1) == 0 ? n : 0);
    for (float& v : b) v = d(rng);
  }
  float* mat(int k) { return a.data() + size_t(k) * n * n; }
  float* rhs(int k) { return b.data() + size_t(k) * n; }
  float* sol(int k) { return x.data() + size_t(k) * n; }
  int n;
  std::vector<float> a, b, x;
};

// Lower factor with the inverted diagonal, from a's symmetric part made
// dominant: L(i,j) = a(i,j) / n below the diagonal, 1 / L(i,i) = 1 / n on it.
void toFactors(Batch& s) {
  const int n = s.n;
  for (int k = 0; k < kBatch; ++k)
    for (int i = 0; i < n; ++i)
      for (int j = 0; j <= i; ++j)
        s.mat(k)[i * n + j] = i == j ? 1.0f / n : s.mat(k)[i * n + j] / n;
}

template <int N>
void registerSize() {
  const std::string size = std::to_string(N) + "x" + std::to_string(N);
  tpxbench::registerTpx("matrix_qr_solve/" + size, [](benchmark::State& state) {
    Batch s(N);
    std::vector<float> qr(N * N), buf(N);
    for (auto _ : state) {
      for (int k = 0; k < kBatch; ++k) {
        tpxmQRDecomp_m_32f(s.mat(k), 4 * N, 4, buf.data(), qr.data(), 4 * N, 4, N, N);
        tpxmQRBackSubst_mv_32f(qr.data(), 4 * N, 4, buf.data(), s.rhs(k), 4, s.sol(k), 4, N, N);
      }
      benchmark::ClobberMemory();
    }
  });
  tpxbench::registerTpx("matrix_chol_solve/" + size, [](benchmark::State& state) {
    Batch s(N);
    toFactors(s);
    for (auto _ : state) {
      for (int k = 0; k < kBatch; ++k) {
        tpxmCholeskyBackSubst_mv_32f(s.mat(k), 4 * N, 4, s.rhs(k), 4, s.sol(k), 4, N);
      }
      benchmark::ClobberMemory();
    }
  });
  if (N == 4 || N == 6) {
    tpxbench::registerTpx("matrix_mul_mv/" + size, [](benchmark::State& state) {
      Batch s(N);
      for (auto _ : state) {
        for (int k = 0; k < kBatch; ++k) {
          tpxmMul_mv_32f(s.mat(k), 4 * N, 4, N, N, s.rhs(k), 4, N, s.sol(k), 4);
        }
        benchmark::ClobberMemory();
      }
    });
  }
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv("matrix_qr_solve/" + size, [](benchmark::State& state) {
    Batch s(N);
    for (auto _ : state) {
      for (int k = 0; k < kBatch; ++k) {
        cv::Mat x(N, 1, CV_32F, s.sol(k));
        cv::solve(cv::Mat(N, N, CV_32F, s.mat(k)), cv::Mat(N, 1, CV_32F, s.rhs(k)), x,
                  cv::DECOMP_QR);
      }
      benchmark::ClobberMemory();
    }
  });
  if (N == 4 || N == 6) {
    tpxbench::registerOpenCv("matrix_mul_mv/" + size, [](benchmark::State& state) {
      Batch s(N);
      for (auto _ : state) {
        for (int k = 0; k < kBatch; ++k) {
          cv::Mat y(N, 1, CV_32F, s.sol(k));
          cv::gemm(cv::Mat(N, N, CV_32F, s.mat(k)), cv::Mat(N, 1, CV_32F, s.rhs(k)), 1.0,
                   cv::noArray(), 0.0, y);
        }
        benchmark::ClobberMemory();
      }
    });
  }
#endif
#ifdef TPX_HAVE_EIGEN
  using Mat = Eigen::Matrix<float, N, N, Eigen::RowMajor>;
  using Vec = Eigen::Matrix<float, N, 1>;
  benchmark::RegisterBenchmark(
      ("matrix_qr_solve/" + size + "/eigen").c_str(), [](benchmark::State& state) {
        Batch s(N);
        for (auto _ : state) {
          for (int k = 0; k < kBatch; ++k) {
            const Eigen::HouseholderQR<Mat> qr(Eigen::Map<Mat>(s.mat(k)));
            Eigen::Map<Vec>(s.sol(k)) = qr.solve(Eigen::Map<Vec>(s.rhs(k)));
          }
          benchmark::ClobberMemory();
        }
      });
  benchmark::RegisterBenchmark(
      ("matrix_chol_solve/" + size + "/eigen").c_str(), [](benchmark::State& state) {
        Batch s(N);
        std::vector<Eigen::LLT<Mat>> llts;
        for (int k = 0; k < kBatch; ++k) {
          const Mat m = Eigen::Map<Mat>(s.mat(k));
          llts.emplace_back(m * m.transpose() + Mat::Identity());
        }
        for (auto _ : state) {
          for (int k = 0; k < kBatch; ++k) {
            Eigen::Map<Vec>(s.sol(k)) = llts[size_t(k)].solve(Eigen::Map<Vec>(s.rhs(k)));
          }
          benchmark::ClobberMemory();
        }
      });
  if (N == 4 || N == 6) {
    benchmark::RegisterBenchmark(("matrix_mul_mv/" + size + "/eigen").c_str(),
                                 [](benchmark::State& state) {
                                   Batch s(N);
                                   for (auto _ : state) {
                                     for (int k = 0; k < kBatch; ++k) {
                                       Eigen::Map<Vec>(s.sol(k)).noalias() =
                                           Eigen::Map<Mat>(s.mat(k)) * Eigen::Map<Vec>(s.rhs(k));
                                     }
                                     benchmark::ClobberMemory();
                                   }
                                 });
  }
#endif
}

const tpxbench::Registrar kRegister([] {
  registerSize<3>();
  registerSize<4>();
  registerSize<5>();
  registerSize<6>();
});

}  // namespace
