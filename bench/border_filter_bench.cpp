// Border filters beside OpenCV on a full-HD 32f image, each library making
// its own border: lowpass against cv::blur, Sobel horizontal against
// cv::Sobel with dy = 1, Sobel vertical against dx = 1 with scale -1.
#include <vector>

#include "bench/bench.h"

#ifdef TPX_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tpxbench::Plane;
using tpxbench::Region;
using tpxbench::setBytes;

const Region kFull = tpxbench::kRegions[0];

enum class Op { kLowpass, kSobelHoriz, kSobelVert };

void registerFilter(const std::string& name, Op op, int n, int type) {
  tpxbench::registerTpx(name, [=](benchmark::State& state) {
    Plane<Tpx32f> src(0, 255), dst(0, 0);
    const TpxiSize roi{kFull.width, kFull.height};
    const int mask = 11 * n;
    int size = 0;
    tpxiFilterLowpassGetBufferSize_32f_C1R(roi, mask, &size);
    std::vector<Tpx8u> buffer(static_cast<size_t>(size));
    for (auto _ : state) {
      if (op == Op::kLowpass) {
        tpxiFilterLowpassBorder_32f_C1R(src.data, src.step, dst.data, dst.step, roi, mask, type,
                                        0.0f, buffer.data());
      } else if (op == Op::kSobelHoriz) {
        tpxiFilterSobelHorizBorder_32f_C1R(src.data, src.step, dst.data, dst.step, roi, mask, type,
                                           0.0f, buffer.data());
      } else {
        tpxiFilterSobelVertBorder_32f_C1R(src.data, src.step, dst.data, dst.step, roi, mask, type,
                                          0.0f, buffer.data());
      }
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 8);
  });
#ifdef TPX_HAVE_OPENCV
  tpxbench::registerOpenCv(name, [=](benchmark::State& state) {
    Plane<Tpx32f> src(0, 255), dst(0, 0);
    const cv::Mat s = src.mat(kFull);
    cv::Mat d = dst.mat(kFull);
    const int border = type == tpxBorderReflect ? cv::BORDER_REFLECT_101 : cv::BORDER_REPLICATE;
    for (auto _ : state) {
      if (op == Op::kLowpass) {
        cv::blur(s, d, cv::Size(n, n), cv::Point(-1, -1), border);
      } else if (op == Op::kSobelHoriz) {
        cv::Sobel(s, d, CV_32F, 0, 1, n, 1, 0, border);
      } else {
        cv::Sobel(s, d, CV_32F, 1, 0, n, -1, 0, border);
      }
      benchmark::ClobberMemory();
    }
    setBytes(state, kFull, 8);
  });
#endif
}

const tpxbench::Registrar kRegister([] {
  const std::string size = std::string("/") + kFull.name;
  registerFilter("lowpass_border_3x3" + size, Op::kLowpass, 3, tpxBorderReplicate);
  registerFilter("lowpass_border_5x5" + size, Op::kLowpass, 5, tpxBorderReplicate);
  registerFilter("sobel_horiz_border_3x3" + size, Op::kSobelHoriz, 3, tpxBorderReplicate);
  registerFilter("sobel_horiz_border_5x5" + size, Op::kSobelHoriz, 5, tpxBorderReplicate);
  registerFilter("sobel_vert_border_3x3" + size, Op::kSobelVert, 3, tpxBorderReplicate);
  registerFilter("sobel_vert_border_5x5" + size, Op::kSobelVert, 5, tpxBorderReplicate);
  registerFilter("lowpass_border_3x3_reflect" + size, Op::kLowpass, 3, tpxBorderReflect);
  registerFilter("sobel_horiz_border_3x3_reflect" + size, Op::kSobelHoriz, 3, tpxBorderReflect);
  registerFilter("sobel_vert_border_3x3_reflect" + size, Op::kSobelVert, 3, tpxBorderReflect);
});

}  // namespace
